// Test sibling module: a Decode with the module's contract whose job announces 8 kHz stereo
// 16-bit (0 channels of 0 bits for a path naming "no-channels") and ends with msgDone (or
// silently when cancelled at the format). It counts the jobs that have run to their end, so a
// test can tell which files reached the sibling.
#include <atomic>
#include <string>

#include "Win32Api.h"
#include "zorv/decode.h"

namespace {

std::atomic<int> jobsEnded{0};

struct SiblingJob {
    DWORD host;
    UINT done, format;
    bool noChannels;  // a path naming "no-channels" gets a format no host can write
};

DWORD WINAPI SiblingThread(LPVOID p) {
    SiblingJob* job = static_cast<SiblingJob*>(p);
    PcmBlock block{};
    block.channels = job->noChannels ? 0 : 2;
    block.sampleRate = 8000;
    block.bitsPerSample = job->noChannels ? 0 : 16;
    block.readyEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    PostThreadMessageW(job->host, job->format, reinterpret_cast<WPARAM>(&block), 0);
    WaitForSingleObject(block.readyEvent, INFINITE);
    if (!block.cancel) PostThreadMessageW(job->host, job->done, 0, 0);
    CloseHandle(block.readyEvent);
    delete job;
    ++jobsEnded;
    return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) HANDLE Decode(const WCHAR* path, DWORD hostThreadId, uint64_t*,
                                                                UINT, UINT msgDone, UINT, UINT msgFormat, DWORD) {
    const std::u16string name(reinterpret_cast<const char16_t*>(path));
    auto* job = new SiblingJob{hostThreadId, msgDone, msgFormat, name.find(u"no-channels") != std::u16string::npos};
    HANDLE thread = CreateThread(nullptr, 0, SiblingThread, job, 0, nullptr);
    if (!thread) delete job;
    return thread;
}

// How many sibling jobs have run to their very end.
extern "C" __attribute__((visibility("default"))) int TestSiblingJobsEnded() { return jobsEnded.load(); }
