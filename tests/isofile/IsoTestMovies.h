// Handles of the flat interface for the ISO library tests, closed at scope end, and a track
// reader; the movies themselves come from Mp4TestMovie.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "IsoReaderInterface.h"
#include "Mp4TestMovie.h"

namespace isotest {

struct MovieGuard {
    ISOMovieHandle* handle = nullptr;
    ~MovieGuard() {
        if (handle != nullptr) ISO_CloseMovie(handle);
    }
};

// Opens `bytes` in memory mode; the bytes must outlive the guard.
inline int32_t OpenInMemory(const std::vector<uint8_t>& bytes, MovieGuard& guard) {
    ISO_SetMemorySource(bytes.data(), bytes.size());
    return ISO_OpenMovie(&guard.handle, kIsoModeMemory, nullptr);
}

// Track 0 of a movie held in memory (the reader keeps pointing into it) or of a file, and a
// sample record reading into `buffer`.
struct Reader {
    const std::vector<uint8_t> bytes;
    MovieGuard movie;
    ISOTrackHandle* track = nullptr;
    ISOSampleRecord* record = nullptr;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(8192);  // as large as the xHE-AAC job's
    explicit Reader(std::vector<uint8_t> file) : bytes(std::move(file)) {
        EXPECT_EQ(OpenInMemory(bytes, movie), kIsoOk);
        OpenTrack();
    }
    explicit Reader(const std::string& path) {
        EXPECT_EQ(ISO_OpenMovie(&movie.handle, kIsoModeRead, path.c_str()), kIsoOk) << path;
        OpenTrack();
    }
    ~Reader() { ISO_FreeSample(record); }
    void OpenTrack() {
        ISO_CreateSample(&record);
        EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, 0), kIsoOk);
        ISO_SetSampleBuffer(record, buffer.data());
    }
    int32_t Read(uint32_t sampleNumber) {
        ISO_SetSampleNumber(record, sampleNumber);
        ISO_SetBufferSize(record, static_cast<uint32_t>(buffer.size()));
        return ISO_ReadSample(track, record);
    }
    std::vector<uint8_t> Bytes() const { return std::vector<uint8_t>(buffer.begin(), buffer.begin() + record->size); }
};

}  // namespace isotest
