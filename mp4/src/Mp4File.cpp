#include "Mp4File.h"

#include <vector>

#include "Mp4BoxHeader.h"
#include "Mp4Limits.h"

namespace {

// A box header is at most 32 bytes: size, type, 64-bit size and a uuid extended type.
constexpr size_t kMaxHeaderBytes = 32;

}  // namespace

Mp4Track* Mp4File::ListedTrack(MP4TrackId id) {
    for (Mp4Track& track : movie.tracks) {
        if (track.listed && track.trackId == id) return &track;
    }
    return nullptr;
}

Mp4Track* Mp4File::AnyTrack(MP4TrackId id) {
    for (Mp4Track& track : movie.tracks) {
        if (track.hasTkhd && track.trackId == id) return &track;
    }
    return nullptr;
}

std::unique_ptr<Mp4File> Mp4OpenFile(std::unique_ptr<Mp4Source> source) {
    auto file = std::make_unique<Mp4File>();
    const uint64_t fileSize = source->Size();
    uint64_t position = 0;
    bool sawMoov = false;
    while (fileSize - position >= kMp4BoxHeaderBytes) {
        const uint64_t available = fileSize - position;
        uint8_t headerBytes[kMaxHeaderBytes];
        const size_t peek = available < kMaxHeaderBytes ? static_cast<size_t>(available) : kMaxHeaderBytes;
        if (!source->Read(position, headerBytes, peek)) MP4_FAIL(Mp4Fault::Io);
        Mp4Reader headerReader(headerBytes, peek);
        const Mp4BoxHeader header = Mp4ReadBoxHeader(headerReader, available);
        if (header.box == Mp4Box::Moov && !sawMoov) {
            sawMoov = true;
            if (header.payloadBytes > kMp4MaxMovieBytes) MP4_FAIL(Mp4Fault::MovieTooLarge);
            std::vector<uint8_t> moov(static_cast<size_t>(header.payloadBytes));
            if (!source->Read(position + header.headerBytes, moov.data(), moov.size())) MP4_FAIL(Mp4Fault::Io);
            file->movie = Mp4ParseMovie(Mp4Reader(moov.data(), moov.size()));
        }
        // mdat and everything else is skipped unread; sample bytes are fetched on demand.
        position += header.headerBytes + header.payloadBytes;
    }
    if (!sawMoov) MP4_FAIL(Mp4Fault::NoMovieHeader);
    file->source = std::move(source);
    return file;
}
