// 'trak' track container: track header and media. A track without 'tkhd' has no ID that
// fragments could refer to and fails the parse (code kMissingChild).
#pragma once

#include <memory>

#include "CISOBox.h"
#include "CISOMedia.h"
#include "CISOTrackHeader.h"

class CISOTrack : public CISOBox {
public:
    CISOTrack() : CISOBox(kBoxTrak) {}
    const CISOTrackHeader* Header() const { return header_.get(); }
    const CISOMedia* Media() const { return media_.get(); }
    // The sample table, or null when the track has none.
    const CISOSampleTable* SampleTable() const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;
    void CheckChildren() override;

private:
    std::unique_ptr<CISOTrackHeader> header_;
    std::unique_ptr<CISOMedia> media_;
};
