// Flat reader interface over the ISO library (see IsoReaderInterface.h). This is the one place
// where the library's CISOException is caught and becomes a result code.
#include "IsoReaderInterface.h"

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "CISOException.h"
#include "ISOFileStream.h"
#include "ISOInMemoryStream.h"
#include "ISOMovie.h"
#include "ISOTrack.h"
#include "ISOTrackReader.h"

struct ISOTrackHandle {
    ISOTrack* track = nullptr;                  // owned by the movie
    ISOMovieHandle* movieHandle = nullptr;
    ISOTrackReader* reader = nullptr;           // owned by the track; read modes only
    ISOTrackWriter* writer = nullptr;           // owned by the track; write modes only
};

struct ISOMovieHandle {
    std::unique_ptr<ISOGenericStream> stream;
    std::unique_ptr<ISOMovie> movie;
    int32_t mode = 0;
    std::vector<std::unique_ptr<ISOTrackHandle>> tracks;
};

namespace {

bool ReadsWithReader(int32_t mode) { return mode == 0 || mode == 1 || mode == kIsoModeMemory; }

// Opens the stream for `mode` and builds the movie over it; false when there is no movie.
bool BuildMovie(ISOMovieHandle& handle, const char* path) {
    const int32_t mode = handle.mode;
    if (mode == kIsoModeMemory) {
        handle.stream = std::make_unique<ISOInMemoryStream>();
    } else {
        auto file = std::make_unique<ISOFileStream>();
        // The open's own result is not looked at: a file that did not open has size 0 and fails
        // as "not a movie" when it is parsed.
        if (mode == 0 || mode == 1) {
            file->OpenRead(path);
        } else {
            file->OpenWrite(path);
        }
        handle.stream = std::move(file);
    }
    handle.movie = ISOMovie::Build(*handle.stream, mode);
    return handle.movie != nullptr;
}

}  // namespace

void ISO_SetMemorySource(const uint8_t* data, size_t size) { ISOInMemoryStream::SetPendingSource(data, size); }

int32_t ISO_OpenMovie(ISOMovieHandle** out, int32_t mode, const char* path) {
    if (out == nullptr) return kIsoNullArgument;
    ISOMovieHandle* handle = new (std::nothrow) ISOMovieHandle;
    *out = handle;
    if (handle == nullptr) return kIsoOutOfMemory;
    handle->mode = mode;
    if (mode < 0 || mode > kIsoModeLast) return kIsoFailed;  // the empty handle stays in *out
    if ((mode == 0 || mode == 1) && path == nullptr) return kIsoNullArgument;  // likewise
    int32_t result = kIsoOk;
    if ((mode == 0 || mode == 1) && std::strstr(path, "http://") != nullptr) {
        result = kIsoNetworkPath;
    } else {
        try {
            if (!BuildMovie(*handle, path)) result = kIsoNotAMovie;
        } catch (const CISOException&) {
            // Malformed boxes, and a null path in a write mode (the file stream's code 4).
            result = kIsoNotAMovie;
        } catch (const std::bad_alloc&) {
            result = kIsoOutOfMemory;
        }
    }
    if (result != kIsoOk) {
        handle->movie.reset();
        handle->stream.reset();
        delete handle;
        *out = nullptr;
    }
    return result;
}

int32_t ISO_CloseMovie(ISOMovieHandle* movie) {
    if (movie == nullptr) return kIsoNullArgument;
    if (auto* file = dynamic_cast<ISOFileStream*>(movie->stream.get())) {
        if (movie->mode == 0) {
            file->CloseRead();
        } else {
            file->CloseWrite();
        }
    }
    movie->stream.reset();
    movie->tracks.clear();
    movie->movie.reset();
    delete movie;
    return kIsoOk;
}

int32_t ISO_OpenTrack(ISOMovieHandle* movie, ISOTrackHandle** out, uint32_t trackIndex) {
    if (movie == nullptr) return kIsoNullHandle;
    if (!movie->movie) return kIsoNotAMovie;
    if (out == nullptr) return kIsoNullArgument;
    std::unique_ptr<ISOTrackHandle> handle(new (std::nothrow) ISOTrackHandle);
    if (!handle) return kIsoOutOfMemory;
    ISOTrack* track = movie->movie->TrackAt(trackIndex);
    if (track == nullptr) return kIsoNoTrack;  // the handle is freed; the movie stays usable
    handle->track = track;
    handle->movieHandle = movie;
    try {
        if (ReadsWithReader(movie->mode)) {
            handle->reader = track->CreateReader();
        } else {
            handle->writer = track->Writer();
        }
        movie->tracks.push_back(std::move(handle));
    } catch (const std::bad_alloc&) {
        return kIsoOutOfMemory;
    }
    *out = movie->tracks.back().get();
    return kIsoOk;
}

int32_t ISO_GetSampleCount(ISOTrackHandle* track, uint32_t* count) {
    if (track == nullptr || track->track == nullptr) return kIsoNullHandle;
    if (count == nullptr) return kIsoNullArgument;
    *count = track->track->SampleCount();
    return kIsoOk;
}

int32_t ISO_CreateSample(ISOSampleRecord** out) {
    if (out == nullptr) return kIsoNullArgument;
    *out = new (std::nothrow) ISOSampleRecord{};
    return *out == nullptr ? kIsoOutOfMemory : kIsoOk;
}

int32_t ISO_FreeSample(ISOSampleRecord* sample) {
    if (sample == nullptr) return kIsoNullHandle;
    delete sample;
    return kIsoOk;
}

int32_t ISO_SetSampleNumber(ISOSampleRecord* sample, uint32_t sampleNumber) {
    if (sample == nullptr) return kIsoNullHandle;
    sample->sampleNumber = sampleNumber;
    return kIsoOk;
}

int32_t ISO_SetSampleBuffer(ISOSampleRecord* sample, uint8_t* buffer) {
    if (sample == nullptr) return kIsoNullHandle;
    sample->buffer = buffer;
    return kIsoOk;
}

int32_t ISO_SetBufferSize(ISOSampleRecord* sample, uint32_t capacity) {
    if (sample == nullptr) return kIsoNullHandle;
    sample->size = capacity;
    return kIsoOk;
}

int32_t ISO_ReadSample(ISOTrackHandle* track, ISOSampleRecord* sample) {
    if (track == nullptr || track->reader == nullptr || sample == nullptr) return kIsoNullHandle;
    // Sample number 0 wraps to the all-ones index, which the reader takes as its cursor.
    const uint32_t index = sample->sampleNumber - 1u;
    ISOSampleInfo info;
    int32_t status = ISOTrackReader::kUnreadable;
    try {
        status = track->reader->ReadSample(index, info, sample->buffer, sample->size);
    } catch (const CISOException&) {
        status = ISOTrackReader::kUnreadable;
    } catch (const std::bad_alloc&) {
        return kIsoOutOfMemory;
    }
    sample->duration = info.duration;
    sample->compositionOffset = info.compositionOffset;
    sample->size = info.size;
    sample->sync = info.sync;
    sample->fileOffset = info.fileOffset;
    if (status == ISOTrackReader::kPastEnd) return kIsoEndOfTrack;
    return status < 0 ? kIsoFailed : kIsoOk;
}

uint32_t ISO_GetSampleDuration(const ISOSampleRecord* sample) { return sample == nullptr ? 0 : sample->duration; }

uint32_t ISO_GetSampleSize(const ISOSampleRecord* sample) { return sample == nullptr ? 0 : sample->size; }
