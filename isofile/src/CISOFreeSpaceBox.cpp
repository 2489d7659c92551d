// Raw-payload boxes (see CISOFreeSpaceBox.h).
#include "CISOFreeSpaceBox.h"

void CISOFreeSpaceBox::ParsePayload(CISOBoxReader& payload, int) {
    payload_.resize(static_cast<size_t>(payload.Remaining()));
    payload.Bytes(payload_.data(), payload_.size());
}
