// Files made at test time with ffmpeg, checked against what ffprobe reports about them: tracks,
// time scales, durations, every sample's size, time and bytes (read at ffprobe's offset).
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "Mp4TestHandle.h"

namespace {

using testfiles::Capture;
using testfiles::Ffmpeg;
using testfiles::Ffprobe;

// Two distinct tones, 3 s at 44100 Hz.
const std::string kStereo = "-f lavfi -i \"aevalsrc=sin(440*2*PI*t)|sin(660*2*PI*t):s=44100:d=3\"";
const std::string kVideo = "-f lavfi -i color=c=red:s=64x64:r=25:d=1";

std::string Make(const std::string& name, const std::string& args) {
    return testfiles::Generated(name, [&](const std::string& path) {
        return testfiles::Run(Ffmpeg() + " " + args + " '" + path + "'");
    });
}

using Fields = std::map<std::string, std::string>;

// ffprobe -of compact=p=0 lines: "key=value|key=value".
std::vector<Fields> CompactRecords(const std::string& text) {
    std::vector<Fields> records;
    std::stringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.empty()) continue;
        Fields f;
        std::stringstream parts(line);
        std::string part;
        while (std::getline(parts, part, '|')) {
            const size_t eq = part.find('=');
            if (eq != std::string::npos) f[part.substr(0, eq)] = part.substr(eq + 1);
        }
        records.push_back(f);
    }
    return records;
}

uint64_t U64(const Fields& f, const std::string& key) {
    const auto it = f.find(key);
    return it == f.end() ? ~uint64_t{0} : std::stoull(it->second);
}

// Extradata of each stream from ffprobe's hex dump ("00000000: 1210 56e5 00   ..V..").
std::vector<std::vector<uint8_t>> Extradata(const std::string& path) {
    const std::string text = Capture(Ffprobe() + " -show_entries stream=extradata -show_data -of default '" + path + "'");
    std::vector<std::vector<uint8_t>> all;
    std::stringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (line == "[STREAM]") all.emplace_back();
        if (all.empty() || line.size() < 10 || line[8] != ':') continue;
        const std::string hex = line.substr(10, 40);
        std::string digits;
        for (char c : hex) {
            if (c != ' ') digits += c;
        }
        for (size_t i = 0; i + 1 < digits.size(); i += 2) {
            all.back().push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
        }
    }
    return all;
}

struct Probe {
    std::vector<Fields> streams;
    std::vector<std::vector<Fields>> packets;  // per stream, in decode order
    std::vector<std::vector<uint8_t>> extradata;
    std::vector<Fields> editedStreams;  // durations with the edit list applied
};

Probe ProbeFile(const std::string& path) {
    Probe p;
    // Without the edit list applied, ffprobe reports mdhd durations and raw stts times.
    p.streams = CompactRecords(Capture(Ffprobe() + " -ignore_editlist 1 -show_entries "
                                       "stream=index,codec_type,codec_name,time_base,duration_ts,nb_frames,channels "
                                       "-of compact=p=0 '" + path + "'"));
    p.packets.resize(p.streams.size());
    for (const Fields& f : CompactRecords(Capture(Ffprobe() + " -ignore_editlist 1 -show_entries "
                                                  "packet=stream_index,dts,duration,size,pos -of compact=p=0 '" +
                                                  path + "'"))) {
        const size_t index = U64(f, "stream_index");
        if (index < p.packets.size()) p.packets[index].push_back(f);
    }
    p.extradata = Extradata(path);
    p.editedStreams = CompactRecords(Capture(Ffprobe() + " -show_entries stream=duration_ts -of compact=p=0 '" + path + "'"));
    return p;
}

struct GeneratedCase {
    const char* name;  // file name; its extension picks the muxer
    std::string args;
    uint32_t movieScale;
    uint8_t audioProfile;
};

std::vector<GeneratedCase> Cases() {
    return {
        {"aac.m4a", kStereo + " -c:a aac -b:a 128k", 1000, 0},
        {"alac.m4a", kStereo + " -c:a alac -sample_fmt s16p", 1000, 0},
        {"aac.mov", kStereo + " -c:a aac -b:a 96k", 1000, 0},
        {"alac.mov", kStereo + " -c:a alac -sample_fmt s32p", 1000, 0},
        {"video_aac_alac.mp4", kVideo + " " + kStereo + " " + kStereo +
             " -map 0 -map 1 -map 2 -c:v mpeg4 -c:a:0 aac -c:a:1 alac -sample_fmt:a:1 s16p", 1000, 0},
        {"aac_faststart.mp4", kStereo + " -c:a aac -movflags faststart", 1000, 0},
        {"aac_movie44100.m4a", kStereo + " -c:a aac -movie_timescale 44100", 44100, 0},
        {"aac_iods.mp4", kStereo + " -c:a aac -skip_iods 0", 1000, 0xFE},
        {"aac_iods44.mp4", kStereo + " -c:a aac -skip_iods 0 -iods_audio_profile 44", 1000, 0x2C},
        {"aac_mono_48k.mp4", "-f lavfi -i \"sine=frequency=1000:sample_rate=48000:duration=2\" -c:a aac", 1000, 0},
    };
}

