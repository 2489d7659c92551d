// C runtime file stream with a cached position (see ISOFileStream.h).
#include "ISOFileStream.h"

#include <limits>

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\ISOFileStream";
}

ISOFileStream::~ISOFileStream() {
    if (file_ != nullptr && mode_ == kRead) std::fclose(file_);
    file_ = nullptr;
}

bool ISOFileStream::OpenRead(const char* path) {
    if (path == nullptr) ISO_THROW(CISOException::kNullPath, kSource);
    if (file_ != nullptr) return false;  // one file per stream
    file_ = std::fopen(path, "rb");
    mode_ = kRead;
    cachedPosition_ = 0;
    return file_ != nullptr;
}

bool ISOFileStream::OpenWrite(const char* path) {
    if (path == nullptr) ISO_THROW(CISOException::kNullPath, kSource);
    if (file_ != nullptr && mode_ == kWrite) CloseWrite();
    if (file_ != nullptr) return false;
    file_ = std::fopen(path, "wb");
    mode_ = kWrite;
    cachedPosition_ = 0;
    return file_ != nullptr;
}

void ISOFileStream::CloseRead() {
    if (file_ != nullptr && mode_ == kRead) std::fclose(file_);
    file_ = nullptr;
}

void ISOFileStream::CloseWrite() {
    if (file_ != nullptr && mode_ == kWrite) std::fclose(file_);
    file_ = nullptr;
}

int64_t ISOFileStream::Size() {
    if (file_ == nullptr) return 0;
    const off_t here = ftello(file_);
    if (here < 0 || fseeko(file_, 0, SEEK_END) != 0) return 0;
    const off_t end = ftello(file_);
    fseeko(file_, here, SEEK_SET);
    return end < 0 ? 0 : static_cast<int64_t>(end);
}

int64_t ISOFileStream::Position() {
    if (file_ == nullptr) return 0;
    const off_t here = ftello(file_);
    return here < 0 ? 0 : static_cast<int64_t>(here);
}

bool ISOFileStream::Seek(uint64_t offset) {
    if (file_ == nullptr) return false;
    if (cachedPosition_ == offset) return true;
    if (offset > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) return false;
    ++seeksPerformed_;
    if (fseeko(file_, static_cast<off_t>(offset), SEEK_SET) != 0) return false;
    // Cached only once the seek took effect, so a failed seek cannot make a later seek to the
    // same offset look like a no-op.
    cachedPosition_ = offset;
    return true;
}

uint32_t ISOFileStream::Read(uint32_t count, void* buffer) {
    if (file_ == nullptr || mode_ != kRead || buffer == nullptr) return 0;
    const size_t got = std::fread(buffer, 1, count, file_);
    cachedPosition_ += got;
    return static_cast<uint32_t>(got);
}

uint32_t ISOFileStream::Write(uint32_t count, const void* buffer) {
    if (file_ == nullptr || mode_ != kWrite || buffer == nullptr) return 0;
    const size_t put = std::fwrite(buffer, 1, count, file_);
    cachedPosition_ += put;
    return static_cast<uint32_t>(put);
}
