// The lossless decoder on what ffmpeg's encoder never writes (its streams are checked end to
// end in AlacJobTest): packets built bit by bit for each element type, 20- and 32-bit output,
// shifted bytes and each malformed header field; cookies with each rejected field; entropy
// codes at their edges; and the predictor where the encoder's streams do not reach.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "AdaptiveGolomb.h"
#include "AlacDecoder.h"
#include "AlacOutput.h"
#include "AlacPredictor.h"
#include "BitWriter.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct CookieFields {
    uint32_t frameLength = 4096;
    uint8_t version = 0, bitDepth = 16, pb = 40, mb = 10, kb = 14, channels = 2;
};

// The bare 24-byte record, optionally behind an "alac" header and a "frma" atom.
Bytes MakeCookie(const CookieFields& f, bool alacHeader = false, bool frmaHeader = false) {
    BitWriter w;
    if (frmaHeader) w.Put(12, 32).Bytes({'f', 'r', 'm', 'a', 'a', 'l', 'a', 'c'});
    if (alacHeader) w.Put(36, 32).Bytes({'a', 'l', 'a', 'c', 0, 0, 0, 0});
    w.Put(f.frameLength, 32).Put(f.version, 8).Put(f.bitDepth, 8).Put(f.pb, 8).Put(f.mb, 8).Put(f.kb, 8).Put(f.channels, 8);
    return w.Put(255, 16).Put(0, 32).Put(0, 32).Put(44100, 32).Data();  // max run, max frame bytes, bit rate, rate
}

constexpr uint8_t kUntouched = 0xAA;  // output bytes the decoder must not write

struct ElementHeader {
    uint32_t id = 0;  // 0 mono, 1 pair, 3 LFE
    uint32_t bytesShifted = 0;
    bool escaped = true;
    uint32_t reserved = 0;  // the 12 bits that must be zero
    int64_t partialCount = -1;
};
const ElementHeader kMono{}, kPair{1};

void PutElementHeader(BitWriter& w, const ElementHeader& h) {
    w.Put(h.id, 3).Put(0, 4).Put(h.reserved, 12);
    w.Put((h.partialCount >= 0 ? 8u : 0u) | (h.bytesShifted << 1) | (h.escaped ? 1u : 0u), 4);
    if (h.partialCount >= 0) w.Put(static_cast<uint32_t>(h.partialCount), 32);
}

// Uncompressed element: samples (interleaved for a pair) of `width` bits each.
void PutVerbatim(BitWriter& w, const ElementHeader& h, const std::vector<int32_t>& samples, uint32_t width) {
    PutElementHeader(w, h);
    for (int32_t s : samples) w.Put(static_cast<uint32_t>(s) & (width == 32 ? 0xFFFFFFFFu : (1u << width) - 1u), width);
}

void PutEnd(BitWriter& w) { w.Put(7, 3).Align(); }

Bytes Build(const std::function<void(BitWriter&)>& build) {
    BitWriter w;
    build(w);
    return w.Data();
}

// One uncompressed element and the end element.
Bytes Verbatim(const ElementHeader& h, const std::vector<int32_t>& samples, uint32_t width) {
    return Build([&](BitWriter& w) { PutVerbatim(w, h, samples, width); PutEnd(w); });
}

// One compressed element and the end element, residuals coded with k = 1 (unary): the cookie
// uses pb = 0 and mb = 200, so the mean never moves and k stays 1. With prediction mode 0 and
// no coefficients the samples equal the residuals.
Bytes Unary(const ElementHeader& h, const std::vector<std::vector<int32_t>>& channels,
            const std::vector<uint32_t>& lowBits = {}, uint32_t shiftBits = 0, uint32_t mixBits = 0, int32_t mixResidual = 0) {
    return Build([&](BitWriter& w) {
        PutElementHeader(w, h);
        w.Put(mixBits, 8).Put(static_cast<uint32_t>(mixResidual) & 0xFF, 8);
        for (size_t ch = 0; ch < channels.size(); ++ch) w.Put(0, 8).Put(4u << 5, 8);  // mode 0, pbFactor 4, no taps
        for (uint32_t low : lowBits) w.Put(low, shiftBits);
        for (const auto& residuals : channels) {
            for (int32_t r : residuals) {
                const uint32_t u = r >= 0 ? 2u * static_cast<uint32_t>(r) : 2u * static_cast<uint32_t>(-r) - 1u;
                for (uint32_t i = 0; i < u; ++i) w.PutBit(1);
                w.PutBit(0);
            }
        }
        PutEnd(w);
    });
}

