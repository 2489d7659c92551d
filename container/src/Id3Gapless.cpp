// The ID3v2 walk that finds the "iTunSMPB" comment frame of a raw AAC file (see Id3Gapless.h).
//
// Frame layouts (ID3v2.2: 6-byte header, 3-char id "COM", 24-bit size; ID3v2.3: 10-byte header,
// plain 32-bit size; ID3v2.4: syncsafe size). The version number used for every layout test is
// major + 256 * revision, so any tag with a non-zero revision byte is walked as 2.4.
// Unsynchronisation is not undone and frame flags are ignored; a frame header broken by either
// ends the walk.
#include "Id3Gapless.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "GaplessTrimmer.h"
#include "Win32Api.h"

namespace {

constexpr char16_t kSmpbDescription[] = u"iTunSMPB";
constexpr uint32_t kSmpbDescriptionUnits = 8;

// Minimum comment frame sizes for the three layouts examined.
constexpr int64_t kMinLatin1Frame = 57;
constexpr int64_t kMinUtf16BomFrame = 112;
constexpr int64_t kMinUtf16BeFrame = 110;

uint32_t Syncsafe(const uint8_t* b) {
    return (uint32_t{b[0] & 0x7Fu} << 21) | (uint32_t{b[1] & 0x7Fu} << 14) | (uint32_t{b[2] & 0x7Fu} << 7) |
           (b[3] & 0x7Fu);
}

uint32_t BigEndian32(const uint8_t* b) {
    return (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3];
}

bool ReadFully(int fd, void* out, uint32_t count) {
    return _read(fd, out, count) == static_cast<int>(count);
}

// A comment frame body held with two zero bytes behind it, so that 8-bit text at any offset
// and 16-bit text at an even offset are terminated inside the block.
class FrameBody {
public:
    explicit FrameBody(uint32_t size) : size_(size), bytes_(static_cast<uint8_t*>(std::malloc(size_t{size} + 2))) {
        if (bytes_ != nullptr) bytes_[size] = bytes_[size + 1] = 0;
    }
    ~FrameBody() { std::free(bytes_); }
    FrameBody(const FrameBody&) = delete;
    FrameBody& operator=(const FrameBody&) = delete;

    uint8_t* bytes() { return bytes_; }
    uint32_t capacity() const { return size_ + 2; }

