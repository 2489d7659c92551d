// Read-only stream over a caller-owned memory block (see ISOInMemoryStream.h).
#include "ISOInMemoryStream.h"

#include <cstring>

namespace {
thread_local const uint8_t* pendingData = nullptr;
thread_local size_t pendingSize = 0;
}  // namespace

void ISOInMemoryStream::SetPendingSource(const uint8_t* data, size_t size) {
    pendingData = data;
    pendingSize = data == nullptr ? 0 : size;
}

ISOInMemoryStream::ISOInMemoryStream() : data_(pendingData), size_(pendingSize) {
    pendingData = nullptr;
    pendingSize = 0;
}

ISOInMemoryStream::ISOInMemoryStream(const uint8_t* data, size_t size)
    : data_(data), size_(data == nullptr ? 0 : size) {}

int64_t ISOInMemoryStream::Size() { return static_cast<int64_t>(size_); }

int64_t ISOInMemoryStream::Position() { return static_cast<int64_t>(position_); }

bool ISOInMemoryStream::Seek(uint64_t offset) {
    if (offset > size_) return false;
    position_ = static_cast<size_t>(offset);
    return true;
}

uint32_t ISOInMemoryStream::Read(uint32_t count, void* buffer) {
    if (buffer == nullptr || data_ == nullptr) return 0;
    const size_t left = size_ - position_;
    const size_t n = count < left ? count : left;
    std::memcpy(buffer, data_ + position_, n);
    position_ += n;
    return static_cast<uint32_t>(n);
}

uint32_t ISOInMemoryStream::Write(uint32_t, const void*) { return 0; }
