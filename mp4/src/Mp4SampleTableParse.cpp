// Parsing of the sample table boxes (ISO/IEC 14496-12 8.6.1.2, 8.6.1.3, 8.6.2, 8.7.3, 8.7.4, 8.7.5).
// Every count is checked against the bytes its box holds before a table is allocated or read.
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

// The fixed fields at the start of a table box whose entries stay in the file, and where those
// entries start. Fields past a payload shorter than the head throw Truncated as they are read.
template <size_t kBytes>
struct TableHead {
    TableHead(Mp4Source& source, Mp4Span payload) {
        const size_t n = payload.size < kBytes ? static_cast<size_t>(payload.size) : kBytes;
        if (!source.Read(payload.offset, bytes, n)) MP4_FAIL(Mp4Fault::Io);
        fields = Mp4Reader(bytes, n);
        entries = Mp4Span{payload.offset + n, payload.size - n};
    }
    TableHead(const TableHead&) = delete;  // `fields` reads `bytes`
    uint8_t bytes[kBytes];
    Mp4Reader fields;
    Mp4Span entries;
};

}  // namespace

void Mp4SampleTable::ParseStsz(Mp4Source& source, Mp4Span payload) {
    TableHead<12> head(source, payload);
    SkipVersionAndFlags(head.fields);
    constantSize_ = head.fields.U32();
    sampleCount_ = head.fields.U32();
    if (constantSize_ == 0) sizes_.Attach(source, head.entries, sampleCount_, 32);
}

void Mp4SampleTable::ParseStz2(Mp4Source& source, Mp4Span payload) {
    TableHead<12> head(source, payload);
    SkipVersionAndFlags(head.fields);
    head.fields.Skip(3);  // reserved
    const uint8_t fieldBits = head.fields.U8();
    sampleCount_ = head.fields.U32();
    constantSize_ = 0;
    if (fieldBits != 4 && fieldBits != 8 && fieldBits != 16) MP4_FAIL(Mp4Fault::Truncated);
    sizes_.Attach(source, head.entries, sampleCount_, fieldBits);
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

void Mp4SampleTable::ParseChunkOffsets(Mp4Source& source, Mp4Span payload, bool sixtyFourBit) {
    TableHead<8> head(source, payload);
    SkipVersionAndFlags(head.fields);
    const uint32_t count = head.fields.U32();
    chunkOffsets_.Attach(source, head.entries, count, sixtyFourBit ? 64 : 32);
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
    const uint64_t chunkEnd = chunkOffsets_.Count() + 1;  // one past the last 1-based chunk
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
