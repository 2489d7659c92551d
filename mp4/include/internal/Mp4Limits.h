// Limits of the MP4 reader, each with the input it guards against.
#pragma once

#include <cstddef>
#include <cstdint>

// Containers nest at most this deep below the file (moov.trak.mdia.minf.stbl.stsd.entry.wave.esds
// is 9); deeper nesting is only ever a crafted file trying to exhaust the stack.
constexpr int kMp4MaxBoxDepth = 16;

// Boxes parsed field by field (headers, sample descriptions, run-length tables, metadata items)
// are read into memory whole. Their size is already bounded by the file's size; this cap keeps a
// huge file with a huge (bogus) box from taking that much memory in one block. The per-sample
// tables (sizes, chunk offsets) stay in the file and are read through Mp4FileTable's window.
constexpr uint64_t kMp4MaxLoadedBoxBytes = uint64_t{1} << 30;

// Smallest box header: 32-bit size and 4-character type; largest: a 64-bit size and a uuid
// extended type besides.
constexpr size_t kMp4BoxHeaderBytes = 8;
constexpr size_t kMp4MaxBoxHeaderBytes = 32;

// Entries of a per-sample table held at a time (8 KiB decoded): a read in order goes to the file
// once per this many samples or chunks, a read elsewhere reads one such window. Even, so that a
// window of 4-bit entries starts on a byte.
constexpr uint64_t kMp4TableWindowEntries = 1024;

// Tracks and freeform metadata items read from one moov. Real files have a handful of each; every
// one read costs hundreds of bytes, so a moov of millions of empty 'trak' or '----' boxes would
// take far more memory than the file's size. Later ones are passed over.
constexpr size_t kMp4MaxTracks = 1024;
constexpr size_t kMp4MaxMetadataItems = 1024;
