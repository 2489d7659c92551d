// Our MP4 reader against ffprobe, on files ffmpeg makes at test time and on the real-world
// fixtures from other writers (skipped when absent): tracks, time scales, durations, every
// sample's size, time and bytes (read at ffprobe's offset), decoder configuration or ALAC
// cookie and the iTunSMPB item. ffmpeg's priming edit is checked by the AAC job's gapless tests.
#include <gtest/gtest.h>


#include "Mp4TestMovie.h"
#include "TestFiles.h"

namespace {

using testfiles::Capture;
using testfiles::Ffprobe;
using Fields = std::map<std::string, std::string>;

// Two distinct tones, 3 s at 44100 Hz.
const std::string kStereo = "-f lavfi -i \"aevalsrc=sin(440*2*PI*t)|sin(660*2*PI*t):s=44100:d=3\"";
const std::string kVideo = "-f lavfi -i color=c=red:s=64x64:r=25:d=1";

uint64_t U64(const Fields& f, const std::string& key) {
    const auto it = f.find(key);
    return it == f.end() || it->second == "N/A" ? ~uint64_t{0} : std::stoull(it->second);
}

// Extradata of each stream from ffprobe's hex dump ("00000000: 1210 56e5 00   ..V..").
std::vector<std::vector<uint8_t>> Extradata(const std::string& path) {
    std::vector<std::vector<uint8_t>> all;
    std::stringstream lines(Capture(Ffprobe() + " -show_entries stream=extradata -show_data -of default '" + path + "'"));
    for (std::string line; std::getline(lines, line);) {
        if (line == "[STREAM]") all.emplace_back();
        if (all.empty() || line.size() < 10 || line[8] != ':') continue;
        std::string digits;
        for (char c : line.substr(10, 40))
            if (c != ' ') digits += c;
        for (size_t i = 0; i + 1 < digits.size(); i += 2)
            all.back().push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return all;
}

struct FileCase {
    const char* name;  // generated file name (its extension picks the muxer), or a shared fixture
    std::string args;  // ffmpeg arguments; "" for a fixture, of which only the first sound track is compared
    uint32_t movieScale;
    uint8_t audioProfile;
};

TEST(Mp4Ffprobe, SameTracksSamplesAndConfiguration) {
    const FileCase cases[] = {
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
        {"rw_itunes_aac_256k_smpb_excerpt.m4a", "", 0, 0}, {"rw_fdkaac_cli_lc_smpb.m4a", "", 0, 0},
        {"rw_nero_lc_22k_mono_smpb.mp4", "", 0, 0}, {"rw_apple_voicememo_lc_48k.m4a", "", 0, 0},
        {"rw_faac_mp4v2_lc_44k.m4a", "", 0, 0}, {"rw_lc_71_48k_chapters.mp4", "", 0, 0},
        {"rw_qaac_alac_s16_st_44k.m4a", "", 0, 0}, {"rw_itunes11_alac_silence.m4a", "", 0, 0},
    };
    for (const FileCase& c : cases) {
        SCOPED_TRACE(c.name);
        const bool fixture = c.args.empty();
        const std::string path = fixture ? testfiles::SharedFixture(c.name) : testfiles::FfmpegFile(c.name, c.args);
        if (path.empty() && fixture) continue;  // the shared fixtures are optional
        ASSERT_FALSE(path.empty());
        // Without the edit list applied, ffprobe reports mdhd durations and raw stts times.
        const std::vector<Fields> streams = testfiles::ProbeRecords("-ignore_editlist 1 -show_entries stream=codec_type,codec_name,time_base,"
                                                    "duration_ts,nb_frames", path);
        const std::vector<Fields> packets = testfiles::ProbeRecords("-ignore_editlist 1 -show_entries packet=stream_index,dts,size,pos", path);
        const std::vector<std::vector<uint8_t>> extradata = Extradata(path);
        const std::vector<uint8_t> file = testfiles::ReadAll(path);
        ASSERT_FALSE(streams.empty());
        ASSERT_EQ(extradata.size(), streams.size());

        const Mp4Handle h(MP4Read(path.c_str()));
        ASSERT_TRUE(h);
        if (!fixture) {
            EXPECT_EQ(MP4GetTimeScale(h.get()), c.movieScale);
            EXPECT_EQ(MP4GetAudioProfileLevel(h.get()), c.audioProfile);
            ASSERT_EQ(MP4GetNumberOfTracks(h.get(), nullptr, 0), streams.size());
        }
        const std::string smpb = Capture(Ffprobe() + " -show_entries format_tags=iTunSMPB -of default=nw=1:nk=1 '" + path + "'");
        const std::vector<std::string> items = {smpb.substr(0, smpb.size() - 1) + ";"};
        EXPECT_EQ(Items(h.get(), "iTunSMPB"), smpb.empty() ? std::vector<std::string>{} : items);
        for (size_t i = 0; i < (fixture ? 1 : streams.size()); ++i) {
            const Fields& stream = streams[i];
            SCOPED_TRACE("stream " + std::to_string(i) + " " + stream.at("codec_name"));
            const MP4TrackId id = fixture ? MP4FindTrackId(h.get(), 0, "soun", 0) : MP4FindTrackId(h.get(), static_cast<uint16_t>(i), nullptr, 0);
            ASSERT_NE(id, MP4_INVALID_TRACK_ID);
            const bool audio = stream.at("codec_type") == "audio";
            ASSERT_TRUE(audio || !fixture);
            EXPECT_STREQ(MP4GetTrackType(h.get(), id), audio ? "soun" : "vide");
            EXPECT_EQ("1/" + std::to_string(MP4GetTrackTimeScale(h.get(), id)), stream.at("time_base"));
            EXPECT_EQ(MP4GetTrackDuration(h.get(), id), U64(stream, "duration_ts"));
            std::vector<const Fields*> own;
            for (const Fields& p : packets)
                if (U64(p, "stream_index") == i) own.push_back(&p);
            const uint32_t count = MP4GetTrackNumberOfSamples(h.get(), id);
            ASSERT_EQ(count, own.size());

            uint64_t total = 0;
            for (uint32_t k = 0; k < count; ++k) {
                const Fields& packet = *own[k];
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
                // From the next sample's time: ffprobe's own durations differ for some writers.
                EXPECT_EQ(start + duration, k + 1 < count ? U64(*own[k + 1], "dts") : U64(stream, "duration_ts")) << sample;
                EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, start, false), sample);
                EXPECT_TRUE(sync || !audio);
                total = start + duration;
            }
            EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, total, false), count + 1);
            EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, total + 1, false), 0u);
            if (!audio) continue;
            const bool aac = stream.at("codec_name") == "aac";
            const auto none = std::optional<std::vector<uint8_t>>();
            EXPECT_EQ(CopyBytes(h.get(), id), aac ? extradata[i] : none);
            // ffmpeg's ALAC extradata is the whole 36-byte cookie box.
            EXPECT_EQ(CopyBytes(h.get(), id, "mdia.minf.stbl.stsd.alac.alacInfo"), aac ? none : extradata[i]);
        }
    }
}

}  // namespace
