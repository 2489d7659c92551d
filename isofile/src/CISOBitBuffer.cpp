// Read-ahead buffer for box parsing (see CISOBitBuffer.h).
#include "CISOBitBuffer.h"

#include <algorithm>
#include <cstring>

#include "ISOLimits.h"

CISOBitBuffer::CISOBitBuffer(ISOGenericStream& stream) : stream_(stream) {
    const int64_t size = stream_.Size();
    streamSize_ = size > 0 ? static_cast<uint64_t>(size) : 0;
    buffer_.reserve(isolimits::kTopLevelBufferBytes);
    Reset(0);
}

void CISOBitBuffer::Reset(uint64_t offset) {
    buffer_.clear();
    readIndex_ = 0;
    bufferStart_ = offset;
    streamFailed_ = !stream_.Seek(offset);
}

uint64_t CISOBitBuffer::BytesLeftInStream() const {
    const uint64_t here = Position();
    return here < streamSize_ ? streamSize_ - here : 0;
}

size_t CISOBitBuffer::Fill() {
    if (streamFailed_) return 0;
    // Keep the unread tail, drop what was consumed, then one read appends up to the capacity.
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(readIndex_));
    bufferStart_ += readIndex_;
    readIndex_ = 0;
    const size_t kept = buffer_.size();
    const size_t room = isolimits::kTopLevelBufferBytes - kept;
    if (room == 0) return 0;
    buffer_.resize(kept + room);
    const uint32_t got = stream_.Read(static_cast<uint32_t>(room), buffer_.data() + kept);
    buffer_.resize(kept + got);
    return got;
}

bool CISOBitBuffer::HasData() {
    return readIndex_ < buffer_.size() || Fill() > 0;
}

size_t CISOBitBuffer::Read(uint8_t* out, size_t count) {
    size_t done = 0;
    while (done < count) {
        if (readIndex_ == buffer_.size() && Fill() == 0) break;
        const size_t n = std::min(count - done, buffer_.size() - readIndex_);
        std::memcpy(out + done, buffer_.data() + readIndex_, n);
        readIndex_ += n;
        done += n;
    }
    return done;
}

void CISOBitBuffer::Skip(uint64_t count) {
    const size_t buffered = buffer_.size() - readIndex_;
    if (count <= buffered) {
        readIndex_ += static_cast<size_t>(count);
        return;
    }
    Reset(Position() + count);
}
