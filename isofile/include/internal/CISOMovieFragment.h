// 'moof' movie fragment container: its track fragments in file order ('mfhd' is passed over).
// Track fragments resolve their base data offset from this box's position.
#pragma once

#include <memory>
#include <vector>

#include "CISOBox.h"
#include "CISOTrackFragment.h"

class CISOMovieFragment : public CISOBox {
public:
    CISOMovieFragment() : CISOBox(kBoxMoof) {}
    const std::vector<std::unique_ptr<CISOTrackFragment>>& TrackFragments() const { return fragments_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;

private:
    std::vector<std::unique_ptr<CISOTrackFragment>> fragments_;
};
