// The xHE-AAC job end to end, through Decode and the test host: each fixture's length and its
// alignment with the regenerated input signal, the level under loudness normalisation, plain and
// fragmented files alike, and the edges of the edit list, the drain, the seek and a cancel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <tuple>

#include "BoxBuilder.h"
#include "TestFiles.h"
#include "TestHost.h"
#include "tarnbase.h"

namespace {

using testfiles::Generated;

// The fixtures' input signals, as ../shared/fixtures/SOURCES.md makes them (16-bit PCM here).
std::string Source(const std::string& name) {
    const std::string chirp = "0.35*sin(2*PI*(100*t+1500*t*t))";
    const std::string gated = "sin(2*PI*3000*t)*gt(mod(t\\,0.5)\\,0.25)";
    const std::map<std::string, std::tuple<int, int, std::string>> signals = {
        {"st44", {44100, 132345, chirp + "|0.3*sin(2*PI*440*t)+0.1*" + gated}},
        {"st48", {48000, 192111, chirp + "|0.3*sin(2*PI*440*t)+0.1*" + gated}},
        {"mo44", {44100, 88211, chirp}},
        {"mo48", {48000, 144017, chirp + "+0.1*" + gated}},
    };
    return Generated("xhe-src-" + name + ".s16", [&](const std::string& out) {
        if (name == "mo32")  // the encoder resampled mo48 itself; a good resampler lines up with it
            return testfiles::Run(testfiles::Ffmpeg() + " -f s16le -ar 48000 -ac 1 -i " + Source("mo48") +
                                  " -af aresample=32000:resampler=soxr -f s16le " + out);
        const auto& [rate, frames, exprs] = signals.at(name);
        return testfiles::Run(testfiles::Ffmpeg() + " -f lavfi -i \"aevalsrc=exprs='" + exprs + "':s=" +
                              std::to_string(rate) + ":d=" + std::to_string(frames / double(rate) + 0.1) +
                              "\" -af atrim=end_sample=" + std::to_string(frames) +
                              " -c:a pcm_s16le -fflags +bitexact -map_metadata -1 -f s16le " + out);
    });
}

// A copy of a fixture with 32-bit fields rewritten: {box path, byte offset in the box (negative:
// from its end; the last stts entry's delta is at -4), value}.
struct Field {
    const char* box;
    int offset;
    uint32_t value;
};
std::string Patched(const std::string& name, const std::string& fixture, const std::vector<Field>& fields) {
    return Generated(name, [&](const std::string& out) {
        std::vector<uint8_t> b = testfiles::ReadAll(testfiles::DataFile(fixture));
        for (const Field& f : fields) {
            const size_t at = FindBox(b, f.box);
            b = Put32(std::move(b), f.offset >= 0 ? at + f.offset : at + Be32(b, at) + f.offset, f.value);
        }
        return testfiles::WriteAll(out, b);
    });
}

testhost::JobRecord DecodeXhe(const std::string& path, bool drc, testhost::RunOptions options = {}) {
    TARN_SetXheAacDrcSettings(drc, drc ? 64 : -1, 0);  // 64: a -16 LKFS target
    return testhost::RunJob(path, options);
}

uint64_t Frames(const testhost::JobRecord& r) { return r.pcm.size() / (4u * std::max(r.format.channels, 1u)); }

// Samples as full-scale fractions: the output's 32-bit integers, or 16-bit little-endian bytes.
std::vector<double> Fractions(const std::vector<int32_t>& samples) { return {samples.begin(), samples.end()}; }
std::vector<double> Fractions(const std::vector<uint8_t>& s16) {
    std::vector<double> out(s16.size() / 2);
    for (size_t i = 0; i < out.size(); ++i) out[i] = int16_t(s16[2 * i] | s16[2 * i + 1] << 8) * 65536.0;
    return out;
}

// Signal-to-error ratio in dB of `test` against `reference`, every `step`-th of n samples.
double SnrDb(const double* reference, const double* test, size_t n, size_t step = 1) {
    double signal = 0, error = 0;
    for (size_t i = 0; i < n; i += step) {
        signal += reference[i] * reference[i];
        error += (test[i] - reference[i]) * (test[i] - reference[i]);
    }
    return 10 * std::log10(signal / std::max(error, 1.0));
}

// Where channel 0 of the output best matches channel 0 of the source (source frame i + lag lines
// up with output frame i; searched over more than the longest edit start), and the SNR there,
// which also catches a wrong sample scale.
std::pair<int, double> Align(const std::vector<double>& out, const std::vector<double>& source, size_t channels) {
    constexpr int kFrom = 4096, kLength = 8192, kMaxLag = 2400;
    int best = 0;
    double bestSum = -INFINITY;
    for (int lag = -kMaxLag; lag <= kMaxLag; ++lag) {
        double sum = 0;
        for (size_t i = kFrom; i < kFrom + kLength; ++i) sum += out[i * channels] * source[(i + lag) * channels];
        if (sum > bestSum) bestSum = sum, best = lag;
    }
    return {best, SnrDb(&source[(kFrom + best) * channels], &out[kFrom * channels], kLength * channels, channels)};
}

double Rms(const std::vector<double>& s) {
    return std::sqrt(std::inner_product(s.begin(), s.end(), s.begin(), 0.0) / double(std::max<size_t>(s.size(), 1)));
}

TEST(XheAacJob, LengthAlignmentLevelAndFragments) {
    constexpr int kLastDelta = -4;
    const char *kStts = "moov.trak.mdia.minf.stbl.stts", *kElst = "moov.trak.edts.elst";
    struct Row {
        const char* name;
        std::string path;      // "": an absent real-world file, skipped
        const char* source;    // the regenerated input signal, or null
        int64_t frames;        // frames delivered; -1: the job must fail
        int lag;
        const char* sameAs;    // a row whose output this one must equal
    } rows[] = {
        {"st44_p1", testfiles::DataFile("xhe_st44_p1.m4a"), "st44", 132345, 0, nullptr},
        {"st48_p5", testfiles::DataFile("xhe_st48_p5.m4a"), "st48", 192111, 0, nullptr},
        {"mo48to32_p0", testfiles::DataFile("xhe_mo48to32_p0.m4a"), "mo32", 96011, 0, nullptr},
        {"mo44_p3", testfiles::DataFile("xhe_mo44_p3.m4a"), "mo44", 88211, 0, nullptr},
        {"st44_pb_esbr", testfiles::DataFile("xhe_st44_pb_esbr.m4a"), "st44", 132345, 0, nullptr},
        {"st48_pa_esbr", testfiles::DataFile("xhe_st48_pa_esbr.m4a"), "st48", 192111, 0, nullptr},
        {"mo48_pc_esbr", testfiles::DataFile("xhe_mo48_pc_esbr.m4a"), "mo48", 144017, 0, nullptr},
        {"st48_p5_frag", testfiles::DataFile("xhe_st48_p5_frag.mp4"), "st48", 192111, 0, "st48_p5"},
        {"st48_pa_esbr_frag_elst", testfiles::DataFile("xhe_st48_pa_esbr_frag_elst.mp4"), "st48", 192111, 0,
         "st48_pa_esbr"},
        {"6 channels: the decoder refuses", testfiles::DataFile("xhe_51_48_p2_fdk202_rejects.m4a"), nullptr, -1, 0,
         nullptr},
        {"m4b with a chapter track", testfiles::SharedFixture("rw_lavf_xhe_mono_chapters.m4b"), nullptr, 176400, 0,
         nullptr},
        // Movie time scale 1000: the edit list is dropped, the 2048 frames before it stay.
        {"movie scale not the rate", Patched("xhe-mvhd1000.m4a", "xhe_st44_pb_esbr.m4a", {{"moov.mvhd", 20, 1000}}),
         "st44", 134393, -2048, nullptr},
        // A full last access unit: with the limiter's delay on, a flush call delivers its end.
        {"drain to the end", Patched("xhe-drain.m4a", "xhe_st44_p1.m4a", {{kStts, kLastDelta, 1024}, {kElst, 16, 200000}}),
         "st44", 133120, 0, nullptr},
        {"limit inside the drain",
         Patched("xhe-drain-limit.m4a", "xhe_st44_p1.m4a", {{kStts, kLastDelta, 1024}, {kElst, 16, 133000}}), "st44",
         133000, 0, nullptr},
    };
    std::map<std::string, std::vector<uint8_t>> outputs;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.path.empty()) continue;
        const testhost::JobRecord off = DecodeXhe(row.path, false);
        EXPECT_TRUE(off.threadEnded);
        ASSERT_EQ(off.finalMessages, 1);
        if (row.frames < 0) {
            EXPECT_EQ(off.final, testhost::Final::Failed);
            EXPECT_FALSE(off.gotFormat);
            EXPECT_EQ(off.exitCode, 1u) << "a set-up failure, not a decoding error";
            continue;
        }
        EXPECT_EQ(off.final, testhost::Final::Done);
        EXPECT_TRUE(off.format.bitsPerSample == 32 && off.format.isFloat == 0 && off.format.lossySource == 1);
        EXPECT_EQ(Frames(off), uint64_t(row.frames));
        const std::vector<double> offSamples = Fractions(testhost::AsInts(off));
        if (row.source != nullptr) {
            const auto [lag, snr] = Align(offSamples, Fractions(testfiles::ReadAll(Source(row.source))), off.format.channels);
            EXPECT_EQ(lag, row.lag);
            EXPECT_GT(snr, 10);  // dB: the codec keeps 15 to 40 here
        }
        if (row.sameAs != nullptr) {
            EXPECT_TRUE(off.pcm == outputs[row.sameAs]) << "differs from " << row.sameAs;
        }
        outputs[row.name] = off.pcm;
        testhost::RunOptions cancel;
        cancel.cancelAt = 0;
        const testhost::JobRecord c = DecodeXhe(row.path, false, cancel);
        EXPECT_EQ(c.messages.size(), 1u) << "nothing after the cancelled format";

