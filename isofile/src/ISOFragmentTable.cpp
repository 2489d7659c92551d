// Flattened fragment runs (see ISOFragmentTable.h).
#include "ISOFragmentTable.h"

namespace {

constexpr uint32_t kSampleFields[] = {CISOTrackRun::kSampleDuration, CISOTrackRun::kSampleSize,
                                      CISOTrackRun::kSampleFlags, CISOTrackRun::kSampleCompositionOffset};

uint32_t FieldsPresent(uint32_t runFlags) {
    uint32_t n = 0;
    for (uint32_t field : kSampleFields) n += (runFlags & field) != 0 ? 1 : 0;
    return n;
}

}  // namespace

void ISOFragmentTable::Append(const CISOMovieFragment& fragment) {
    for (const auto& trackFragment : fragment.TrackFragments()) {
        const CISOTrackFragmentHeader& tfhd = *trackFragment->Header();  // checked by its parse
        for (const auto& box : trackFragment->Runs()) {
            const CISOTrackRun& trun = *box;
            const uint32_t flags = trun.Flags();
            Run run{tfhd.BaseDataOffset(), words_.size(), sizeTotals_.size(), tfhd.TrackId(), tfhd.Flags(),
                    tfhd.DefaultDuration(), tfhd.DefaultSize(), tfhd.DefaultFlags(), flags, trun.SampleCount(),
                    trun.DataOffset(), trun.SignedCompositionOffsets()};
            // The run's parse checked its count against its box, so these arrays grow by at
            // most what the file holds.
            for (uint32_t j = 0; FieldsPresent(flags) != 0 && j < trun.SampleCount(); ++j) {
                if (flags & CISOTrackRun::kSampleDuration) words_.push_back(trun.DurationOf(j));
                if (flags & CISOTrackRun::kSampleSize) words_.push_back(trun.SizeOf(j));
                if (flags & CISOTrackRun::kSampleFlags) words_.push_back(trun.FlagsOf(j));
                // The low 32 bits are the field as stored; the version says how to widen it.
                if (flags & CISOTrackRun::kSampleCompositionOffset) {
                    words_.push_back(static_cast<uint32_t>(trun.CompositionOffsetOf(j)));
                }
            }
            if (flags & CISOTrackRun::kSampleSize) {
                for (uint64_t j = 0; j <= trun.SampleCount(); ++j) {
                    sizeTotals_.push_back(trun.BytesBefore(static_cast<uint32_t>(j)));
                }
            }
            runs_.push_back(run);
        }
    }
}

uint32_t ISOFragmentTable::Word(const Run& run, uint32_t j, uint32_t field) const {
    uint32_t before = 0;  // fields of the sample stored ahead of this one
    for (uint32_t f : kSampleFields) {
        if (f == field) break;
        before += (run.runFlags & f) != 0 ? 1 : 0;
    }
    return words_[run.firstWord + uint64_t{j} * FieldsPresent(run.runFlags) + before];
}

uint64_t ISOFragmentTable::CompositionOffsetOf(const Run& run, uint32_t j) const {
    const uint32_t raw = Word(run, j, CISOTrackRun::kSampleCompositionOffset);
    return run.signedCompositionOffsets ? static_cast<uint64_t>(int64_t{static_cast<int32_t>(raw)}) : uint64_t{raw};
}
