// The sibling module's only export. It has the signature and contract of the main module's
// Decode, so that the main module can hand it a whole request and the host sees one job.
#include "FfmpegJob.h"

extern "C" {
#include <libavutil/log.h>
}

// Copies the request into a DecodeJob and starts the job on a thread of its own. Returns the
// thread's handle (the caller closes it), or null when no job could be started.
extern "C" ZORV_EXPORT HANDLE Decode(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                                     UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber) {
    // The module writes no log: FFmpeg's messages about odd files are silenced once, before
    // the first job can produce any.
    static const bool quiet = (av_log_set_level(AV_LOG_QUIET), true);
    (void)quiet;
    DecodeJob* job = NewDecodeJob(path, hostThreadId, startPosition, msgFailed, msgDone, msgBlock, msgFormat,
                                  trackNumber);
    if (job == nullptr) return nullptr;
    return StartDecodeJob(job, RunFfmpegJob);
}
