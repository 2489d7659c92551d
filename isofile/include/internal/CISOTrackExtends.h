// 'trex' track extends (ISO/IEC 14496-12, 8.8.3): per-track defaults for fragment samples.
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOTrackExtends : public CISOBox {
public:
    CISOTrackExtends() : CISOBox(kBoxTrex) {}
    uint32_t TrackId() const { return trackId_; }
    uint32_t DefaultDuration() const { return defaultDuration_; }
    uint32_t DefaultSize() const { return defaultSize_; }
    uint32_t DefaultFlags() const { return defaultFlags_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t trackId_ = 0;
    uint32_t defaultDuration_ = 0;
    uint32_t defaultSize_ = 0;
    uint32_t defaultFlags_ = 0;
};
