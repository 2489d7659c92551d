// Test-material patcher for MP4 files: adds gapless metadata and rewrites the values the MP4 job
// reads its gapless data from, in files ffmpeg has written.
//
//   zorv_test_mp4patch smpb FILE TEXT             add a "com.apple.iTunes"/"iTunSMPB" item with TEXT
//   zorv_test_mp4patch elst FILE START DURATION   rewrite the first edit of the first track with an
//                                                 edit list ("-" keeps a field; numbers take 0x)
//   zorv_test_mp4patch iods FILE LEVEL            set the movie's audio profile level
//
// The file is rewritten in place. Adding the item grows moov; chunk offsets behind the insertion
// point are moved with it, so moov may sit before or after mdat.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

struct Box {
    size_t start = 0;
    size_t header = 0;  // 8, or 16 with a 64-bit size
    uint64_t size = 0;
    std::string type;
    size_t End() const { return start + static_cast<size_t>(size); }
};

uint64_t Be(const Bytes& b, size_t at, int n) {
    uint64_t v = 0;
    for (int i = 0; i < n; ++i) v = (v << 8) | b[at + static_cast<size_t>(i)];
    return v;
}

void PutBe(Bytes& b, size_t at, uint64_t v, int n) {
    for (int i = n - 1; i >= 0; --i, v >>= 8) b[at + static_cast<size_t>(i)] = static_cast<uint8_t>(v);
}

void AppendBe(Bytes& b, uint64_t v, int n) {
    b.resize(b.size() + static_cast<size_t>(n));
    PutBe(b, b.size() - static_cast<size_t>(n), v, n);
}

// The boxes in [from, to); stops at the first malformed header.
std::vector<Box> Boxes(const Bytes& b, size_t from, size_t to) {
    std::vector<Box> out;
    size_t pos = from;
    while (pos + 8 <= to) {
        Box box;
        box.start = pos;
        box.header = 8;
        box.size = Be(b, pos, 4);
        box.type.assign(reinterpret_cast<const char*>(&b[pos + 4]), 4);
        if (box.size == 1) {
            if (pos + 16 > to) break;
            box.size = Be(b, pos + 8, 8);
            box.header = 16;
        } else if (box.size == 0) {
            box.size = to - pos;
        }
        if (box.size < box.header || box.size > to - pos) break;
        out.push_back(box);
        pos = box.End();
    }
    return out;
}

// Children of a container; meta is a full box, so its children start 4 bytes later.
std::vector<Box> Children(const Bytes& b, const Box& parent) {
    size_t skip = parent.type == "meta" ? 4 : 0;
    return Boxes(b, parent.start + parent.header + skip, parent.End());
}

std::optional<Box> Find(const std::vector<Box>& boxes, const char* type) {
    for (const Box& box : boxes)
        if (box.type == type) return box;
    return std::nullopt;
}

