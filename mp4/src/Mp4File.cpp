#include "Mp4File.h"

#include "Mp4BoxHeader.h"

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
    file->source = std::move(source);
    Mp4Source& in = *file->source;
    bool sawMoov = false;
    // mdat and everything else is skipped unread; sample bytes are fetched on demand.
    Mp4ForEachBox(in, Mp4Span{0, in.Size()}, 1, [&](const Mp4BoxHeader& header, Mp4Span payload) {
        if (header.box != Mp4Box::Moov || sawMoov) return;
        sawMoov = true;
        file->movie = Mp4ParseMovie(in, payload);
    });
    if (!sawMoov) MP4_FAIL(Mp4Fault::NoMovieHeader);
    return file;
}
