// The ID3v2 gapless reader on arbitrary bytes, through a descriptor like the raw job's (of an
// in-memory file); the descriptor's position must come back unchanged.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "Id3Gapless.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int fd = memfd_create("fuzz_id3_gapless", 0);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
    const off_t start = size > 7 ? 7 : 0;
    lseek(fd, start, SEEK_SET);
    uint32_t delay = 0, padding = 0;
    uint64_t length = 0;
    const bool found = ReadId3Gapless(fd, &delay, &padding, &length);
    if (found && (delay == 0 || padding == 0 || length == 0)) std::abort();
    if (lseek(fd, 0, SEEK_CUR) != start) std::abort();
    close(fd);
    return 0;
}
