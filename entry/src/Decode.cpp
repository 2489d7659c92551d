// The module's only export.
#include <cstdlib>

#include "AlacJob.h"
#include "ContainerProbe.h"
#include "DecodeJob.h"

#if defined(_WIN32)
#define ZORV_EXPORT __declspec(dllexport)
#else
#define ZORV_EXPORT __attribute__((visibility("default")))
#endif

// Copies the request into a DecodeJob, asks the lossless probe which job it is, and starts that
// job on a thread of its own. Returns the thread's handle (the caller closes it), or null when
// no job could be started; everything later is reported through messages.
extern "C" ZORV_EXPORT HANDLE Decode(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
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
    job->startPosition = startPosition;
    job->msgFailed = msgFailed;
    job->msgDone = msgDone;
    job->msgBlock = msgBlock;
    job->msgFormat = msgFormat;
    job->trackNumber = trackNumber;
    job->messageParam = 0;

    // The probe's figures are read again by the lossless job itself; only the answer counts here.
    uint16_t channels = 0;
    uint16_t bitDepth = 0;
    uint32_t sampleRate = 0;
    const bool lossless = ProbeAlacTrack(path, WantedSoundTrackIndex(trackNumber), &channels, &bitDepth, &sampleRate);

    // Suspended, so that the job finds its own handle in the record when it starts.
    DWORD threadId = 0;
    HANDLE thread = CreateThread(nullptr, 0, lossless ? RunAlacJob : RunAacJob, job, CREATE_SUSPENDED, &threadId);
    if (thread == nullptr) {
        ReleaseDecodeJob(job);
        return nullptr;
    }
    job->thread = thread;
    ResumeThread(thread);
    return thread;
}
