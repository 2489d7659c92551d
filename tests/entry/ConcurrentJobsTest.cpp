// 32 jobs of every kind on 8 host threads, each host cancelling at a random block: every job ends,
// with at most one final message, and with msgDone when nobody cancels (also under TSan).
#include <gtest/gtest.h>

#include <random>

#include "TestFiles.h"
#include "TestHost.h"

namespace {

struct Host {
    const std::vector<std::string>* files;
    testhost::RunOptions options;
    unsigned seed;
};

// A Win32 thread, as the host's are (the Windows runtime has no std::thread).
DWORD WINAPI RunHost(LPVOID parameter) {
    const Host& host = *static_cast<const Host*>(parameter);
    const std::vector<testhost::JobRecord> records = testhost::RunJobs(*host.files, host.options);
    for (size_t k = 0; k < records.size(); ++k) {
        SCOPED_TRACE((*host.files)[k] + " cancelled at " + std::to_string(host.options.cancelAt) + ", seed " +
                     std::to_string(host.seed));
        EXPECT_TRUE(records[k].threadEnded);
        EXPECT_LE(records[k].finalMessages, 1);
        EXPECT_TRUE(host.options.cancelAt >= 0 || records[k].final == testhost::Final::Done);
    }
    return 0;
}

TEST(ConcurrentJobs, EveryJobEndsOnceWithCancelsAtRandomBlocks) {
    std::vector<std::string> files;
    // The fragmented file has no samples in its movie box, so the AAC job hands it over.
    for (const char* kind : {"alac -f mp4", "aac -f mp4", "aac -f adts", "aac -movflags frag_keyframe+empty_moov -f mp4"})
        files.push_back(testfiles::FfmpegFile("concurrent-" + std::to_string(files.size()),
                                              std::string("-f lavfi -i sine=d=2 -c:a ") + kind));
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    std::vector<Host> hosts(8, Host{&files, {}, seed});
    std::vector<HANDLE> threads;
    for (size_t h = 0; h < hosts.size(); ++h) {
        hosts[h].options.cancelAt = h == 0 ? -1 : static_cast<int>(random() % 40) - 1;
        HANDLE thread = CreateThread(nullptr, 0, RunHost, &hosts[h], 0, nullptr);
        EXPECT_NE(thread, nullptr);
        if (thread) threads.push_back(thread);
    }
    for (HANDLE thread : threads) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
}

}  // namespace
