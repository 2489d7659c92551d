// 'mdhd' parsing (see CISOMediaHeader.h).
#include "CISOMediaHeader.h"

void CISOMediaHeader::ParsePayload(CISOBoxReader& payload, int) {
    const uint8_t version = payload.U8();
    payload.U24();  // flags
    payload.Skip(version == 1 ? 16 : 8);  // creation and modification times
    timeScale_ = payload.U32();
    duration_ = version == 1 ? payload.U64() : payload.U32();
}
