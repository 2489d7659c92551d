#include "Mp4Source.h"

#include <cstdio>
#include <cstring>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

class FileSource : public Mp4Source {
public:
    FileSource(std::FILE* file, uint64_t size) : file_(file), size_(size) {}
    ~FileSource() override { std::fclose(file_); }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    uint64_t Size() const override { return size_; }

    bool Read(uint64_t offset, uint8_t* out, size_t count) override {
        if (offset > size_ || count > size_ - offset) return false;
        if (count == 0) return true;
        // Samples read in order usually follow each other in the file; skipping the seek then
        // keeps the stream's buffer, which a seek would throw away.
        if (offset != position_ && !Seek(file_, offset)) {
            position_ = kUnknownPosition;
            return false;
        }
        if (std::fread(out, 1, count, file_) != count) {
            position_ = kUnknownPosition;
            return false;
        }
        position_ = offset + count;
        return true;
    }

#ifndef _WIN32
    // pread leaves the stream's position and buffer as they are. (The Windows C runtime has no
    // such call for a stream; there ReadAside is Read.)
    bool ReadAside(uint64_t offset, uint8_t* out, size_t count) override {
        if (offset > size_ || count > size_ - offset) return false;
        while (count > 0) {
            const ssize_t n = pread(fileno(file_), out, count, static_cast<off_t>(offset));
            if (n <= 0) return false;
            out += n;
            count -= static_cast<size_t>(n);
            offset += static_cast<uint64_t>(n);
        }
        return true;
    }
#endif

    static bool Seek(std::FILE* file, uint64_t offset) {
#ifdef _WIN32
        return _fseeki64(file, static_cast<int64_t>(offset), SEEK_SET) == 0;
#else
        return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
    }

private:
    static constexpr uint64_t kUnknownPosition = UINT64_MAX;
    std::FILE* file_;
    uint64_t size_;
    uint64_t position_ = kUnknownPosition;  // where the stream stands, when known
};

class MemorySource : public Mp4Source {
public:
    MemorySource(const uint8_t* data, size_t size) : bytes_(data, data + size) {}
    uint64_t Size() const override { return bytes_.size(); }
    bool Read(uint64_t offset, uint8_t* out, size_t count) override {
        if (offset > bytes_.size() || count > bytes_.size() - offset) return false;
        if (count != 0) std::memcpy(out, bytes_.data() + offset, count);
        return true;
    }

private:
    std::vector<uint8_t> bytes_;
};

std::FILE* OpenForReading(const char* utf8Name) {
#ifdef _WIN32
    const int wideCount = MultiByteToWideChar(CP_UTF8, 0, utf8Name, -1, nullptr, 0);
    if (wideCount <= 0) return nullptr;
    std::vector<wchar_t> wide(static_cast<size_t>(wideCount));
    if (MultiByteToWideChar(CP_UTF8, 0, utf8Name, -1, wide.data(), wideCount) <= 0) return nullptr;
    return _wfopen(wide.data(), L"rb");
#else
    return std::fopen(utf8Name, "rb");
#endif
}

}  // namespace

std::unique_ptr<Mp4Source> Mp4OpenFileSource(const char* utf8Name) {
    std::FILE* file = OpenForReading(utf8Name);
    if (!file) return nullptr;
    int64_t end = -1;
#ifdef _WIN32
    if (_fseeki64(file, 0, SEEK_END) == 0) end = _ftelli64(file);
#else
    if (fseeko(file, 0, SEEK_END) == 0) end = static_cast<int64_t>(ftello(file));
#endif
    if (end < 0) {
        std::fclose(file);
        return nullptr;
    }
    return std::make_unique<FileSource>(file, static_cast<uint64_t>(end));
}

std::unique_ptr<Mp4Source> Mp4MemorySource(const uint8_t* data, size_t size) {
    return std::make_unique<MemorySource>(data, size);
}