Bytes MakeBox(const char* type, const Bytes& payload) {
    Bytes out;
    AppendBe(out, payload.size() + 8, 4);
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

Bytes FullBoxText(const char* type, const std::string& text) {
    Bytes payload(4, 0);
    payload.insert(payload.end(), text.begin(), text.end());
    return MakeBox(type, payload);
}

Bytes SmpbItem(const std::string& text) {
    Bytes data = {0, 0, 0, 1, 0, 0, 0, 0};  // type set 0, UTF-8, locale 0
    data.insert(data.end(), text.begin(), text.end());
    Bytes payload = FullBoxText("mean", "com.apple.iTunes");
    Bytes name = FullBoxText("name", "iTunSMPB");
    Bytes dataBox = MakeBox("data", data);
    payload.insert(payload.end(), name.begin(), name.end());
    payload.insert(payload.end(), dataBox.begin(), dataBox.end());
    return MakeBox("----", payload);
}

Bytes MetaWith(const Bytes& ilstPayload) {
    Bytes hdlr(4 + 4, 0);  // version/flags, pre_defined
    const char* kind = "mdirappl";
    hdlr.insert(hdlr.end(), kind, kind + 8);
    hdlr.insert(hdlr.end(), 9, 0);  // reserved and an empty name
    Bytes payload(4, 0);
    Bytes h = MakeBox("hdlr", hdlr);
    Bytes ilst = MakeBox("ilst", ilstPayload);
    payload.insert(payload.end(), h.begin(), h.end());
    payload.insert(payload.end(), ilst.begin(), ilst.end());
    return MakeBox("meta", payload);
}

// Adds `delta` to every chunk offset at or beyond `from` in every stco/co64 of moov.
void ShiftChunkOffsets(Bytes& b, const Box& moov, size_t from, uint64_t delta) {
    for (const Box& trak : Children(b, moov)) {
        if (trak.type != "trak") continue;
        std::optional<Box> mdia = Find(Children(b, trak), "mdia");
        std::optional<Box> minf = mdia ? Find(Children(b, *mdia), "minf") : std::nullopt;
        std::optional<Box> stbl = minf ? Find(Children(b, *minf), "stbl") : std::nullopt;
        if (!stbl) continue;
        for (const Box& table : Children(b, *stbl)) {
            int width = table.type == "stco" ? 4 : table.type == "co64" ? 8 : 0;
            if (width == 0) continue;
            size_t payload = table.start + table.header;
            uint64_t count = Be(b, payload + 4, 4);
            for (uint64_t i = 0; i < count; ++i) {
                size_t at = payload + 8 + static_cast<size_t>(i) * static_cast<size_t>(width);
                if (at + static_cast<size_t>(width) > table.End()) break;
                uint64_t offset = Be(b, at, width);
                if (offset >= from) PutBe(b, at, offset + delta, width);
            }
        }
    }
}

// Inserts `bytes` at the end of path.back() and grows every box on `path` by their length.
void InsertAtEnd(Bytes& b, std::vector<Box> path, const Bytes& bytes) {
    size_t at = path.back().End();
    b.insert(b.begin() + static_cast<long>(at), bytes.begin(), bytes.end());
    for (Box& box : path) {
        box.size += bytes.size();
        if (box.header == 16) PutBe(b, box.start + 8, box.size, 8);
        else PutBe(b, box.start, box.size, 4);
    }
    ShiftChunkOffsets(b, path.front(), at, bytes.size());
}

bool AddSmpb(Bytes& b, const std::string& text) {
    std::optional<Box> moovp = Find(Boxes(b, 0, b.size()), "moov");
    if (moovp == std::nullopt) return false;
    Box moov = *moovp;
    Bytes item = SmpbItem(text);
    std::optional<Box> udta = Find(Children(b, moov), "udta");
    if (udta == std::nullopt) {
        Bytes meta = MetaWith(item);
        InsertAtEnd(b, {moov}, MakeBox("udta", meta));
        return true;
    }
    Box u = *udta;
    std::optional<Box> meta = Find(Children(b, u), "meta");
    if (meta == std::nullopt) {
        InsertAtEnd(b, {moov, u}, MetaWith(item));
        return true;
    }
    Box m = *meta;
    std::optional<Box> ilst = Find(Children(b, m), "ilst");
    if (ilst == std::nullopt) {
        InsertAtEnd(b, {moov, u, m}, MakeBox("ilst", item));
        return true;
    }
    InsertAtEnd(b, {moov, u, m, *ilst}, item);
    return true;
}

bool ParseField(const char* text, bool& keep, uint64_t& value) {
    keep = std::strcmp(text, "-") == 0;
    if (keep) return true;
    char* end = nullptr;
    value = std::strtoull(text, &end, 0);
    return end != text && *end == '\0';
}

bool PatchElst(Bytes& b, const char* startText, const char* durationText) {
    bool keepStart = false, keepDuration = false;
    uint64_t start = 0, duration = 0;
    if (!ParseField(startText, keepStart, start) || !ParseField(durationText, keepDuration, duration)) return false;
    std::optional<Box> moov = Find(Boxes(b, 0, b.size()), "moov");
    if (moov == std::nullopt) return false;
    for (const Box& trak : Children(b, *moov)) {
        if (trak.type != "trak") continue;
        std::optional<Box> edts = Find(Children(b, trak), "edts");
        std::optional<Box> elst = edts ? Find(Children(b, *edts), "elst") : std::nullopt;
        if (elst == std::nullopt) continue;
        size_t payload = elst->start + elst->header;
        int width = b[payload] == 1 ? 8 : 4;
        if (Be(b, payload + 4, 4) == 0 || payload + 8 + 2 * static_cast<size_t>(width) > elst->End()) return false;
        if (!keepDuration) PutBe(b, payload + 8, duration, width);
        if (!keepStart) PutBe(b, payload + 8 + static_cast<size_t>(width), start, width);
        return true;
    }
    return false;
}

bool PatchIods(Bytes& b, uint8_t level) {
    std::optional<Box> moov = Find(Boxes(b, 0, b.size()), "moov");
    std::optional<Box> iods = moov ? Find(Children(b, *moov), "iods") : std::nullopt;
    if (iods == std::nullopt) return false;
    size_t pos = iods->start + iods->header + 4;  // after version and flags
    if (pos >= iods->End() || (b[pos] != 0x10 && b[pos] != 0x02)) return false;
    ++pos;
    for (int i = 0; i < 4 && pos < iods->End(); ++i)
        if ((b[pos++] & 0x80) == 0) break;
    // ObjectDescriptorID (10 bits), URL flag, include-inline flag, reserved; then the OD and
    // scene profile levels and the audio profile level.
    if (pos + 5 > iods->End() || (b[pos + 1] & 0x20) != 0) return false;
    b[pos + 4] = level;
    return true;
}

bool ReadFile(const char* path, Bytes& b) {
    FILE* f = std::fopen(path, "rb");
    if (f == nullptr) return false;
    uint8_t chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) b.insert(b.end(), chunk, chunk + n);
    std::fclose(f);
    return true;
}

bool WriteFile(const char* path, const Bytes& b) {
    FILE* f = std::fopen(path, "wb");
    if (f == nullptr) return false;
    bool ok = std::fwrite(b.data(), 1, b.size(), f) == b.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s smpb FILE TEXT | elst FILE START DURATION | iods FILE LEVEL\n", argv[0]);
        return 2;
    }
    std::string op = argv[1];
    Bytes b;
    if (!ReadFile(argv[2], b)) {
        std::fprintf(stderr, "cannot read %s\n", argv[2]);
        return 1;
    }
    bool ok = false;
    if (op == "smpb") ok = AddSmpb(b, argv[3]);
    else if (op == "elst" && argc == 5) ok = PatchElst(b, argv[3], argv[4]);
    else if (op == "iods") ok = PatchIods(b, static_cast<uint8_t>(std::strtoul(argv[3], nullptr, 0)));
    if (!ok) {
        std::fprintf(stderr, "%s: nothing to patch in %s\n", op.c_str(), argv[2]);
        return 1;
    }
    return WriteFile(argv[2], b) ? 0 : 1;
}