    // Little-endian code unit at `offset`; swaps in place are done with SwapUnits.
    char16_t Unit(uint32_t offset) const {
        return static_cast<char16_t>(bytes_[offset] | (bytes_[offset + 1] << 8));
    }
    void SwapUnits(uint32_t offset, uint32_t units) {
        for (uint32_t i = 0; i < units; ++i) {
            uint8_t* p = bytes_ + offset + 2 * i;
            const uint8_t first = p[0];
            p[0] = p[1];
            p[1] = first;
        }
    }
    // Number of units before the first zero unit from `offset`, counting only whole units
    // inside the block (an odd-sized frame's last byte pairs with a terminator byte, and the
    // count never runs past the block).
    uint32_t UnitLength(uint32_t offset) const {
        uint32_t count = 0;
        while (offset + 2 * count + 1 < capacity() && Unit(offset + 2 * count) != 0) ++count;
        return count;
    }
    bool DescriptionIsSmpb(uint32_t offset) const {
        // Wide string compare: the eight units and then the terminating zero unit.
        for (uint32_t i = 0; i <= kSmpbDescriptionUnits; ++i) {
            if (Unit(offset + 2 * i) != kSmpbDescription[i]) return false;
        }
        return true;
    }
    int ScanUnits(uint32_t offset, uint32_t* delay, uint32_t* padding, uint64_t* length) const {
        const uint32_t count = UnitLength(offset);
        std::u16string text(count, u'\0');
        for (uint32_t i = 0; i < count; ++i) text[i] = Unit(offset + 2 * i);
        return ScanSmpbText16(text.data(), count, delay, padding, length);
    }

private:
    uint32_t size_;
    uint8_t* bytes_;
};

bool IsBom(uint8_t b) { return (b & 0xFE) == 0xFE; }

// Returns the number of fields the frame's text scanned to (4 = a usable "iTunSMPB" text).
int ExamineCommentFrame(FrameBody& body, int64_t frameSize, uint32_t* delay, uint32_t* padding, uint64_t* length) {
    uint8_t* b = body.bytes();
    const uint8_t encoding = b[0];
    if (frameSize >= kMinLatin1Frame && (encoding == 0 || encoding == 3)) {
        // Description at 4 must be exactly "iTunSMPB" with its zero at 12; text from 13.
        if (std::strcmp(reinterpret_cast<const char*>(b + 4), "iTunSMPB") == 0) {
            const int n = ScanSmpbText(reinterpret_cast<const char*>(b + 13), delay, padding, length);
            if (n == 4) return n;
        }
    }
    if (frameSize >= kMinUtf16BomFrame && encoding == 1 && IsBom(b[4]) && IsBom(b[5])) {
        if (b[4] == 0xFE) body.SwapUnits(6, kSmpbDescriptionUnits);  // big-endian description
        if (body.DescriptionIsSmpb(6) && IsBom(b[24]) && IsBom(b[25])) {
            if (b[24] == 0xFE) body.SwapUnits(26, body.UnitLength(26));  // big-endian text
            const int n = body.ScanUnits(26, delay, padding, length);
            if (n == 4) return n;
        }
    }
    if (frameSize >= kMinUtf16BeFrame && encoding == 2) {
        body.SwapUnits(4, kSmpbDescriptionUnits);
        if (body.DescriptionIsSmpb(4)) {
            // The text begins at 22 but is converted from 24 on: its first unit is scanned in
            // the stored big-endian order. For the usual text, whose first character is a
            // space (00 20), that unit reads as U+2000 (EN QUAD), a Unicode space, which our
            // scanner skips like any white space; the four fields then scan as written.
            body.SwapUnits(24, body.UnitLength(24));
            const int n = body.ScanUnits(22, delay, padding, length);
            if (n == 4) return n;
        }
    }
    return 0;
}

bool Walk(int fd, uint32_t* encoderDelay, uint32_t* padding, uint64_t* validSampleCount) {
    // The file's length bounds every allocation: a frame body that cannot fit in what is left
    // of the file would fail its read anyway, so it fails before anything is allocated.
    const long fileLength = _lseek(fd, 0, SEEK_END);
    if (_lseek(fd, 0, SEEK_SET) != 0) return false;

    uint8_t header[10];
    if (!ReadFully(fd, header, 10) || std::memcmp(header, "ID3", 3) != 0) return false;
    const uint32_t version = header[3] + 256u * header[4];
    const uint8_t flags = header[5];
    const int64_t tagEnd = int64_t{Syncsafe(header + 6)} + 10;
    int64_t counter = 10;

    if ((flags & 0x40) != 0) {
        uint8_t sizeBytes[4];
        if (!ReadFully(fd, sizeBytes, 4)) return false;
        const int64_t size =
            version < 4 ? int64_t{BigEndian32(sizeBytes)} : int64_t{Syncsafe(sizeBytes)} - 4;
        if (size < 6) return false;
        // A size beyond the tag ends the walk before any frame; no need to seek there.
        if (size + 14 >= tagEnd) return false;
        _lseek(fd, static_cast<long>(size), SEEK_CUR);
        counter = size + 14;
    }

    while (counter < tagEnd) {
        uint8_t frame[10];
        int64_t frameSize = 0;
        bool isComment = false;
        if (version < 3) {
            if (!ReadFully(fd, frame, 6)) return false;
            frameSize = (int64_t{frame[3]} << 16) | (frame[4] << 8) | frame[5];
            isComment = std::memcmp(frame, "COM", 3) == 0;
            counter += 6;
        } else {
            if (!ReadFully(fd, frame, 10)) return false;
            // The size is a signed 32-bit quantity: a plain size with the top bit set is
            // negative and ends the walk like a zero size.
            const uint32_t raw = version == 3 ? BigEndian32(frame + 4) : Syncsafe(frame + 4);
            frameSize = static_cast<int32_t>(raw);
            isComment = std::memcmp(frame, "COMM", 4) == 0;
            counter += 10;
        }
        if (frameSize < 1) return false;  // padding after the last frame, or a broken header

        if (isComment) {
            const long here = _lseek(fd, 0, SEEK_CUR);
            if (here < 0 || fileLength < 0 || frameSize > int64_t{fileLength} - here) return false;
            FrameBody body(static_cast<uint32_t>(frameSize));
            if (body.bytes() == nullptr) return false;
            if (!ReadFully(fd, body.bytes(), static_cast<uint32_t>(frameSize))) return false;
            uint32_t delay = 0;
            uint32_t pad = 0;
            uint64_t length = 0;
            if (ExamineCommentFrame(body, frameSize, &delay, &pad, &length) == 4) {
                *encoderDelay = delay;
                *padding = pad;
                *validSampleCount = length;
                // A stream without delay, padding or length is treated as having no gapless
                // data at all.
                return delay != 0 && pad != 0 && length != 0;
            }
        } else {
            _lseek(fd, static_cast<long>(frameSize), SEEK_CUR);
        }
        counter += frameSize;
    }
    return false;
}

// Unicode white space (Zs, plus the C0 and line/paragraph separators) as field separators.
bool IsWideSpace(char16_t c) {
    return c == 0x20 || (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
           c == 0x3000;
}

}  // namespace

int ScanSmpbText16(const char16_t* units, uint32_t count, uint32_t* delay, uint32_t* padding, uint64_t* validLength) {
    // Narrowed to 8 bits for the scanner: ASCII stays, white space becomes a space, anything
    // else becomes a character no field can contain, so it stops the scan where the wide
    // scanner would stop.
    std::string narrow;
    narrow.reserve(count);
    for (uint32_t i = 0; i < count && units[i] != 0; ++i) {
        const char16_t c = units[i];
        narrow.push_back(IsWideSpace(c) ? ' ' : c < 0x80 ? static_cast<char>(c) : '\x7F');
    }
    return ScanSmpbText(narrow.c_str(), delay, padding, validLength);
}

bool ReadId3Gapless(int fd, uint32_t* encoderDelay, uint32_t* padding, uint64_t* validSampleCount) {
    const long saved = _lseek(fd, 0, SEEK_CUR);
    const bool found = Walk(fd, encoderDelay, padding, validSampleCount);
    if (saved >= 0) _lseek(fd, saved, SEEK_SET);
    return found;
}
