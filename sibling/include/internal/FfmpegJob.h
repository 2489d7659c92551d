// The sibling module's decoding job.
#pragma once

#include "DecodeJob.h"

// Thread procedure started by the sibling's Decode with its DecodeJob, which it owns and
// releases after its last message. Decodes the chosen sound track with FFmpeg's libraries and
// hands the host 32-bit float PCM through the module's message protocol: msgFormat after the
// first decoded frame, blocks of at most 65,536 bytes, then msgDone, or msgFailed when nothing
// could be delivered; nothing more after a cancel.
DWORD WINAPI RunFfmpegJob(LPVOID parameter);
