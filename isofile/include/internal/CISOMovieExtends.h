// 'mvex' movie extends container: the 'trex' defaults of each track ('mehd' is passed over).
#pragma once

#include <memory>
#include <vector>

#include "CISOBox.h"
#include "CISOTrackExtends.h"

class CISOMovieExtends : public CISOBox {
public:
    CISOMovieExtends() : CISOBox(kBoxMvex) {}
    // The first 'trex' for the track ID, or null.
    const CISOTrackExtends* ForTrack(uint32_t trackId) const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;

private:
    std::vector<std::unique_ptr<CISOTrackExtends>> extends_;
};
