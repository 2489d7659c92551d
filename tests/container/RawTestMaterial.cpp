#include "RawTestMaterial.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "TestFiles.h"

namespace rawtest {

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

namespace {

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

// The text as UTF-16 code units (with a byte order mark unless `noBom`) and a zero terminator.
Bytes Utf16(const std::string& ascii, bool bigEndian, bool noBom) {
    Bytes out = noBom ? Bytes{} : bigEndian ? Bytes{0xFE, 0xFF} : Bytes{0xFF, 0xFE};
    for (char c : ascii) out.insert(out.end(), {bigEndian ? uint8_t{0} : uint8_t(c), bigEndian ? uint8_t(c) : uint8_t{0}});
    return Concat({out, {0, 0}});
}

Bytes Syncsafe(uint32_t v) { return {uint8_t(v >> 21 & 0x7F), uint8_t(v >> 14 & 0x7F), uint8_t(v >> 7 & 0x7F), uint8_t(v & 0x7F)}; }

Bytes Be(uint32_t v, int n) {
    Bytes out;
    for (int i = n - 1; i >= 0; --i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return out;
}

}  // namespace

Bytes CommentBody(Id3Text encoding, const std::string& text, const std::string& description) {
    const uint8_t code[] = {0, 3, 1, 1, 2};
    const Bytes head = Concat({{code[encoding]}, Text("eng")});
    if (encoding <= Utf8) return Concat({head, Text(description), {0}, Text(text), {0}});
    const bool bigEndian = encoding != Utf16Le, noBom = encoding == Utf16BeNoBom;
    return Concat({head, Utf16(description, bigEndian, noBom), Utf16(text, bigEndian, noBom)});
}

Bytes Id3Frame(int major, const std::string& id, const Bytes& body, Id3Sizes sizes) {
    const auto n = static_cast<uint32_t>(body.size());
    if (major == 2) return Concat({Text(id.substr(0, 3)), Be(n, 3), body});
    const bool syncsafe = sizes == Id3Sizes::Syncsafe || (sizes == Id3Sizes::ForVersion && major >= 4);
    return Concat({Text(id), syncsafe ? Syncsafe(n) : Be(n, 4), {0, 0}, body});
}

Bytes Id3Tag(int major, int revision, uint8_t flags, const Bytes& frames, size_t padding) {
    return Concat({Text("ID3"), {uint8_t(major), uint8_t(revision), flags},
                   Syncsafe(static_cast<uint32_t>(frames.size() + padding)), frames, Bytes(padding, 0)});
}

Bytes Id3WithSmpb(uint32_t delay, uint32_t padding, uint64_t length) {
    char text[128];
    std::snprintf(text, sizeof text, " 00000000 %08X %08X %016llX 00000000 00000000", delay, padding,
                  static_cast<unsigned long long>(length));
    return Id3Tag(3, 0, 0, Id3Frame(3, "COMM", CommentBody(Latin1, text)), 32);
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