Bytes Le(std::initializer_list<int64_t> samples, int bytes, size_t untouched = 0) {
    Bytes out;
    for (int64_t s : samples)
        for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(static_cast<uint64_t>(s) >> (8 * i)));
    out.insert(out.end(), untouched, kUntouched);
    return out;
}

CookieFields Cookie(uint32_t frameLength, uint8_t bitDepth, uint8_t channels) { return {frameLength, 0, bitDepth, 0, 200, 14, channels}; }

// A decoder set up from a cookie with `fields`; `init` is what the set-up returned.
struct Decoder {
    AlacDecoder d{};
    AlacStatus init;
    explicit Decoder(const CookieFields& fields) {
        const Bytes cookie = MakeCookie(fields);
        init = InitAlacDecoder(&d, cookie.data(), static_cast<uint32_t>(cookie.size()));
    }
    ~Decoder() { ReleaseAlacDecoder(&d); }
    AlacStatus Decode(const Bytes& packet, uint8_t* out, uint32_t frameLength, uint32_t channels, uint32_t* frames) {
        AlacBitReader reader;
        InitAlacBitReader(reader, packet.data(), static_cast<uint32_t>(packet.size()));
        return DecodeAlacPacket(&d, &reader, out, frameLength, channels, frames);
    }
};

