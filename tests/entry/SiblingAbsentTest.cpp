// Without the sibling module a hand-over ends in the one failure message.
#include <gtest/gtest.h>

#include <cstdlib>

#include "DecodeJob.h"
#include "SiblingFallback.h"
#include "TestHost.h"

namespace {

HANDLE HandOverDecode(const WCHAR* path, DWORD host, uint64_t* start, UINT failed, UINT done, UINT block, UINT format,
                      DWORD track) {
    DecodeJob* job = NewDecodeJob(path, host, start, failed, done, block, format, track);
    return StartDecodeJob(job, [](LPVOID p) -> DWORD {
        auto* owned = static_cast<DecodeJob*>(p);
        const DWORD code = HandOverToSibling(*owned, SiblingHandOverPoint::UnusableConfiguration);
        ReleaseDecodeJob(owned);
        return code;
    });
}

TEST(Sibling, MissingModuleGivesOneFailedMessage) {
    ASSERT_EQ(LoadLibraryW(u"zorv_ffmpeg.dll"), nullptr) << "this test runs without the sibling on the path";
    testhost::RunOptions options;
    options.decode = &HandOverDecode;
    for (int attempt = 0; attempt < 2; ++attempt) {  // a failed load is tried again next time
        testhost::JobRecord r = testhost::RunJob("/x.m4a", options);
        ASSERT_EQ(r.messages.size(), 1u);
        EXPECT_EQ(r.final, testhost::Final::Failed);
        EXPECT_EQ(r.messages[0].wParam, 0u);
        EXPECT_EQ(r.exitCode, 1u);
    }
}

}  // namespace
