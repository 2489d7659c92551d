// Sample lookup in sample tables and movie fragments (see ISOTrackReaderImpl.h).
#include "ISOTrackReaderImpl.h"

#include <limits>

#include "ISOMovieImpl.h"

namespace {

constexpr uint32_t kSampleIsNonSync = 0x10000;  // sample_is_non_sync_sample in sample flags

// base + delta + extra, false when the result leaves 0..2^64-1.
bool AddOffset(uint64_t base, int64_t delta, uint64_t extra, uint64_t& out) {
    uint64_t value = base;
    if (delta < 0) {
        const uint64_t magnitude = uint64_t{0} - static_cast<uint64_t>(delta);
        if (value < magnitude) return false;
        value -= magnitude;
    } else {
        const uint64_t step = static_cast<uint64_t>(delta);
        if (value > std::numeric_limits<uint64_t>::max() - step) return false;
        value += step;
    }
    if (value > std::numeric_limits<uint64_t>::max() - extra) return false;
    out = value + extra;
    return true;
}

}  // namespace

ISOTrackReaderImpl::ISOTrackReaderImpl(const CISOTrack& track, const ISOMovieImpl& movie,
                                       ISOGenericStream& stream)
    : table_(track.SampleTable()), fragments_(movie.FragmentRuns()), stream_(stream) {
    if (table_ != nullptr && table_->SampleSizes() != nullptr) {
        tableSampleCount_ = table_->SampleSizes()->SampleCount();
    }
    const uint32_t trackId = track.Header()->TrackId();  // a parsed track always has its header
    const CISOMovieExtends* extends = movie.Movie()->Extends();
    if (extends != nullptr) trackExtends_ = extends->ForTrack(trackId);
    for (const ISOFragmentTable::Run& run : fragments_.Runs()) {
        if (run.trackId != trackId) continue;
        runs_.push_back(&run);
        runTotals_.Append(run.sampleCount);
    }
}

uint32_t ISOTrackReaderImpl::SampleCount() {
    const uint64_t cap = std::numeric_limits<uint32_t>::max();
    const uint64_t fragmentSamples = runTotals_.Total();
    if (fragmentSamples >= cap) return static_cast<uint32_t>(cap);
    const uint64_t total = uint64_t{tableSampleCount_} + fragmentSamples;  // < 2^33: no wrap
    return static_cast<uint32_t>(total > cap ? cap : total);
}

int32_t ISOTrackReaderImpl::ReadSample(uint32_t index, ISOSampleInfo& info, uint8_t* buffer,
                                       uint32_t capacity) {
    const uint32_t sampleIndex = index == kCurrentSample ? cursor_ : index;
    cursor_ = sampleIndex;
    info = ISOSampleInfo{};
    const int32_t located = sampleIndex < tableSampleCount_
                                ? LocateTableSample(sampleIndex, info)
                                : LocateFragmentSample(sampleIndex - tableSampleCount_, info);
    if (located != kOk) return located;
    if (buffer != nullptr) {
        if (info.size > capacity) return kTooLarge;
        if (!stream_.Seek(info.fileOffset) || stream_.Read(info.size, buffer) != info.size) {
            return kUnreadable;
        }
    }
    ++cursor_;
    return kOk;
}