TEST(AlacPacket, DecodesToExpectedOutput) {
    ElementHeader lfe{3}, partial5, reserved, shifted3{0, 3}, escapedShift2{0, 2};
    partial5.partialCount = 5;
    reserved.reserved = 1;
    struct Row {
        const char* name;
        CookieFields cookie;
        Bytes packet;
        AlacStatus status;
        uint32_t frames;  // sample count reported
        Bytes output;     // expected first bytes of the output (kUntouched = not written)
    } rows[] = {
        {"Lfe16Verbatim", Cookie(2, 16, 1), Verbatim(lfe, {5, -6}, 16), 0, 2, Le({5, -6}, 2)},
        {"Pair32Verbatim", Cookie(2, 32, 2), Verbatim(kPair, {0x7FFFFFFF, INT32_MIN, -1, 0x12345678}, 32), 0, 2,
         Le({0x7FFFFFFF, INT32_MIN, -1, 0x12345678}, 4)},
        {"Mono20MinusOneIsF0FFFF", Cookie(2, 20, 1), Verbatim(kMono, {-1, 0x7FFFF}, 20), 0, 2, {0xF0, 0xFF, 0xFF, 0xF0, 0xFF, 0x7F}},
        // Bytes shifted 2 with escape: samples are bit depth - 16 = 8 bits and come out unshifted.
        {"Mono24EscapeWithBytesShiftedReadsNarrowSamples", Cookie(3, 24, 1), Verbatim(escapedShift2, {-1, 127, -128}, 8), 0, 3,
         Le({-1, 127, -128}, 3)},
        {"PartialCountAboveFrameLength", Cookie(4, 16, 1), Verbatim(partial5, {9, 8, 7, 6, 5}, 16), kAlacParamError, 4, Le({}, 2, 8)},
        {"PairInMonoStreamStopsAndZeroFills", Cookie(2, 16, 1), Verbatim(kPair, {1, 2, 3, 4}, 16), 0, 2, Le({0, 0}, 2)},
        {"ReservedBitsSet", Cookie(2, 16, 1), Verbatim(reserved, {1, 2}, 16), kAlacParamError, 2, Le({}, 2, 4)},
        {"BytesShifted3", Cookie(2, 16, 1), Verbatim(shifted3, {1, 2}, 16), kAlacParamError, 2, Le({}, 2, 4)},
        {"TooFewBitsForVerbatimSamples", Cookie(4, 16, 1), Build([](BitWriter& w) { PutVerbatim(w, kMono, {1, 2, 3}, 16); }),
         kAlacParamError, 4, Le({}, 2, 8)},
        {"EmptyPacket", Cookie(2, 16, 1), {}, kAlacParamError, 2, Le({}, 2, 4)},
        {"NoEndElementRunsOffThePacket", Cookie(2, 16, 2), Build([](BitWriter& w) { PutVerbatim(w, kMono, {1, 2}, 16); w.Align(); }),
         kAlacParamError, 2, {1, 0, kUntouched, kUntouched, 2, 0, kUntouched, kUntouched}},
        {"CouplingElementZeroFillsTheRest", Cookie(1, 16, 3),
         Build([](BitWriter& w) { PutVerbatim(w, kMono, {5}, 16); w.Put(2, 3); PutEnd(w); }), kAlacParamError, 1, Le({5, 0, 0}, 2)},
        {"ProgramConfigElementZeroFillsTheRest", Cookie(1, 16, 2), Build([](BitWriter& w) { w.Put(5, 3); PutEnd(w); }),
         kAlacParamError, 1, Le({0, 0}, 2)},
        {"EndElementLeavesMissingChannels", Cookie(1, 16, 2), Verbatim(kMono, {5}, 16), 0, 1, Le({5}, 2, 2)},
        // Fill with count nibble 15 and extension 0 skips 15 + 0 - 1 = 14 bytes.
        {"FillElementExtendedCountSkips14Bytes", Cookie(1, 16, 1),
         Build([](BitWriter& w) { w.Put(6, 3).Put(15, 4).Put(0, 8).Bytes(Bytes(14, 0xFF)); PutVerbatim(w, kMono, {-7}, 16); PutEnd(w); }),
         0, 1, Le({-7}, 2)},
        {"FillElementShortCount", Cookie(1, 16, 1),
         Build([](BitWriter& w) { w.Put(6, 3).Put(3, 4).Bytes({0xFF, 0xFF, 0xFF}); PutVerbatim(w, kMono, {-7}, 16); PutEnd(w); }),
         0, 1, Le({-7}, 2)},
        // Data stream element with count 255 and extension 255 skips 510 bytes.
        {"DataStreamElementSkips510Bytes", Cookie(1, 16, 1),
         Build([](BitWriter& w) { w.Put(4, 3).Put(0, 5).Put(255, 8).Put(255, 8).Bytes(Bytes(510, 0xFF)); PutVerbatim(w, kMono, {11}, 16); PutEnd(w); }),
         0, 1, Le({11}, 2)},
        {"DataStreamElementAlignsFirst", Cookie(1, 16, 1),
         Build([](BitWriter& w) {
             w.Put(6, 3).Put(0, 4);                      // empty fill: 7 bits
             w.Put(4, 3).Put(0, 4).Put(1, 1).Put(2, 8);  // ends at bit 23
             w.Align().Bytes({0xFF, 0xFF});
             PutVerbatim(w, kMono, {12}, 16);
             PutEnd(w);
         }),
         0, 1, Le({12}, 2)},
        {"FillRunningPastTheEnd", Cookie(1, 16, 2), Build([](BitWriter& w) { PutVerbatim(w, kMono, {3}, 16); w.Put(6, 3).Put(14, 4); w.Align(); }),
         kAlacParamError, 1, Le({3, 0}, 2)},
        {"BitDepth17DecodesButWritesNothing", Cookie(2, 17, 1), Verbatim(kMono, {1, 2}, 17), 0, 2, Le({}, 2, 6)},
        {"Pair32CompressedBytesShifted2", Cookie(2, 32, 2), Unary({1, 2, false}, {{1, -1}, {2, 0}}, {0x1111, 0x2222, 0x3333, 0x4444}, 16),
         0, 2, Le({0x11111, 0x22222, -65536 | 0x3333, 0x4444}, 4)},
        // L = U + V - ((mixRes * V) >> mixBits) = 3 - 4 - ((-2 * -4) >> 2) = -3, R = L - V = 1.
        {"Pair16NegativeMixResidual", Cookie(1, 16, 2), Unary({1, 0, false}, {{3}, {-4}}, {}, 0, 2, -2), 0, 1, Le({-3, 1}, 2)},
        {"MixResidual0IgnoresMixBits", Cookie(1, 16, 2), Unary({1, 0, false}, {{3}, {-4}}, {}, 0, 31, 0), 0, 1, Le({3, -4}, 2)},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        Decoder decoder(c.cookie);
        ASSERT_EQ(decoder.init, 0);
        const uint32_t bytes = std::max(AlacOutputBytesPerSample(c.cookie.bitDepth), 3u);
        Bytes output(static_cast<size_t>(c.cookie.frameLength) * c.cookie.channels * bytes, kUntouched);
        uint32_t frames = 0xDEAD;
        EXPECT_EQ(decoder.Decode(c.packet, output.data(), c.cookie.frameLength, c.cookie.channels, &frames), c.status);
        EXPECT_EQ(frames, c.frames);
        ASSERT_LE(c.output.size(), output.size());
        EXPECT_EQ(Bytes(output.begin(), output.begin() + static_cast<long>(c.output.size())), c.output);
    }
}

