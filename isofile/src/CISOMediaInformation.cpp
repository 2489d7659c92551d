// 'minf' children (see CISOMediaInformation.h). Media headers (smhd, vmhd ...) and 'dinf' are
// not needed to find samples and are passed over.
#include "CISOMediaInformation.h"

std::unique_ptr<CISOBox> CISOMediaInformation::CreateChild(uint32_t type) {
    return type == kBoxStbl ? std::make_unique<CISOSampleTable>() : nullptr;
}

void CISOMediaInformation::AdoptChild(std::unique_ptr<CISOBox> child) {
    sampleTable_.reset(static_cast<CISOSampleTable*>(child.release()));
}
