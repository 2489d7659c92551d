#include "RawTestMaterial.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "TestFiles.h"

namespace rawtest {

namespace {

void Append(Bytes& out, const std::string& s) { out.insert(out.end(), s.begin(), s.end()); }

}  // namespace

std::string AdtsFile(const std::string& layout, uint32_t sampleRate, uint32_t frames) {
    const std::string name = "raw_" + layout + "_" + std::to_string(sampleRate) + "_" + std::to_string(frames) + ".aac";
    return testfiles::Generated(name, [&](const std::string& path) {
        const int channels = layout == "mono" ? 1 : layout == "stereo" ? 2 : layout == "5.1" ? 6 : 8;
        std::string exprs;
        for (int c = 0; c < channels; ++c) {
            if (c != 0) exprs += "|";
            exprs += "0." + std::to_string(c + 1) + "*sin(2*PI*60*t)";
        }
        return testfiles::Run(testfiles::Ffmpeg() + " -f lavfi -i \"aevalsrc=exprs='" + exprs + "':s=" +
                              std::to_string(sampleRate) + ":c=" + layout + ",atrim=end_sample=" +
                              std::to_string(frames) + "\" -c:a aac -b:a 128k -f adts " + path);
    });
}

std::vector<Bytes> SplitAdts(const Bytes& stream) {
    std::vector<Bytes> frames;
    size_t at = 0;
    while (at + 7 <= stream.size()) {
        const uint8_t* b = stream.data() + at;
        if (b[0] != 0xFF || (b[1] & 0xF6) != 0xF0) break;
        const size_t length = ((b[3] & 0x03u) << 11) | (uint32_t{b[4]} << 3) | (b[5] >> 5);
        if (length < 7 || at + length > stream.size()) break;
        frames.emplace_back(stream.begin() + static_cast<long>(at), stream.begin() + static_cast<long>(at + length));
        at += length;
    }
    return frames;
}

Bytes Join(const std::vector<Bytes>& frames) {
    Bytes out;
    for (const Bytes& f : frames) out.insert(out.end(), f.begin(), f.end());
    return out;
}

Bytes Id3WithSmpb(uint32_t delay, uint32_t padding, uint64_t length) {
    char text[128];
    std::snprintf(text, sizeof text, " 00000000 %08X %08X %016llX 00000000 00000000", delay, padding,
                  static_cast<unsigned long long>(length));
    Bytes body{0};
    Append(body, "engiTunSMPB");
    body.push_back(0);
    Append(body, text);
    body.push_back(0);
    Bytes frame;
    Append(frame, "COMM");
    for (int i = 3; i >= 0; --i) frame.push_back(static_cast<uint8_t>(body.size() >> (8 * i)));
    frame.push_back(0), frame.push_back(0);
    frame.insert(frame.end(), body.begin(), body.end());
    const size_t size = frame.size() + 32;  // 32 bytes of padding after the frame
    Bytes tag;
    Append(tag, "ID3");
    tag.push_back(3), tag.push_back(0), tag.push_back(0);
    for (int shift = 21; shift >= 0; shift -= 7) tag.push_back(static_cast<uint8_t>((size >> shift) & 0x7F));
    tag.insert(tag.end(), frame.begin(), frame.end());
    tag.insert(tag.end(), 32, 0);
    return tag;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

std::string Write(const std::string& name, const Bytes& bytes) {
    const std::string path = testfiles::ScratchDir() + "/" + name;
    EXPECT_TRUE(testfiles::WriteAll(path, bytes)) << path;
    return path;
}

}  // namespace rawtest