TEST(AlacPacket, FrameLengthAboveTheCookie) {
    Decoder decoder(Cookie(4, 16, 1));
    Bytes output(64, kUntouched);
    uint32_t frames = 99;
    EXPECT_EQ(decoder.Decode(Verbatim(kMono, {1, 2, 3, 4, 5}, 16), output.data(), 5, 1, &frames), kAlacParamError);
    EXPECT_EQ(frames, 0u);
    EXPECT_EQ(output, Bytes(64, kUntouched));
}

TEST(AlacCookie, ParsesOrRejects) {
    auto cut = [](Bytes b, size_t size) { return b.resize(size), b; };
    Bytes trailer = MakeCookie({}, true);
    trailer.insert(trailer.end(), {0, 0, 0, 24, 'c', 'h', 'a', 'n', 1, 2, 3, 4});
    struct Row {
        const char* name;
        Bytes bytes;
        AlacStatus status;
        bool buffersAllocated;
    } rows[] = {
        {"FrmaThenAlac48", MakeCookie({}, true, true), 0, true},
        {"TrailingChannelLayoutIgnored", trailer, 0, true},
        {"Size11", cut(MakeCookie({}), 11), kAlacParamError, false},
        {"Bare23", cut(MakeCookie({}), 23), kAlacParamError, false},
        {"FrmaWith14Bytes", cut(MakeCookie({}, true, true), 14), kAlacParamError, false},
        {"FrameLength0", MakeCookie({0}), kAlacParamError, false},
        {"FrameLength1048576", MakeCookie({1048576}), 0, true},
        {"BitDepth15", MakeCookie({4096, 0, 15}), kAlacParamError, false},
        {"BitDepth33", MakeCookie({4096, 0, 33}), kAlacParamError, false},
        {"Version1", MakeCookie({4096, 1}), kAlacParamError, false},
        {"Channels9", MakeCookie({4096, 0, 16, 40, 10, 14, 9}), kAlacMemoryError, true},
    };
    for (const auto& c : rows) {
        AlacDecoder decoder{};
        EXPECT_EQ(InitAlacDecoder(&decoder, c.bytes.data(), static_cast<uint32_t>(c.bytes.size())), c.status) << c.name;
        EXPECT_EQ(decoder.mixBufferU != nullptr && decoder.predictorBuffer != nullptr, c.buffersAllocated) << c.name;
        ReleaseAlacDecoder(&decoder);
    }
}

