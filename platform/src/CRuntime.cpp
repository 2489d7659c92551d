// The C runtime's wide-path and descriptor calls, over their POSIX counterparts.
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>

#include "KernelObject.h"
#include "Utf.h"

using namespace zorv::win32;

extern "C" {

FILE* _wfopen(LPCWSTR fileName, LPCWSTR mode) {
    if (fileName == nullptr || mode == nullptr) return nullptr;
    return std::fopen(ToUtf8(fileName).c_str(), ToUtf8(mode).c_str());
}

int64_t _ftelli64(FILE* file) { return file ? static_cast<int64_t>(::ftello(file)) : -1; }

int _fseeki64(FILE* file, int64_t offset, int origin) {
    return file ? ::fseeko(file, static_cast<off_t>(offset), origin) : -1;
}

int _fileno(FILE* file) { return file ? ::fileno(file) : -1; }

long _lseek(int fd, long offset, int origin) { return static_cast<long>(::lseek(fd, offset, origin)); }

int _read(int fd, void* buffer, unsigned int count) { return static_cast<int>(::read(fd, buffer, count)); }

}  // extern "C"
