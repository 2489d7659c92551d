// 'moov' children (see CISOMovie.h). 'iods' and 'udta' carry nothing the sample path needs and
// are passed over.
#include "CISOMovie.h"

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\CISOMovie";
}

std::unique_ptr<CISOBox> CISOMovie::CreateChild(uint32_t type) {
    switch (type) {
        case kBoxMvhd: return std::make_unique<CISOMovieHeader>();
        case kBoxTrak: return std::make_unique<CISOTrack>();
        case kBoxMvex: return std::make_unique<CISOMovieExtends>();
        default: return nullptr;
    }
}

void CISOMovie::AdoptChild(std::unique_ptr<CISOBox> child) {
    CISOBox* box = child.release();
    switch (box->Type()) {
        case kBoxMvhd: header_.reset(static_cast<CISOMovieHeader*>(box)); break;
        case kBoxTrak: tracks_.emplace_back(static_cast<CISOTrack*>(box)); break;
        default: extends_.reset(static_cast<CISOMovieExtends*>(box)); break;
    }
}

void CISOMovie::CheckChildren() {
    if (!header_) ISO_THROW(CISOException::kMissingChild, kSource);
}
