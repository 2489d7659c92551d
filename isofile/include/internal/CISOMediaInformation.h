// 'minf' media information container: holds the sample table.
#pragma once

#include <memory>

#include "CISOBox.h"
#include "CISOSampleTable.h"

class CISOMediaInformation : public CISOBox {
public:
    CISOMediaInformation() : CISOBox(kBoxMinf) {}
    const CISOSampleTable* SampleTable() const { return sampleTable_.get(); }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;

private:
    std::unique_ptr<CISOSampleTable> sampleTable_;
};
