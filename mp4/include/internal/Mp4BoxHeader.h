// Box headers and the child loop every container parse goes through.
#pragma once

#include <cstdint>

#include "Mp4BoxNames.h"
#include "Mp4Reader.h"

struct Mp4BoxHeader {
    uint32_t fourcc = 0;
    Mp4Box box = Mp4Box::Other;
    uint64_t headerBytes = 0;   // 8, 16 with a 64-bit size, +16 for a uuid extended type
    uint64_t declaredBytes = 0; // whole box as its size field says (size 0: up to `available`)
    uint64_t payloadBytes = 0;  // payload after clamping the box to `available`
};

// Reads a box header from `in`, whose box may extend at most `available` bytes from where the
// header starts. Size 1 reads a 64-bit size; size 0 runs to the end of `available`; a "uuid" type
// skips its 16-byte extended type. A size smaller than the header (2..7, or a 64-bit size below
// 16) throws BadBoxSize. A box claiming more than `available` is clamped to it: writers that cut
// a file short still leave everything before the cut readable.
Mp4BoxHeader Mp4ReadBoxHeader(Mp4Reader& in, uint64_t available);

// Calls visit(header, payload, whole) for each child box in `container`, in order, where
// `payload` is bounded to the child's payload and `whole` covers the child from its size field.
// Fewer than 8 bytes left at the end are ignored. `depth` is the child's nesting depth; beyond
// kMp4MaxBoxDepth throws TooDeep.
template <class Visit>
void Mp4ForEachChild(Mp4Reader container, int depth, Visit&& visit);

#include "Mp4Limits.h"

template <class Visit>
void Mp4ForEachChild(Mp4Reader container, int depth, Visit&& visit) {
    if (depth > kMp4MaxBoxDepth) MP4_FAIL(Mp4Fault::TooDeep);
    while (container.Remaining() >= kMp4BoxHeaderBytes) {
        Mp4Reader start = container;
        const uint64_t available = container.Remaining();
        const Mp4BoxHeader header = Mp4ReadBoxHeader(container, available);
        Mp4Reader payload = container.Sub(static_cast<size_t>(header.payloadBytes));
        Mp4Reader whole = start.Sub(static_cast<size_t>(header.headerBytes + header.payloadBytes));
        visit(header, payload, whole);
    }
}
