// Stand-ins for the C runtime calls of the platform library (wide-path open, 64-bit seeks,
// descriptor access) so the container tests can run before that library is linked in.
#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "Win32Api.h"

extern "C" {

FILE* _wfopen(LPCWSTR fileName, LPCWSTR mode) {
    std::string narrowPath;
    std::string narrowMode;
    for (const WCHAR* p = fileName; *p != 0; ++p) narrowPath.push_back(static_cast<char>(*p));
    for (const WCHAR* p = mode; *p != 0; ++p) narrowMode.push_back(static_cast<char>(*p));
    return std::fopen(narrowPath.c_str(), narrowMode.c_str());
}
int64_t _ftelli64(FILE* file) { return ftello(file); }
int _fseeki64(FILE* file, int64_t offset, int origin) { return fseeko(file, offset, origin); }
int _fileno(FILE* file) { return fileno(file); }
long _lseek(int fd, long offset, int origin) { return static_cast<long>(lseek(fd, offset, origin)); }
int _read(int fd, void* buffer, unsigned int count) { return static_cast<int>(read(fd, buffer, count)); }
}
