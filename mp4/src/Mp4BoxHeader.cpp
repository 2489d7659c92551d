#include "Mp4BoxHeader.h"

#include "Mp4Limits.h"

namespace {
constexpr uint64_t kUuidExtendedTypeBytes = 16;
}  // namespace

Mp4BoxHeader Mp4ReadBoxHeader(Mp4Reader& in, uint64_t available) {
    Mp4BoxHeader header;
    const uint32_t size32 = in.U32();
    header.fourcc = in.U32();
    header.box = Mp4BoxOf(header.fourcc);
    header.headerBytes = kMp4BoxHeaderBytes;
    uint64_t size = size32;
    if (size32 == 1) {
        size = in.U64();
        header.headerBytes += 8;
    }
    if (header.box == Mp4Box::Uuid) {
        in.Skip(kUuidExtendedTypeBytes);
        header.headerBytes += kUuidExtendedTypeBytes;
    }
    if (size32 == 0) size = available;  // runs to the end of its parent (at top level: the file)
    if (size < header.headerBytes) MP4_FAIL(Mp4Fault::BadBoxSize);
    header.declaredBytes = size;
    const uint64_t clamped = size < available ? size : available;
    header.payloadBytes = clamped - header.headerBytes;
    return header;
}

Mp4LoadedBox::Mp4LoadedBox(Mp4Source& source, Mp4Span payload) {
    if (payload.size > kMp4MaxLoadedBoxBytes) MP4_FAIL(Mp4Fault::BoxTooLarge);
    bytes_.resize(static_cast<size_t>(payload.size));
    if (!source.Read(payload.offset, bytes_.data(), bytes_.size())) MP4_FAIL(Mp4Fault::Io);
}
