// 'traf' track fragment container: its header, runs in file order and decode time. A track
// fragment without 'tfhd' names no track and fails the parse (code kMissingChild).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "CISOBox.h"
#include "CISOTrackFragmentDecodeTime.h"
#include "CISOTrackFragmentHeader.h"
#include "CISOTrackRun.h"

class CISOTrackFragment : public CISOBox {
public:
    explicit CISOTrackFragment(uint64_t moofPosition) : CISOBox(kBoxTraf), moofPosition_(moofPosition) {}
    const CISOTrackFragmentHeader* Header() const { return header_.get(); }
    const std::vector<std::unique_ptr<CISOTrackRun>>& Runs() const { return runs_; }
    const CISOTrackFragmentDecodeTime* DecodeTime() const { return decodeTime_.get(); }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;
    void CheckChildren() override;

private:
    uint64_t moofPosition_;
    std::unique_ptr<CISOTrackFragmentHeader> header_;
    std::vector<std::unique_ptr<CISOTrackRun>> runs_;
    std::unique_ptr<CISOTrackFragmentDecodeTime> decodeTime_;
};
