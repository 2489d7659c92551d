// Freeform ("----") items of the movie's iTunes-style metadata list (moov.udta.meta.ilst), kept
// as parsed at open and copied out on request.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Mp4Reader.h"
#include "Mp4Source.h"

struct Mp4DataValue {
    uint8_t typeSetIdentifier = 0;
    uint8_t typeCode = 0;
    uint32_t locale = 0;
    std::vector<uint8_t> value;
};

struct Mp4FreeformItem {
    bool hasMean = false;
    std::string mean;  // first mean box's payload after version and flags, byte for byte
    bool hasName = false;
    std::string name;  // likewise for the first name box
    std::vector<Mp4DataValue> data;
};

// Parses the ilst box whose payload is `ilst` in `source` into its freeform items, in order; other
// items are skipped unread. Never throws for malformed content: malformed items are left out.
std::vector<Mp4FreeformItem> Mp4ParseIlst(Mp4Source& source, Mp4Span ilst, int depth);

// True when `item` answers a search for `meaning` and `name` ("" matches any name).
bool Mp4ItemMatches(const Mp4FreeformItem& item, const std::string& meaning, const std::string& name);
