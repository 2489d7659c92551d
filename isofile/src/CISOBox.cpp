// Box base: type table, header read and the container loop (see CISOBox.h).
#include "CISOBox.h"

#include <cstring>

#include "CISOException.h"
#include "ISOLimits.h"

namespace {

const char kSource[] = "..\\..\\src\\CISOBox";

// The box-type table: a name's index is its type number. Index 0 stands for a well-formed header
// of a type not listed, index 1 for an invalid header. "\xA9..." names are listed for
// completeness, but the header check refuses the byte 0xA9 before the table is consulted.
constexpr const char* kBoxNames[CISOBox::kTypeCount] = {
    "none", "INVD", "ftyp", "moov", "mvhd", "iods", "trak", "tkhd", "mdia", "tref", "edts",
    "mdhd", "hdlr", "minf", "smhd", "dinf", "nmhd", "hmhd", "vmhd", "dref", "elst", "stbl",
    "stts", "stsd", "stsz", "stz2", "stsc", "stco", "co64", "stss", "ctts", "subs", "mp4a",
    "m4ae", "mp4v", "mp4s", "esds", "url ", "padb", "uuid", "hint", "dpnd", "ipir", "mpod",
    "sync", "cdsc", "mdat", "udta", "cprt", "rtp ", "srtp", "enca", "encv", "eavc", "sinf",
    "frma", "schm", "schi", "odkm", "osfm", "ohdr", "iSFM", "iKMS", "iSLT", "avc1", "avcp",
    "avcC", "btrt", "m4ds", "avss", "avll", "sdep", "sdtp", "sbgp", "sgpd", "wide", "alis",
    "wave", "chan", "twos", "sowt", "fl32", "fl64", "in24", "in32", "lpcm", "2vuy", "yuv2",
    "v308", "v408", "v216", "v410", "v210", "gama", "fiel", "clap", "colr", "pasp", "s263",
    "d263", "bitr", "samr", "sawb", "damr", "sawp", "dawp", "meta", "xml ", "href", "burl",
    "ilst", "\xA9nam", "\xA9" "ART", "\xA9wrt", "\xA9" "alb", "\xA9" "day", "\xA9too",
    "\xA9" "cmt", "\xA9gen", "trkn", "cpil", "tmpo", "covr", "----", "mean", "name", "data",
    "free", "skip", "mvex", "mehd", "trex", "moof", "mfhd", "traf", "tfhd", "trun", "tfdt",
    "sidx", "styp", "hvc1", "hvcC", "mha1", "mha2", "mhm1", "mhm2", "mhaC", "maeM",
};

constexpr bool SameName(const char* a, const char* b) {
    for (int i = 0; i < 4; ++i) {
        if (a[i] != b[i]) return false;
    }
    return true;
}

// The type numbers used in code must name the table entries they claim to.
static_assert(SameName(kBoxNames[kBoxMoov], "moov") && SameName(kBoxNames[kBoxCtts], "ctts"));
static_assert(SameName(kBoxNames[kBoxUuid], "uuid") && SameName(kBoxNames[kBoxMdat], "mdat"));
static_assert(SameName(kBoxNames[kBoxUdta], "udta") && SameName(kBoxNames[kBoxWide], "wide"));
static_assert(SameName(kBoxNames[kBoxMeta], "meta") && SameName(kBoxNames[kBoxFree], "free"));
static_assert(SameName(kBoxNames[kBoxStyp], "styp") && SameName(kBoxNames[kBoxTfdt], "tfdt"));
static_assert(SameName(kBoxNames[kBoxStsc], "stsc") && SameName(kBoxNames[kBoxMdhd], "mdhd"));
static_assert(SameName(kBoxNames[kBoxMvex], "mvex") && SameName(kBoxNames[kBoxSidx], "sidx"));
static_assert(SameName(kBoxNames[kBoxTrex], "trex") && SameName(kBoxNames[kBoxMoof], "moof"));
static_assert(SameName(kBoxNames[kBoxTraf], "traf") && SameName(kBoxNames[kBoxTfhd], "tfhd"));
static_assert(SameName(kBoxNames[kBoxTrun], "trun") && SameName(kBoxNames[kBoxSkip], "skip"));
static_assert(SameName(kBoxNames[kBoxStz2], "stz2") && SameName(kBoxNames[kBoxCo64], "co64"));
static_assert(SameName(kBoxNames[kBoxMinf], "minf") && SameName(kBoxNames[kBoxStbl], "stbl"));
static_assert(SameName(kBoxNames[147], "maeM"));

bool Printable(uint8_t c) { return c == 0 || (c >= 0x20 && c <= 0x7E); }

}  // namespace

