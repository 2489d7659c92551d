// 'tfdt' track fragment decode time (ISO/IEC 14496-12, 8.8.12).
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOTrackFragmentDecodeTime : public CISOBox {
public:
    CISOTrackFragmentDecodeTime() : CISOBox(kBoxTfdt) {}
    uint64_t BaseMediaDecodeTime() const { return baseMediaDecodeTime_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint64_t baseMediaDecodeTime_ = 0;
};
