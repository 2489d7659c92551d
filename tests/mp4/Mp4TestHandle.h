// Test helpers: a handle that closes itself, opened from a file image in memory or on disk.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Mp4File.h"
#include "TestFiles.h"
#include "mp4v2/mp4v2.h"

struct Mp4Closer {
    void operator()(void* h) const { MP4Close(h, 0); }
};
using Mp4Handle = std::unique_ptr<void, Mp4Closer>;

inline Mp4Handle OpenImage(const std::vector<uint8_t>& bytes) {
    return Mp4Handle(Mp4ReadMemory(bytes.data(), bytes.size()));
}

// Writes the image to a scratch file and opens it with MP4Read (the path callers use).
inline Mp4Handle OpenImageFile(const std::vector<uint8_t>& bytes, const std::string& name) {
    const std::string path = testfiles::ScratchDir() + "/" + name;
    if (!testfiles::WriteAll(path, bytes)) return Mp4Handle();
    return Mp4Handle(MP4Read(path.c_str()));
}

// The track's decoder configuration, or the named bytes property, as a copy; nullopt when the
// call fails.
inline std::optional<std::vector<uint8_t>> CopyBytes(MP4FileHandle h, MP4TrackId id, const char* property = nullptr) {
    uint8_t* bytes = nullptr;
    uint32_t size = 0;
    const bool ok = property ? MP4GetTrackBytesProperty(h, id, property, &bytes, &size)
                             : MP4GetTrackESConfiguration(h, id, &bytes, &size);
    std::optional<std::vector<uint8_t>> out;
    if (ok) out.emplace(bytes, bytes + size);
    MP4Free(bytes);
    return out;
}

// Reads a sample into a library-allocated buffer; empty on failure.
inline bool ReadSampleBytes(MP4FileHandle h, MP4TrackId id, MP4SampleId sample, std::vector<uint8_t>& out) {
    uint8_t* bytes = nullptr;
    uint32_t count = 0;
    if (!MP4ReadSample(h, id, sample, &bytes, &count)) return false;
    out.assign(bytes, bytes + count);
    MP4Free(bytes);
    return true;
}
