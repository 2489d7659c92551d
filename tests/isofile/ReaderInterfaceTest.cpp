// Result codes of the flat reader interface, including its asymmetric open failures.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <vector>

#include "BoxBuilder.h"
#include "IsoTestMovies.h"
#include "TestFiles.h"

using namespace isotest;

namespace {

std::vector<uint8_t> TwoTrackMovie() {
    TableLayout layout{{4, 4}, {{2, 1024}}, {{1, 2}}, {}, {}};
    BoxBuilder moov("moov");
    moov.Child(Mvhd()).Child(Trak(1, layout, {0})).Child(Trak(2, layout, {0}));
    return Concat({moov.Build(), BoxBuilder("mdat").Zeros(16).Build()});
}

std::string WriteMovie(const std::string& dir, const std::string& name) {
    const std::string path = dir + "/" + name;
    EXPECT_TRUE(testfiles::WriteAll(path, TwoTrackMovie()));
    return path;
}

TEST(OpenMovie, Codes) {
    const std::string dir = testfiles::ScratchDir();
    const std::string good = WriteMovie(dir, "good.mp4");
    const std::string text = dir + "/text.txt";
    ASSERT_TRUE(testfiles::WriteAll(text, std::vector<uint8_t>{'h', 'e', 'l', 'l', 'o', '\n'}));
    ASSERT_EQ(mkdir((dir + "/http:").c_str(), 0700), 0);
    WriteMovie(dir + "/http:", "inside.mp4");
    ASSERT_EQ(mkdir((dir + "/https:").c_str(), 0700), 0);
    WriteMovie(dir + "/https:", "inside.mp4");

    struct Row {
        const char* name;
        int32_t mode;
        std::string path;
        bool nullPath;
        int32_t result;
        bool handleKept;
    };
    const Row rows[] = {
        {"Good", 0, good, false, kIsoOk, true},
        {"GoodMode1", 1, good, false, kIsoOk, true},
        {"NegativeModeKeepsHandle", -1, good, false, kIsoFailed, true},
        {"ModeAboveSixKeepsHandle", 7, good, false, kIsoFailed, true},
        {"NullPathKeepsHandle", 0, "", true, kIsoNullArgument, true},
        {"HttpInTheMiddle", 0, dir + "/http://inside.mp4", false, kIsoNetworkPath, false},
        {"HttpsNotRefused", 0, dir + "/https://inside.mp4", false, kIsoOk, true},
        {"MissingFile", 0, dir + "/absent.mp4", false, kIsoNotAMovie, false},
        {"WriteModeNullPath", 2, "", true, kIsoNotAMovie, false},
        {"NotAMovie", 0, text, false, kIsoNotAMovie, false},
    };
    for (const Row& r : rows) {
        ISOMovieHandle* handle = nullptr;
        EXPECT_EQ(ISO_OpenMovie(&handle, r.mode, r.nullPath ? nullptr : r.path.c_str()), r.result) << r.name;
        EXPECT_EQ(handle != nullptr, r.handleKept) << r.name;
        if (handle != nullptr) {
            EXPECT_EQ(ISO_CloseMovie(handle), kIsoOk) << r.name;
        }
    }
    EXPECT_EQ(ISO_OpenMovie(nullptr, 0, good.c_str()), kIsoNullArgument);
    EXPECT_EQ(ISO_CloseMovie(nullptr), kIsoNullArgument);
}

TEST(OpenTrack, IndexOutOfRangeLeavesMovieUsable) {
    const std::vector<uint8_t> bytes = TwoTrackMovie();
    MovieGuard movie;
    ASSERT_EQ(OpenInMemory(bytes, movie), kIsoOk);
    ISOTrackHandle* track = nullptr;
    EXPECT_EQ(ISO_OpenTrack(nullptr, &track, 0), kIsoNullHandle);
    EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, 5), kIsoNoTrack);
    EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, 2), kIsoNoTrack);
    ASSERT_EQ(ISO_OpenTrack(movie.handle, &track, 1), kIsoOk);
    uint32_t count = 0;
    ASSERT_EQ(ISO_GetSampleCount(track, &count), kIsoOk);
    EXPECT_EQ(count, 2u);
}

TEST(SampleRecord, NullArguments) {
    const std::vector<uint8_t> bytes = TwoTrackMovie();
    MovieGuard movie;
    ASSERT_EQ(OpenInMemory(bytes, movie), kIsoOk);
    ISOTrackHandle* track = nullptr;
    ASSERT_EQ(ISO_OpenTrack(movie.handle, &track, 0), kIsoOk);
    SampleGuard sample;
    ASSERT_NE(sample.record, nullptr);
    uint8_t byte = 0;

    EXPECT_EQ(ISO_GetSampleCount(nullptr, nullptr), kIsoNullHandle);
    EXPECT_EQ(ISO_GetSampleCount(track, nullptr), kIsoNullArgument);
    EXPECT_EQ(ISO_CreateSample(nullptr), kIsoNullArgument);
    EXPECT_EQ(ISO_FreeSample(nullptr), kIsoNullHandle);
    EXPECT_EQ(ISO_SetSampleNumber(nullptr, 1), kIsoNullHandle);
    EXPECT_EQ(ISO_SetSampleBuffer(nullptr, &byte), kIsoNullHandle);
    EXPECT_EQ(ISO_SetBufferSize(nullptr, 1), kIsoNullHandle);
    EXPECT_EQ(ISO_ReadSample(nullptr, sample.record), kIsoNullHandle);
    EXPECT_EQ(ISO_ReadSample(track, nullptr), kIsoNullHandle);
    EXPECT_EQ(ISO_GetSampleDuration(nullptr), 0u);
    EXPECT_EQ(ISO_GetSampleSize(nullptr), 0u);

    // A fresh record is all zero; a read with it reports through the getters.
    EXPECT_EQ(sample.record->sampleNumber, 0u);
    EXPECT_EQ(sample.record->buffer, nullptr);
    EXPECT_EQ(ISO_ReadSample(track, sample.record), kIsoOk);
    EXPECT_EQ(ISO_GetSampleDuration(sample.record), 1024u);
    EXPECT_EQ(ISO_GetSampleSize(sample.record), 4u);
}

TEST(WriteModes, HaveNoReader) {
    const std::string path = testfiles::ScratchDir() + "/written.mp4";
    ISOMovieHandle* handle = nullptr;
    ASSERT_EQ(ISO_OpenMovie(&handle, 2, path.c_str()), kIsoOk);
    ISOTrackHandle* track = nullptr;
    EXPECT_EQ(ISO_OpenTrack(handle, &track, 0), kIsoNoTrack);
    EXPECT_EQ(ISO_CloseMovie(handle), kIsoOk);
}

}  // namespace
