// 'ftyp'/'styp' parsing (see CISOFile.h).
#include "CISOFile.h"

void CISOFile::ParsePayload(CISOBoxReader& payload, int) {
    for (uint8_t& b : majorBrand_) b = payload.U8();
    minorVersion_ = payload.U32();
    while (payload.Remaining() >= 4) compatibleBrands_.push_back(payload.U32());
}
