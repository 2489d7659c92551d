// Files on disk through the flat interface: an ffmpeg-made AAC m4a, fragmented two ways by
// ffmpeg, must read back as the same samples as ffprobe reports for the unfragmented file.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "IsoTestMovies.h"
#include "TestFiles.h"

namespace {

struct Packet {
    uint64_t pos = 0;
    uint32_t size = 0;
    uint32_t duration = 0;
    std::vector<uint8_t> bytes;
};

std::string SourceM4a() {
    return testfiles::FfmpegFile("iso_sine.m4a", "-f lavfi -i \"sine=frequency=440:sample_rate=44100:duration=5\" -c:a aac -b:a 96k");
}

// Packets of the first audio stream as ffprobe reports them, with their bytes from the file.
std::vector<Packet> ReferencePackets(const std::string& path) {
    const std::vector<uint8_t> file = testfiles::ReadAll(path);
    std::vector<Packet> packets;
    for (auto& f : testfiles::ProbeRecords("-select_streams a:0 -show_entries packet=pos,size,duration", path)) {
        Packet p{std::stoull(f["pos"]), static_cast<uint32_t>(std::stoul(f["size"])), static_cast<uint32_t>(std::stoul(f["duration"])), {}};
        if (p.pos + p.size <= file.size()) p.bytes.assign(file.begin() + static_cast<long>(p.pos), file.begin() + static_cast<long>(p.pos + p.size));
        packets.push_back(std::move(p));
    }
    return packets;
}

// Every sample of track 0 of the file, read with sample number 0 until the end of the track.
std::vector<Packet> ReadThroughInterface(const std::string& path, uint32_t* reportedCount) {
    isotest::Reader r(path);
    EXPECT_EQ(ISO_GetSampleCount(r.track, reportedCount), kIsoOk);
    std::vector<Packet> samples;
    for (int32_t result = r.Read(0); result != kIsoEndOfTrack && samples.size() < 100000; result = r.Read(0)) {
        EXPECT_EQ(result, kIsoOk) << "sample " << samples.size();
        if (result != kIsoOk) break;
        samples.push_back({r.record->fileOffset, ISO_GetSampleSize(r.record), ISO_GetSampleDuration(r.record), r.Bytes()});
    }
    return samples;
}

// The unfragmented file and ffmpeg's two fragmented layouts of it (base at the moof, explicit base).
TEST(FfmpegFiles, SameSamplesAsUnfragmentedFile) {
    const std::string source = SourceM4a();
    ASSERT_FALSE(source.empty());
    const std::vector<Packet> reference = ReferencePackets(source);
    ASSERT_GT(reference.size(), 100u);
    for (const std::string flags : {"", "frag_keyframe+empty_moov+default_base_moof", "frag_keyframe+empty_moov"}) {
        SCOPED_TRACE(flags);
        const std::string path = flags.empty() ? source
                                               : testfiles::FfmpegFile("iso_sine_" + std::to_string(flags.size()) + ".mp4",
                                                                       "-i " + source + " -c copy -movflags " + flags + " -frag_duration 200000");
        ASSERT_FALSE(path.empty());
        uint32_t count = 0;
        const std::vector<Packet> samples = ReadThroughInterface(path, &count);
        EXPECT_EQ(count, reference.size());
        ASSERT_EQ(samples.size(), reference.size());
        for (size_t k = 0; k < samples.size(); ++k) {
            EXPECT_EQ(samples[k].size, reference[k].size) << "sample " << k;
            EXPECT_EQ(samples[k].duration, reference[k].duration) << "sample " << k;
            EXPECT_TRUE(samples[k].bytes == reference[k].bytes) << "sample " << k;
            EXPECT_TRUE(!flags.empty() || samples[k].pos == reference[k].pos) << "sample " << k;
        }
    }
}

}  // namespace
