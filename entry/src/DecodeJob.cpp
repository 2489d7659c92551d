#include "DecodeJob.h"

#include <cstdlib>

void ReleaseDecodeJob(DecodeJob* job) {
    if (job == nullptr) return;
    std::free(job->path);
    std::free(job);
}

void PostFinal(const DecodeJob& job, UINT messageId) {
    // The result is not checked: a host without a queue cannot be told anything anyway.
    PostThreadMessageW(job.hostThreadId, messageId, 0, static_cast<LPARAM>(job.messageParam));
}

bool Rendezvous(const DecodeJob& job, UINT messageId, PcmBlock& block) {
    block.cancel = 0;
    PostThreadMessageW(job.hostThreadId, messageId, reinterpret_cast<WPARAM>(&block),
                       static_cast<LPARAM>(job.messageParam));
    // The host's SetEvent is the only ordering between its writes to the record and our reads.
    WaitForSingleObject(block.readyEvent, INFINITE);
    return block.cancel != 0;
}
