// The xHE-AAC job's decoder path: set-up with DRC settings, configuration, whole access units,
// decode into the job's output buffer with widening, a bounded drain. Input: [0] bit 0 DRC on,
// bits 1-3 DRC effect + 1; [1] target loudness + 1; [2] configuration length n; n configuration
// bytes; then access units, each a u16 BE length and its bytes. Seeds: tests/data/xhe_fuzz_seed_*.bin.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "XheAacDecoder.h"

namespace {
constexpr int kMaxUnits = 16;
constexpr int kFlushCalls = 3;
constexpr uint8_t kGuard = 0xA5;
// The part of the output buffer behind the region the decoder may write. The library is not
// instrumented, so a write past its region shows only as a changed guard byte.
constexpr size_t kGuardFrom = kXheDecodedOffset + kXheDecodeCapacity * sizeof(INT_PCM);
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3 || size < 3u + data[2]) return 0;
    const XheDrcSettings drc{(data[0] & 1) != 0, int{data[1]} - 1, ((data[0] >> 1) & 7) - 1};
    HANDLE_AACDECODER decoder = OpenXheDecoder(drc);
    if (decoder == nullptr) return 0;
    auto* output = static_cast<uint8_t*>(std::malloc(kXheOutputBytes));
    if (output != nullptr && ConfigureXheDecoder(decoder, data + 3, data[2])) {
        std::memset(output + kGuardFrom, kGuard, kXheOutputBytes - kGuardFrom);
        size_t at = 3u + data[2];
        for (int unit = 0; unit < kMaxUnits && at + 2 <= size; ++unit) {
            const size_t length = std::min<size_t>(size_t{data[at]} << 8 | data[at + 1], size - at - 2);
            at += 2;
            XheFrame frame{};
            if (length > 0 && FeedXheAccessUnit(decoder, data + at, static_cast<uint32_t>(length)))
                (void)DecodeXheFrame(decoder, false, output, frame);
            at += length;
        }
        for (int call = 0; call < kFlushCalls; ++call) {
            XheFrame frame{};
            (void)DecodeXheFrame(decoder, true, output, frame);
        }
        for (size_t i = kGuardFrom; i < kXheOutputBytes; ++i)
            if (output[i] != kGuard) std::abort();
    }
    std::free(output);
    aacDecoder_Close(decoder);
    return 0;
}
