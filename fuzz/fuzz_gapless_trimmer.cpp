// The trimmer driven by fuzzed gapless values and frame sizes, emptied after every push as the jobs do.
// Input: [0..3] delay bytes, [4..7] padding bytes (signed), [8] 0xA5 for a long stream (beyond
// kMaxHeldBytes; slow, so rare) rather than a short one, then a frame size per two bytes (times 16, at most
// kMaxPushBytes). Each emitted byte must be the stream's byte at its place, exactly the bytes between the
// delay and the (bounded) reserve must come out, and no more than the reserve may stay pending.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "GaplessTrimmer.h"

namespace {
uint32_t Be32(const uint8_t* p) { return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3]; }
constexpr uint64_t kLongStreamBytes = 80u << 20;  // enough to pass kMaxHeldBytes
constexpr uint64_t kShortStreamBytes = 2u << 20;  // most inputs: many more of them per second
// The stream repeats a pattern of a prime period: a frame and an expected block are windows of it.
constexpr uint32_t kPeriod = 65521;
const std::vector<uint8_t>& Pattern() {
    static const std::vector<uint8_t> pattern = [] {
        std::vector<uint8_t> p(kMaxPushBytes + kPeriod);
        for (size_t i = 0; i < p.size(); ++i) p[i] = static_cast<uint8_t>((i % kPeriod) * 131 + (i % kPeriod) / 509);
        return p;
    }();
    return pattern;
}
const uint8_t* At(uint64_t position) { return Pattern().data() + position % kPeriod; }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 9) return 0;
    const uint32_t delay = Be32(data);
    const int64_t padding = static_cast<int32_t>(Be32(data + 4));
    const uint64_t reserve = static_cast<uint64_t>(std::clamp<int64_t>(padding, 0, kMaxReserveBytes));
    static std::vector<uint8_t> scratch(kMaxBlockBytes);
    GaplessTrimmer trimmer;
    trimmer.Reset(delay, padding);
    uint64_t pushed = 0, emitted = 0;
    const uint64_t streamBytes = data[8] == 0xA5 ? kLongStreamBytes : kShortStreamBytes;
    for (size_t at = 9; at + 2 <= size && pushed < streamBytes; at += 2) {
        const uint32_t bytes = std::min<uint32_t>((uint32_t{data[at]} << 8 | data[at + 1]) * 16u, kMaxPushBytes);
        if (!trimmer.Push(At(pushed), bytes)) std::abort();
        pushed += bytes;
        while (trimmer.ReadyBytes() > 0) {
            uint32_t n = 0;
            const uint8_t* out = trimmer.Emit(scratch.data(), &n);
            if (std::memcmp(out, At(delay + emitted), n) != 0) std::abort();
            emitted += n;
        }
        if (trimmer.PendingBytes() > reserve) std::abort();
    }
    if (emitted != (pushed > delay + reserve ? pushed - delay - reserve : 0)) std::abort();
    return 0;
}
