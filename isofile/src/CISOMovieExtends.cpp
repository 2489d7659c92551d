// 'mvex' children (see CISOMovieExtends.h).
#include "CISOMovieExtends.h"

const CISOTrackExtends* CISOMovieExtends::ForTrack(uint32_t trackId) const {
    for (const auto& trex : extends_) {
        if (trex->TrackId() == trackId) return trex.get();
    }
    return nullptr;
}

std::unique_ptr<CISOBox> CISOMovieExtends::CreateChild(uint32_t type) {
    return type == kBoxTrex ? std::make_unique<CISOTrackExtends>() : nullptr;
}

void CISOMovieExtends::AdoptChild(std::unique_ptr<CISOBox> child) {
    extends_.emplace_back(static_cast<CISOTrackExtends*>(child.release()));
}