CISOBox::~CISOBox() = default;

const char* CISOBox::NameOfType(uint32_t type) {
    return type < kTypeCount ? kBoxNames[type] : kBoxNames[kBoxInvalid];
}

uint32_t CISOBox::TypeOfName(const uint8_t name[4]) {
    for (uint32_t i = 0; i < kTypeCount; ++i) {
        if (std::memcmp(kBoxNames[i], name, 4) == 0) return i;
    }
    return kBoxNone;
}

CISOBoxHeader CISOBox::ReadHeader(CISOBoxReader& reader) {
    CISOBoxHeader header;
    header.position = reader.Position();
    if (reader.Remaining() < 8 || reader.Buffer().BytesLeftInStream() < 8) return header;
    const uint32_t size = reader.U32();
    if (size < 8) return header;  // includes 1 (64-bit size follows) and 0 (to end of file)
    reader.Bytes(header.name, 4);
    const uint8_t* n = header.name;
    // A type with a zero among its first three bytes and a zero fourth byte is not checked.
    const bool checked = (n[0] != 0 && n[1] != 0 && n[2] != 0) || n[3] != 0;
    if (checked && !(Printable(n[0]) && Printable(n[1]) && Printable(n[2]) && Printable(n[3]))) {
        // The position is left after the eight bytes: every caller ends its container (or the
        // top-level parse) at an invalid header, so where the stream stands no longer matters.
        return header;
    }
    header.size = size;
    header.type = TypeOfName(header.name);
    return header;
}

uint64_t CISOBox::Parse(CISOBoxReader& payload, int depth) {
    if (depth > isolimits::kMaxBoxDepth) ISO_THROW(CISOException::kTooDeep, kSource);
    const uint64_t start = payload.Position();
    ParsePayload(payload, depth);
    // Fields a box does not interpret (reserved tails, later versions) are passed over.
    payload.SkipToEnd();
    return 8 + (payload.Position() - start);
}

void CISOBox::ParsePayload(CISOBoxReader& payload, int) { payload.SkipToEnd(); }

std::unique_ptr<CISOBox> CISOBox::CreateChild(uint32_t) { return nullptr; }

void CISOBox::AdoptChild(std::unique_ptr<CISOBox>) {}

void CISOBox::CheckChildren() {}

void CISOBox::ParseChildren(CISOBoxReader& payload, int depth) {
    const uint64_t payloadBytes = payload.Remaining();
    uint64_t consumed = 0;
    while (consumed < payloadBytes) {
        if (payload.Buffer().BytesLeftInStream() < 8) {
            if (StopsAtEndOfData()) {
                CheckChildren();
                return;
            }
            ISO_THROW(CISOException::kNoFurtherChild, kSource);
        }
        // Fewer than 8 bytes left in this box: the next header would overrun it.
        if (payloadBytes - consumed < 8) ISO_THROW(CISOException::kChildrenMismatch, kSource);
        const CISOBoxHeader header = ReadHeader(payload);
        if (header.type == kBoxInvalid) {
            // An invalid header ends the container: the rest of it is passed over.
            payload.SkipToEnd();
            consumed = payloadBytes;
            break;
        }
        consumed += 8;
        if (header.PayloadSize() > payloadBytes - consumed) {
            ISO_THROW(CISOException::kChildrenMismatch, kSource);
        }
        CISOBoxReader childPayload = payload.Sub(header.PayloadSize());
        std::unique_ptr<CISOBox> child = CreateChild(header.type);
        if (child) {
            child->SetExtent(header.position, header.size);
            child->Parse(childPayload, depth + 1);
            AdoptChild(std::move(child));
        } else {
            childPayload.SkipToEnd();
        }
        consumed += header.PayloadSize();
    }
    if (consumed != payloadBytes) ISO_THROW(CISOException::kChildrenMismatch, kSource);
    CheckChildren();
}
