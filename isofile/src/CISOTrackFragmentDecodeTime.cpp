// 'tfdt' parsing (see CISOTrackFragmentDecodeTime.h).
#include "CISOTrackFragmentDecodeTime.h"

void CISOTrackFragmentDecodeTime::ParsePayload(CISOBoxReader& payload, int) {
    const uint8_t version = payload.U8();
    payload.U24();  // flags
    baseMediaDecodeTime_ = version == 1 ? payload.U64() : payload.U32();
}
