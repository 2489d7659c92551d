// The xHE-AAC (USAC) job, decoding through FDK AAC. Called by the AAC job's router on the job
// thread with the MP4 file it has opened; it owns the file from then on (and closes it) and
// posts its own final message. It does not release the DecodeJob: the router does.
#pragma once

#include "DecodeJob.h"
#include "mp4v2/mp4v2.h"

// Returns the thread's exit code: 0 when it finished, was cancelled or stopped on a decoder
// error, 1 on any other failure.
DWORD RunXheAacJob(DecodeJob& job, MP4FileHandle file, MP4TrackId track);
