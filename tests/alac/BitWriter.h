// MSB-first bit writer for hand-built cookies and packets.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace alactest {

class BitWriter {
public:
    BitWriter& Put(uint32_t value, uint32_t bitCount) {
        for (uint32_t i = bitCount; i-- > 0;) {
            PutBit((value >> i) & 1);
        }
        return *this;
    }
    BitWriter& PutBit(uint32_t bit) {
        if (bitCount_ % 8 == 0) {
            bytes_.push_back(0);
        }
        if (bit != 0) {
            bytes_.back() = static_cast<uint8_t>(bytes_.back() | (0x80 >> (bitCount_ % 8)));
        }
        ++bitCount_;
        return *this;
    }
    BitWriter& Align() {
        while (bitCount_ % 8 != 0) {
            PutBit(0);
        }
        return *this;
    }
    BitWriter& Bytes(const std::vector<uint8_t>& bytes) {
        for (uint8_t b : bytes) {
            Put(b, 8);
        }
        return *this;
    }
    const std::vector<uint8_t>& Data() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
    size_t bitCount_ = 0;
};

struct CookieFields {
    uint32_t frameLength = 4096;
    uint8_t version = 0;
    uint8_t bitDepth = 16;
    uint8_t pb = 40;
    uint8_t mb = 10;
    uint8_t kb = 14;
    uint8_t channels = 2;
    uint16_t maxRun = 255;
    uint32_t maxFrameBytes = 0;
    uint32_t avgBitRate = 0;
    uint32_t sampleRate = 44100;
};

// The bare 24-byte record, optionally behind an "alac" header and a "frma" atom.
inline std::vector<uint8_t> MakeCookie(const CookieFields& f, bool alacHeader = false, bool frmaHeader = false) {
    BitWriter w;
    if (frmaHeader) {
        w.Put(12, 32).Bytes({'f', 'r', 'm', 'a'}).Bytes({'a', 'l', 'a', 'c'});
    }
    if (alacHeader) {
        w.Put(36, 32).Bytes({'a', 'l', 'a', 'c'}).Put(0, 32);
    }
    w.Put(f.frameLength, 32).Put(f.version, 8).Put(f.bitDepth, 8).Put(f.pb, 8).Put(f.mb, 8).Put(f.kb, 8);
    w.Put(f.channels, 8).Put(f.maxRun, 16).Put(f.maxFrameBytes, 32).Put(f.avgBitRate, 32).Put(f.sampleRate, 32);
    return w.Data();
}

}  // namespace alactest
