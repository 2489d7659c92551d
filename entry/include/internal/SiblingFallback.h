// Hand-over of a whole request to the sibling decoder module ("zorv_ffmpeg.dll"), which
// exports a Decode with our signature and talks to the host directly with the host's ids.
#pragma once

#include "DecodeJob.h"

// The two places in the AAC job that hand over; each keeps its own module handle.
enum class SiblingHandOverPoint {
    UnusableConfiguration,  // no ES configuration, or FAAD2 cannot parse it
    NoSamples,              // the track has no samples
};

// Loads the sibling (once per hand-over point), starts its job with this job's values and waits
// until that job's thread has ended. Returns this thread's exit code: 0 after a hand-over, 1
// when the sibling or its export is missing (then msgFailed is posted). The caller releases
// `job` afterwards (the sibling has made its own copy of the path).
DWORD HandOverToSibling(const DecodeJob& job, SiblingHandOverPoint point);
