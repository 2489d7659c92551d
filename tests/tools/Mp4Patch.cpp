// Test-material patcher for MP4 files: adds gapless metadata and rewrites the edit list the MP4
// job reads its gapless data from, in files ffmpeg has written.
//
//   zorv_test_mp4patch smpb FILE TEXT             add a "com.apple.iTunes"/"iTunSMPB" item with TEXT
//   zorv_test_mp4patch elst FILE START DURATION   rewrite the first edit of the first track with an
//                                                 edit list ("-" keeps a field; numbers take 0x)
//
// The file is rewritten in place. Adding the item grows moov (and the udta, meta and ilst on the
// way, made when absent); chunk offsets behind the insertion point move with it, so moov may sit
// before or after mdat. (ffmpeg writes the movie's audio profile level itself: -iods_audio_profile.)
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

struct Box {
    size_t start = 0, header = 8;  // header: 8, or 16 with a 64-bit size
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

// The boxes in [from, to); stops at the first malformed header.
std::vector<Box> Boxes(const Bytes& b, size_t from, size_t to) {
    std::vector<Box> out;
    for (size_t pos = from; pos + 8 <= to;) {
        Box box{pos, 8, Be(b, pos, 4), std::string(reinterpret_cast<const char*>(&b[pos + 4]), 4)};
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

// The child of `parent` (the file when none) of `type`; meta is a full box, so its children
// start 4 bytes later.
std::optional<Box> Find(const Bytes& b, const std::optional<Box>& parent, const char* type) {
    const size_t from = parent ? parent->start + parent->header + (parent->type == "meta" ? 4 : 0) : 0;
    for (const Box& box : Boxes(b, from, parent ? parent->End() : b.size()))
        if (box.type == type) return box;
    return std::nullopt;
}

Bytes MakeBox(const char* type, std::initializer_list<Bytes> parts) {
    Bytes out(4, 0);
    out.insert(out.end(), type, type + 4);
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    PutBe(out, 0, out.size(), 4);
    return out;
}

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

// Adds `delta` to every chunk offset at or beyond `from` in every stco/co64 of moov.
void ShiftChunkOffsets(Bytes& b, const Box& moov, size_t from, uint64_t delta) {
    for (const Box& trak : Boxes(b, moov.start + moov.header, moov.End())) {
        if (trak.type != "trak") continue;
        std::optional<Box> stbl = Find(b, Find(b, Find(b, trak, "mdia"), "minf"), "stbl");
        for (const Box& table : stbl ? Boxes(b, stbl->start + stbl->header, stbl->End()) : std::vector<Box>{}) {
            const int width = table.type == "stco" ? 4 : table.type == "co64" ? 8 : 0;
            const size_t payload = table.start + table.header;
            for (uint64_t i = 0; width != 0 && i < Be(b, payload + 4, 4); ++i) {
                const size_t at = payload + 8 + static_cast<size_t>(i * static_cast<uint64_t>(width));
                if (at + static_cast<size_t>(width) > table.End()) break;
                if (Be(b, at, width) >= from) PutBe(b, at, Be(b, at, width) + delta, width);
            }
        }
    }
}

bool AddSmpb(Bytes& b, const std::string& text) {
    const Bytes item = MakeBox("----", {MakeBox("mean", {Bytes(4, 0), Text("com.apple.iTunes")}),
                                        MakeBox("name", {Bytes(4, 0), Text("iTunSMPB")}),
                                        MakeBox("data", {{0, 0, 0, 1, 0, 0, 0, 0}, Text(text)})});  // UTF-8, locale 0
    const Bytes hdlr = MakeBox("hdlr", {Bytes(8, 0), Text("mdirappl"), Bytes(9, 0)});
    // The deepest of moov > udta > meta > ilst present gets what is missing below it.
    std::vector<Box> path;
    for (const char* type : {"moov", "udta", "meta", "ilst"}) {
        std::optional<Box> next = Find(b, path.empty() ? std::nullopt : std::optional<Box>(path.back()), type);
        if (!next) break;
        path.push_back(*next);
    }
    if (path.empty()) return false;
    Bytes insert = item;
    if (path.size() < 4) insert = MakeBox("ilst", {insert});
    if (path.size() < 3) insert = MakeBox("meta", {Bytes(4, 0), hdlr, insert});
    if (path.size() < 2) insert = MakeBox("udta", {insert});
    const size_t at = path.back().End();
    b.insert(b.begin() + static_cast<long>(at), insert.begin(), insert.end());
    for (Box& box : path) {
        box.size += insert.size();
        PutBe(b, box.header == 16 ? box.start + 8 : box.start, box.size, box.header == 16 ? 8 : 4);
    }
    ShiftChunkOffsets(b, path.front(), at, insert.size());
    return true;
}

bool PatchElst(Bytes& b, const std::string& start, const std::string& duration) {
    std::optional<Box> moov = Find(b, std::nullopt, "moov");
    for (const Box& trak : moov ? Boxes(b, moov->start + moov->header, moov->End()) : std::vector<Box>{}) {
        std::optional<Box> elst = trak.type == "trak" ? Find(b, Find(b, trak, "edts"), "elst") : std::nullopt;
        if (!elst) continue;
        const size_t payload = elst->start + elst->header;
        const int width = b[payload] == 1 ? 8 : 4;
        if (Be(b, payload + 4, 4) == 0 || payload + 8 + 2 * static_cast<size_t>(width) > elst->End()) return false;
        for (const auto& [text, at] : {std::pair{duration, payload + 8}, std::pair{start, payload + 8 + static_cast<size_t>(width)}}) {
            if (text == "-") continue;
            char* end = nullptr;
            const uint64_t value = std::strtoull(text.c_str(), &end, 0);
            if (end == text.c_str() || *end != '\0') return false;
            PutBe(b, at, value, width);
        }
        return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string op = argc >= 4 ? argv[1] : "";
    if (!((op == "smpb" && argc == 4) || (op == "elst" && argc == 5))) {
        std::cerr << "usage: " << argv[0] << " smpb FILE TEXT | elst FILE START DURATION\n";
        return 2;
    }
    std::ifstream in(argv[2], std::ios::binary);
    Bytes b((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.good() && !in.eof()) return 1;
    if (!(op == "smpb" ? AddSmpb(b, argv[3]) : PatchElst(b, argv[3], argv[4]))) {
        std::cerr << op << ": nothing to patch in " << argv[2] << "\n";
        return 1;
    }
    std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
    return out.good() ? 0 : 1;
}
