// Box headers and the child loop every container parse goes through.
#pragma once

#include <cstdint>
#include <vector>

#include "Mp4BoxNames.h"
#include "Mp4Reader.h"
#include "Mp4Source.h"

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

// The same loop over a container left in the source: calls visit(header, payload) for each child,
// reading only the child's header. The file, the moov and the containers on the path to the
// sample tables are walked this way, so no box is read whole that the reader does not need whole.
template <class Visit>
void Mp4ForEachBox(Mp4Source& source, Mp4Span container, int depth, Visit&& visit);

// A box payload read into memory, for the boxes parsed field by field. Throws BoxTooLarge beyond
// kMp4MaxLoadedBoxBytes and Io when the bytes cannot be read.
class Mp4LoadedBox {
public:
    Mp4LoadedBox(Mp4Source& source, Mp4Span payload);
    Mp4Reader Reader() const { return Mp4Reader(bytes_.data(), bytes_.size()); }

private:
    std::vector<uint8_t> bytes_;
};

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

template <class Visit>
void Mp4ForEachBox(Mp4Source& source, Mp4Span container, int depth, Visit&& visit) {
    if (depth > kMp4MaxBoxDepth) MP4_FAIL(Mp4Fault::TooDeep);
    uint64_t at = 0;
    while (container.size - at >= kMp4BoxHeaderBytes) {
        const uint64_t available = container.size - at;
        uint8_t bytes[kMp4MaxBoxHeaderBytes];
        const size_t peek = available < sizeof bytes ? static_cast<size_t>(available) : sizeof bytes;
        if (!source.Read(container.offset + at, bytes, peek)) MP4_FAIL(Mp4Fault::Io);
        Mp4Reader in(bytes, peek);
        const Mp4BoxHeader header = Mp4ReadBoxHeader(in, available);
        visit(header, Mp4Span{container.offset + at + header.headerBytes, header.payloadBytes});
        at += header.headerBytes + header.payloadBytes;
    }
}
