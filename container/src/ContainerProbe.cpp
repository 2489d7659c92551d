#include "ContainerProbe.h"

#include "DecodeJob.h"

bool ProbeAlacTrack(const WCHAR*, uint32_t, uint16_t* channels, uint16_t* bitDepth, uint32_t* sampleRate) {
    *channels = 0;
    *bitDepth = 0;
    *sampleRate = 0;
    return false;  // no container reader yet: nothing is lossless
}

DWORD WINAPI RunAacJob(LPVOID parameter) {
    auto* job = static_cast<DecodeJob*>(parameter);
    // No decoder is wired up yet: every file ends in the one failure message.
    PostFinal(*job, job->msgFailed);
    ReleaseDecodeJob(job);
    return 1;
}
