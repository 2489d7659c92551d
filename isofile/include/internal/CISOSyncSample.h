// 'stss' sync sample table (ISO/IEC 14496-12, 8.6.2): 1-based sample numbers. They must not
// decrease (the standard requires strictly increasing); a table out of order fails the parse,
// so a lookup can search it.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"

class CISOSyncSample : public CISOBox {
public:
    CISOSyncSample() : CISOBox(kBoxStss) {}
    // True when the first entry not below `sampleNumber` (1-based) equals it.
    bool IsSync(uint64_t sampleNumber, size_t& cursor) const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    std::vector<uint32_t> numbers_;
};
