// Builds ISO base media boxes byte by byte for tests, e.g. BoxBuilder("moov").Child(BoxBuilder("mvhd")...).Build().
// Sizes are filled in automatically; SizeOverride forces a wrong 32-bit size, Large64 writes the
// header with size field 1 and a 64-bit size, ToEnd writes size 0. Below the class: edits of
// whole files an encoder wrote.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
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

    std::vector<uint8_t> Build() const {
        std::vector<uint8_t> out;
        uint64_t header = 8 + (large_ ? 8 : 0);
        uint64_t total = header + bytes_.size();
        uint32_t size32 = hasOverride_ ? sizeOverride_
                          : large_     ? 1u
                          : toEnd_     ? 0u
                                       : static_cast<uint32_t>(total);
        PutBe(out, size32, 4);
        for (size_t i = 0; i < 4; ++i) out.push_back(i < type_.size() ? static_cast<uint8_t>(type_[i]) : 0x20);
        if (large_) PutBe(out, total, 8);
        out.insert(out.end(), bytes_.begin(), bytes_.end());
        return out;
    }

private:
    BoxBuilder& Be(uint64_t v, int n) { PutBe(bytes_, v, n); return *this; }
    static void PutBe(std::vector<uint8_t>& out, uint64_t v, int n) {
        for (int i = n - 1; i >= 0; --i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }

    std::string type_;
    std::vector<uint8_t> bytes_;
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

// A freeform metadata item ("----"): a mean box unless `mean` is "", a name box unless `name` is
// "", and one UTF-8 data box per value.
inline BoxBuilder Freeform(const std::string& mean, const std::string& name, const std::vector<std::string>& values) {
    BoxBuilder item("----");
    if (!mean.empty()) item.Child(BoxBuilder("mean").Full(0, 0).Str(mean));
    if (!name.empty()) item.Child(BoxBuilder("name").Full(0, 0).Str(name));
    for (const std::string& v : values) item.Child(BoxBuilder("data").U32(1).U32(0).Str(v));
    return item;
}

// Edits of whole files. Offsets outside the file throw (vector::at), which fails the test.
inline uint32_t Be32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t{b.at(at)} << 24 | uint32_t{b.at(at + 1)} << 16 | uint32_t{b.at(at + 2)} << 8 | b.at(at + 3);
}
inline std::vector<uint8_t> Put32(std::vector<uint8_t> b, size_t at, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) b.at(at + i) = static_cast<uint8_t>(v >> (24 - 8 * i));
    return b;
}

// Offset of the first box along the dotted path ("moov.trak.mdia"), descending into each (the
// children of a 'meta' start after its version and flags); the file's size when one is absent.
inline size_t FindBox(const std::vector<uint8_t>& b, const std::string& path) {
    size_t from = 0, to = b.size(), at = 0;
    for (size_t start = 0; start < path.size(); start += 5) {
        for (at = from; at + 8 <= to && std::memcmp(&b[at + 4], path.data() + start, 4) != 0; at += std::max<uint32_t>(Be32(b, at), 8)) {}
        if (at + 8 > to) return b.size();
        from = at + 8 + (path.compare(start, 4, "meta") == 0 ? 4 : 0), to = at + Be32(b, at);
    }
    return at;
}

// `child` added at the end of the box at `path`, each box along the path grown by its size. Chunk
// offsets stay as they are, so the path must lie behind the media data (ffmpeg writes moov last).
inline std::vector<uint8_t> AddChild(std::vector<uint8_t> b, const std::string& path, const std::vector<uint8_t>& child) {
    const size_t end = FindBox(b, path) + Be32(b, FindBox(b, path));
    b.insert(b.begin() + static_cast<long>(end), child.begin(), child.end());
    for (size_t n = 4; n <= path.size(); n += 5) {
        const size_t at = FindBox(b, path.substr(0, n));
        b = Put32(std::move(b), at, Be32(b, at) + static_cast<uint32_t>(child.size()));
    }
    return b;
}

// An "iTunSMPB" item holding `text` in the file's item list, which ffmpeg's files have.
inline std::vector<uint8_t> AddSmpb(std::vector<uint8_t> b, const std::string& text) {
    return AddChild(std::move(b), "moov.udta.meta.ilst", Freeform("com.apple.iTunes", "iTunSMPB", {text}).Build());
}
