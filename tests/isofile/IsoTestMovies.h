// Handles of the flat interface for the ISO library tests, closed at scope end; the movies
// themselves come from Mp4TestMovie.
#pragma once

#include <cstdint>
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

}  // namespace isotest
