// 'trex' parsing (see CISOTrackExtends.h).
#include "CISOTrackExtends.h"

void CISOTrackExtends::ParsePayload(CISOBoxReader& payload, int) {
    payload.U32();  // version, flags
    trackId_ = payload.U32();
    payload.U32();  // default sample description index
    defaultDuration_ = payload.U32();
    defaultSize_ = payload.U32();
    defaultFlags_ = payload.U32();
}
