// Writes delivered PCM as a WAV file (RF64 past 4 GiB) or as raw bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

struct PcmFormat {
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    uint32_t bitsPerSample = 0;   // as announced: 16, 20, 24, 32
    bool isFloat = false;
    uint32_t ContainerBytes() const { return bitsPerSample == 20 ? 3 : (bitsPerSample + 7) / 8; }
    uint32_t FrameBytes() const { return ContainerBytes() * channels; }
};

class WavWriter {
public:
    ~WavWriter();
    // path "-" writes to standard output (a WAV header then carries unknown sizes).
    bool Open(const std::string& path, bool raw, const PcmFormat& format);
    bool Write(const uint8_t* data, size_t byteCount);
    // Completes the header; the file is valid after this.
    bool Finish();
    uint64_t DataBytes() const { return dataBytes_; }

private:
    bool WriteHeader(bool final);

    FILE* file_ = nullptr;
    bool ownsFile_ = false;
    bool seekable_ = false;
    bool raw_ = false;
    PcmFormat format_;
    uint64_t dataBytes_ = 0;
};
