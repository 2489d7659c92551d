// What an MP4FileHandle points to: the byte source, held open until MP4Close, and the parsed
// first moov, whose per-sample tables read their entries from that source as they are looked up.
// Also the entry point that opens from memory (fuzz target, tests).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Mp4Movie.h"
#include "Mp4Source.h"
#include "mp4v2/mp4v2.h"

struct Mp4File {
    std::unique_ptr<Mp4Source> source;
    Mp4Movie movie;

    // Listed track with this tkhd id (the sample and timing calls), or nullptr.
    Mp4Track* ListedTrack(MP4TrackId id);
    // Any trak with this tkhd id (the property calls), or nullptr.
    Mp4Track* AnyTrack(MP4TrackId id);
};

// Scans the top-level boxes of `source` and parses the first moov. Never reads mdat, nor the
// entries of the sample size and chunk offset tables. Throws Mp4Error when there is no moov with
// an mvhd, or the moov is malformed.
std::unique_ptr<Mp4File> Mp4OpenFile(std::unique_ptr<Mp4Source> source);

// MP4Read over a memory image (the bytes are copied); NULL where MP4Read would fail.
MP4FileHandle Mp4ReadMemory(const uint8_t* data, size_t size);
