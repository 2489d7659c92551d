// Gapless values of an MP4 AAC track: the first edit of the track, then the "iTunSMPB" item.
#include "Mp4Gapless.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

constexpr uint32_t kAacFrameLength = 1024;
// Audio profile levels of HE-AAC (ISO/IEC 14496-3, audioProfileLevelIndication 0x2C and 0x30):
// their access units decode to twice the core frame length.
constexpr uint8_t kHeAacProfileLevelA = 0x2C;
constexpr uint8_t kHeAacProfileLevelB = 0x30;

// An "iTunSMPB" text is a dozen short hex fields; anything past this is not part of the four we read.
constexpr uint32_t kMaxSmpbTextBytes = 512;

// SBR corrections. HE-AAC encoders write an iTunSMPB delay of 2112 when they count at the core
// rate and 4224 when they count at the output rate; at the decoder's output rate, which adds the
// SBR filter bank's delay, such a stream's audio starts 5186 frames in. Without tag values only
// that filter bank delay is added: 962 frames when the decoder doubles the rate, 481 when it
// down-samples. The values are fixed by the decoder's behaviour, not derived here.
constexpr uint32_t kSmpbHeAacDelayCore = 2112;
constexpr uint32_t kSmpbHeAacDelayOutput = 4224;
constexpr uint32_t kHeAacOutputDelay = 5186;
constexpr uint32_t kSbrDelayUpsampled = 962;
constexpr uint32_t kSbrDelayDownsampled = 481;

constexpr uint64_t kAllOnes32 = 0xFFFFFFFFu;

uint32_t ReduceNotBelowZero(int64_t value, uint32_t by) {
    int64_t reduced = value - static_cast<int64_t>(by);
    return static_cast<uint32_t>(std::clamp<int64_t>(reduced, 0, UINT32_MAX));
}

}  // namespace

bool ApplyEditValues(const Mp4EditValues& edit, uint32_t sampleCount, uint32_t sampleRate, GaplessInfo& info) {
    // A version-0 empty edit reads as 0xFFFFFFFF, a version-1 one (or no edit) as all ones.
    bool startUsable = edit.mediaStart != MP4_INVALID_TIMESTAMP && edit.mediaStart != kAllOnes32;
    if (startUsable) info.delay = static_cast<uint32_t>(edit.mediaStart);

    // The edit duration is in movie ticks; only when those are sample frames can it be compared
    // with the decoded length.
    bool durationUsable = edit.duration != MP4_INVALID_DURATION && edit.movieTimeScale == sampleRate;
    if (!durationUsable) return false;

    uint32_t frameLength = (edit.audioProfileLevel == kHeAacProfileLevelA || edit.audioProfileLevel == kHeAacProfileLevelB)
                               ? 2 * kAacFrameLength
                               : kAacFrameLength;
    // sampleCount < 2^32 and frameLength <= 2^11, so the total fits in 43 bits; a duration beyond
    // the decoded length only drives the padding below zero, which means none.
    int64_t total = static_cast<int64_t>(sampleCount) * frameLength;
    int64_t padding = edit.duration > static_cast<uint64_t>(INT64_MAX / 2)
                          ? -1
                          : total - static_cast<int64_t>(info.delay) - static_cast<int64_t>(edit.duration);
    info.padding = static_cast<uint32_t>(std::clamp<int64_t>(padding, 0, UINT32_MAX));
    info.validLength = edit.duration;
    return startUsable;
}

bool ApplySmpbValue(const uint8_t* value, uint32_t valueSize, GaplessInfo& info) {
    if (value == nullptr || valueSize == 0) return false;
    std::string text(reinterpret_cast<const char*>(value), std::min(valueSize, kMaxSmpbTextBytes));
    uint32_t delay = 0;
    uint32_t padding = 0;
    uint64_t validLength = 0;  // stays 0 when the text has only three fields
    if (ScanSmpbText(text.c_str(), &delay, &padding, &validLength) < 3) return false;
    info.haveSmpb = 1;
    info.delay = delay;
    info.padding = padding;
    info.validLength = validLength;
    return true;
}

GaplessInfo ReadMp4Gapless(MP4FileHandle file, MP4TrackId track, uint32_t sampleCount, uint32_t sampleRate) {
    GaplessInfo info;
    Mp4EditValues edit;
    edit.mediaStart = MP4GetTrackEditMediaStart(file, track, 1);
    edit.duration = MP4GetTrackEditDuration(file, track, 1);
    edit.movieTimeScale = MP4GetTimeScale(file);
    edit.audioProfileLevel = MP4GetAudioProfileLevel(file);
    if (ApplyEditValues(edit, sampleCount, sampleRate, info)) return info;

    // A tag overrides a delay that came from the media start alone.
    MP4ItmfItemList* items = MP4ItmfGetItemsByMeaning(file, "com.apple.iTunes", "iTunSMPB");
    if (items != nullptr) {
        if (items->size >= 1 && items->elements[0].dataList.size >= 1) {
            const MP4ItmfData& data = items->elements[0].dataList.elements[0];
            ApplySmpbValue(data.value, data.valueSize, info);
        }
        MP4ItmfItemListFree(items);
    }
    return info;
}

void FixGaplessForSbr(GaplessInfo& info, uint8_t sbr) {
    if (info.haveSmpb) {
        if (sbr != kSbrUpsampled && sbr != kSbrDownsampled) return;
        if (info.delay == kSmpbHeAacDelayCore) {
            // The tag counted the padding at the core rate: double it for the output rate.
            info.delay = kHeAacOutputDelay;
            info.padding = ReduceNotBelowZero(2 * static_cast<int64_t>(info.padding), kSbrDelayUpsampled);
        } else if (info.delay == kSmpbHeAacDelayOutput) {
            info.delay = kHeAacOutputDelay;
            info.padding = ReduceNotBelowZero(info.padding, kSbrDelayUpsampled);
        }
        return;
    }
    uint32_t sbrDelay = sbr == kSbrUpsampled ? kSbrDelayUpsampled : sbr == kSbrDownsampled ? kSbrDelayDownsampled : 0;
    if (sbrDelay == 0) return;
    info.delay = info.delay > UINT32_MAX - sbrDelay ? UINT32_MAX : info.delay + sbrDelay;
    info.padding = ReduceNotBelowZero(info.padding, sbrDelay);
}
