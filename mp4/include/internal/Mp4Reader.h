// A reader bounded to one box payload (or any byte range inside one). Every read checks the
// bytes left and throws Mp4Fault::Truncated past the end, so box code never indexes raw memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Mp4Error.h"

class Mp4Reader {
public:
    Mp4Reader() = default;
    Mp4Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    size_t Remaining() const { return size_ - pos_; }
    bool AtEnd() const { return pos_ == size_; }

    uint8_t U8() { Need(1); return data_[pos_++]; }
    uint16_t U16() { return static_cast<uint16_t>(Be(2)); }
    uint32_t U24() { return static_cast<uint32_t>(Be(3)); }
    uint32_t U32() { return static_cast<uint32_t>(Be(4)); }
    uint64_t U64() { return Be(8); }

    void Skip(size_t n) { Need(n); pos_ += n; }
    void SkipRest() { pos_ = size_; }

    // Consumes n bytes and returns a reader over exactly them.
    Mp4Reader Sub(size_t n) {
        Need(n);
        Mp4Reader sub(data_ + pos_, n);
        pos_ += n;
        return sub;
    }

    // Consumes n bytes and returns a copy.
    std::vector<uint8_t> Bytes(size_t n) {
        Need(n);
        std::vector<uint8_t> out(data_ + pos_, data_ + pos_ + n);
        pos_ += n;
        return out;
    }
    std::vector<uint8_t> Rest() { return Bytes(Remaining()); }

    // Throws unless `count` entries of `entryBytes` each fit in what is left. Called before any
    // table is allocated, so a count can never ask for more memory than the box holds.
    void RequireEntries(uint64_t count, size_t entryBytes) const {
        if (entryBytes != 0 && count > Remaining() / entryBytes) MP4_FAIL(Mp4Fault::CountTooLarge);
    }

private:
    void Need(size_t n) const {
        if (n > size_ - pos_) MP4_FAIL(Mp4Fault::Truncated);
    }
    uint64_t Be(size_t n) {
        Need(n);
        uint64_t v = 0;
        for (size_t i = 0; i < n; ++i) v = (v << 8) | data_[pos_ + i];
        pos_ += n;
        return v;
    }

    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
    size_t pos_ = 0;
};
