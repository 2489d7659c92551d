// Packet syntax of the lossless decoder: the element loop, channel element headers,
// uncompressed (escaped) samples, and the order of entropy decoding, prediction, low-bit
// recovery and output.
//
// Every count that sizes a write is checked once here (frame length against the buffers,
// partial counts against the frame length, channel indices against the channel count), so
// the loops below this level run without bounds checks.
#include "AlacDecoder.h"

#include <cstring>

#include "AdaptiveGolomb.h"
#include "AlacOutput.h"
#include "AlacPredictor.h"

namespace {

enum ElementId : uint32_t {
    kSingleChannel = 0,
    kChannelPair = 1,
    kCoupling = 2,
    kLfe = 3,
    kDataStream = 4,
    kProgramConfig = 5,
    kFill = 6,
    kEnd = 7,
};

constexpr uint32_t kMaxCoefficients = 31;

struct ChannelHeader {
    uint32_t predictionMode;
    uint32_t denominatorShift;
    uint32_t pbFactor;
    uint32_t coefficientCount;
    int16_t coefficients[kMaxCoefficients];
};

// One uncompressed sample of width 0..32: up to 16 bits in one read, sign-extended from w;
// wider ones as 16 bits sign-extended into the top of w bits, OR-ed with the remaining bits.
int32_t ReadVerbatimSample(AlacBitReader& reader, uint32_t width) {
    if (width <= 16) {
        return SignExtendAlac(ReadAlacBits16(reader, width), width);
    }
    const uint32_t high = ReadAlacBits16(reader, 16);
    const int32_t top = static_cast<int32_t>(high << 16) >> (32 - width);
    return static_cast<int32_t>(static_cast<uint32_t>(top) | ReadAlacBits16(reader, width - 16));
}

void ReadChannelHeader(AlacBitReader& reader, ChannelHeader& header) {
    const uint32_t modeAndShift = ReadAlacBits16(reader, 8);
    header.predictionMode = modeAndShift >> 4;
    header.denominatorShift = modeAndShift & 15;
    const uint32_t factorAndCount = ReadAlacBits16(reader, 8);
    header.pbFactor = factorAndCount >> 5;
    header.coefficientCount = factorAndCount & 31;
    for (uint32_t k = 0; k < header.coefficientCount; ++k) {
        header.coefficients[k] = static_cast<int16_t>(ReadAlacBits16(reader, 16));
    }
}

// Entropy-decodes one channel into predictorBuffer and rebuilds it into `target`.
AlacStatus DecodeChannel(AlacDecoder& decoder, AlacBitReader& reader, ChannelHeader& header, int32_t* target,
                         uint32_t count, uint32_t width) {
    const AlacConfig& c = decoder.config;
    const AdaptiveGolombParams params =
        MakeAdaptiveGolombParams(c.mb, c.pb, header.pbFactor, c.kb, count, c.maxRun);
    uint32_t bitsUsed = 0;
    const AlacStatus status =
        DecodeAdaptiveGolomb(&params, &reader, decoder.predictorBuffer, count, width, &bitsUsed);
    if (status != kAlacOk) {
        return status;
    }
    int32_t* residuals = decoder.predictorBuffer;
    if (header.predictionMode != 0) {
        // First-order pass in place, then the channel's own predictor over its output.
        int16_t unused[kMaxCoefficients] = {};
        UnpredictBlock(residuals, residuals, count, unused, 31, width, 0);
    }
    UnpredictBlock(residuals, target, count, header.coefficients, header.coefficientCount, width,
                   header.denominatorShift);
    return kAlacOk;
}

// A mono/LFE (channels = 1) or pair (channels = 2) element written to output columns
// `channel` (and channel + 1). The caller has checked that the columns exist.
AlacStatus DecodeChannelElement(AlacDecoder& decoder, AlacBitReader& reader, uint8_t* output, uint32_t channel,
                                uint32_t channelCount, uint32_t frameLength, uint32_t elementChannels,
                                uint32_t* elementCount) {
    const AlacConfig& c = decoder.config;
    const uint32_t tag = ReadAlacBits16(reader, 4);
    decoder.activeElements = static_cast<uint16_t>(decoder.activeElements | (1u << tag));
    if (ReadAlacBits16(reader, 12) != 0) {
        return kAlacParamError;
    }
    const uint32_t header = ReadAlacBits16(reader, 4);
    const bool partial = (header & 8) != 0;
    const uint32_t bytesShifted = (header >> 1) & 3;
    const bool escaped = (header & 1) != 0;
    if (bytesShifted == 3) {
        return kAlacParamError;
    }
    const uint32_t shift = bytesShifted * 8;
    const bool pair = elementChannels == 2;
    const uint32_t width = c.bitDepth - shift + (pair ? 1u : 0u);

    uint32_t count = frameLength;
    if (partial) {
        const uint32_t high = ReadAlacBits16(reader, 16);
        count = (high << 16) | ReadAlacBits16(reader, 16);
        if (count > frameLength) {
            return kAlacParamError;
        }
    }
    *elementCount = count;

    int32_t* u = decoder.mixBufferU;
    int32_t* v = decoder.mixBufferV;
    if (escaped) {
        // Uncompressed: a mono element's samples are bit depth - shift wide, a pair's are the
        // full bit depth; the output step then uses no mixing and no shift.
        const uint32_t sampleWidth = pair ? c.bitDepth : c.bitDepth - shift;
        const int64_t needed = static_cast<int64_t>(count) * elementChannels * sampleWidth;
        if (AlacRemainingBits(reader) < needed) {
            return kAlacParamError;
        }
        if (pair) {
            for (uint32_t j = 0; j < count; ++j) {
                u[j] = ReadVerbatimSample(reader, sampleWidth);
                v[j] = ReadVerbatimSample(reader, sampleWidth);
            }
            UnmixPair(u, v, output, channel, channelCount, count, 0, 0, c.bitDepth, 0, nullptr);
        } else {
            for (uint32_t j = 0; j < count; ++j) {
                u[j] = ReadVerbatimSample(reader, sampleWidth);
            }
            CopyMonoChannel(u, output, channel, channelCount, count, c.bitDepth, 0, nullptr);
        }
        return kAlacOk;
    }

    const uint32_t mixBits = ReadAlacBits16(reader, 8);
    const int32_t mixResidual = static_cast<int8_t>(ReadAlacBits16(reader, 8));  // ignored for mono
    ChannelHeader headers[2];
    for (uint32_t ch = 0; ch < elementChannels; ++ch) {
        ReadChannelHeader(reader, headers[ch]);
    }

    AlacBitReader lowBitsReader = reader;
    if (bytesShifted != 0) {
        AdvanceAlacBits(reader, static_cast<uint64_t>(shift) * elementChannels * count);
    }

    int32_t* targets[2] = {u, v};
    for (uint32_t ch = 0; ch < elementChannels; ++ch) {
        const AlacStatus status = DecodeChannel(decoder, reader, headers[ch], targets[ch], count, width);
        if (status != kAlacOk) {
            return status;
        }
    }

    // The shift buffer shares predictorBuffer: prediction of both channels is finished here.
    // (count x channels uint16 values fit in count int32 words.)
    uint16_t* lowBits = reinterpret_cast<uint16_t*>(decoder.predictorBuffer);
    if (bytesShifted != 0) {
        ReadAlacBitsBlock(lowBitsReader, lowBits, count * elementChannels, shift);
    }
    if (pair) {
        UnmixPair(u, v, output, channel, channelCount, count, mixBits, mixResidual, c.bitDepth, shift, lowBits);
    } else {
        CopyMonoChannel(u, output, channel, channelCount, count, c.bitDepth, shift, lowBits);
    }
    return kAlacOk;
}

}  // namespace

