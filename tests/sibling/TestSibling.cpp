// Test sibling module: a Decode with the module's contract whose job announces 8 kHz stereo
// 16-bit (0 channels of 0 bits for a path naming "no-channels") and delivers one block holding
// the UTF-8 path it was given, then msgDone. It reports the track number as the block's progress
// and writes 4242 through startPosition, so a test can see that every argument arrived.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Win32Api.h"
#include "zorv/decode.h"

namespace {

std::atomic<int> jobsEnded{0};

struct SiblingJob {
    std::u16string path;
    DWORD host;
    uint64_t* start;
    UINT failed, done, block, format;
    DWORD track;
};

DWORD WINAPI SiblingThread(LPVOID p) {
    SiblingJob* job = static_cast<SiblingJob*>(p);
    PcmBlock block{};
    // A path naming "no-channels" gets a format no host can write.
    const bool noChannels = job->path.find(u"no-channels") != std::u16string::npos;
    block.channels = noChannels ? 0 : 2;
    block.sampleRate = 8000;
    block.bitsPerSample = noChannels ? 0 : 16;
    block.readyEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (job->start) *job->start = 4242;
    PostThreadMessageW(job->host, job->format, reinterpret_cast<WPARAM>(&block), 0);
    WaitForSingleObject(block.readyEvent, INFINITE);
    std::string utf8(job->path.size() * 3 + 1, '\0');
    const int n = WideCharToMultiByte(CP_UTF8, 0, job->path.c_str(), -1, &utf8[0], static_cast<int>(utf8.size()),
                                      nullptr, nullptr);
    utf8.resize(n > 0 ? static_cast<size_t>(n - 1) : 0);
    if (!block.cancel) {
        block.data = reinterpret_cast<uint8_t*>(&utf8[0]);
        block.byteCount = static_cast<uint32_t>(utf8.size());
        block.progress = job->track;
        PostThreadMessageW(job->host, job->block, reinterpret_cast<WPARAM>(&block), 0);
        WaitForSingleObject(block.readyEvent, INFINITE);
        PostThreadMessageW(job->host, job->done, 0, 0);
    }
    CloseHandle(block.readyEvent);
    delete job;
    Sleep(100);  // a slow finish: the caller must still wait for it
    ++jobsEnded;
    return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) HANDLE Decode(const WCHAR* path, DWORD hostThreadId,
                                                                uint64_t* startPosition, UINT msgFailed,
                                                                UINT msgDone, UINT msgBlock, UINT msgFormat,
                                                                DWORD trackNumber) {
    auto* job = new SiblingJob{path, hostThreadId, startPosition, msgFailed, msgDone, msgBlock, msgFormat, trackNumber};
    HANDLE thread = CreateThread(nullptr, 0, SiblingThread, job, 0, nullptr);
    if (!thread) delete job;
    return thread;
}

// How many sibling jobs have run to their very end.
extern "C" __attribute__((visibility("default"))) int TestSiblingJobsEnded() { return jobsEnded.load(); }
