// MSB-first bit writer for hand-built bit streams (lossless packets and cookies, ADIF headers).
#pragma once

#include <cstdint>
#include <vector>

class BitWriter {
public:
    BitWriter& Put(uint32_t value, uint32_t bitCount) {
        for (uint32_t i = bitCount; i-- > 0;) PutBit((value >> i) & 1);
        return *this;
    }
    BitWriter& PutBit(uint32_t bit) {
        if (bitCount_ % 8 == 0) bytes_.push_back(0);
        if (bit != 0) bytes_.back() = static_cast<uint8_t>(bytes_.back() | (0x80 >> (bitCount_ % 8)));
        ++bitCount_;
        return *this;
    }
    BitWriter& Align() {
        while (bitCount_ % 8 != 0) PutBit(0);
        return *this;
    }
    BitWriter& Bytes(const std::vector<uint8_t>& bytes) {
        for (uint8_t b : bytes) Put(b, 8);
        return *this;
    }
    const std::vector<uint8_t>& Data() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
    size_t bitCount_ = 0;
};