TEST(Mp4Generated, MatchesFfprobe) {
    for (const GeneratedCase& c : Cases()) {
        SCOPED_TRACE(c.name);
        const std::string path = Make(c.name, c.args);
        ASSERT_FALSE(path.empty());
        const Probe probe = ProbeFile(path);
        ASSERT_FALSE(probe.streams.empty());
        const std::vector<uint8_t> file = testfiles::ReadAll(path);

        const Mp4Handle h(MP4Read(path.c_str()));
        ASSERT_TRUE(h);
        EXPECT_EQ(MP4GetTimeScale(h.get()), c.movieScale);
        EXPECT_EQ(MP4GetAudioProfileLevel(h.get()), c.audioProfile);
        ASSERT_EQ(MP4GetNumberOfTracks(h.get(), nullptr, 0), probe.streams.size());

        for (size_t i = 0; i < probe.streams.size(); ++i) {
            const Fields& stream = probe.streams[i];
            SCOPED_TRACE("stream " + std::to_string(i) + " " + stream.at("codec_name"));
            const MP4TrackId id = MP4FindTrackId(h.get(), static_cast<uint16_t>(i), nullptr, 0);
            ASSERT_NE(id, MP4_INVALID_TRACK_ID);
            const bool audio = stream.at("codec_type") == "audio";
            EXPECT_STREQ(MP4GetTrackType(h.get(), id), audio ? "soun" : "vide");
            EXPECT_EQ("1/" + std::to_string(MP4GetTrackTimeScale(h.get(), id)), stream.at("time_base"));
            EXPECT_EQ(MP4GetTrackDuration(h.get(), id), U64(stream, "duration_ts"));
            const uint32_t count = MP4GetTrackNumberOfSamples(h.get(), id);
            EXPECT_EQ(count, U64(stream, "nb_frames"));
            ASSERT_EQ(count, probe.packets[i].size());

            uint64_t total = 0;
            for (uint32_t k = 0; k < count; ++k) {
                const Fields& packet = probe.packets[i][k];
                const MP4SampleId sample = k + 1;
                uint8_t* bytes = nullptr;
                uint32_t size = 0;
                MP4Timestamp start = 0;
                MP4Duration duration = 0;
                bool sync = false;
                ASSERT_TRUE(MP4ReadSample(h.get(), id, sample, &bytes, &size, &start, &duration, nullptr, &sync)) << sample;
                const uint64_t pos = U64(packet, "pos");
                ASSERT_EQ(size, U64(packet, "size")) << sample;
                ASSERT_LE(pos + size, file.size());
                EXPECT_TRUE(std::equal(bytes, bytes + size, file.begin() + static_cast<long>(pos))) << sample;
                MP4Free(bytes);
                EXPECT_EQ(start, U64(packet, "dts")) << sample;
                EXPECT_EQ(MP4GetSampleTime(h.get(), id, sample), start);
                EXPECT_EQ(duration, U64(packet, "duration")) << sample;
                EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, start, false), sample);
                if (audio) {
                    EXPECT_TRUE(sync);
                }
                total = start + duration;
            }
            EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, total, false), count + 1);
            EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, total + 1, false), 0u);

            if (!audio) continue;
            // The sample entry's channelcount, which ffmpeg sets to 2 even for mono AAC (the
            // configuration says 1).
            EXPECT_EQ(MP4GetTrackAudioChannels(h.get(), id), 2);
            ASSERT_GT(probe.extradata.size(), i);
            const bool aac = stream.at("codec_name") == "aac";
            const auto none = std::optional<std::vector<uint8_t>>();
            EXPECT_EQ(CopyBytes(h.get(), id), aac ? probe.extradata[i] : none);
            // ffmpeg's ALAC extradata is the whole 36-byte cookie box.
            EXPECT_EQ(CopyBytes(h.get(), id, "mdia.minf.stbl.stsd.alac.alacInfo"), aac ? none : probe.extradata[i]);
            if (aac) {
                // ffmpeg's edit list skips the 1024-tick priming; its duration is in movie ticks.
                EXPECT_EQ(MP4GetTrackEditMediaStart(h.get(), id, 1), 1024u);
                const uint64_t rate = MP4GetTrackTimeScale(h.get(), id);
                ASSERT_GT(probe.editedStreams.size(), i);
                const uint64_t edited = U64(probe.editedStreams[i], "duration_ts");
                EXPECT_EQ(MP4GetTrackEditDuration(h.get(), id, 1), edited * c.movieScale / rate);
                EXPECT_EQ(MP4GetTrackEditMediaStart(h.get(), id, 2), MP4_INVALID_TIMESTAMP);
            }
        }
    }
}

TEST(Mp4Fragmented, MoofSamplesAreInvisible) {
    const std::string path = Make("aac_frag.mp4", kStereo + " -c:a aac -movflags frag_keyframe+empty_moov");
    ASSERT_FALSE(path.empty());
    const Mp4Handle h(MP4Read(path.c_str()));
    ASSERT_TRUE(h);
    ASSERT_EQ(MP4GetNumberOfTracks(h.get(), "soun", 0), 1u);
    const MP4TrackId id = MP4FindTrackId(h.get(), 0, "soun", 0);
    EXPECT_EQ(MP4GetTrackNumberOfSamples(h.get(), id), 0u);
    EXPECT_EQ(MP4GetTrackDuration(h.get(), id), 0u);
    EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, 0, false), 0u);
    std::vector<uint8_t> bytes;
    EXPECT_FALSE(ReadSampleBytes(h.get(), id, 1, bytes));
    // The configuration still comes from the moov.
    EXPECT_EQ(CopyBytes(h.get(), id), (std::vector<uint8_t>{0x12, 0x10, 0x56, 0xE5, 0x00}));
}

}  // namespace
