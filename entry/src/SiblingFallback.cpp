#include "SiblingFallback.h"

#include <atomic>

#include "zorv/decode.h"

namespace {

constexpr WCHAR kSiblingModule[] = ZORV_WIDE("zorv_ffmpeg.dll");

// Loaded on first need and never freed. Two jobs reaching a hand-over point together may both
// load the module; the loader's reference count makes that harmless. Atomic only so that the
// unsynchronised first use is well defined.
std::atomic<HMODULE> siblingForConfiguration{nullptr};
std::atomic<HMODULE> siblingForNoSamples{nullptr};

}  // namespace

DWORD HandOverToSibling(const DecodeJob& job, SiblingHandOverPoint point) {
    std::atomic<HMODULE>& slot =
        point == SiblingHandOverPoint::UnusableConfiguration ? siblingForConfiguration : siblingForNoSamples;
    HMODULE module = slot.load();
    if (module == nullptr) {
        module = LoadLibraryW(kSiblingModule);
        slot.store(module);  // stays null on failure, so a later hand-over tries again
    }
    auto siblingDecode = module ? reinterpret_cast<ZorvDecodeFn>(GetProcAddress(module, "Decode")) : nullptr;
    if (siblingDecode == nullptr) {
        PostFinal(job, job.msgFailed);
        return 1;
    }

    HANDLE siblingThread = siblingDecode(job.path, job.hostThreadId, job.startPosition, job.msgFailed, job.msgDone,
                                         job.msgBlock, job.msgFormat, job.trackNumber);
    if (siblingThread != nullptr) {
        // Our thread handle, which the host holds, must mark the end of the sibling's work too.
        WaitForSingleObject(siblingThread, INFINITE);
        // Nobody else holds this handle; closing it keeps a long conversion from leaking one per
        // handed-over file.
        CloseHandle(siblingThread);
    }
    return 0;
}
