// Which job a file reaches, seen from the host: the lossless job announces integer PCM without
// the lossy flag, the FAAD2 jobs 32-bit float, the test sibling 8 kHz, and a file nothing can
// decode gets one failure message.
#include <gtest/gtest.h>

#include <algorithm>

#include "TestFiles.h"
#include "TestHost.h"
#include "Win32Api.h"

namespace {

using testfiles::Ffmpeg;
using testfiles::Generated;
using testfiles::Run;

const std::string kTone = "-f lavfi -i \"sine=frequency=440:sample_rate=44100:duration=1\"";
const std::string kTone48 = "-f lavfi -i \"sine=frequency=660:sample_rate=48000:duration=1\"";

std::string AacThenAlac() {
    return testfiles::FfmpegFile("route-aac-then-alac.m4a", kTone + " " + kTone48 + " -map 0 -map 1 -c:a:0 aac -c:a:1 alac -sample_fmt:a:1 s16p");
}
std::string AacThenXhe() {
    return testfiles::FfmpegFile("route-aac-then-xhe.m4a", kTone + " -i " + testfiles::DataFile("xhe_st44_p1.m4a") +
                                                               " -map 0 -map 1 -c:a:0 aac -c:a:1 copy -f mp4");
}
std::string VideoThenAlac() {
    return testfiles::FfmpegFile("route-video-then-alac.mp4", "-f lavfi -i color=c=blue:s=64x64:d=1 " + kTone +
                                                                  " -map 0 -map 1 -c:v mpeg4 -c:a alac -sample_fmt s16p");
}
std::string AdtsFile() { return testfiles::FfmpegFile("route-adts.aac", kTone + " -c:a aac"); }
std::string EmptyMoovAac() { return testfiles::FfmpegFile("route-empty-moov.mp4", kTone + " -c:a aac -movflags frag_keyframe+empty_moov"); }

// An AAC track whose AudioSpecificConfig is replaced by `config` (as long as ffmpeg's).
std::string WithConfig(const std::string& name, const std::vector<uint8_t>& config) {
    return Generated(name, [&](const std::string& out) {
        const std::string plain = out + ".src.m4a";
        if (!Run(Ffmpeg() + " " + kTone + " -c:a aac -f mp4 " + plain)) return false;
        std::vector<uint8_t> bytes = testfiles::ReadAll(plain);
        std::remove(plain.c_str());
        // DecoderSpecificInfo: tag 5, its length in one to four bytes, then the configuration,
        // which begins 0x12 for AAC-LC at 44.1 kHz.
        for (size_t i = 0; i + 4 < bytes.size(); ++i) {
            if (bytes[i] != 0x05) continue;
            size_t j = i + 1;
            while (j < bytes.size() && bytes[j] == 0x80) ++j;
            const size_t length = j < bytes.size() ? bytes[j] : 0;
            if (length >= 2 && length < 16 && j + length < bytes.size() && bytes[j + 1] == 0x12) {
                for (size_t k = 0; k < length; ++k) bytes[j + 1 + k] = k < config.size() ? config[k] : 0;
                return testfiles::WriteAll(out, bytes);
            }
        }
        return false;
    });
}

// A copy of `path` under a name of accented letters, a CJK character and one beyond the BMP.
std::string UnicodeName(const std::string& path, const std::string& extension) {
    const std::string copy = testfiles::ScratchDir() + "/\xc3\xa9t\xc3\xa9 \xe9\x9f\xb3\xf0\x9f\x8e\xb5" + extension;
    EXPECT_TRUE(testfiles::WriteAll(copy, testfiles::ReadAll(path)));
    return copy;
}

HMODULE Sibling() { return LoadLibraryW(ZORV_WIDE("zorv_ffmpeg.dll")); }

int SiblingJobsEnded() {
    auto fn = reinterpret_cast<int (*)()>(GetProcAddress(Sibling(), "TestSiblingJobsEnded"));
    return fn ? fn() : -1;
}

testhost::JobRecord RunAt(const std::string& path, uint32_t track) {
    testhost::RunOptions options;
    options.trackNumber = track;
    options.cancelAt = 0;  // the format tells the route; no need to decode
    return testhost::RunJob(path, options);
}

bool IsLossless(const testhost::JobRecord& r) { return r.gotFormat && r.format.lossySource == 0; }
bool IsFaad(const testhost::JobRecord& r) { return r.gotFormat && r.format.isFloat == 1 && r.format.lossySource; }
bool IsXhe(const testhost::JobRecord& r) { return r.gotFormat && r.format.isFloat == 0 && r.format.lossySource; }
bool IsSibling(const testhost::JobRecord& r) { return r.gotFormat && r.format.sampleRate == 8000; }

TEST(Routing, SoundTracksAreCountedWithoutOtherTracks) {
    ASSERT_NE(Sibling(), nullptr);
    const std::string mixed = AacThenAlac();
    const std::string video = VideoThenAlac();
    struct Row {
        const char* name;
        std::string path;
        uint32_t track;
        bool (*expected)(const testhost::JobRecord&);
        uint32_t rate;
    } rows[] = {
        {"video first, sound track 1 is ALAC", video, 1, IsLossless, 44100},
        {"video first, any track", video, 0, IsLossless, 44100},
        {"AAC then ALAC, any track: the probe takes ALAC", mixed, 0, IsLossless, 48000},
        {"AAC then ALAC, track 1 is the AAC one", mixed, 1, IsFaad, 44100},
        {"AAC then ALAC, track 2", mixed, 2, IsLossless, 48000},
        // A sound track that does not exist: the AAC job finds no configuration and hands over.
        {"AAC then ALAC, track 3", mixed, 3, IsSibling, 8000},
        {"AAC then xHE-AAC, track 1", AacThenXhe(), 1, IsFaad, 44100},
        {"AAC then xHE-AAC, track 2", AacThenXhe(), 2, IsXhe, 44100},
    };
    for (const auto& row : rows) {
        testhost::JobRecord r = RunAt(row.path, row.track);
        EXPECT_TRUE(row.expected(r)) << row.name;
        EXPECT_EQ(r.format.sampleRate, row.rate) << row.name;
        EXPECT_EQ(r.finalMessages, 0) << row.name << ": a cancel at the format ends silently";
    }
}

TEST(Routing, EachKindOfFileReachesItsJob) {
    ASSERT_NE(Sibling(), nullptr);
    struct Row {
        const char* name;
        std::string path;
        bool (*expected)(const testhost::JobRecord&);
        bool siblingRuns;
        testhost::Final final = testhost::Final::Done;
    } rows[] = {
        {"ADTS stream: raw path", AdtsFile(), IsFaad, false},
        {"USAC track: the xHE-AAC job, never FAAD2 or its hand-over", testfiles::DataFile("xhe_st44_p1.m4a"), IsXhe,
         false},
        // Non-ASCII names reach the raw stream's, the MP4 reader's and the ISO reader's file opening.
        {"ADTS stream, non-ASCII name", UnicodeName(AdtsFile(), ".aac"), IsFaad, false},
        {"fragmented USAC, non-ASCII name", UnicodeName(testfiles::DataFile("xhe_st48_p5_frag.mp4"), ".mp4"), IsXhe,
         false},
        {"configuration FAAD2 refuses: sibling", WithConfig("route-bad-asc.m4a", {0}), IsSibling, true},
        {"AAC track without samples: sibling", EmptyMoovAac(), IsSibling, true},
        // AAC-LC at 44.1 kHz with channel configuration 0: FAAD2 sets up a decoder of no channels.
        {"configuration without channels: one failure", WithConfig("route-no-channels.m4a", {0x12, 0x00}),
         [](const testhost::JobRecord& r) { return !r.gotFormat; }, false, testhost::Final::Failed},
    };
    for (const auto& row : rows) {
        const int before = SiblingJobsEnded();
        testhost::JobRecord r = testhost::RunJob(row.path);
        EXPECT_TRUE(row.expected(r)) << row.name;
        EXPECT_EQ(SiblingJobsEnded() - before, row.siblingRuns ? 1 : 0) << row.name;
        EXPECT_EQ(r.finalMessages, 1) << row.name;
        EXPECT_EQ(r.final, row.final) << row.name;
    }
}

}  // namespace
