// Hand-over of a request to the sibling module: the host sees the sibling's job under its own
// message ids, and our thread ends only after the sibling's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "DecodeJob.h"
#include "SiblingFallback.h"
#include "TestHost.h"

namespace {

struct HandOverRequest {
    SiblingHandOverPoint point;
};

// A Decode whose job goes straight to the hand-over, as the AAC job does for a configuration
// it cannot use.
template <SiblingHandOverPoint Point>
HANDLE HandOverDecode(const WCHAR* path, DWORD host, uint64_t* start, UINT failed, UINT done, UINT block, UINT format,
                      DWORD track) {
    DecodeJob* job = NewDecodeJob(path, host, start, failed, done, block, format, track);
    return StartDecodeJob(job, [](LPVOID p) -> DWORD {
        auto* owned = static_cast<DecodeJob*>(p);
        const DWORD code = HandOverToSibling(*owned, Point);
        ReleaseDecodeJob(owned);
        return code;
    });
}

TEST(Sibling, DecodesTheWholeRequestWithTheHostsIds) {
    HMODULE sibling = LoadLibraryW(u"zorv_ffmpeg.dll");
    ASSERT_NE(sibling, nullptr) << "the test sibling must be on the loader path";
    auto jobsEnded = reinterpret_cast<int (*)()>(GetProcAddress(sibling, "TestSiblingJobsEnded"));
    ASSERT_NE(jobsEnded, nullptr);

    for (auto decode : {&HandOverDecode<SiblingHandOverPoint::UnusableConfiguration>,
                        &HandOverDecode<SiblingHandOverPoint::NoSamples>}) {
        const int endedBefore = jobsEnded();
        testhost::RunOptions options;
        options.decode = decode;
        options.trackNumber = 3;
        options.useStartPosition = true;
        options.startValue = 10;
        const std::string path = "/music/\xc3\xa9t\xc3\xa9.m4a";
        testhost::JobRecord r = testhost::RunJob(path, options);
        ASSERT_TRUE(r.gotFormat);
        EXPECT_EQ(r.format.sampleRate, 8000u);
        ASSERT_EQ(r.blocks.size(), 1u);
        EXPECT_EQ(std::string(r.pcm.begin(), r.pcm.end()), path) << "the sibling got our path";
        EXPECT_EQ(r.progress[0], 3.0) << "and the track number";
        EXPECT_EQ(r.startValueAtFormat, 4242u) << "and the host's start position pointer";
        EXPECT_EQ(r.final, testhost::Final::Done);
        EXPECT_EQ(r.finalMessages, 1);
        EXPECT_EQ(r.exitCode, 0u);
        EXPECT_EQ(jobsEnded(), endedBefore + 1) << "our thread ended only after the sibling's job";
    }
}

}  // namespace