// Entropy codes no encoder emits in practice: runs of 65535 (longer than any frame), a zero
// mean in run mode, 33-bit escapes, a k limit of 0, packets that end or overfill mid-block.
TEST(AlacGolomb, EdgeCodes) {
    struct Row {
        const char* name;
        std::function<void(BitWriter&)> bits;
        uint32_t count, mb, pb, kb, width;
        AlacStatus status;
        std::vector<int32_t> tail;  // the last values decoded
        uint32_t bitsUsed;
    } rows[] = {
        // First value 0 -> run mode; an escaped run of exactly 65535 clears the zero flag.
        {"Run65535", [](BitWriter& w) { w.Put(0, 1).Put(0x1FF, 9).Put(65535, 16).Put(0, 1); }, 65537, 10, 40, 14, 16, 0, {0}, 27},
        {"Run65534", [](BitWriter& w) { w.Put(0, 1).Put(0x1FF, 9).Put(65534, 16).Put(0, 1); }, 65536, 10, 40, 14, 16, 0, {-1}, 27},
        // After that run and a zero value the mean is 0: run mode with k = 8; "0 00000100" is 3 zeros.
        {"ZeroMeanInRunModeUsesK8",
         [](BitWriter& w) { w.Put(0, 1).Put(0x1FF, 9).Put(65535, 16).Put(0, 1).Put(0, 1).Put(4, 8).Put(0b10, 2); },
         65541, 10, 40, 14, 16, 0, {0, 0, 0, 1}, 38},
        // A 33-bit escape (32-bit pair without shifted bytes) consumes all 33 bits.
        {"Width33Escape", [](BitWriter& w) { w.Put(0x1FF, 9).Put(1, 1).Put(6, 32).Put(0, 1).Put(5, 7); }, 2, 10, 40, 14, 33, 0, {3, 2}, 50},
        {"KLimitZeroIsUnary", [](BitWriter& w) { w.Put(0b110, 3).Put(0b10, 2).Put(0, 1); }, 3, 200, 0, 0, 16, 0, {1, -1, 0}, 6},
        // Two bytes of "0" codes at k = 1: 16 values fit, the 17th starts at the limit.
        {"PacketEndingMidBlock", [](BitWriter& w) { w.Put(0, 16); }, 40, 200, 0, 14, 16, kAlacParamError, {0}, 16},
        {"RunOverfillingTheBlock", [](BitWriter& w) { w.Put(0, 1).Put(0, 1).Put(15, 4); }, 5, 10, 40, 14, 16, kAlacParamError, {}, 6},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        BitWriter w;
        r.bits(w);
        AlacBitReader reader;
        InitAlacBitReader(reader, w.Data().data(), static_cast<uint32_t>(w.Data().size()));
        std::vector<int32_t> values(r.count, 0x5A5A5A5A);
        const AdaptiveGolombParams params = MakeAdaptiveGolombParams(r.mb, r.pb, 4, r.kb, r.count, 255);
        uint32_t bitsUsed = 0;
        EXPECT_EQ(DecodeAdaptiveGolomb(&params, &reader, values.data(), r.count, r.width, &bitsUsed), r.status);
        EXPECT_EQ(bitsUsed, r.bitsUsed);
        const auto decoded = std::find(values.begin(), values.end(), 0x5A5A5A5A);
        ASSERT_GE(decoded - values.begin(), static_cast<long>(r.tail.size()));
        EXPECT_EQ(std::vector<int32_t>(decoded - static_cast<long>(r.tail.size()), decoded), r.tail);
    }
}

// What ffmpeg's encoder never writes: the first-order pass (31 taps) in place, a denominator
// shift of 0 (which adds 2^31 before the shift), a first residual wider than the samples (copied
// as it is) and width 33 (a 32-bit pair: sign extension from bit 1).
TEST(AlacPredictor, RunningSumZeroShiftAndWidths) {
    std::vector<int32_t> buffer{30000, 30000, 30000, -5, 7};
    int16_t none[32] = {};
    int32_t wide = -123456789, copy = 0;
    UnpredictBlock(&wide, &copy, 1, none, 8, 16, 3);
    EXPECT_EQ(copy, wide);
    EXPECT_EQ(SignExtendAlac(3, 33), -1);
    EXPECT_EQ(SignExtendAlac(2, 33), 0);
    UnpredictBlock(buffer.data(), buffer.data(), 5, none, 31, 16, 0);
    EXPECT_EQ(buffer, (std::vector<int32_t>{30000, -5536, 24464, 24459, 24466}));  // 60000 wraps at 16 bits
    std::vector<int32_t> residuals{0, 5, 0}, out(3);
    int16_t tap[1] = {1};
    UnpredictBlockPlain(residuals.data(), out.data(), 3, tap, 1, 32, 0);
    EXPECT_EQ(out[2], INT32_MIN + 5);
}

}  // namespace
