// 'mvhd' movie header (ISO/IEC 14496-12, 8.2.2): the movie's time scale and duration.
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOMovieHeader : public CISOBox {
public:
    CISOMovieHeader() : CISOBox(kBoxMvhd) {}
    uint32_t TimeScale() const { return timeScale_; }
    uint64_t Duration() const { return duration_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t timeScale_ = 0;
    uint64_t duration_ = 0;
};
