#include "XheAacJob.h"

// The FDK decoder is not wired up yet: an xHE-AAC track ends in the one failure message.
DWORD RunXheAacJob(DecodeJob& job, MP4FileHandle file, MP4TrackId) {
    MP4Close(file, 0);
    PostFinal(job, job.msgFailed);
    return 1;
}
