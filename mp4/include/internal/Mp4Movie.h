// The parsed first moov of a file: movie header values, every trak (listed or not), the initial
// object descriptor's audio profile and the freeform metadata items.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Mp4Descriptors.h"
#include "Mp4Metadata.h"
#include "Mp4Reader.h"
#include "Mp4SampleTable.h"
#include "Mp4Source.h"

struct Mp4Edit {
    uint64_t segmentDuration = 0;  // movie ticks, as stored
    uint64_t mediaTime = 0;        // media ticks, as stored (version 0: zero-extended 32 bits)
};

// The first stsd entry, and the first "alac" entry, as far as the interface needs them.
struct Mp4SampleEntry {
    bool present = false;
    bool isSound = false;
    int channels = -1;             // sound entries only
    bool hasEsds = false;
    Mp4EsConfig es;
    bool hasAlacBox = false;       // in the first "alac" entry (any position in stsd)
    std::vector<uint8_t> alacBox;  // its inner "alac" box from the size field on
};

struct Mp4Track {
    bool hasTkhd = false;
    uint32_t trackId = 0;
    bool listed = false;   // has every box the sample calls need (see Mp4ParseMovie)
    char handler[5] = {0, 0, 0, 0, 0};
    uint32_t timeScale = 0;  // mdhd
    uint64_t duration = 0;   // mdhd
    bool hasEdits = false;
    std::vector<Mp4Edit> edits;
    Mp4SampleEntry entry;
    Mp4SampleTable samples;
};

struct Mp4Movie {
    uint32_t timeScale = 0;
    uint8_t audioProfile = 0;
    std::vector<Mp4Track> tracks;
    std::vector<Mp4FreeformItem> items;
};

// Parses the moov whose payload is `moov` in `source`, reading the boxes it needs one at a time;
// the tracks' sample tables keep reading from `source`, which must outlive the movie. Throws
// Mp4Error when a box is too small for its fields or counts, or when there is no mvhd. A trak
// lacking tkhd, mdhd, hdlr, stsz/stz2, stsc, stco/co64 or stts is kept but not listed.
Mp4Movie Mp4ParseMovie(Mp4Source& source, Mp4Span moov);
