// 'mdia' children (see CISOMedia.h).
#include "CISOMedia.h"

std::unique_ptr<CISOBox> CISOMedia::CreateChild(uint32_t type) {
    switch (type) {
        case kBoxMdhd: return std::make_unique<CISOMediaHeader>();
        case kBoxHdlr: return std::make_unique<CISOHandler>();
        case kBoxMinf: return std::make_unique<CISOMediaInformation>();
        default: return nullptr;
    }
}

void CISOMedia::AdoptChild(std::unique_ptr<CISOBox> child) {
    CISOBox* box = child.release();
    switch (box->Type()) {
        case kBoxMdhd: header_.reset(static_cast<CISOMediaHeader*>(box)); break;
        case kBoxHdlr: handler_.reset(static_cast<CISOHandler*>(box)); break;
        default: information_.reset(static_cast<CISOMediaInformation*>(box)); break;
    }
}
