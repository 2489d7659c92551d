// Where an MP4 job starts when the host asks for a start time.
#pragma once

#include <cstdint>

#include "mp4v2/mp4v2.h"

// Finds the sync sample at or before the host's start time (100 ns units behind
// `startPosition`) and writes back how far before that time it lies, in 100 ns units rounded
// down (0 when it starts exactly there). Returns that sample's 1-based id, or
// MP4_INVALID_SAMPLE_ID for no seek: no or zero start time, a time the track cannot convert or
// does not reach, no sync sample at or before it. Without a seek *startPosition is left alone.
MP4SampleId FindStartSample(MP4FileHandle file, MP4TrackId track, uint64_t* startPosition);
