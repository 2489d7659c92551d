// 'tfhd' track fragment header (ISO/IEC 14496-12, 8.8.7).
//
// The base data offset is resolved when parsed: the explicit one when flag 0x1 is set, otherwise
// the position of the enclosing 'moof' (which is what default-base-is-moof, 0x20000, asks for and
// what the standard gives the first track fragment of a movie fragment without either flag).
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOTrackFragmentHeader : public CISOBox {
public:
    enum Flags : uint32_t {
        kBaseDataOffset = 0x1,
        kDescriptionIndex = 0x2,
        kDefaultDuration = 0x8,
        kDefaultSize = 0x10,
        kDefaultFlags = 0x20,
    };

    explicit CISOTrackFragmentHeader(uint64_t moofPosition)
        : CISOBox(kBoxTfhd), baseDataOffset_(moofPosition) {}

    uint32_t Flags() const { return flags_; }
    uint32_t TrackId() const { return trackId_; }
    uint64_t BaseDataOffset() const { return baseDataOffset_; }
    uint32_t DefaultDuration() const { return defaultDuration_; }
    uint32_t DefaultSize() const { return defaultSize_; }
    uint32_t DefaultFlags() const { return defaultFlags_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t flags_ = 0;
    uint32_t trackId_ = 0;
    uint64_t baseDataOffset_;
    uint32_t defaultDuration_ = 0;
    uint32_t defaultSize_ = 0;
    uint32_t defaultFlags_ = 0;
};
