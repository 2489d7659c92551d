// Byte stream over a C runtime FILE, opened by a narrow path. The reader interface uses it for
// every open mode except the in-memory one.
#pragma once

#include <cstdint>
#include <cstdio>

#include "ISOGenericStream.h"

class ISOFileStream : public ISOGenericStream {
public:
    enum Mode : int32_t { kRead = 0, kWrite = 1 };

    ISOFileStream() = default;
    ~ISOFileStream() override;
    ISOFileStream(const ISOFileStream&) = delete;
    ISOFileStream& operator=(const ISOFileStream&) = delete;

    // Opens `path` with "rb"; false when the file cannot be opened. A null path throws code 4.
    bool OpenRead(const char* path);
    // Opens `path` with "wb", first closing a file this stream had open for writing.
    bool OpenWrite(const char* path);
    // Closes the file only when it was opened for reading; forgets the handle either way.
    void CloseRead();
    // Closes the file only when it was opened for writing; forgets the handle either way.
    void CloseWrite();

    int64_t Size() override;
    int64_t Position() override;
    bool Seek(uint64_t offset) override;
    uint32_t Read(uint32_t count, void* buffer) override;
    uint32_t Write(uint32_t count, const void* buffer) override;

    // How many seeks reached the C runtime; a seek to the cached position does not.
    uint64_t SeeksPerformed() const { return seeksPerformed_; }

private:
    FILE* file_ = nullptr;
    Mode mode_ = kRead;
    // Where the next read starts, kept so that the sequential reads of a parse, which seek to
    // where they already are, cost no system call.
    uint64_t cachedPosition_ = 0;
    uint64_t seeksPerformed_ = 0;
};
