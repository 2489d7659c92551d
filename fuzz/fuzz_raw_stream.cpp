// Raw AAC stream opening and framing on arbitrary bytes (an in-memory file): ID3v2 skip, sync
// search, probe pass, header detection and length estimate, then refills and decoder calls to
// the end of the stream, through the trailing-tag test.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "RawAacStream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int fd = memfd_create("fuzz_raw_stream", 0);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
    lseek(fd, 0, SEEK_SET);
    RawAacStream stream;  // closes the file
    if (OpenRawAacStream(stream, fdopen(fd, "rb"))) {
        // Each call either consumes bytes or ends the loop; the bound only caps run time.
        for (int calls = 0; calls < 4096; ++calls) {
            RefillStreamBuffer(stream);
            if (stream.bytesInBuffer <= 0) break;
            NeAACDecFrameInfo info{};
            NeAACDecDecode(stream.decoder, &info, stream.buffer, static_cast<unsigned long>(stream.bytesInBuffer));
            ConsumeStreamBytes(stream, static_cast<uint32_t>(info.bytesconsumed));
            if (info.error != 0 || info.bytesconsumed == 0) break;
        }
    }
    return 0;
}
