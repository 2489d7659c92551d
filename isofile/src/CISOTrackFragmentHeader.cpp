// 'tfhd' parsing (see CISOTrackFragmentHeader.h).
#include "CISOTrackFragmentHeader.h"

void CISOTrackFragmentHeader::ParsePayload(CISOBoxReader& payload, int) {
    payload.U8();  // version
    flags_ = payload.U24();
    trackId_ = payload.U32();
    if (flags_ & kBaseDataOffset) baseDataOffset_ = payload.U64();
    if (flags_ & kDescriptionIndex) payload.U32();
    if (flags_ & kDefaultDuration) defaultDuration_ = payload.U32();
    if (flags_ & kDefaultSize) defaultSize_ = payload.U32();
    if (flags_ & kDefaultFlags) defaultFlags_ = payload.U32();
}
