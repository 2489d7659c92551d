// Sample lookups over the validated tables.
#include <algorithm>

#include "Mp4SampleTable.h"

bool Mp4SampleTable::Locate(uint32_t sampleId, uint64_t& offset, uint32_t& size) const {
    if (sampleId == 0 || sampleId > sampleCount_) return false;
    const uint64_t index = sampleId - 1;
    if (index >= chunkRuns_.Total()) return false;
    const size_t run = chunkRuns_.Find(index);
    const ChunkRun& entry = stscEntries_[run];
    // A run holding index has samplesPerChunk > 0 and spans only chunks inside the offset table.
    const uint64_t inRun = index - chunkRuns_.First(run);
    const uint64_t chunkInRun = inRun / entry.samplesPerChunk;
    const uint64_t chunkFirstIndex = index - inRun % entry.samplesPerChunk;
    const uint64_t chunkOffset = chunkOffsets_.At(entry.firstChunk - 1 + chunkInRun);
    uint64_t before;  // bytes of the chunk's samples ahead of this one
    if (constantSize_ != 0) {
        size = constantSize_;
        before = (index - chunkFirstIndex) * constantSize_;
    } else {
        size = static_cast<uint32_t>(sizes_.At(index));
        before = BytesBefore(index, chunkFirstIndex, size);
    }
    if (before > UINT64_MAX - chunkOffset) return false;
    offset = chunkOffset + before;
    return true;
}

uint64_t Mp4SampleTable::BytesBefore(uint64_t index, uint64_t chunkFirst, uint32_t size) const {
    uint64_t before = 0;
    uint64_t at = chunkFirst;
    if (last_.chunkFirst == chunkFirst && last_.index <= index) {
        before = last_.before;
        at = last_.index;
        if (at < index) before += last_.size, ++at;
    }
    // At most 2^32 sizes below 2^32 each: the sum fits.
    for (; at < index; ++at) before += sizes_.At(at);
    last_ = Located{index, chunkFirst, before, size};
    return before;
}

bool Mp4SampleTable::Time(uint32_t sampleId, uint64_t& start, uint64_t& duration) const {
    if (sampleId == 0 || sampleId > timeRuns_.Total()) return false;
    const uint64_t index = sampleId - 1;
    const size_t run = timeRuns_.Find(index);
    duration = timeDeltas_[run];
    // Cannot overflow: the run's end time was checked when the table was parsed.
    start = timeStarts_[run] + (index - timeRuns_.First(run)) * duration;
    return true;
}

uint32_t Mp4SampleTable::IdFromTime(uint64_t when) const {
    // The first run whose end reaches `when` is the one a walk over the runs would stop at.
    const auto it = std::lower_bound(timeEnds_.begin(), timeEnds_.end(), when);
    if (it == timeEnds_.end()) return 0;
    const size_t run = static_cast<size_t>(it - timeEnds_.begin());
    const uint64_t firstId = timeRuns_.First(run) + 1;
    const uint64_t delta = timeDeltas_[run];
    const uint64_t id = delta == 0 ? firstId : firstId + (when - timeStarts_[run]) / delta;
    return id > UINT32_MAX ? 0 : static_cast<uint32_t>(id);
}

int8_t Mp4SampleTable::Sync(uint32_t sampleId) const {
    if (!hasStss_) return 1;
    return std::binary_search(syncIds_.begin(), syncIds_.end(), sampleId) ? 1 : 0;
}

uint32_t Mp4SampleTable::SyncAtOrAfter(uint32_t sampleId) const {
    if (!hasStss_) return sampleId;
    const auto it = std::lower_bound(syncIds_.begin(), syncIds_.end(), sampleId);
    return it == syncIds_.end() ? 0 : *it;
}

uint64_t Mp4SampleTable::RenderingOffset(uint32_t sampleId) const {
    if (sampleId == 0 || sampleId > renderRuns_.Total()) return 0;
    return renderOffsets_[renderRuns_.Find(sampleId - 1)];
}
