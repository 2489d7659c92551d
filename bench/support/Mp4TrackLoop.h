// What the plain decode loops over an MP4 track share (the references the bench table and the
// job benchmarks time the module against): the first sound track of a file, its decoder
// configuration, and its access units read in order.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "mp4v2/mp4v2.h"

class Mp4TrackLoop {
public:
    explicit Mp4TrackLoop(const char* path) : file_(MP4Read(path)) {
        if (file_ != MP4_INVALID_FILE_HANDLE) track_ = MP4FindTrackId(file_, 0, MP4_AUDIO_TRACK_TYPE, 0);
    }
    ~Mp4TrackLoop() { MP4Close(file_, 0); }
    Mp4TrackLoop(const Mp4TrackLoop&) = delete;
    Mp4TrackLoop& operator=(const Mp4TrackLoop&) = delete;

    bool Opened() const { return track_ != MP4_INVALID_TRACK_ID; }

    // The track's decoder configuration; empty when it has none.
    std::vector<uint8_t> Config() const {
        uint8_t* bytes = nullptr;
        uint32_t size = 0;
        std::vector<uint8_t> config;
        if (MP4GetTrackESConfiguration(file_, track_, &bytes, &size) && bytes) config.assign(bytes, bytes + size);
        MP4Free(bytes);
        return config;
    }

    // Calls unit(bytes, size, sampleId) for each access unit in order, up to the first that
    // cannot be read.
    template <class Unit>
    void ForEachUnit(Unit&& unit) const {
        const MP4SampleId count = MP4GetTrackNumberOfSamples(file_, track_);
        for (MP4SampleId id = 1; id <= count; ++id) {
            uint8_t* bytes = nullptr;
            uint32_t size = 0;
            if (!MP4ReadSample(file_, track_, id, &bytes, &size)) break;
            unit(bytes, size, id);
            MP4Free(bytes);
        }
    }

private:
    MP4FileHandle file_;
    MP4TrackId track_ = MP4_INVALID_TRACK_ID;
};

// The loops' command line, FILE [OUTPUT]: the output (OUTPUT, or /dev/null), or nullptr after
// saying why.
inline FILE* OpenLoopOutput(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE [OUTPUT]\n", argv[0]);
        return nullptr;
    }
    FILE* out = std::fopen(argc > 2 ? argv[2] : "/dev/null", "wb");
    if (out == nullptr) std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[2]);
    return out;
}
