// Raw AAC stream opening and framing on arbitrary bytes: ID3v2 skip, sync search, probe pass,
// header detection and length estimate, then refills and decoder calls to the end of the
// stream, through the trailing-tag test.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "RawAacStream.h"

namespace {
std::string TempPath() {
    static const std::string path = "/tmp/fuzz_raw_stream." + std::to_string(::getpid()) + ".aac";
    return path;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = TempPath();
    FILE* out = std::fopen(path.c_str(), "wb");
    if (out == nullptr) return 0;
    std::fwrite(data, 1, size, out);
    std::fclose(out);

    RawAacStream stream;
    if (OpenRawAacStream(stream, std::fopen(path.c_str(), "rb"))) {
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
