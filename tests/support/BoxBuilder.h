// Builds ISO base media boxes byte by byte for tests.
//
//   BoxBuilder moov("moov");
//   moov.Child(BoxBuilder("mvhd").U8(0).U24(0).U32(0).U32(0).U32(1000).U32(0)...);
//   std::vector<uint8_t> bytes = moov.Build();
//
// Sizes are filled in automatically; SizeOverride forces a wrong 32-bit size, Large64 writes the
// header with size field 1 and a 64-bit size, ToEnd writes size 0.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class BoxBuilder {
public:
    explicit BoxBuilder(const std::string& type) : type_(type) {}

    BoxBuilder& U8(uint32_t v) { bytes_.push_back(static_cast<uint8_t>(v)); return *this; }
    BoxBuilder& U16(uint32_t v) { return Be(v, 2); }
    BoxBuilder& U24(uint32_t v) { return Be(v, 3); }
    BoxBuilder& U32(uint32_t v) { return Be(v, 4); }
    BoxBuilder& U64(uint64_t v) { return Be(v, 8); }
    // version (8 bits) + flags (24 bits) of a full box
    BoxBuilder& Full(uint32_t version, uint32_t flags) { U8(version); return U24(flags); }
    BoxBuilder& Str(const std::string& s) { bytes_.insert(bytes_.end(), s.begin(), s.end()); return *this; }
    BoxBuilder& Bytes(const std::vector<uint8_t>& b) { bytes_.insert(bytes_.end(), b.begin(), b.end()); return *this; }
    BoxBuilder& Zeros(size_t n) { bytes_.insert(bytes_.end(), n, 0); return *this; }
    BoxBuilder& Child(const BoxBuilder& child) { return Bytes(child.Build()); }

    BoxBuilder& SizeOverride(uint32_t size) { sizeOverride_ = size; hasOverride_ = true; return *this; }
    BoxBuilder& Large64() { large_ = true; return *this; }
    BoxBuilder& ToEnd() { toEnd_ = true; return *this; }
    // 16-byte extended type after a "uuid" type
    BoxBuilder& Uuid(const std::vector<uint8_t>& user) { uuid_ = user; return *this; }

    std::vector<uint8_t> Build() const {
        std::vector<uint8_t> out;
        uint64_t header = 8 + (large_ ? 8 : 0) + uuid_.size();
        uint64_t total = header + bytes_.size();
        uint32_t size32 = hasOverride_ ? sizeOverride_
                          : large_     ? 1u
                          : toEnd_     ? 0u
                                       : static_cast<uint32_t>(total);
        PutBe(out, size32, 4);
        for (size_t i = 0; i < 4; ++i) out.push_back(i < type_.size() ? static_cast<uint8_t>(type_[i]) : 0x20);
        if (large_) PutBe(out, total, 8);
        out.insert(out.end(), uuid_.begin(), uuid_.end());
        out.insert(out.end(), bytes_.begin(), bytes_.end());
        return out;
    }

    size_t PayloadSize() const { return bytes_.size(); }

private:
    BoxBuilder& Be(uint64_t v, int n) { PutBe(bytes_, v, n); return *this; }
    static void PutBe(std::vector<uint8_t>& out, uint64_t v, int n) {
        for (int i = n - 1; i >= 0; --i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }

    std::string type_;
    std::vector<uint8_t> bytes_;
    std::vector<uint8_t> uuid_;
    uint32_t sizeOverride_ = 0;
    bool hasOverride_ = false;
    bool large_ = false;
    bool toEnd_ = false;
};

// Concatenates top-level boxes into a file image.
inline std::vector<uint8_t> Concat(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}
