#include "WavWriter.h"

#include <cstring>
#include <filesystem>
#include <vector>

namespace {

constexpr uint32_t kRiffHeaderBytes = 12;
constexpr uint32_t kJunkChunkBytes = 8 + 28;   // room for a ds64 chunk should the file pass 4 GiB
constexpr uint32_t kDataHeaderBytes = 8;

void Put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
void Put32(std::vector<uint8_t>& out, uint32_t v) {
    Put16(out, v & 0xFFFF);
    Put16(out, v >> 16);
}
void Put64(std::vector<uint8_t>& out, uint64_t v) {
    Put32(out, static_cast<uint32_t>(v));
    Put32(out, static_cast<uint32_t>(v >> 32));
}
void PutTag(std::vector<uint8_t>& out, const char* tag) { out.insert(out.end(), tag, tag + 4); }

uint32_t ChannelMask(uint32_t channels) {
    switch (channels) {
        case 1: return 0x4;      // centre
        case 2: return 0x3;      // L R
        case 3: return 0x7;      // L R C
        case 4: return 0x107;    // L R C, back centre
        case 5: return 0x607;    // L R C, side L R
        case 6: return 0x60F;    // L R C LFE, side L R
        case 7: return 0x70F;    // L R C LFE, back centre, side L R
        case 8: return 0x63F;    // L R C LFE, back L R, side L R
        default: return 0;
    }
}

}  // namespace

WavWriter::~WavWriter() {
    if (file_ && ownsFile_) std::fclose(file_);
}

bool WavWriter::Open(const std::string& path, bool raw, const PcmFormat& format) {
    raw_ = raw;
    format_ = format;
    if (path == "-") {
        file_ = stdout;
        ownsFile_ = false;
        seekable_ = false;
    } else {
#ifdef _WIN32
        // Narrow names are in the ANSI code page on Windows; ours are UTF-8.
        file_ = _wfopen(std::filesystem::u8path(path).c_str(), L"wb");
#else
        file_ = std::fopen(path.c_str(), "wb");
#endif
        if (!file_) return false;
        // Blocks arrive a frame at a time (8 KiB for stereo AAC): gather a megabyte per write.
        std::setvbuf(file_, nullptr, _IOFBF, size_t{1} << 20);
        ownsFile_ = true;
        seekable_ = true;
    }
    return raw_ || WriteHeader(false);
}

bool WavWriter::Write(const uint8_t* data, size_t byteCount) {
    if (!file_) return false;
    if (byteCount == 0) return true;
    if (std::fwrite(data, 1, byteCount, file_) != byteCount) return false;
    dataBytes_ += byteCount;
    return true;
}

bool WavWriter::Finish() {
    if (!file_) return false;
    bool ok = true;
    if (!raw_) {
        // Odd-sized data chunks are padded to an even size.
        if (dataBytes_ & 1) ok = std::fputc(0, file_) != EOF;
        if (seekable_) ok = ok && std::fseek(file_, 0, SEEK_SET) == 0 && WriteHeader(true);
    }
    ok = std::fflush(file_) == 0 && ok;
    if (ownsFile_) ok = std::fclose(file_) == 0 && ok;
    file_ = nullptr;
    return ok;
}

bool WavWriter::WriteHeader(bool final) {
    const bool extensible = format_.channels > 2 || format_.bitsPerSample > 16;
    const uint32_t fmtBytes = extensible ? 40 : 16;
    const uint32_t headerBytes = kRiffHeaderBytes + kJunkChunkBytes + 8 + fmtBytes + kDataHeaderBytes;
    const uint64_t paddedData = dataBytes_ + (dataBytes_ & 1);
    const uint64_t riffSize = headerBytes - 8 + paddedData;
    const bool rf64 = final && riffSize > 0xFFFFFFFFull;
    const bool unknownSize = !final;  // streaming: sizes are unknown until the end

    std::vector<uint8_t> h;
    PutTag(h, rf64 ? "RF64" : "RIFF");
    Put32(h, rf64 || unknownSize ? 0xFFFFFFFFu : static_cast<uint32_t>(riffSize));
    PutTag(h, "WAVE");
    if (rf64) {
        PutTag(h, "ds64");
        Put32(h, 28);
        Put64(h, riffSize);
        Put64(h, dataBytes_);
        Put64(h, 0);  // sample count: optional
        Put32(h, 0);  // no table entries
    } else {
        PutTag(h, "JUNK");
        Put32(h, 28);
        h.insert(h.end(), 28, 0);
    }

    const uint32_t container = format_.ContainerBytes();
    const uint32_t blockAlign = format_.FrameBytes();
    PutTag(h, "fmt ");
    Put32(h, fmtBytes);
    Put16(h, extensible ? 0xFFFE : (format_.isFloat ? 3 : 1));
    Put16(h, format_.channels);
    Put32(h, format_.sampleRate);
    Put32(h, format_.sampleRate * blockAlign);
    Put16(h, blockAlign);
    Put16(h, container * 8);
    if (extensible) {
        Put16(h, 22);
        Put16(h, format_.bitsPerSample);  // valid bits: 20 in a 24-bit container
        Put32(h, ChannelMask(format_.channels));
        static const uint8_t kGuidTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                              0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
        Put16(h, format_.isFloat ? 3 : 1);
        h.insert(h.end(), kGuidTail, kGuidTail + 14);
    }


    PutTag(h, "data");
    Put32(h, rf64 || unknownSize ? 0xFFFFFFFFu : static_cast<uint32_t>(dataBytes_));
    return std::fwrite(h.data(), 1, h.size(), file_) == h.size();
}
