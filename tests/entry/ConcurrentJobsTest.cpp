// 32 jobs at once on 8 host threads, every kind of job (lossless, AAC in MP4, raw AAC, and a
// file handed over to the sibling), each host cancelling at a random block: every job ends,
// with at most one final message, and exactly one msgDone when nobody cancels. Built under
// ThreadSanitizer too (make test-tsan), where it is the platform layer's and the jobs' race check.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "TestFiles.h"
#include "TestHost.h"

namespace {

std::string Make(const std::string& name, const std::string& arguments) {
    return testfiles::Generated("concurrent-" + name, [&](const std::string& out) {
        return testfiles::Run(testfiles::Ffmpeg() + " -f lavfi -i sine=frequency=500:duration=2 " + arguments + out);
    });
}

TEST(ConcurrentJobs, EveryJobEndsOnceWithCancelsAtRandomBlocks) {
    const std::vector<std::string> files = {
        Make("alac.m4a", "-c:a alac -f mp4 "), Make("aac.m4a", "-c:a aac -f mp4 "), Make("aac.aac", "-c:a aac -f adts "),
        // Fragmented: no samples in the movie box, so the AAC job hands it to the sibling.
        Make("frag.mp4", "-c:a aac -movflags frag_keyframe+empty_moov -f mp4 ")};
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    std::vector<std::thread> hosts;
    for (int host = 0; host < 8; ++host) {
        const int cancelAt = host == 0 ? -1 : static_cast<int>(random() % 40) - 1;
        hosts.emplace_back([&files, cancelAt, seed] {
            testhost::RunOptions options;
            options.cancelAt = cancelAt;
            const std::vector<testhost::JobRecord> records = testhost::RunJobs(files, options);
            for (size_t k = 0; k < records.size(); ++k) {
                const std::string where = files[k] + ", cancel at " + std::to_string(cancelAt) + ", seed " +
                                          std::to_string(seed);
                EXPECT_TRUE(records[k].threadEnded) << where;
                EXPECT_LE(records[k].finalMessages, 1) << where;
                if (cancelAt < 0) {
                    EXPECT_EQ(records[k].final, testhost::Final::Done) << where;
                }
            }
        });
    }
    for (std::thread& host : hosts) host.join();
}

}  // namespace
