// zorv-decode as a user meets it: exit status and one clear line per failed input.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <sstream>

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

size_t Lines(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

TEST(Cli, UsageErrorsExitWithTwo) {
    for (const char* args : {"", "--format mp3 x.m4a", "--track -1 x.m4a", "--jobs 0 x", "--bogus x", "-o"}) {
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
    EXPECT_EQ(Lines(r.errors), 4u) << r.errors;
    for (const std::string& input : {empty, junk, missing})
        EXPECT_NE(r.errors.find(input + ": "), std::string::npos) << input << " named in\n" << r.errors;
}

}  // namespace
