// Parsing of the sample table boxes (ISO/IEC 14496-12 8.6.1.2, 8.6.1.3, 8.6.2, 8.7.3, 8.7.4, 8.7.5).
// Every count is checked against the bytes its box holds before a table is allocated.
#include <algorithm>

#include "Mp4SampleTable.h"

namespace {

void SkipVersionAndFlags(Mp4Reader& in) { in.Skip(4); }

uint64_t CheckedAdd(uint64_t a, uint64_t b) {
    if (b > UINT64_MAX - a) MP4_FAIL(Mp4Fault::Overflow);
    return a + b;
}

uint64_t CheckedMul(uint64_t a, uint64_t b) {
    if (a != 0 && b > UINT64_MAX / a) MP4_FAIL(Mp4Fault::Overflow);
    return a * b;
}

}  // namespace

void Mp4SampleTable::ParseStsz(Mp4Reader payload) {
    SkipVersionAndFlags(payload);
    constantSize_ = payload.U32();
    sampleCount_ = payload.U32();
    if (constantSize_ != 0) return;
    payload.RequireEntries(sampleCount_, 4);
    sizePrefix_.resize(size_t{sampleCount_} + 1);
    sizePrefix_[0] = 0;
    for (uint32_t i = 0; i < sampleCount_; ++i) sizePrefix_[i + 1] = sizePrefix_[i] + payload.U32();
}

void Mp4SampleTable::ParseStz2(Mp4Reader payload) {
    SkipVersionAndFlags(payload);
    payload.Skip(3);  // reserved
    const uint8_t fieldBits = payload.U8();
    sampleCount_ = payload.U32();
    constantSize_ = 0;
    if (fieldBits != 4 && fieldBits != 8 && fieldBits != 16) MP4_FAIL(Mp4Fault::Truncated);
    // Entries packed at fieldBits each; 4-bit entries pair up in a byte, high nibble first.
    const uint64_t tableBytes = (uint64_t{sampleCount_} * fieldBits + 7) / 8;
    payload.RequireEntries(tableBytes, 1);
    sizePrefix_.resize(size_t{sampleCount_} + 1);
    sizePrefix_[0] = 0;
    uint8_t packed = 0;
    for (uint32_t i = 0; i < sampleCount_; ++i) {
        uint32_t size;
        if (fieldBits == 16) {
            size = payload.U16();
        } else if (fieldBits == 8) {
            size = payload.U8();
        } else {
            if (i % 2 == 0) packed = payload.U8();
            size = (i % 2 == 0) ? uint32_t(packed >> 4) : uint32_t(packed & 0x0F);
        }
        sizePrefix_[i + 1] = sizePrefix_[i] + size;
    }
}

void Mp4SampleTable::ParseStsc(Mp4Reader payload) {
    SkipVersionAndFlags(payload);
    const uint32_t count = payload.U32();
    payload.RequireEntries(count, 12);
    stscEntries_.resize(count);
    for (ChunkRun& run : stscEntries_) {
        run.firstChunk = payload.U32();
        run.samplesPerChunk = payload.U32();
        payload.Skip(4);  // sample_description_index: every chunk uses the first entry here
    }
}

void Mp4SampleTable::ParseChunkOffsets(Mp4Reader payload, bool sixtyFourBit) {
    SkipVersionAndFlags(payload);
    const uint32_t count = payload.U32();
    payload.RequireEntries(count, sixtyFourBit ? 8 : 4);
    chunkOffsets_.resize(count);
    for (uint64_t& offset : chunkOffsets_) offset = sixtyFourBit ? payload.U64() : payload.U32();
}

void Mp4SampleTable::ParseStts(Mp4Reader payload) {
    SkipVersionAndFlags(payload);
    const uint32_t count = payload.U32();
    payload.RequireEntries(count, 8);
    timeDeltas_.resize(count);
    timeStarts_.resize(count);
    timeEnds_.resize(count);
    timeRuns_.Reserve(count);
    uint64_t time = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t samples = payload.U32();
        timeDeltas_[i] = payload.U32();
        timeStarts_[i] = time;
        time = CheckedAdd(time, CheckedMul(samples, timeDeltas_[i]));
        timeEnds_[i] = time;
        timeRuns_.Append(samples);
    }
}

void Mp4SampleTable::ParseCtts(Mp4Reader payload) {
    SkipVersionAndFlags(payload);
    const uint32_t count = payload.U32();
    payload.RequireEntries(count, 8);
    renderOffsets_.resize(count);
    renderRuns_.Reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        renderRuns_.Append(payload.U32());
        renderOffsets_[i] = payload.U32();
    }
}

void Mp4SampleTable::ParseStss(Mp4Reader payload) {
    SkipVersionAndFlags(payload);
    const uint32_t count = payload.U32();
    payload.RequireEntries(count, 4);
    hasStss_ = true;
    syncIds_.resize(count);
    for (uint32_t& id : syncIds_) id = payload.U32();
    // Writers list sync samples in increasing order; sorting once lets a lookup trust that.
    std::sort(syncIds_.begin(), syncIds_.end());
    syncIds_.erase(std::unique(syncIds_.begin(), syncIds_.end()), syncIds_.end());
}

void Mp4SampleTable::Finish() {
    // Each stsc entry covers chunks [firstChunk, next entry's firstChunk), the last one up to the
    // final chunk. Entries out of order, numbered 0 or past the last chunk cover no chunk, so a
    // lookup never sees a chunk outside the offset table.
    const uint64_t chunkEnd = uint64_t{chunkOffsets_.size()} + 1;  // one past the last 1-based chunk
    chunkRuns_.Reserve(stscEntries_.size());
    for (size_t i = 0; i < stscEntries_.size(); ++i) {
        const uint64_t first = stscEntries_[i].firstChunk;
        uint64_t next = i + 1 < stscEntries_.size() ? stscEntries_[i + 1].firstChunk : chunkEnd;
        next = std::min(next, chunkEnd);
        const uint64_t chunks = (first >= 1 && next > first) ? next - first : 0;
        // chunks < 2^32 and samplesPerChunk < 2^32, so the product fits.
        chunkRuns_.Append(chunks * stscEntries_[i].samplesPerChunk);
    }
}
