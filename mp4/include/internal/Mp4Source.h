// Where a handle's bytes come from: the file opened by MP4Read (held open until MP4Close), or a
// memory image for the fuzz target and tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

class Mp4Source {
public:
    virtual ~Mp4Source() = default;
    virtual uint64_t Size() const = 0;
    // Reads exactly `count` bytes at `offset`; false when they are not all there.
    virtual bool Read(uint64_t offset, uint8_t* out, size_t count) = 0;
    // The same, for reads away from the samples read in order (the sample tables' windows): a
    // file source serves them without losing the buffered position those reads go on from.
    virtual bool ReadAside(uint64_t offset, uint8_t* out, size_t count) { return Read(offset, out, count); }
};

// A byte range of a source, such as a box payload that stays in the file.
struct Mp4Span {
    uint64_t offset = 0;
    uint64_t size = 0;
};

// Opens a file by its UTF-8 name for binary reading; nullptr when it cannot be opened.
std::unique_ptr<Mp4Source> Mp4OpenFileSource(const char* utf8Name);

// A source over a copy of `size` bytes.
std::unique_ptr<Mp4Source> Mp4MemorySource(const uint8_t* data, size_t size);
