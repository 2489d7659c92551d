// What a host can rely on from Decode whatever the file: a thread handle, exactly one final
// message for a file that cannot be decoded, the record released (the leak checker's part).
#include <gtest/gtest.h>

#include "TestFiles.h"
#include "TestHost.h"

extern "C" HANDLE Decode(const WCHAR*, DWORD, uint64_t*, UINT, UINT, UINT, UINT, DWORD);

namespace {

using testhost::Final;

std::string BadFile(const std::string& name, const std::vector<uint8_t>& bytes) {
    const std::string path = testfiles::ScratchDir() + "/" + name;
    testfiles::WriteAll(path, bytes);
    return path;
}

std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed) {
    std::vector<uint8_t> out(n);
    for (auto& b : out) {
        seed = seed * 1664525u + 1013904223u;
        b = static_cast<uint8_t>(seed >> 24);
    }
    return out;
}

TEST(DecodeContract, UndecodableInputsGiveOneFailedMessage) {
    struct Row {
        const char* name;
        std::string path;
    } rows[] = {
        {"missing file", testfiles::ScratchDir() + "/does-not-exist.m4a"},
        {"directory", testfiles::ScratchDir()},
        {"empty file", BadFile("empty.aac", {})},
        {"random bytes", BadFile("random.m4a", RandomBytes(5000, 7))},
    };
    testhost::RunOptions zeroStart;  // a start position of 0 is the same as none (null: every other test)
    zeroStart.useStartPosition = true;
    for (const auto& row : rows) {
        testhost::JobRecord r = testhost::RunJob(row.path, zeroStart);
        ASSERT_TRUE(r.started) << row.name;
        EXPECT_TRUE(r.threadEnded) << row.name;
        ASSERT_EQ(r.messages.size(), 1u) << row.name;
        EXPECT_EQ(r.messages[0].id, testhost::MessageId(0, 0)) << row.name << ": msgFailed";
        EXPECT_EQ(r.messages[0].wParam, 0u) << row.name;
        EXPECT_EQ(r.messages[0].lParam, 0) << row.name;
        EXPECT_FALSE(r.gotFormat) << row.name;
    }
}

TEST(DecodeContract, NullPathStartsNoJob) {
    EXPECT_EQ(Decode(nullptr, GetCurrentThreadId(), nullptr, 1, 2, 3, 4, 0), nullptr);
}

}  // namespace
