// Byte stream over a memory block (open mode 5 of the reader interface).
//
// Storage: the stream does not own or copy its bytes. The caller hands a pointer and a length to
// SetPendingSource before the open; the next stream constructed on the same thread takes them
// (and clears the pending pair), so concurrent jobs on other threads never see each other's
// blocks. The block must stay alive and unchanged until the movie is closed. A stream constructed
// with nothing pending is empty (size 0). Writing is not supported: the memory mode only reads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ISOGenericStream.h"

class ISOInMemoryStream : public ISOGenericStream {
public:
    // Remembers the block for the next ISOInMemoryStream constructed on this thread.
    static void SetPendingSource(const uint8_t* data, size_t size);

    ISOInMemoryStream();
    ISOInMemoryStream(const uint8_t* data, size_t size);

    int64_t Size() override;
    int64_t Position() override;
    bool Seek(uint64_t offset) override;
    uint32_t Read(uint32_t count, void* buffer) override;
    uint32_t Write(uint32_t count, const void* buffer) override;

private:
    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
    size_t position_ = 0;  // invariant: position_ <= size_
};
