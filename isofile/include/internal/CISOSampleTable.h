// 'stbl' sample table container (ISO/IEC 14496-12, 8.5.1). Any of its tables may be absent; the
// track reader treats an absent table as empty.
#pragma once

#include <memory>

#include "CISOBox.h"
#include "CISOChunkOffset.h"
#include "CISOCompositionOffset.h"
#include "CISOSampleDescription.h"
#include "CISOSampleSize.h"
#include "CISOSampleToChunk.h"
#include "CISOSyncSample.h"
#include "CISOTimeToSample.h"

class CISOSampleTable : public CISOBox {
public:
    CISOSampleTable() : CISOBox(kBoxStbl) {}

    const CISOSampleDescription* Description() const { return description_.get(); }
    const CISOTimeToSample* TimeToSample() const { return timeToSample_.get(); }
    const CISOCompositionOffset* CompositionOffsets() const { return compositionOffsets_.get(); }
    const CISOSampleToChunk* SampleToChunk() const { return sampleToChunk_.get(); }
    const CISOSampleSize* SampleSizes() const { return sampleSizes_.get(); }
    const CISOChunkOffset* ChunkOffsets() const { return chunkOffsets_.get(); }
    const CISOSyncSample* SyncSamples() const { return syncSamples_.get(); }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;

private:
    std::unique_ptr<CISOSampleDescription> description_;
    std::unique_ptr<CISOTimeToSample> timeToSample_;
    std::unique_ptr<CISOCompositionOffset> compositionOffsets_;
    std::unique_ptr<CISOSampleToChunk> sampleToChunk_;
    std::unique_ptr<CISOSampleSize> sampleSizes_;
    std::unique_ptr<CISOChunkOffset> chunkOffsets_;
    std::unique_ptr<CISOSyncSample> syncSamples_;
};
