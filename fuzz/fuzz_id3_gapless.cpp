// The ID3v2 gapless reader on arbitrary bytes, through a descriptor like the raw job's; the
// descriptor's position must come back unchanged.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Id3Gapless.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/fuzz_id3_gapless." + std::to_string(::getpid()) + ".aac";
    const int out = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out < 0) return 0;
    if (::write(out, data, size) != static_cast<ssize_t>(size)) {
        ::close(out);
        return 0;
    }
    ::close(out);

    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return 0;
    const off_t start = size > 7 ? 7 : 0;
    ::lseek(fd, start, SEEK_SET);
    uint32_t delay = 0;
    uint32_t padding = 0;
    uint64_t length = 0;
    const bool found = ReadId3Gapless(fd, &delay, &padding, &length);
    if (found && (delay == 0 || padding == 0 || length == 0)) std::abort();
    if (::lseek(fd, 0, SEEK_CUR) != start) std::abort();
    ::close(fd);
    return 0;
}
