// The one table of four-character box names the reader knows. Box code switches on Mp4Box and
// never spells a name itself.
#pragma once

#include <cstdint>

enum class Mp4Box : uint8_t {
    Other,
    Moov, Mvhd, Iods, Trak, Tkhd, Edts, Elst, Mdia, Mdhd, Hdlr, Minf, Stbl,
    Stsd, Stts, Ctts, Stss, Stsz, Stz2, Stsc, Stco, Co64,
    Udta, Meta, Ilst, Freeform, Mean, Name, Data,
    Esds, Wave, Alac, Uuid,
};

// Maps a box type (the four bytes as a big-endian u32) to its Mp4Box; Other when unknown.
Mp4Box Mp4BoxOf(uint32_t fourcc);

// True for sample entry types that carry the sound sample entry fields (channel count etc.).
bool Mp4IsSoundSampleEntry(uint32_t fourcc);

// Track type names callers may pass for sound tracks ("audio", "mp4a", ...: case-insensitive)
// all mean the "soun" handler; any other name is used as given.
const char* Mp4NormaliseTrackType(const char* type);

// Suffix names of the bytes properties we answer in MP4GetTrackBytesProperty.
constexpr const char* kMp4AlacInfoProperty = "mdia.minf.stbl.stsd.alac.alacInfo";
constexpr const char* kMp4AlacConfigProperty = "mdia.minf.stbl.stsd.alac.alac.decoderConfig";
