// 'mdhd' media header (ISO/IEC 14496-12, 8.4.2): the track's time scale and media duration.
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOMediaHeader : public CISOBox {
public:
    CISOMediaHeader() : CISOBox(kBoxMdhd) {}
    uint32_t TimeScale() const { return timeScale_; }
    uint64_t Duration() const { return duration_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t timeScale_ = 0;
    uint64_t duration_ = 0;
};
