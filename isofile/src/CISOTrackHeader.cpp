// 'tkhd' parsing (see CISOTrackHeader.h).
#include "CISOTrackHeader.h"

void CISOTrackHeader::ParsePayload(CISOBoxReader& payload, int) {
    const uint8_t version = payload.U8();
    payload.U24();  // flags
    payload.Skip(version == 1 ? 16 : 8);  // creation and modification times
    trackId_ = payload.U32();
}
