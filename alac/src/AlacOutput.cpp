// Output writers of the lossless decoder, one loop per bit depth. The buffer is addressed in
// bytes: 20- and 24-bit samples are 3 bytes wide and rarely aligned.
#include "AlacOutput.h"

#include <cstring>

namespace {

inline void Put16(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}
inline void Put24(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
    at[2] = static_cast<uint8_t>(value >> 16);
}
inline void Put32(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
    at[2] = static_cast<uint8_t>(value >> 16);
    at[3] = static_cast<uint8_t>(value >> 24);
}

// What a 20-bit stream stores: the sample in the top 20 bits of a 24-bit container.
inline uint32_t To20In24(uint32_t value) { return value << 4; }

// A writer per depth: BytesPerSample and Put(at, sample).
struct Writer16 {
    static constexpr uint32_t kBytes = 2;
    static void Put(uint8_t* at, uint32_t sample) { Put16(at, sample); }
};
struct Writer20 {
    static constexpr uint32_t kBytes = 3;
    static void Put(uint8_t* at, uint32_t sample) { Put24(at, To20In24(sample)); }
};
struct Writer24 {
    static constexpr uint32_t kBytes = 3;
    static void Put(uint8_t* at, uint32_t sample) { Put24(at, sample); }
};
struct Writer32 {
    static constexpr uint32_t kBytes = 4;
    static void Put(uint8_t* at, uint32_t sample) { Put32(at, sample); }
};

// L and R of sample j before the low bits are restored (wrapping 32-bit arithmetic; the
// shift by mixBits is arithmetic and taken modulo 32).
struct Unmixed {
    uint32_t left;
    uint32_t right;
};
inline Unmixed Unmix(int32_t u, int32_t v, uint32_t mixBits, int32_t mixResidual) {
    if (mixResidual == 0) {
        return {static_cast<uint32_t>(u), static_cast<uint32_t>(v)};
    }
    const uint32_t product = static_cast<uint32_t>(mixResidual) * static_cast<uint32_t>(v);
    const int32_t correction = static_cast<int32_t>(product) >> (mixBits & 31u);
    const uint32_t left = static_cast<uint32_t>(u) + static_cast<uint32_t>(v) - static_cast<uint32_t>(correction);
    return {left, left - static_cast<uint32_t>(v)};
}

template <typename W>
void WritePair(const int32_t* u, const int32_t* v, uint8_t* output, uint32_t channel, uint32_t channelCount,
               uint32_t count, uint32_t mixBits, int32_t mixResidual, uint32_t shift, const uint16_t* lowBits) {
    const size_t stride = static_cast<size_t>(channelCount) * W::kBytes;
    uint8_t* at = output + static_cast<size_t>(channel) * W::kBytes;
    if (shift != 0 && lowBits != nullptr) {
        for (uint32_t j = 0; j < count; ++j, at += stride) {
            const Unmixed s = Unmix(u[j], v[j], mixBits, mixResidual);
            W::Put(at, (s.left << shift) | lowBits[2 * j]);
            W::Put(at + W::kBytes, (s.right << shift) | lowBits[2 * j + 1]);
        }
        return;
    }
    if (mixResidual == 0) {
        for (uint32_t j = 0; j < count; ++j, at += stride) {
            W::Put(at, static_cast<uint32_t>(u[j]));
            W::Put(at + W::kBytes, static_cast<uint32_t>(v[j]));
        }
        return;
    }
    for (uint32_t j = 0; j < count; ++j, at += stride) {
        const Unmixed s = Unmix(u[j], v[j], mixBits, mixResidual);
        W::Put(at, s.left);
        W::Put(at + W::kBytes, s.right);
    }
}

template <typename W>
void WriteMono(const int32_t* u, uint8_t* output, uint32_t channel, uint32_t channelCount, uint32_t count,
               uint32_t shift, const uint16_t* lowBits) {
    const size_t stride = static_cast<size_t>(channelCount) * W::kBytes;
    uint8_t* at = output + static_cast<size_t>(channel) * W::kBytes;
    if (shift != 0 && lowBits != nullptr) {
        for (uint32_t j = 0; j < count; ++j, at += stride) {
            W::Put(at, (static_cast<uint32_t>(u[j]) << shift) | lowBits[j]);
        }
        return;
    }
    for (uint32_t j = 0; j < count; ++j, at += stride) {
        W::Put(at, static_cast<uint32_t>(u[j]));
    }
}

}  // namespace

uint32_t AlacOutputBytesPerSample(uint32_t bitDepth) {
    switch (bitDepth) {
        case 16: return 2;
        case 20:
        case 24: return 3;
        case 32: return 4;
        default: return 0;
    }
}

void UnmixPair(const int32_t* u, const int32_t* v, uint8_t* output, uint32_t channel, uint32_t channelCount,
               uint32_t count, uint32_t mixBits, int32_t mixResidual, uint32_t bitDepth, uint32_t shift,
               const uint16_t* lowBits) {
    switch (bitDepth) {
        // 16 and 20 bits never carry shifted bytes in their output.
        case 16: return WritePair<Writer16>(u, v, output, channel, channelCount, count, mixBits, mixResidual, 0, nullptr);
        case 20: return WritePair<Writer20>(u, v, output, channel, channelCount, count, mixBits, mixResidual, 0, nullptr);
        case 24: return WritePair<Writer24>(u, v, output, channel, channelCount, count, mixBits, mixResidual, shift, lowBits);
        case 32: return WritePair<Writer32>(u, v, output, channel, channelCount, count, mixBits, mixResidual, shift, lowBits);
        default: return;
    }
}

void CopyMonoChannel(const int32_t* u, uint8_t* output, uint32_t channel, uint32_t channelCount, uint32_t count,
                     uint32_t bitDepth, uint32_t shift, const uint16_t* lowBits) {
    switch (bitDepth) {
        case 16: return WriteMono<Writer16>(u, output, channel, channelCount, count, 0, nullptr);
        case 20: return WriteMono<Writer20>(u, output, channel, channelCount, count, 0, nullptr);
        case 24: return WriteMono<Writer24>(u, output, channel, channelCount, count, shift, lowBits);
        case 32: return WriteMono<Writer32>(u, output, channel, channelCount, count, shift, lowBits);
        default: return;
    }
}

void ZeroFillChannels(uint8_t* output, uint32_t firstChannel, uint32_t channelCount, uint32_t count,
                      uint32_t bitDepth) {
    const uint32_t bytes = AlacOutputBytesPerSample(bitDepth);
    if (bytes == 0 || firstChannel >= channelCount) {
        return;
    }
    const size_t frameBytes = static_cast<size_t>(channelCount) * bytes;
    const size_t columnBytes = static_cast<size_t>(channelCount - firstChannel) * bytes;
    if (firstChannel == 0) {
        std::memset(output, 0, frameBytes * count);  // the whole block at once
        return;
    }
    uint8_t* at = output + static_cast<size_t>(firstChannel) * bytes;
    for (uint32_t j = 0; j < count; ++j, at += frameBytes) {
        std::memset(at, 0, columnBytes);
    }
}
