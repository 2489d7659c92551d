// Limits of the MP4 reader, each with the input it guards against.
#pragma once

#include <cstddef>
#include <cstdint>

// Containers nest at most this deep below the file (moov.trak.mdia.minf.stbl.stsd.entry.wave.esds
// is 9); deeper nesting is only ever a crafted file trying to exhaust the stack.
constexpr int kMp4MaxBoxDepth = 16;

// The first moov is read into memory whole. Its size is already bounded by the file's size; this
// cap keeps a huge file with a huge (bogus) moov from taking that much memory in one block.
constexpr uint64_t kMp4MaxMovieBytes = uint64_t{1} << 30;

// Smallest box header: 32-bit size and 4-character type.
constexpr size_t kMp4BoxHeaderBytes = 8;

// Tracks and freeform metadata items read from one moov. Real files have a handful of each; every
// one read costs hundreds of bytes, so a moov of millions of empty 'trak' or '----' boxes would
// take far more memory than the file's size. Later ones are passed over.
constexpr size_t kMp4MaxTracks = 1024;
constexpr size_t kMp4MaxMetadataItems = 1024;
