// 'mvhd' parsing (see CISOMovieHeader.h).
#include "CISOMovieHeader.h"

void CISOMovieHeader::ParsePayload(CISOBoxReader& payload, int) {
    const uint8_t version = payload.U8();
    payload.U24();  // flags
    if (version == 1) {
        payload.Skip(16);  // creation and modification times
        timeScale_ = payload.U32();
        duration_ = payload.U64();
    } else {
        payload.Skip(8);
        timeScale_ = payload.U32();
        duration_ = payload.U32();
    }
}
