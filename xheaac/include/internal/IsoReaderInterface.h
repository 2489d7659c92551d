// Flat interface over the ISO base media file library for the xHE-AAC job: open a movie by a
// narrow path, open a track by index and pull its samples one after the other, including those
// in movie fragments. Every function returns 0 or one of the codes below; no exception leaves it.
//
// Calling order: ISO_OpenMovie (mode 0) → ISO_OpenTrack → ISO_GetSampleCount → ISO_CreateSample
// → ISO_SetSampleNumber(0) → ISO_SetSampleBuffer → per sample: ISO_SetBufferSize → ISO_ReadSample
// → ISO_GetSampleDuration / ISO_GetSampleSize → ISO_FreeSample, ISO_CloseMovie.
#pragma once

#include <cstddef>
#include <cstdint>

// Result codes.
enum IsoReaderResult : int32_t {
    kIsoOk = 0,
    kIsoEndOfTrack = 1002,     // no sample with that number
    kIsoNoTrack = -993,        // no track with that index
    kIsoNullArgument = -994,   // a required pointer argument is null
    kIsoNetworkPath = -995,    // the path contains "http://"
    kIsoNotAMovie = -996,      // the file could not be opened or parsed as a movie
    kIsoOutOfMemory = -998,
    kIsoNullHandle = -999,     // the handle or record passed is null
    kIsoFailed = -1000,        // open mode out of range, or the sample could not be read
};

// Open modes: 0 and 1 read a file; 2, 3, 4 and 6 belong to the library's writer (which this
// module does not build: such a movie has no tracks); 5 reads the memory block given to
// ISO_SetMemorySource, and its tracks get readers like those of the read modes.
enum IsoOpenMode : int32_t { kIsoModeRead = 0, kIsoModeMemory = 5, kIsoModeLast = 6 };

struct ISOMovieHandle;  // owns the stream, the movie and every track handle opened on it
struct ISOTrackHandle;  // owned by its movie handle; lives until ISO_CloseMovie

// Sample record: fixed size, all zero when created; the caller owns it and its buffer.
struct ISOSampleRecord {
    uint32_t sampleNumber;       // in: 0 = the sample after the last one read, n >= 1 = sample n
    uint32_t size;               // in: the buffer's capacity; out: the sample's size in bytes
    uint8_t* buffer;             // in: where the sample's bytes go
    uint32_t sync;               // out: 1 sync, 0 not sync, 2 no sync information
    uint32_t duration;           // out: in the track's time scale
    uint64_t compositionOffset;  // out
    uint64_t fileOffset;         // out: where the sample's bytes begin in the file
    uint8_t reserved[128];
};

// Opens a movie. On -995 and -996 the handle is freed and *out cleared; on an out-of-range mode
// (-1000) and on a null path in modes 0 and 1 (-994) the new, empty handle stays in *out and the
// caller releases it with ISO_CloseMovie.
int32_t ISO_OpenMovie(ISOMovieHandle** out, int32_t mode, const char* path);
int32_t ISO_CloseMovie(ISOMovieHandle* movie);
int32_t ISO_OpenTrack(ISOMovieHandle* movie, ISOTrackHandle** out, uint32_t trackIndex);
int32_t ISO_GetSampleCount(ISOTrackHandle* track, uint32_t* count);
int32_t ISO_CreateSample(ISOSampleRecord** out);
int32_t ISO_FreeSample(ISOSampleRecord* sample);
int32_t ISO_SetSampleNumber(ISOSampleRecord* sample, uint32_t sampleNumber);
int32_t ISO_SetSampleBuffer(ISOSampleRecord* sample, uint8_t* buffer);
int32_t ISO_SetBufferSize(ISOSampleRecord* sample, uint32_t capacity);
// Reads the sample the record names into its buffer. A sample larger than the capacity set by
// ISO_SetBufferSize is refused with -1000 and nothing is copied. The output fields are written
// in every case, so after a refusal `size` tells the capacity needed.
int32_t ISO_ReadSample(ISOTrackHandle* track, ISOSampleRecord* sample);
uint32_t ISO_GetSampleDuration(const ISOSampleRecord* sample);
uint32_t ISO_GetSampleSize(const ISOSampleRecord* sample);

// Names the memory block the next mode-5 ISO_OpenMovie on this thread reads. The block is not
// copied: it must stay alive and unchanged until that movie is closed.
void ISO_SetMemorySource(const uint8_t* data, size_t size);
