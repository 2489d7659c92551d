// 'stbl' children (see CISOSampleTable.h). A repeated table replaces the earlier one.
#include "CISOSampleTable.h"

namespace {
template <typename T>
void Take(std::unique_ptr<CISOBox>& box, std::unique_ptr<T>& slot) {
    slot.reset(static_cast<T*>(box.release()));
}
}  // namespace

std::unique_ptr<CISOBox> CISOSampleTable::CreateChild(uint32_t type) {
    switch (type) {
        case kBoxStsd: return std::make_unique<CISOSampleDescription>();
        case kBoxStts: return std::make_unique<CISOTimeToSample>();
        case kBoxCtts: return std::make_unique<CISOCompositionOffset>();
        case kBoxStsc: return std::make_unique<CISOSampleToChunk>();
        case kBoxStsz:
        case kBoxStz2: return std::make_unique<CISOSampleSize>(type);
        case kBoxStco:
        case kBoxCo64: return std::make_unique<CISOChunkOffset>(type);
        case kBoxStss: return std::make_unique<CISOSyncSample>();
        default: return nullptr;
    }
}

void CISOSampleTable::AdoptChild(std::unique_ptr<CISOBox> child) {
    switch (child->Type()) {
        case kBoxStsd: Take(child, description_); break;
        case kBoxStts: Take(child, timeToSample_); break;
        case kBoxCtts: Take(child, compositionOffsets_); break;
        case kBoxStsc: Take(child, sampleToChunk_); break;
        case kBoxStsz:
        case kBoxStz2: Take(child, sampleSizes_); break;
        case kBoxStco:
        case kBoxCo64: Take(child, chunkOffsets_); break;
        case kBoxStss: Take(child, syncSamples_); break;
        default: break;
    }
}
