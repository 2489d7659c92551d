#include "Mp4BoxNames.h"


namespace {

constexpr uint32_t FourCc(const char (&s)[5]) {
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) | (uint32_t(uint8_t(s[2])) << 8) |
           uint32_t(uint8_t(s[3]));
}

struct NamedBox {
    uint32_t fourcc;
    Mp4Box box;
};

constexpr NamedBox kBoxes[] = {
    {FourCc("moov"), Mp4Box::Moov}, {FourCc("mvhd"), Mp4Box::Mvhd}, {FourCc("iods"), Mp4Box::Iods},
    {FourCc("trak"), Mp4Box::Trak}, {FourCc("tkhd"), Mp4Box::Tkhd}, {FourCc("edts"), Mp4Box::Edts},
    {FourCc("elst"), Mp4Box::Elst}, {FourCc("mdia"), Mp4Box::Mdia}, {FourCc("mdhd"), Mp4Box::Mdhd},
    {FourCc("hdlr"), Mp4Box::Hdlr}, {FourCc("minf"), Mp4Box::Minf}, {FourCc("stbl"), Mp4Box::Stbl},
    {FourCc("stsd"), Mp4Box::Stsd}, {FourCc("stts"), Mp4Box::Stts}, {FourCc("ctts"), Mp4Box::Ctts},
    {FourCc("stss"), Mp4Box::Stss}, {FourCc("stsz"), Mp4Box::Stsz}, {FourCc("stz2"), Mp4Box::Stz2},
    {FourCc("stsc"), Mp4Box::Stsc}, {FourCc("stco"), Mp4Box::Stco}, {FourCc("co64"), Mp4Box::Co64},
    {FourCc("udta"), Mp4Box::Udta}, {FourCc("meta"), Mp4Box::Meta}, {FourCc("ilst"), Mp4Box::Ilst},
    {FourCc("----"), Mp4Box::Freeform}, {FourCc("mean"), Mp4Box::Mean}, {FourCc("name"), Mp4Box::Name},
    {FourCc("data"), Mp4Box::Data}, {FourCc("esds"), Mp4Box::Esds}, {FourCc("wave"), Mp4Box::Wave},
    {FourCc("alac"), Mp4Box::Alac}, {FourCc("uuid"), Mp4Box::Uuid},
};

// Sample entries laid out as a sound sample entry (ISO/IEC 14496-12 8.5.2 and the QuickTime
// versions 1 and 2 of it).
constexpr uint32_t kSoundEntries[] = {
    FourCc("mp4a"), FourCc("enca"), FourCc("alac"), FourCc("ac-3"), FourCc("ec-3"), FourCc("samr"),
    FourCc("sawb"), FourCc("lpcm"), FourCc("ipcm"), FourCc("twos"), FourCc("sowt"), FourCc("alaw"),
    FourCc("ulaw"), FourCc("fLaC"), FourCc("Opus"), FourCc(".mp3"), FourCc("raw "), FourCc("in24"),
    FourCc("in32"), FourCc("fl32"), FourCc("fl64"),
};

constexpr const char* kSoundTypeAliases[] = {"audio", "sound", "mp4a", "alac", "enca", "lpcm",
                                             "ipcm",  "alaw",  "ulaw", "samr", "sawb", "ac-3"};

// ASCII case-insensitive equality (track type names are plain ASCII).
bool SameIgnoringCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        const char ca = (*a >= 'A' && *a <= 'Z') ? char(*a - 'A' + 'a') : *a;
        const char cb = (*b >= 'A' && *b <= 'Z') ? char(*b - 'A' + 'a') : *b;
        if (ca != cb) return false;
        if (ca == '\0') return true;
    }
}

}  // namespace

Mp4Box Mp4BoxOf(uint32_t fourcc) {
    for (const NamedBox& named : kBoxes) {
        if (named.fourcc == fourcc) return named.box;
    }
    return Mp4Box::Other;
}

bool Mp4IsSoundSampleEntry(uint32_t fourcc) {
    for (uint32_t entry : kSoundEntries) {
        if (entry == fourcc) return true;
    }
    return false;
}

const char* Mp4NormaliseTrackType(const char* type) {
    for (const char* alias : kSoundTypeAliases) {
        if (SameIgnoringCase(type, alias)) return "soun";
    }
    return type;
}
