#include "DecodeJob.h"

#include <cstdlib>

DecodeJob* NewDecodeJob(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                        UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber) {
    if (path == nullptr) return nullptr;
    auto* job = static_cast<DecodeJob*>(std::calloc(1, sizeof(DecodeJob)));
    if (job == nullptr) return nullptr;
    const size_t length = static_cast<size_t>(lstrlenW(path)) + 1;
    job->path = static_cast<WCHAR*>(std::malloc(length * sizeof(WCHAR)));
    if (job->path == nullptr) {
        std::free(job);
        return nullptr;
    }
    lstrcpyW(job->path, path);
    job->hostThreadId = hostThreadId;
    job->messageParam = 0;
    job->msgFailed = msgFailed;
    job->msgDone = msgDone;
    job->msgBlock = msgBlock;
    job->msgFormat = msgFormat;
    job->startPosition = startPosition;
    job->trackNumber = trackNumber;
    return job;
}

HANDLE StartDecodeJob(DecodeJob* job, LPTHREAD_START_ROUTINE procedure) {
    DWORD threadId = 0;  // the host identifies jobs by their message ids, not by thread
    HANDLE thread = CreateThread(nullptr, 0, procedure, job, CREATE_SUSPENDED, &threadId);
    if (thread == nullptr) {
        ReleaseDecodeJob(job);
        return nullptr;
    }
    job->thread = thread;
    ResumeThread(thread);
    return thread;
}

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
