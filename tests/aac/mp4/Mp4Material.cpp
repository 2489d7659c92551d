#include "Mp4Material.h"

#include <cstdio>
#include <sstream>

#include "BoxBuilder.h"
#include "TestFiles.h"

namespace mp4material {
namespace {

const char* Layout(uint32_t channels) {
    return channels == 1 ? "mono" : channels == 2 ? "stereo" : channels == 6 ? "5.1" : "7.1";
}

std::string LavfiInput(const Source& s) {
    std::ostringstream o;
    o << "-f lavfi -i 'aevalsrc=exprs=" << s.expression << ":s=" << s.rate << ":c=" << Layout(s.channels)
      << ",atrim=end_sample=" << s.frames << "'";
    return o.str();
}

}  // namespace

Source Signal(uint32_t rate, uint32_t channels, uint64_t frames) {
    std::ostringstream o;
    for (uint32_t c = 0; c < channels; ++c) {
        if (c) o << '|';
        // A chirp rising from a channel-specific start, with noise bursts four times a second.
        o << "0.3*sin(2*PI*(" << (200 + 60 * c) << "*t+" << (250 + 20 * c) << "*t*t))"
          << "+0.2*(2*random(" << c << ")-1)*lt(mod(t+" << c << "*0.03\\,0.25)\\,0.06)";
    }
    return {o.str(), rate, channels, frames};
}

std::string LcMp4(const std::string& name, const Source& source, const std::string& muxArgs) {
    return testfiles::FfmpegFile(name + ".m4a", LavfiInput(source) + " -c:a aac -b:a " + std::to_string(64000 * source.channels) + " " +
                                                    muxArgs + " -f mp4");
}

Encoded HeMp4(const std::string& name, const Source& source, int aot, uint32_t bitrate, const std::string& muxArgs) {
    Encoded e;
    // The info file holds the encoder's report; the MP4 beside it is made in the same step.
    std::string mp4 = testfiles::GeneratedDir() + "/" + name + ".m4a";
    std::string info = testfiles::Generated(name + ".info", [&](const std::string& out) {
        std::string pcm = testfiles::ScratchDir() + "/" + name + ".s16";
        std::string adts = testfiles::ScratchDir() + "/" + name + ".aac";
        if (!testfiles::Run(testfiles::Ffmpeg() + " " + LavfiInput(source) + " -f s16le " + pcm)) return false;
        std::string report = testfiles::Capture(testfiles::BinDir() + "/zorv_test_aacenc " + std::to_string(aot) + " " +
                                                std::to_string(source.rate) + " " + std::to_string(source.channels) +
                                                " " + std::to_string(bitrate) + " " + pcm + " " + adts);
        if (report.empty()) return false;
        if (!testfiles::Run(testfiles::Ffmpeg() + " -i " + adts + " -c:a copy " + muxArgs + " -f mp4 " + mp4))
            return false;
        return testfiles::WriteAll(out, std::vector<uint8_t>(report.begin(), report.end()));
    });
    if (info.empty()) return e;
    std::vector<uint8_t> text = testfiles::ReadAll(info);
    std::string s(text.begin(), text.end());
    unsigned delay = 0, frameLength = 0;
    unsigned long long units = 0;
    if (std::sscanf(s.c_str(), "delay=%u frameLength=%u units=%llu", &delay, &frameLength, &units) != 3) return e;
    e.path = mp4;
    e.delay = delay;
    e.frameLength = frameLength;
    e.units = static_cast<uint32_t>(units);
    return e;
}

std::string Patched(const std::string& name, const std::string& from, const std::string& smpb,
                    std::optional<uint32_t> editStart, std::optional<uint32_t> editDuration) {
    return testfiles::Generated(name + ".m4a", [&](const std::string& out) {
        std::vector<uint8_t> b = testfiles::ReadAll(from);
        const size_t elst = FindBox(b, "moov.trak.edts.elst");  // version 0: duration, then media start
        if (editDuration) b = Put32(std::move(b), elst + 16, *editDuration);
        if (editStart) b = Put32(std::move(b), elst + 20, *editStart);
        return testfiles::WriteAll(out, smpb.empty() ? b : AddSmpb(std::move(b), smpb));
    });
}

std::string SmpbText(uint32_t delay, uint32_t padding, uint64_t length) {
    char text[96];
    std::snprintf(text, sizeof text, " 00000000 %08X %08X %016llX 00000000", delay, padding,
                  static_cast<unsigned long long>(length));
    return text;
}

std::vector<float> DecodeTrack(const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1) + ".faad.f32";
    return testfiles::Floats(testfiles::ReadAll(testfiles::Generated(name, [&](const std::string& out) {
        return testfiles::Run(testfiles::BinDir() + "/zorv_test_faad_mp4 '" + path + "' " + out);
    })));
}

}  // namespace mp4material
