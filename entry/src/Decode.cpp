// The module's only export.
#include "AlacJob.h"
#include "ContainerProbe.h"
#include "DecodeJob.h"

// Copies the request into a DecodeJob, asks the lossless probe which job it is, and starts that
// job on a thread of its own. Returns the thread's handle (the caller closes it), or null when
// no job could be started; everything later is reported through messages.
extern "C" ZORV_EXPORT HANDLE Decode(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                                     UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber) {
    DecodeJob* job = NewDecodeJob(path, hostThreadId, startPosition, msgFailed, msgDone, msgBlock, msgFormat,
                                  trackNumber);
    if (job == nullptr) return nullptr;

    // The probe's figures are read again by the lossless job itself; only the answer counts here.
    uint16_t channels = 0;
    uint16_t bitDepth = 0;
    uint32_t sampleRate = 0;
    const bool lossless = ProbeAlacTrack(path, WantedSoundTrackIndex(trackNumber), &channels, &bitDepth, &sampleRate);

    return StartDecodeJob(job, lossless ? RunAlacJob : RunAacJob);
}
