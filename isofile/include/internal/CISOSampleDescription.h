// 'stsd' sample description (ISO/IEC 14496-12, 8.5.2). The library reads only how many entries
// there are and the first entry's type; the entries' own fields are read through other paths.
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOSampleDescription : public CISOBox {
public:
    CISOSampleDescription() : CISOBox(kBoxStsd) {}

    uint32_t EntryCount() const { return entryCount_; }
    uint32_t FirstEntryType() const { return firstEntryType_; }
    // Factor applied to table sample sizes and offsets. Every entry this library builds is an
    // audio entry or an unknown one, and both leave sizes unchanged.
    uint16_t SizeFactor() const { return 1; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t entryCount_ = 0;
    uint32_t firstEntryType_ = kBoxNone;
};