int32_t ISOTrackReaderImpl::LocateTableSample(uint32_t index, ISOSampleInfo& info) {
    // tableSampleCount_ > 0, so the table and its size box exist.
    const CISOSampleSize& sizes = *table_->SampleSizes();
    CISOSampleToChunk::Location location{1, index};
    if (table_->SampleToChunk() != nullptr &&
        !table_->SampleToChunk()->Locate(index, chunkCursor_, location)) {
        return kNoChunk;
    }
    const uint64_t chunkOffset =
        table_->ChunkOffsets() != nullptr ? table_->ChunkOffsets()->OffsetOf(location.chunk) : 0;
    const CISOSampleDescription* description = table_->Description();
    const uint64_t factor =
        description != nullptr && description->EntryCount() > 0 ? description->SizeFactor() : 1;
    // samplesBefore <= index (the location is within the index's own run of samples).
    const uint64_t before = sizes.SumOf(index - location.samplesBefore, index) * factor;
    const uint64_t size = uint64_t{sizes.SizeOf(index)} * factor;

    if (const CISOTimeToSample* stts = table_->TimeToSample()) info.duration = stts->DeltaOf(index, durationCursor_);
    if (const CISOCompositionOffset* ctts = table_->CompositionOffsets()) {
        info.compositionOffset = ctts->OffsetOf(index, compositionCursor_);
    }
    const CISOSyncSample* stss = table_->SyncSamples();
    info.sync = stss == nullptr ? 2 : (stss->IsSync(uint64_t{index} + 1, syncCursor_) ? 1 : 0);
    info.size = static_cast<uint32_t>(size);
    if (size > std::numeric_limits<uint32_t>::max() || !AddOffset(chunkOffset, 0, before, info.fileOffset)) {
        return kUnreadable;
    }
    return kOk;
}

int32_t ISOTrackReaderImpl::LocateFragmentSample(uint64_t index, ISOSampleInfo& info) {
    const size_t k = runTotals_.Find(index, runCursor_);
    if (k == ISOCumulativeIndex::kNotFound) return kPastEnd;
    const ISOFragmentTable::Run& run = *runs_[k];
    const uint32_t j = static_cast<uint32_t>(index - runTotals_.StartOf(k));  // < the run's count
    const uint32_t runFlags = run.runFlags;
    const uint32_t tfhdFlags = run.headerFlags;
    const CISOTrackExtends* trex = trackExtends_;

    // Each field from its first source: the run's per-sample value, the fragment header's
    // default, the track extends default, else nothing.
    // The header holds the resolved base (its explicit base data offset or the moof's position),
    // which is the definition's "base data offset as held, minus 8" (the held value counts from
    // the moof's payload).
    const uint64_t base = run.baseDataOffset;
    const int64_t dataOffset = (runFlags & CISOTrackRun::kDataOffset) ? run.dataOffset : 0;
    bool offsetOk = true;
    if (runFlags & CISOTrackRun::kSampleSize) {
        info.size = fragments_.SizeOf(run, j);
        offsetOk = AddOffset(base, dataOffset, fragments_.BytesBefore(run, j), info.fileOffset);
    } else if (tfhdFlags & CISOTrackFragmentHeader::kDefaultSize) {
        info.size = run.defaultSize;
        offsetOk = AddOffset(base, dataOffset, uint64_t{run.defaultSize} * j, info.fileOffset);
    } else if (trex != nullptr) {
        info.size = trex->DefaultSize();
        offsetOk = AddOffset(base, dataOffset, uint64_t{trex->DefaultSize()} * j, info.fileOffset);
    } else {
        info.size = 0;
        info.fileOffset = base;
    }

    if (runFlags & CISOTrackRun::kSampleDuration) {
        info.duration = fragments_.DurationOf(run, j);
    } else if (tfhdFlags & CISOTrackFragmentHeader::kDefaultDuration) {
        info.duration = run.defaultDuration;
    } else if (trex != nullptr) {
        info.duration = trex->DefaultDuration();
    }

    bool hasFlags = true;
    uint32_t sampleFlags = 0;
    if (runFlags & CISOTrackRun::kSampleFlags) {
        sampleFlags = fragments_.FlagsOf(run, j);
    } else if (tfhdFlags & CISOTrackFragmentHeader::kDefaultFlags) {
        sampleFlags = run.defaultFlags;
    } else if (trex != nullptr) {
        sampleFlags = trex->DefaultFlags();
    } else {
        hasFlags = false;
    }
    info.sync = !hasFlags ? 2 : ((sampleFlags & kSampleIsNonSync) ? 0 : 1);

    if (runFlags & CISOTrackRun::kSampleCompositionOffset) {
        info.compositionOffset = fragments_.CompositionOffsetOf(run, j);
    }
    return offsetOk ? kOk : kUnreadable;
}
