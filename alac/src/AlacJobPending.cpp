// Placeholder until the lossless decoder lands: the probe never routes here yet.
#include "AlacJob.h"
#include "DecodeJob.h"

DWORD WINAPI RunAlacJob(LPVOID parameter) {
    auto* job = static_cast<DecodeJob*>(parameter);
    PostFinal(*job, job->msgFailed);
    ReleaseDecodeJob(job);
    return 1;
}
