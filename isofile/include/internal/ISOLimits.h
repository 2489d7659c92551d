// Limits of the ISO base media file library, each with the failure it guards against.
#pragma once

#include <cstddef>
#include <cstdint>

namespace isolimits {

// Size of the top-level read buffer: one stream read fills at most this many bytes, so a
// top-level parse never holds more than this much unread data regardless of the file's size.
constexpr size_t kTopLevelBufferBytes = 32768;

// Deepest box nesting the parser follows (moov/trak/mdia/minf/stbl/stsd is 6 deep). A file that
// nests deeper is malformed; the cap keeps a hostile file from exhausting the call stack.
constexpr int kMaxBoxDepth = 16;

// Bytes of a raw-payload box ('free', 'skip', 'uuid', 'udta', 'wide' at the top level) that are
// kept. Nothing on the read path looks into them; the cap keeps a file that is mostly one such
// box (gigabytes of reserved space) from being copied into memory.
constexpr size_t kMaxKeptPayloadBytes = 4096;

// Top-level boxes kept only as a record of the file (segment indexes, 'meta' and the raw-payload
// boxes above) beyond which further ones are skipped: each kept box costs an object, so a file
// of millions of empty boxes would otherwise take ten times its size in memory.
constexpr uint64_t kMaxRecordOnlyBoxes = 1024;

// Longest source name a CISOException keeps (including the terminator).
constexpr size_t kMaxSourceNameChars = 128;

}  // namespace isolimits
