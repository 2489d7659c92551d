// 'trak' children (see CISOTrack.h). Edit lists and track references are read elsewhere.
#include "CISOTrack.h"

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\CISOTrack";
}

const CISOSampleTable* CISOTrack::SampleTable() const {
    if (!media_ || media_->Information() == nullptr) return nullptr;
    return media_->Information()->SampleTable();
}

std::unique_ptr<CISOBox> CISOTrack::CreateChild(uint32_t type) {
    switch (type) {
        case kBoxTkhd: return std::make_unique<CISOTrackHeader>();
        case kBoxMdia: return std::make_unique<CISOMedia>();
        default: return nullptr;
    }
}

void CISOTrack::AdoptChild(std::unique_ptr<CISOBox> child) {
    CISOBox* box = child.release();
    if (box->Type() == kBoxTkhd) {
        header_.reset(static_cast<CISOTrackHeader*>(box));
    } else {
        media_.reset(static_cast<CISOMedia*>(box));
    }
}

void CISOTrack::CheckChildren() {
    if (!header_) ISO_THROW(CISOException::kMissingChild, kSource);
}
