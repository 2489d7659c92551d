// The per-call job record and the message protocol every job speaks with its host.
//
// Decode builds a DecodeJob, the job thread owns it and releases it with ReleaseDecodeJob
// just before returning, after its last message. Jobs talk to the host only through
// PostFinal (msgDone / msgFailed, wParam 0) and Rendezvous (msgFormat / msgBlock, then a wait
// on the block's readyEvent).
#pragma once

#include <cstdint>

#include "Win32Api.h"
#include "zorv/decode.h"

struct DecodeJob {
    WCHAR* path;              // private copy of the caller's path
    DWORD hostThreadId;       // receives every message of the job
    uint64_t messageParam;    // lParam of every message; always 0
    UINT msgFailed;
    UINT msgDone;
    UINT msgBlock;
    UINT msgFormat;
    HANDLE thread;            // the job's own thread handle (owned by the host)
    uint64_t* startPosition;  // host-owned, in 100 ns units; may be null
    DWORD trackNumber;        // 1-based sound track number, 0 = any
};

// Marks a module's one export, Decode (this module's and the sibling module's).
#if defined(_WIN32)
#define ZORV_EXPORT __declspec(dllexport)
#else
#define ZORV_EXPORT __attribute__((visibility("default")))
#endif

// A record holding a private copy of `path` and the other arguments; null when out of memory.
DecodeJob* NewDecodeJob(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                        UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber);

// Starts `procedure` on a thread of its own with `job` as its argument; the thread is created
// suspended so that job->thread is filled in before the job can read it. Returns the handle,
// or null (the job is then released).
HANDLE StartDecodeJob(DecodeJob* job, LPTHREAD_START_ROUTINE procedure);

// Frees the path copy and the record. Accepts null.
void ReleaseDecodeJob(DecodeJob* job);

// Posts a final message (msgDone or msgFailed) with wParam 0 and lParam messageParam.
void PostFinal(const DecodeJob& job, UINT messageId);

// Clears block.cancel, posts messageId with wParam = &block, waits on block.readyEvent with no
// time-out. Returns true when the host set cancel, i.e. the job must stop.
bool Rendezvous(const DecodeJob& job, UINT messageId, PcmBlock& block);

// The sound-track selection rule: wanted index for trackNumber (0 -> any).
constexpr uint32_t kAnySoundTrack = 0xFFFFFFFFu;
inline uint32_t WantedSoundTrackIndex(DWORD trackNumber) { return trackNumber - 1u; }
