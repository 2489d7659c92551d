// Packets built bit by bit for what an encoder rarely or never writes: every element type,
// partial counts, shifted bytes at each depth, and each malformed header field.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "AlacDecoder.h"
#include "AlacOutput.h"
#include "BitWriter.h"

namespace {

using alactest::BitWriter;
using alactest::CookieFields;

constexpr uint8_t kUntouched = 0xAA;  // output bytes the decoder must not write

struct ElementHeader {
    uint32_t id = 0;           // 0 mono, 1 pair, 3 LFE
    uint32_t reserved = 0;     // the 12 bits that must be zero
    bool partial = false;
    uint32_t partialCount = 0;
    uint32_t bytesShifted = 0;
    bool escaped = true;
};

void PutElementHeader(BitWriter& w, const ElementHeader& h) {
    w.Put(h.id, 3).Put(0, 4).Put(h.reserved, 12);
    w.Put((h.partial ? 8u : 0u) | (h.bytesShifted << 1) | (h.escaped ? 1u : 0u), 4);
    if (h.partial) {
        w.Put(h.partialCount, 32);
    }
}

// Uncompressed element: samples (interleaved for a pair) of `width` bits each.
void PutVerbatim(BitWriter& w, const ElementHeader& h, const std::vector<int32_t>& samples, uint32_t width) {
    PutElementHeader(w, h);
    for (int32_t s : samples) {
        w.Put(static_cast<uint32_t>(s) & (width == 32 ? 0xFFFFFFFFu : (1u << width) - 1u), width);
    }
}

// Compressed element whose residuals are coded with k = 1 (unary): the cookie uses pb = 0 and
// mb = 200, so the mean never moves, never enters run mode, and k stays 1. With prediction
// mode 0 and no coefficients the samples equal the residuals (-4..4).
void PutUnaryCompressed(BitWriter& w, const ElementHeader& h, const std::vector<std::vector<int32_t>>& channels,
                        const std::vector<uint32_t>& lowBits, uint32_t shiftBits, uint32_t mixBits = 0,
                        int32_t mixResidual = 0) {
    PutElementHeader(w, h);
    w.Put(mixBits, 8).Put(static_cast<uint32_t>(mixResidual) & 0xFF, 8);
    for (size_t ch = 0; ch < channels.size(); ++ch) {
        w.Put(0, 8);       // mode 0, denominator shift 0
        w.Put(4u << 5, 8); // pbFactor 4, no coefficients
    }
    for (uint32_t low : lowBits) {
        w.Put(low, shiftBits);
    }
    for (const auto& residuals : channels) {
        for (int32_t r : residuals) {
            const uint32_t u = r >= 0 ? 2u * static_cast<uint32_t>(r) : 2u * static_cast<uint32_t>(-r) - 1u;
            for (uint32_t i = 0; i < u; ++i) {
                w.PutBit(1);
            }
            w.PutBit(0);
        }
    }
}

void PutEnd(BitWriter& w) { w.Put(7, 3).Align(); }

std::vector<uint8_t> Le(std::initializer_list<int64_t> samples, int bytes) {
    std::vector<uint8_t> out;
    for (int64_t s : samples) {
        for (int i = 0; i < bytes; ++i) {
            out.push_back(static_cast<uint8_t>(static_cast<uint64_t>(s) >> (8 * i)));
        }
    }
    return out;
}

struct PacketCase {
    const char* name;
    CookieFields cookie;
    std::vector<uint8_t> packet;
    AlacStatus status;
    uint32_t frames;                 // expected out sample count
    std::vector<uint8_t> output;     // expected first bytes of the output (kUntouched = not written)
};

CookieFields Cookie(uint32_t frameLength, uint8_t bitDepth, uint8_t channels) {
    CookieFields f;
    f.frameLength = frameLength;
    f.bitDepth = bitDepth;
    f.channels = channels;
    f.pb = 0;
    f.mb = 200;
    f.kb = 14;
    return f;
}

std::vector<uint8_t> Bytes(const std::function<void(BitWriter&)>& build) {
    BitWriter w;
    build(w);
    return w.Data();
}

std::vector<uint8_t> Untouched(size_t n) { return std::vector<uint8_t>(n, kUntouched); }

std::vector<uint8_t> Concat(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

ElementHeader Hdr(uint32_t id, uint32_t bytesShifted = 0, bool escaped = true) {
    ElementHeader h;
    h.id = id;
    h.bytesShifted = bytesShifted;
    h.escaped = escaped;
    return h;
}
ElementHeader Partial(uint32_t count) {
    ElementHeader h;
    h.partial = true;
    h.partialCount = count;
    return h;
}
ElementHeader Reserved(uint32_t bits) {
    ElementHeader h;
    h.reserved = bits;
    return h;
}
const ElementHeader kMono{};
const ElementHeader kPair = Hdr(1);

// One uncompressed element followed by the end element.
std::vector<uint8_t> Verbatim(const ElementHeader& h, const std::vector<int32_t>& samples, uint32_t width) {
    return Bytes([&](BitWriter& w) { PutVerbatim(w, h, samples, width); PutEnd(w); });
}
// One unary-coded compressed element followed by the end element.
std::vector<uint8_t> Unary(const ElementHeader& h, const std::vector<std::vector<int32_t>>& channels,
                           const std::vector<uint32_t>& lowBits = {}, uint32_t shiftBits = 0, uint32_t mixBits = 0,
                           int32_t mixResidual = 0) {
    return Bytes([&](BitWriter& w) { PutUnaryCompressed(w, h, channels, lowBits, shiftBits, mixBits, mixResidual); PutEnd(w); });
}

std::vector<PacketCase> PacketCases() {
    const auto u = Untouched;
    return {
        {"Mono16Verbatim", Cookie(4, 16, 1), Verbatim(kMono, {1, -1, 32767, -32768}, 16), 0, 4, Le({1, -1, 32767, -32768}, 2)},
        {"Lfe16Verbatim", Cookie(2, 16, 1), Verbatim(Hdr(3), {5, -6}, 16), 0, 2, Le({5, -6}, 2)},
        {"Pair16Verbatim", Cookie(2, 16, 2), Verbatim(kPair, {1, 2, -3, 4}, 16), 0, 2, Le({1, 2, -3, 4}, 2)},
        {"Pair24Verbatim", Cookie(2, 24, 2), Verbatim(kPair, {0x7FFFFF, -0x800000, -2, 3}, 24), 0, 2,
         Le({0x7FFFFF, -0x800000, -2, 3}, 3)},
        {"Pair32Verbatim", Cookie(2, 32, 2), Verbatim(kPair, {0x7FFFFFFF, INT32_MIN, -1, 0x12345678}, 32), 0, 2,
         Le({0x7FFFFFFF, INT32_MIN, -1, 0x12345678}, 4)},
        {"Mono20MinusOneIsF0FFFF", Cookie(2, 20, 1), Verbatim(kMono, {-1, 0x7FFFF}, 20), 0, 2,
         {0xF0, 0xFF, 0xFF, 0xF0, 0xFF, 0x7F}},
        // Bytes shifted 2 with escape: samples are bit depth - 16 = 8 bits and come out unshifted.
        {"Mono24EscapeWithBytesShiftedReadsNarrowSamples", Cookie(3, 24, 1), Verbatim(Hdr(0, 2), {-1, 127, -128}, 8), 0,
         3, Le({-1, 127, -128}, 3)},
        {"PartialCountEqualToFrameLength", Cookie(4, 16, 1), Verbatim(Partial(4), {9, 8, 7, 6}, 16), 0, 4,
         Le({9, 8, 7, 6}, 2)},
        {"PartialCountBelowFrameLength", Cookie(4, 16, 1), Verbatim(Partial(2), {9, 8}, 16), 0, 2,
         Concat(Le({9, 8}, 2), u(4))},
        {"PartialCountAboveFrameLength", Cookie(4, 16, 1), Verbatim(Partial(5), {9, 8, 7, 6, 5}, 16), kAlacParamError,
         4, u(8)},
        {"PairInMonoStreamStopsAndZeroFills", Cookie(2, 16, 1), Verbatim(kPair, {1, 2, 3, 4}, 16), 0, 2, Le({0, 0}, 2)},
        {"SecondMonoWithoutRoomZeroFillsNothingMore", Cookie(2, 16, 1),
         Bytes([](BitWriter& w) { PutVerbatim(w, kMono, {1, 2}, 16); PutVerbatim(w, kMono, {3, 4}, 16); PutEnd(w); }),
         0, 2, Le({1, 2}, 2)},
        {"MonoThenPairFillsThreeChannels", Cookie(1, 16, 3),
         Bytes([](BitWriter& w) { PutVerbatim(w, kMono, {7}, 16); PutVerbatim(w, kPair, {8, 9}, 16); PutEnd(w); }), 0,
         1, Le({7, 8, 9}, 2)},
        {"ReservedBitsSet", Cookie(2, 16, 1), Verbatim(Reserved(1), {1, 2}, 16), kAlacParamError, 2, u(4)},
        {"BytesShifted3", Cookie(2, 16, 1), Verbatim(Hdr(0, 3), {1, 2}, 16), kAlacParamError, 2, u(4)},
        {"TooFewBitsForVerbatimSamples", Cookie(4, 16, 1), Bytes([](BitWriter& w) { PutVerbatim(w, kMono, {1, 2, 3}, 16); }),
         kAlacParamError, 4, u(8)},
        {"EmptyPacket", Cookie(2, 16, 1), {}, kAlacParamError, 2, u(4)},
        {"NoEndElementRunsOffThePacket", Cookie(2, 16, 2),
         Bytes([](BitWriter& w) { PutVerbatim(w, kMono, {1, 2}, 16); w.Align(); }), kAlacParamError, 2,
         {1, 0, kUntouched, kUntouched, 2, 0, kUntouched, kUntouched}},
        {"CouplingElementZeroFillsTheRest", Cookie(1, 16, 3),
         Bytes([](BitWriter& w) { PutVerbatim(w, kMono, {5}, 16); w.Put(2, 3); PutEnd(w); }), kAlacParamError, 1,
         Le({5, 0, 0}, 2)},
        {"ProgramConfigElementZeroFillsTheRest", Cookie(1, 16, 2), Bytes([](BitWriter& w) { w.Put(5, 3); PutEnd(w); }),
         kAlacParamError, 1, Le({0, 0}, 2)},
        {"EndElementLeavesMissingChannels", Cookie(1, 16, 2), Verbatim(kMono, {5}, 16), 0, 1, Concat(Le({5}, 2), u(2))},
        // Fill with count nibble 15 and extension 0 skips 15 + 0 - 1 = 14 bytes.
        {"FillElementExtendedCountSkips14Bytes", Cookie(1, 16, 1),
         Bytes([](BitWriter& w) {
             w.Put(6, 3).Put(15, 4).Put(0, 8).Bytes(std::vector<uint8_t>(14, 0xFF));
             PutVerbatim(w, kMono, {-7}, 16);
             PutEnd(w);
         }),
         0, 1, Le({-7}, 2)},
        {"FillElementShortCount", Cookie(1, 16, 1),
         Bytes([](BitWriter& w) { w.Put(6, 3).Put(3, 4).Bytes({0xFF, 0xFF, 0xFF}); PutVerbatim(w, kMono, {-7}, 16); PutEnd(w); }),
         0, 1, Le({-7}, 2)},
        // Data stream element with count 255 and extension 255 skips 510 bytes.
        {"DataStreamElementSkips510Bytes", Cookie(1, 16, 1),
         Concat(Bytes([](BitWriter& w) { w.Put(4, 3).Put(0, 5).Put(255, 8).Put(255, 8).Bytes(std::vector<uint8_t>(510, 0xFF)); }),
                Verbatim(kMono, {11}, 16)),
         0, 1, Le({11}, 2)},
        {"DataStreamElementAlignsFirst", Cookie(1, 16, 1),
         Bytes([](BitWriter& w) {
             w.Put(6, 3).Put(0, 4);                      // empty fill: 7 bits
             w.Put(4, 3).Put(0, 4).Put(1, 1).Put(2, 8);  // ends at bit 23
             w.Align().Bytes({0xFF, 0xFF});
             PutVerbatim(w, kMono, {12}, 16);
             PutEnd(w);
         }),
         0, 1, Le({12}, 2)},
        {"FillRunningPastTheEnd", Cookie(1, 16, 2),
         Bytes([](BitWriter& w) { PutVerbatim(w, kMono, {3}, 16); w.Put(6, 3).Put(14, 4); w.Align(); }),
         kAlacParamError, 1, Le({3, 0}, 2)},
        {"BitDepth17DecodesButWritesNothing", Cookie(2, 17, 1), Verbatim(kMono, {1, 2}, 17), 0, 2, u(6)},
        {"Mono16Compressed", Cookie(4, 16, 1), Unary(Hdr(0, 0, false), {{0, -1, 4, -4}}), 0, 4, Le({0, -1, 4, -4}, 2)},
        {"Mono24CompressedBytesShifted1", Cookie(2, 24, 1), Unary(Hdr(0, 1, false), {{3, -2}}, {0x12, 0xFE}, 8), 0, 2,
         Le({(3 << 8) | 0x12, (-2 * 256) | 0xFE}, 3)},
        {"Pair32CompressedBytesShifted2", Cookie(2, 32, 2),
         Unary(Hdr(1, 2, false), {{1, -1}, {2, 0}}, {0x1111, 0x2222, 0x3333, 0x4444}, 16), 0, 2,
         Le({0x11111, 0x22222, -65536 | 0x3333, 0x4444}, 4)},
        {"Pair24CompressedBytesShifted1", Cookie(1, 24, 2), Unary(Hdr(1, 1, false), {{-3}, {4}}, {0x01, 0x80}, 8), 0, 1,
         Le({(-3 * 256) | 0x01, 0x480}, 3)},
        // L = U + V - ((mixRes * V) >> mixBits) = 3 + 2 - (2 >> 1) = 4, R = L - V = 2.
        {"Pair16Unmixed", Cookie(1, 16, 2), Unary(Hdr(1, 0, false), {{3}, {2}}, {}, 0, 1, 1), 0, 1, Le({4, 2}, 2)},
        {"Pair16NegativeMixResidual", Cookie(1, 16, 2), Unary(Hdr(1, 0, false), {{3}, {-4}}, {}, 0, 2, -2), 0, 1,
         Le({-3, 1}, 2)},
        {"MixResidual0IgnoresMixBits", Cookie(1, 16, 2), Unary(Hdr(1, 0, false), {{3}, {-4}}, {}, 0, 31, 0), 0, 1,
         Le({3, -4}, 2)},
    };
}

// A decoder set up from a cookie with `fields`; `init` is what the set-up returned.
struct Decoder {
    AlacDecoder d{};
    AlacStatus init;
    explicit Decoder(const CookieFields& fields) {
        const std::vector<uint8_t> cookie = alactest::MakeCookie(fields);
        init = InitAlacDecoder(&d, cookie.data(), static_cast<uint32_t>(cookie.size()));
    }
    ~Decoder() {
        if (init == 0) ReleaseAlacDecoder(&d);
    }
    AlacStatus Decode(const std::vector<uint8_t>& packet, uint8_t* out, uint32_t frameLength, uint32_t channels,
                      uint32_t* frames) {
        AlacBitReader reader;
        InitAlacBitReader(reader, packet.data(), static_cast<uint32_t>(packet.size()));
        return DecodeAlacPacket(&d, &reader, out, frameLength, channels, frames);
    }
};

TEST(PacketTest, DecodesToExpectedOutput) {
    for (const PacketCase& c : PacketCases()) {
        SCOPED_TRACE(c.name);
        Decoder decoder(c.cookie);
        ASSERT_EQ(decoder.init, 0);
        const uint32_t bytes = std::max(AlacOutputBytesPerSample(c.cookie.bitDepth), 3u);
        std::vector<uint8_t> output(static_cast<size_t>(c.cookie.frameLength) * c.cookie.channels * bytes, kUntouched);
        uint32_t frames = 0xDEAD;
        EXPECT_EQ(decoder.Decode(c.packet, output.data(), c.cookie.frameLength, c.cookie.channels, &frames), c.status);
        EXPECT_EQ(frames, c.frames);
        ASSERT_LE(c.output.size(), output.size());
        EXPECT_EQ(std::vector<uint8_t>(output.begin(), output.begin() + static_cast<long>(c.output.size())), c.output);
    }
}

TEST(PacketGuardTest, RejectsFrameLengthAboveTheCookie) {
    Decoder decoder(Cookie(4, 16, 1));
    ASSERT_EQ(decoder.init, 0);
    std::vector<uint8_t> output(64, kUntouched);
    uint32_t frames = 99;
    EXPECT_EQ(decoder.Decode(Verbatim(kMono, {1, 2, 3, 4, 5}, 16), output.data(), 5, 1, &frames), kAlacParamError);
    EXPECT_EQ(frames, 0u);
    EXPECT_EQ(output, std::vector<uint8_t>(64, kUntouched));
}

TEST(PacketGuardTest, RefusedCookieGivesSilence) {
    CookieFields f = Cookie(4, 16, 2);
    f.version = 1;
    Decoder decoder(f);
    ASSERT_EQ(decoder.init, kAlacParamError);
    std::vector<uint8_t> output(16, kUntouched);
    uint32_t frames = 0;
    EXPECT_EQ(decoder.Decode(Verbatim(kPair, {1, 2, 3, 4, 5, 6, 7, 8}, 16), output.data(), 4, 2, &frames), kAlacParamError);
    EXPECT_EQ(frames, 4u);
    EXPECT_EQ(output, std::vector<uint8_t>(16, 0));
}

TEST(PacketGuardTest, MissingArgumentsAreParamErrors) {
    Decoder decoder(Cookie(4, 16, 1));
    ASSERT_EQ(decoder.init, 0);
    std::vector<uint8_t> output(8);
    AlacBitReader reader;
    InitAlacBitReader(reader, output.data(), 8);
    uint32_t frames = 0;
    EXPECT_EQ(DecodeAlacPacket(nullptr, &reader, output.data(), 4, 1, &frames), kAlacParamError);
    EXPECT_EQ(DecodeAlacPacket(&decoder.d, nullptr, output.data(), 4, 1, &frames), kAlacParamError);
    EXPECT_EQ(DecodeAlacPacket(&decoder.d, &reader, nullptr, 4, 1, &frames), kAlacParamError);
    EXPECT_EQ(DecodeAlacPacket(&decoder.d, &reader, output.data(), 4, 1, nullptr), kAlacParamError);
    EXPECT_EQ(DecodeAlacPacket(&decoder.d, &reader, output.data(), 4, 0, &frames), kAlacParamError);
}

}  // namespace
