// A whole Decode job over an in-memory file (a memfd, opened by name through /proc/self/fd), driven by a
// host stub that reads every block and cancels where the input says. Input: [0] cancel at the format (0),
// at block n (n), or never (255); [1] track number (mod 4); [2] start time in tenths of a second (0: none);
// then the file. Aborts on any break of the message protocol: a block before the format, a second final
// message, a message after it, or no final message from a job that was not cancelled.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Win32Api.h"
#include "zorv/decode.h"

extern "C" HANDLE Decode(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                         UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber);

namespace {
constexpr UINT kFailed = WM_APP + 1, kDone = WM_APP + 2, kBlock = WM_APP + 3, kFormat = WM_APP + 4;
volatile uint8_t sink;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const int fd = memfd_create("fuzz_decode_job", 0);
    if (fd < 0 || write(fd, data + 3, size - 3) != static_cast<ssize_t>(size - 3)) std::abort();
    const std::string name = "/proc/self/fd/" + std::to_string(fd);
    const std::u16string path(name.begin(), name.end());
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    uint64_t start = uint64_t{data[2]} * 1000000;
    HANDLE thread = Decode(path.c_str(), GetCurrentThreadId(), data[2] != 0 ? &start : nullptr, kFailed, kDone,
                           kBlock, kFormat, data[1] % 4u);
    if (thread == nullptr) std::abort();
    int blocks = 0, finals = 0;
    bool format = false, cancelled = false;
    while (!cancelled && finals == 0 && GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (msg.message == kFailed || msg.message == kDone) {
            ++finals;
            continue;
        }
        auto* block = reinterpret_cast<PcmBlock*>(msg.wParam);
        if (msg.message == kFormat) {
            if (format) std::abort();
            format = true;
            cancelled = data[0] == 0;
        } else {
            if (msg.message != kBlock || !format) std::abort();
            // A 20-bit lossless block counts 2 bytes per sample but holds 3.
            const uint64_t bytes = block->bitsPerSample == 20 ? uint64_t{block->byteCount} / 2 * 3 : block->byteCount;
            for (uint64_t i = 0; i < bytes; ++i) sink = sink ^ block->data[i];
            cancelled = data[0] == ++blocks;
        }
        if (cancelled) block->cancel = 1;
        SetEvent(block->readyEvent);
    }
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    // After a cancel the job may still post its one final message, and nothing else.
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        if (msg.message != kFailed && msg.message != kDone) std::abort();
        ++finals;
    }
    if (finals > 1 || (!cancelled && finals != 1)) std::abort();
    close(fd);
    return 0;
}
