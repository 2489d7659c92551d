// zorv-decode as a user meets it: exit status and one clear line per failed input.
#include <gtest/gtest.h>

#ifdef _WIN32
#define WIFEXITED(status) true  // system() returns the exit code itself
#define WEXITSTATUS(status) (status)
#else
#include <sys/wait.h>
#endif

#include <algorithm>
#include <cmath>

#include "TestFiles.h"

namespace {

struct Result {
    int status;
    std::string errors;
};

Result RunCli(const std::string& arguments) {
    const std::string err = testfiles::ScratchDir() + "/cli.err";
    const int raw = std::system((testfiles::BinDir() + "/zorv-decode " + arguments + " >/dev/null 2>" + err).c_str());
    std::vector<uint8_t> text = testfiles::ReadAll(err);
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, std::string(text.begin(), text.end())};
}

std::string LosslessStereo() {
    return testfiles::FfmpegFile("cli-alac-stereo-32k.m4a", "-f lavfi -i \"aevalsrc=exprs='0.4*sin(2*PI*(200+300*t)*t)|0.3*sin(2*PI*555*t)':"
                                                            "s=32000:d=4\" -c:a alac -sample_fmt s16p");
}

TEST(Cli, UsageAndOutputErrorsExitWithTwo) {
    for (const std::string& args : {std::string(""), std::string("--format mp3 x.m4a"), std::string("--track -1 x.m4a"),
                                    std::string("--jobs 0 x"), std::string("--bogus x"), std::string("-o"),
                                    "-q -o /nonexistent-dir/x.wav " + LosslessStereo()}) {
        Result r = RunCli(args);
        EXPECT_EQ(r.status, 2) << args;
        EXPECT_NE(r.errors.find("zorv-decode:"), std::string::npos) << args;
    }
    EXPECT_EQ(RunCli("--help").status, 0);
    EXPECT_EQ(RunCli("--module /nonexistent/libx.so x.m4a").status, 2);
}

TEST(Cli, EachFailedInputGetsOneLineAndStatusOne) {
    const std::string dir = testfiles::ScratchDir();
    const std::string empty = dir + "/empty.m4a";
    const std::string junk = dir + "/junk.aac";
    testfiles::WriteAll(empty, {});
    testfiles::WriteAll(junk, std::vector<uint8_t>(3000, 0x42));
    const std::string missing = dir + "/missing.m4a";
    Result r = RunCli("-q -o " + dir + " " + empty + " " + junk + " " + missing + " " + dir);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(std::count(r.errors.begin(), r.errors.end(), '\n'), 4) << r.errors;
    for (const std::string& input : {empty, junk, missing})
        EXPECT_NE(r.errors.find(input + ": "), std::string::npos) << input << " named in\n" << r.errors;
}

TEST(Cli, StartTimeOutputIsTheFullDecodeFromThatTime) {
    const std::string input = LosslessStereo();
    ASSERT_FALSE(input.empty());
    const std::string dir = testfiles::ScratchDir();
    ASSERT_EQ(RunCli("-q -f raw -o " + dir + "/full.pcm " + input).status, 0);
    const std::vector<uint8_t> full = testfiles::ReadAll(dir + "/full.pcm");
    ASSERT_EQ(full.size(), 4u * 32000 * 4);
    // At 32 kHz these times are whole frames: 1.5 s lies inside a 4096-frame packet, 0.128 s is
    // a packet boundary, 0.01 s lies in the first packet.
    for (double seconds : {1.5, 0.128, 0.01}) {
        const std::string path = dir + "/from.pcm";
        char start[32];
        std::snprintf(start, sizeof start, "%.9f", seconds);
        ASSERT_EQ(RunCli(std::string("-q -f raw -s ") + start + " -o " + path + " " + input).status, 0) << seconds;
        const std::vector<uint8_t> from = testfiles::ReadAll(path);
        const size_t skippedBytes = static_cast<size_t>(std::llround(seconds * 32000)) * 4;
        ASSERT_EQ(from.size(), full.size() - skippedBytes) << seconds;
        EXPECT_TRUE(std::equal(from.begin(), from.end(), full.begin() + static_cast<long>(skippedBytes))) << seconds;
    }
}

}  // namespace
