// Base of every box of the ISO library: the box-type table, the header read and the one loop
// that walks a container's children. A container class only says which child types it expects
// (CreateChild), takes the parsed children (AdoptChild) and checks what it requires
// (CheckChildren); the loop, the size accounting and the skipping live here.
#pragma once

#include <cstdint>
#include <memory>

#include "CISOBoxReader.h"

// Type numbers: indices into the box-type table (only those the library dispatches on).
enum ISOBoxType : uint32_t {
    kBoxNone = 0, kBoxInvalid = 1, kBoxFtyp = 2, kBoxMoov = 3, kBoxMvhd = 4, kBoxIods = 5,
    kBoxTrak = 6, kBoxTkhd = 7, kBoxMdia = 8, kBoxEdts = 10, kBoxMdhd = 11, kBoxHdlr = 12,
    kBoxMinf = 13, kBoxStbl = 21, kBoxStts = 22, kBoxStsd = 23, kBoxStsz = 24, kBoxStz2 = 25,
    kBoxStsc = 26, kBoxStco = 27, kBoxCo64 = 28, kBoxStss = 29, kBoxCtts = 30, kBoxUuid = 39,
    kBoxMdat = 46, kBoxUdta = 47, kBoxWide = 75, kBoxMeta = 106, kBoxFree = 127, kBoxSkip = 128,
    kBoxMvex = 129, kBoxMehd = 130, kBoxTrex = 131, kBoxMoof = 132, kBoxMfhd = 133,
    kBoxTraf = 134, kBoxTfhd = 135, kBoxTrun = 136, kBoxTfdt = 137, kBoxSidx = 138,
    kBoxStyp = 139,
};

struct CISOBoxHeader {
    uint32_t type = kBoxInvalid;
    uint8_t name[4] = {0, 0, 0, 0};
    uint64_t position = 0;  // absolute offset of the header
    uint64_t size = 0;      // whole box, header included (>= 8 when valid)
    uint64_t PayloadSize() const { return size - 8; }
};

class CISOBox {
public:
    static constexpr uint32_t kTypeCount = 148;

    explicit CISOBox(uint32_t type) : type_(type) {}
    virtual ~CISOBox();
    CISOBox(const CISOBox&) = delete;
    CISOBox& operator=(const CISOBox&) = delete;

    // Four-character name of a type number ("INVD" for numbers outside the table).
    static const char* NameOfType(uint32_t type);
    // First table index whose name equals the four bytes, or kBoxNone.
    static uint32_t TypeOfName(const uint8_t name[4]);
    // Reads a header at the reader's position. A size below 8 (including the 64-bit marker 1
    // and the to-end marker 0) or a type byte outside 0x20..0x7E gives kBoxInvalid.
    static CISOBoxHeader ReadHeader(CISOBoxReader& reader);

    uint32_t Type() const { return type_; }
    const char* Name() const { return NameOfType(type_); }
    uint64_t Position() const { return position_; }
    uint64_t Size() const { return size_; }
    void SetExtent(uint64_t position, uint64_t size) { position_ = position; size_ = size; }

    // Parses the payload; `payload` is bounded to it. Leaves the reader at the payload's end and
    // returns the bytes consumed, header included (the box's size). `depth` counts enclosing
    // boxes. The base parse skips the payload.
    uint64_t Parse(CISOBoxReader& payload, int depth);

protected:
    virtual void ParsePayload(CISOBoxReader& payload, int depth);
    // The container loop over the payload's children.
    void ParseChildren(CISOBoxReader& payload, int depth);
    // A box of an expected child type, or null for a type this container skips.
    virtual std::unique_ptr<CISOBox> CreateChild(uint32_t type);
    virtual void AdoptChild(std::unique_ptr<CISOBox> child);
    // Runs after the loop; throws when a required child is missing.
    virtual void CheckChildren();
    // True for the movie box: when the data ends where a child header was expected it stops
    // with what it has instead of failing.
    virtual bool StopsAtEndOfData() const { return false; }

private:
    uint32_t type_;
    uint64_t position_ = 0;
    uint64_t size_ = 0;
};
