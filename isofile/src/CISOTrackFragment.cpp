// 'traf' children (see CISOTrackFragment.h).
#include "CISOTrackFragment.h"

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\CISOTrackFragment";
}

std::unique_ptr<CISOBox> CISOTrackFragment::CreateChild(uint32_t type) {
    switch (type) {
        case kBoxTfhd: return std::make_unique<CISOTrackFragmentHeader>(moofPosition_);
        case kBoxTrun: return std::make_unique<CISOTrackRun>();
        case kBoxTfdt: return std::make_unique<CISOTrackFragmentDecodeTime>();
        default: return nullptr;
    }
}

void CISOTrackFragment::AdoptChild(std::unique_ptr<CISOBox> child) {
    CISOBox* box = child.release();
    switch (box->Type()) {
        case kBoxTfhd: header_.reset(static_cast<CISOTrackFragmentHeader*>(box)); break;
        case kBoxTrun: runs_.emplace_back(static_cast<CISOTrackRun*>(box)); break;
        default: decodeTime_.reset(static_cast<CISOTrackFragmentDecodeTime*>(box)); break;
    }
}

void CISOTrackFragment::CheckChildren() {
    if (!header_) ISO_THROW(CISOException::kMissingChild, kSource);
}
