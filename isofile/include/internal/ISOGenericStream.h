// Abstract byte stream the ISO library reads boxes and sample bytes from. Implemented over a C
// runtime file (ISOFileStream) and over a memory block (ISOInMemoryStream).
#pragma once

#include <cstdint>

class ISOGenericStream {
public:
    virtual ~ISOGenericStream();
    // Total length in bytes; 0 when nothing is open.
    virtual int64_t Size() = 0;
    // Current byte position; 0 when nothing is open.
    virtual int64_t Position() = 0;
    // Moves to an absolute offset; true on success.
    virtual bool Seek(uint64_t offset) = 0;
    // Reads up to `count` bytes into `buffer`; returns the number read.
    virtual uint32_t Read(uint32_t count, void* buffer) = 0;
    // Writer side only; returns the number written.
    virtual uint32_t Write(uint32_t count, const void* buffer) = 0;
};
