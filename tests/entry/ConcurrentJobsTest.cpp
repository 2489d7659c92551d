// 32 jobs at once on 8 host threads, every kind of job (lossless, AAC in MP4, raw AAC, and a
// file handed to the sibling), each host cancelling at a random block: every job ends, with at
// most one final message, and with msgDone when nobody cancels. make test-tsan runs it under
// the thread sanitizer.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "TestFiles.h"
#include "TestHost.h"

namespace {

TEST(ConcurrentJobs, EveryJobEndsOnceWithCancelsAtRandomBlocks) {
    std::vector<std::string> files;
    // The fragmented file has no samples in its movie box, so the AAC job hands it over.
    for (const char* kind : {"alac -f mp4", "aac -f mp4", "aac -f adts", "aac -movflags frag_keyframe+empty_moov -f mp4"})
        files.push_back(testfiles::Generated("concurrent-" + std::to_string(files.size()), [&](const std::string& out) {
            return testfiles::Run(testfiles::Ffmpeg() + " -f lavfi -i sine=d=2 -c:a " + kind + " " + out);
        }));
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    std::vector<std::thread> hosts;
    for (int host = 0; host < 8; ++host) {
        testhost::RunOptions options;
        options.cancelAt = host == 0 ? -1 : static_cast<int>(random() % 40) - 1;
        hosts.emplace_back([&files, options, seed] {
            const std::vector<testhost::JobRecord> records = testhost::RunJobs(files, options);
            for (size_t k = 0; k < records.size(); ++k) {
                SCOPED_TRACE(files[k] + " cancelled at " + std::to_string(options.cancelAt) + ", seed " +
                             std::to_string(seed));
                EXPECT_TRUE(records[k].threadEnded);
                EXPECT_LE(records[k].finalMessages, 1);
                EXPECT_TRUE(options.cancelAt >= 0 || records[k].final == testhost::Final::Done);
            }
        });
    }
    for (std::thread& host : hosts) host.join();
}

}  // namespace