AlacStatus DecodeAlacPacket(AlacDecoder* decoder, AlacBitReader* reader, uint8_t* output, uint32_t frameLength,
                            uint32_t channelCount, uint32_t* sampleCount) {
    if (decoder == nullptr || reader == nullptr || output == nullptr || sampleCount == nullptr ||
        channelCount == 0) {
        return kAlacParamError;
    }
    if (decoder->bufferFrames == 0) {
        // The cookie was refused before the buffers existed: deliver silence.
        *sampleCount = frameLength;
        ZeroFillChannels(output, 0, channelCount, frameLength, decoder->config.bitDepth);
        return kAlacParamError;
    }
    if (frameLength > decoder->bufferFrames) {
        *sampleCount = 0;
        return kAlacParamError;
    }

    *sampleCount = frameLength;
    decoder->activeElements = 0;
    const uint32_t bitDepth = decoder->config.bitDepth;
    uint32_t channel = 0;
    AlacStatus status = kAlacOk;

    for (;;) {
        if (AlacReaderAtOrPastEnd(*reader)) {
            return kAlacParamError;
        }
        const uint32_t id = ReadAlacBits16(*reader, 3);
        switch (id) {
            case kSingleChannel:
            case kLfe:
            case kChannelPair: {
                const uint32_t elementChannels = id == kChannelPair ? 2 : 1;
                if (channel + elementChannels > channelCount) {
                    // No room for this element: what was decoded stands, the rest is silent.
                    ZeroFillChannels(output, channel, channelCount, *sampleCount, bitDepth);
                    return status;
                }
                uint32_t elementCount = *sampleCount;
                status = DecodeChannelElement(*decoder, *reader, output, channel, channelCount, frameLength,
                                              elementChannels, &elementCount);
                if (status != kAlacOk) {
                    return status;
                }
                *sampleCount = elementCount;
                channel += elementChannels;
                if (channel == channelCount) {
                    return status;
                }
                continue;
            }
            case kCoupling:
            case kProgramConfig:
                ZeroFillChannels(output, channel, channelCount, *sampleCount, bitDepth);
                return kAlacParamError;
            case kDataStream: {
                ReadAlacBits16(*reader, 4);  // element instance tag
                const bool align = ReadAlacBit(*reader) != 0;
                uint32_t byteCount = ReadAlacBits16(*reader, 8);
                if (byteCount == 255) {
                    byteCount += ReadAlacBits16(*reader, 8);
                }
                if (align) {
                    AlignAlacReader(*reader);
                }
                AdvanceAlacBits(*reader, static_cast<uint64_t>(byteCount) * 8);
                if (AlacReaderPastEnd(*reader)) {
                    ZeroFillChannels(output, channel, channelCount, *sampleCount, bitDepth);
                    return kAlacParamError;
                }
                break;
            }
            case kFill: {
                uint32_t byteCount = ReadAlacBits16(*reader, 4);
                if (byteCount == 15) {
                    byteCount = 15 + ReadAlacBits16(*reader, 8) - 1;
                }
                AdvanceAlacBits(*reader, static_cast<uint64_t>(byteCount) * 8);
                if (AlacReaderPastEnd(*reader)) {
                    ZeroFillChannels(output, channel, channelCount, *sampleCount, bitDepth);
                    return kAlacParamError;
                }
                break;
            }
            default:  // kEnd
                AlignAlacReader(*reader);
                return status;
        }
        if (channel >= channelCount) {
            return kAlacOk;
        }
    }
}
