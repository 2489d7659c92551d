// Read-ahead buffer between a byte stream and box parsing. One fill is one stream read of up to
// isolimits::kTopLevelBufferBytes bytes; reads refill on demand, so boxes larger than the buffer
// parse through it. Skips beyond the buffered bytes become a stream seek instead of a read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ISOGenericStream.h"

class CISOBitBuffer {
public:
    explicit CISOBitBuffer(ISOGenericStream& stream);

    // Empties the buffer and moves the stream to `offset`; the next read fills again.
    void Reset(uint64_t offset);
    // Absolute position of the next unread byte.
    uint64_t Position() const { return bufferStart_ + readIndex_; }
    // Length of the stream, taken once when the buffer was made.
    uint64_t StreamSize() const { return streamSize_; }
    // Bytes between the position and the end of the stream.
    uint64_t BytesLeftInStream() const;
    // True while unread data remains (filling once if the buffer is empty).
    bool HasData();
    // Copies up to `count` bytes; returns how many were available.
    size_t Read(uint8_t* out, size_t count);
    // Advances by `count` bytes without copying them.
    void Skip(uint64_t count);

private:
    size_t Fill();

    ISOGenericStream& stream_;
    std::vector<uint8_t> buffer_;
    uint64_t bufferStart_ = 0;  // absolute offset of buffer_[0]
    size_t readIndex_ = 0;      // invariant: readIndex_ <= buffer_.size()
    uint64_t streamSize_ = 0;
    bool streamFailed_ = false;
};
