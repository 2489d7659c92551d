// File-type ('ftyp') and segment-type ('styp') boxes, which share one layout: a major brand, a
// minor version and compatible brands until the payload is used up.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"

class CISOFile : public CISOBox {
public:
    explicit CISOFile(uint32_t type = kBoxFtyp) : CISOBox(type) {}
    const uint8_t* MajorBrand() const { return majorBrand_; }
    uint32_t MinorVersion() const { return minorVersion_; }
    const std::vector<uint32_t>& CompatibleBrands() const { return compatibleBrands_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint8_t majorBrand_[4] = {0, 0, 0, 0};
    uint32_t minorVersion_ = 0;
    std::vector<uint32_t> compatibleBrands_;
};

// The segment-type object: a file-type box recorded as 'styp'.
class CISOFileSegment : public CISOFile {
public:
    CISOFileSegment() : CISOFile(kBoxStyp) {}
};
