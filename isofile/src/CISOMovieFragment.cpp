// 'moof' children (see CISOMovieFragment.h).
#include "CISOMovieFragment.h"

std::unique_ptr<CISOBox> CISOMovieFragment::CreateChild(uint32_t type) {
    // Position() is set before the parse runs, so the fragments see this box's offset.
    return type == kBoxTraf ? std::make_unique<CISOTrackFragment>(Position()) : nullptr;
}

void CISOMovieFragment::AdoptChild(std::unique_ptr<CISOBox> child) {
    fragments_.emplace_back(static_cast<CISOTrackFragment*>(child.release()));
}
