// Gapless values of an AAC stream and the trimming stage both FAAD2 jobs feed their output
// through: it drops the encoder delay from the front, holds back the padding at the end and
// releases the rest in blocks of at most kMaxBlockBytes.
#pragma once

#include <cstdint>

constexpr uint32_t kDefaultEncoderDelay = 1024;  // sample frames dropped when a file says nothing
constexpr uint32_t kMaxBlockBytes = 65536;       // largest block handed to the host

struct GaplessInfo {
    uint8_t haveSmpb = 0;       // values came from an "iTunSMPB" text in MP4 metadata
    uint32_t delay = kDefaultEncoderDelay;  // sample frames
    uint32_t padding = 0;       // sample frames
    uint64_t validLength = 0;   // sample frames
};

// Parses an "iTunSMPB" text ("%X %X %X %llX": field 1 ignored, then delay, padding, valid
// length). Returns the number of fields converted; fields not converted are left as they were.
int ScanSmpbText(const char* text, uint32_t* delay, uint32_t* padding, uint64_t* validLength);

// FAAD2 withholds the output of the first access unit(s) it decodes after initialisation
// (they report 0 samples without an error). The encoder delay counts frames from the stream's
// first access unit, so those withheld frames count as already skipped:
//   skip = delay - withheldAccessUnits * framesPerAccessUnit, never below 0.
// After a seek nothing is withheld (withheldAccessUnits = 0) and the whole delay is skipped.
uint32_t DelayAfterWithheldFrames(uint32_t delayFrames, uint32_t withheldAccessUnits, uint32_t framesPerAccessUnit);

class GaplessTrimmer {
public:
    GaplessTrimmer() = default;
    ~GaplessTrimmer();
    GaplessTrimmer(const GaplessTrimmer&) = delete;
    GaplessTrimmer& operator=(const GaplessTrimmer&) = delete;

    // Frees the accumulation buffer; skip = delayBytes, reserve = paddingBytes (0 if negative).
    void Reset(uint32_t delayBytes, int64_t paddingBytes);

    // Drops what is left of the skip budget from the front of the frame and appends the rest.
    // Returns false when the buffer could not grow (the frame's bytes are then dropped).
    bool Push(const uint8_t* bytes, uint32_t byteCount);

    // Bytes that can be emitted now: pending - reserve, at most kMaxBlockBytes (0 if none).
    uint32_t ReadyBytes() const;

    // Copies the next ReadyBytes() bytes into `out` (kMaxBlockBytes long), removes them from the
    // buffer and returns their count.
    uint32_t Emit(uint8_t* out);

    uint32_t PendingBytes() const { return pending_; }

private:
    uint8_t* buffer_ = nullptr;
    uint32_t capacity_ = 0;
    uint32_t pending_ = 0;
    uint32_t skip_ = 0;
    uint32_t skipped_ = 0;
    uint32_t reserve_ = 0;
};
