// Gapless values of an AAC stream and the trimming stage both FAAD2 jobs feed their output
// through: it drops the encoder delay from the front, holds back the padding at the end and
// releases the rest in blocks of at most kMaxBlockBytes.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>

constexpr uint32_t kDefaultEncoderDelay = 1024;  // sample frames dropped when a file says nothing
constexpr uint32_t kMaxBlockBytes = 65536;       // largest block handed to the host

// Most bytes the trimmer ever holds, its buffers counted whole. The padding is the only thing it
// accumulates, so a file that claims an absurd padding (an "iTunSMPB" padding of 0xFFFFFFFF)
// would otherwise make it hold the whole decoded stream.
constexpr uint32_t kMaxHeldBytes = 64u << 20;
// The buffer is made of segments of this size, allocated as pending bytes need them and released
// as they are emitted, so growing never copies and never needs two large blocks at once.
constexpr uint32_t kTrimmerSegmentBytes = 256u << 10;
// Room kept above the largest reserve for the frame being pushed: a FAAD2 frame is at most
// 2048 sample frames of 64 channels of 4 bytes (512 KiB).
constexpr uint32_t kMaxPushBytes = 1u << 20;
// Largest reserve: what is left of kMaxHeldBytes beside one frame, the partly emitted first
// segment and the spare segment. A padding above it is lowered to it: the last kMaxReserveBytes
// of the output are still held back (so a padding larger than an output of up to this size still
// delivers nothing), and whatever came before them is delivered, although the file called it
// padding. Delivering audio that may be real is the lesser harm than dropping it.
constexpr uint32_t kMaxReserveBytes = kMaxHeldBytes - kMaxPushBytes - 2 * kTrimmerSegmentBytes;

struct GaplessInfo {
    uint8_t haveSmpb = 0;       // values came from an "iTunSMPB" text in MP4 metadata
    uint32_t delay = kDefaultEncoderDelay;  // sample frames
    uint32_t padding = 0;       // sample frames
    uint64_t validLength = 0;   // sample frames
};

// Parses an "iTunSMPB" text ("%X %X %X %llX": field 1 ignored, then delay, padding, valid
// length). Returns the number of fields converted; fields not converted are left as they were.
int ScanSmpbText(const char* text, uint32_t* delay, uint32_t* padding, uint64_t* validLength);

// Each byte is copied once, into the trimmer; Emit hands the host a pointer into it and copies
// only a block that spans two segments.
class GaplessTrimmer {
public:
    GaplessTrimmer() = default;
    GaplessTrimmer(const GaplessTrimmer&) = delete;
    GaplessTrimmer& operator=(const GaplessTrimmer&) = delete;

    // Empties the buffer; skip = delayBytes, reserve = paddingBytes (0 if negative, at most
    // kMaxReserveBytes).
    void Reset(uint32_t delayBytes, int64_t paddingBytes);

    // Drops what is left of the skip budget from the front of the frame and appends the rest.
    // Returns false, dropping the frame's bytes, when they would take the trimmer beyond
    // kMaxHeldBytes (never for a caller that emits everything ready after each push and pushes at
    // most kMaxPushBytes) or a segment could not be allocated.
    bool Push(const uint8_t* bytes, uint32_t byteCount);

    // Bytes that can be emitted now: pending - reserve, at most kMaxBlockBytes (0 if none).
    uint32_t ReadyBytes() const;

    // Removes the next ReadyBytes() bytes and returns where they are, setting *count: inside the
    // trimmer, or in `scratch` (kMaxBlockBytes long) when they span two segments. The bytes stay
    // valid until the next Push, Emit or Reset.
    uint8_t* Emit(uint8_t* scratch, uint32_t* count);

    uint32_t PendingBytes() const { return pending_; }

private:
    // Releases the segments emitted before; their bytes are no longer in the host's hands.
    void DropEmitted();

    std::deque<std::unique_ptr<uint8_t[]>> segments_;
    std::unique_ptr<uint8_t[]> spare_;  // an emptied segment kept for reuse
    uint32_t head_ = 0;     // offset of the oldest pending byte in the first segment
    uint32_t pending_ = 0;
    uint32_t skip_ = 0;
    uint32_t skipped_ = 0;
    uint32_t reserve_ = 0;
};