        // Loudness normalised to -16 LKFS: the same length, these loud signals about 8 dB down.
        const testhost::JobRecord on = DecodeXhe(row.path, true);
        EXPECT_EQ(on.final, testhost::Final::Done);
        EXPECT_EQ(Frames(on), uint64_t(row.frames));
        if (row.source != nullptr) {
            EXPECT_NEAR(Rms(Fractions(testhost::AsInts(on))) / Rms(offSamples), 0.42, 0.07);  // 0.39 to 0.47 here
        }
    }
}

TEST(XheAacJob, StartPosition) {
    const std::string path = testfiles::DataFile("xhe_st48_p5.m4a");
    const testhost::JobRecord full = DecodeXhe(path, true);
    testhost::RunOptions seek;
    seek.useStartPosition = true;
    seek.startValue = 25000000;  // 2.5 s: frame 120000, after the second sync sample (101)
    const testhost::JobRecord r = DecodeXhe(path, true, seek);
    ASSERT_EQ(r.final, testhost::Final::Done);
    // The job starts at the sync sample before 2.5 s; the host is to drop the remainder.
    const uint64_t remainder = std::llround(double(r.startValueAtFormat) * 48000 / 1e7);
    EXPECT_GT(remainder, 0u);
    const size_t from = size_t(120000 - remainder) * 2;
    const std::vector<double> seeked = Fractions(testhost::AsInts(r)), whole = Fractions(testhost::AsInts(full));
    ASSERT_EQ(seeked.size() + from, whole.size());
    // Not bit-exact: the decoder started afresh converges on the continuous decode (38 dB here),
    // while one frame off gives about 0 dB.
    EXPECT_GT(SnrDb(&whole[from], seeked.data(), seeked.size()), 30);
}

}  // namespace
