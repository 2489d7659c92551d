// Raw-payload boxes (see CISOFreeSpaceBox.h).
#include "CISOFreeSpaceBox.h"

#include <algorithm>

#include "ISOLimits.h"

void CISOFreeSpaceBox::ParsePayload(CISOBoxReader& payload, int) {
    payload_.resize(static_cast<size_t>(std::min<uint64_t>(payload.Remaining(), isolimits::kMaxKeptPayloadBytes)));
    payload.Bytes(payload_.data(), payload_.size());
    payload.SkipToEnd();
}
