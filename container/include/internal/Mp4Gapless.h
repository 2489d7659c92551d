// Gapless values of an AAC track in an MP4 file, and their once-only correction for SBR.
//
// Used by the AAC-in-MP4 job: ReadMp4Gapless at set-up, FixGaplessForSbr on the first frame that
// yields samples. The pure helpers are split out so their arithmetic can be checked without a file.
#pragma once

#include <cstdint>

#include "GaplessTrimmer.h"
#include "mp4v2/mp4v2.h"

// What the first edit of a track and the movie say, as the reader returns them.
struct Mp4EditValues {
    uint64_t mediaStart = MP4_INVALID_TIMESTAMP;   // media ticks; all ones = no usable edit
    uint64_t duration = MP4_INVALID_DURATION;      // movie ticks
    uint32_t movieTimeScale = 0;
    uint8_t audioProfileLevel = 0;                 // from the movie's iods
};

// Applies the edit list to `info` (which starts at its defaults). Returns true when the values
// are final, i.e. both the media start and the duration were usable, so metadata must not be
// consulted.
bool ApplyEditValues(const Mp4EditValues& edit, uint32_t sampleCount, uint32_t sampleRate, GaplessInfo& info);

// Applies an "iTunSMPB" text (not necessarily NUL-terminated) to `info`. Returns true when at
// least three fields were converted; otherwise `info` is unchanged.
bool ApplySmpbValue(const uint8_t* value, uint32_t valueSize, GaplessInfo& info);

// Edit list first, then the "com.apple.iTunes"/"iTunSMPB" freeform item.
GaplessInfo ReadMp4Gapless(MP4FileHandle file, MP4TrackId track, uint32_t sampleCount, uint32_t sampleRate);

// The decoder's SBR report for a frame (NeAACDecFrameInfo::sbr).
constexpr uint8_t kSbrUpsampled = 1;
constexpr uint8_t kSbrDownsampled = 2;

// Corrects delay and padding once for an SBR stream, by the frame's `sbr` report.
void FixGaplessForSbr(GaplessInfo& info, uint8_t sbr);
