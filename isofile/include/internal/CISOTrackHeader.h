// 'tkhd' track header (ISO/IEC 14496-12, 8.3.2): the track ID that fragments refer to.
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOTrackHeader : public CISOBox {
public:
    CISOTrackHeader() : CISOBox(kBoxTkhd) {}
    uint32_t TrackId() const { return trackId_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t trackId_ = 0;
};
