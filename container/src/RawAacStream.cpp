// Opening and framing of raw AAC streams for the raw AAC job (see RawAacStream.h).
#include "RawAacStream.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "AacJobs.h"
#include "Id3Gapless.h"

namespace {

constexpr uint32_t kAdtsSampleRates[12] = {96000, 88200, 64000, 48000, 44100, 32000,
                                           24000, 22050, 16000, 12000, 11025, 8000};
constexpr int32_t kAdtsHeaderBytes = 7;  // fixed + variable header without CRC (ISO/IEC 13818-7, 6.2)

bool StartsWithAdtsSync(const uint8_t* bytes) {
    // Twelve sync bits and layer 0; the ID bit (MPEG-2/4) and protection bit may be either.
    return bytes[0] == 0xFF && (bytes[1] & 0xF6) == 0xF0;
}

// Truncates toward zero to a 32-bit millisecond count; values out of range (a huge file with a
// tiny declared bit rate) saturate instead of overflowing.
int32_t ToMilliseconds(double seconds) {
    const double ms = seconds * 1000.0;
    if (ms != ms) return 0;  // NaN
    if (ms >= 2147483647.0) return INT32_MAX;
    if (ms <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(ms);
}

// Clears the buffer and reads a full buffer from the file's position, which becomes the origin of
// the stream position.
void FillStreamBuffer(RawAacStream& stream) {
    std::memset(stream.buffer, 0, kStreamBufferBytes);
    const size_t got = std::fread(stream.buffer, 1, kStreamBufferBytes, stream.file);
    stream.bytesInBuffer = static_cast<int32_t>(got);
    stream.endOfFile = got < static_cast<size_t>(kStreamBufferBytes) ? 1 : 0;
    stream.bytesConsumed = 0;
    stream.streamPosition = 0;
}

int64_t FileLength(FILE* file) {
    const int64_t here = _ftelli64(file);
    _fseeki64(file, 0, SEEK_END);
    const int64_t length = _ftelli64(file);
    _fseeki64(file, here, SEEK_SET);
    return length;
}

// Decodes up to the first frame with samples to learn the output format. The decoder is
// closed again; the caller reopens it at the audio start.
bool ProbeStream(RawAacStream& stream) {
    stream.decoder = OpenFloatDecoder(false);
    if (stream.decoder == nullptr) return false;
    FillStreamBuffer(stream);
    bool ok = false;
    unsigned long rate = 0;
    unsigned char channels = 0;
    if (stream.bytesInBuffer > 0) {
        const long used = NeAACDecInit(stream.decoder, stream.buffer, static_cast<unsigned long>(stream.bytesInBuffer),
                                       &rate, &channels);
        if (used >= 0) {
            ConsumeStreamBytes(stream, static_cast<uint32_t>(used));
            for (;;) {
                RefillStreamBuffer(stream);
                // An empty buffer or a call that makes no progress can never reach a frame
                // with samples; FAAD2 is not asked to decode nothing.
                if (stream.bytesInBuffer <= 0) break;
                NeAACDecFrameInfo info{};
                NeAACDecDecode(stream.decoder, &info, stream.buffer, static_cast<unsigned long>(stream.bytesInBuffer));
                ConsumeStreamBytes(stream, static_cast<uint32_t>(std::min<unsigned long>(info.bytesconsumed, UINT32_MAX)));
                if (info.error != 0) break;
                if (info.samples != 0) {
                    stream.channels = info.channels;
                    stream.sampleRate = static_cast<uint32_t>(info.samplerate);
                    stream.firstFrameSamplesPerChannel =
                        info.channels == 0 ? 0u : static_cast<uint32_t>(info.samples / info.channels);
                    ok = true;
                    break;
                }
                if (info.bytesconsumed == 0) break;
            }
        }
    }
    NeAACDecClose(stream.decoder);
    stream.decoder = nullptr;
    return ok;
}

// Step 7, ADTS: counts the frames that follow each other in the buffer, from the start, and
// estimates the length as frames * 1024 / sample rate.
double AdtsLengthSeconds(RawAacStream& stream) {
    uint32_t frames = 0;
    for (;;) {
        RefillStreamBuffer(stream);
        if (stream.bytesInBuffer <= kAdtsHeaderBytes || !StartsWithAdtsSync(stream.buffer)) break;
        const uint8_t* b = stream.buffer;
        if (frames == 0) {
            // Indices 12 to 15 have no rate; 0 Hz leads to the 1.0 s default below.
            const uint32_t index = (b[2] & 0x3Cu) >> 2;
            stream.sampleRate = index < 12 ? kAdtsSampleRates[index] : 0u;
        }
        const int32_t frameLength = ((b[3] & 0x03) << 11) | (b[4] << 3) | (b[5] >> 5);
        if (frameLength > stream.bytesInBuffer) break;
        // A frame shorter than its own header is not a frame, and consuming it would not move
        // the count on.
        if (frameLength < kAdtsHeaderBytes) break;
        ConsumeStreamBytes(stream, static_cast<uint32_t>(frameLength));
        ++frames;
    }
    const double framesPerSecond = stream.sampleRate * 0.0009765625;
    return framesPerSecond == 0.0 ? 1.0 : frames / framesPerSecond;
}

double BitRateLengthSeconds(FILE* file, double bitRate) {
    const int64_t length = FileLength(file);
    if (length == -1) return 0.0;
    return static_cast<double>(length) * 8.0 / bitRate + 0.5;
}

}  // namespace

int64_t FindAudioStart(FILE* file, int64_t start) {
    int64_t position = start;
    _fseeki64(file, position, SEEK_SET);
    for (int32_t tried = 0; tried < kSyncSearchPositions; ++tried) {
        uint8_t header[10];
        if (std::fread(header, 1, sizeof header, file) < sizeof header) break;
        if (StartsWithAdtsSync(header)) break;
        ++position;
        _fseeki64(file, position, SEEK_SET);
    }
    _fseeki64(file, position, SEEK_SET);
    return position;
}

RawAacStream::~RawAacStream() {
    if (decoder != nullptr) NeAACDecClose(decoder);
    std::free(buffer);
    if (file != nullptr) std::fclose(file);
}

int32_t SkipId3v2Header(RawAacStream& stream) {
    uint8_t header[10];
    if (std::fread(header, 1, sizeof header, stream.file) < sizeof header) return -1;
    if (std::memcmp(header, "ID3", 3) == 0) {
        // Joined without masking to seven bits: a size byte with bit 7 set moves the start
        // further, and the sync search then looks from there.
        const int32_t size = (header[6] << 21) | (header[7] << 14) | (header[8] << 7) | header[9];
        const int32_t start = size + 10;
        std::fseek(stream.file, start, SEEK_SET);
        return start;
    }
    std::fseek(stream.file, 0, SEEK_SET);
    return 0;
}

void ConsumeStreamBytes(RawAacStream& stream, uint32_t count) {
    // The decoder never reports more than it was given; clamp so the buffer bookkeeping holds
    // even if it did.
    const int32_t used = static_cast<int32_t>(std::min<uint32_t>(count, static_cast<uint32_t>(std::max(stream.bytesInBuffer, 0))));
    stream.bytesInBuffer -= used;
    stream.streamPosition += static_cast<uint64_t>(used);
    stream.bytesConsumed = used;
}

int RefillStreamBuffer(RawAacStream& stream) {
    if (stream.bytesConsumed < 1) return 1;
    if (stream.bytesInBuffer != 0) {
        std::memmove(stream.buffer, stream.buffer + stream.bytesConsumed, static_cast<size_t>(stream.bytesInBuffer));
    } else if (stream.endOfFile != 0) {
        stream.bytesConsumed = 0;
        return 1;
    }
    if (stream.endOfFile == 0) {
        // Invariant: bytesInBuffer + bytesConsumed <= kStreamBufferBytes.
        const size_t wanted = static_cast<size_t>(std::min(stream.bytesConsumed, kStreamBufferBytes - stream.bytesInBuffer));
        const size_t got = std::fread(stream.buffer + stream.bytesInBuffer, 1, wanted, stream.file);
        if (got < wanted) stream.endOfFile = 1;
        stream.bytesInBuffer += static_cast<int32_t>(got);
    }
    stream.bytesConsumed = 0;

    // Trailing tags end the audio where the next frame would begin. Their size fields are not
    // read: an empty buffer is the end of the stream for every reader of it.
    const uint8_t* b = stream.buffer;
    if (stream.bytesInBuffer <= 3) return 1;
    if (std::memcmp(b, "TAG", 3) == 0) {
        stream.bytesInBuffer = 0;
    } else if (stream.bytesInBuffer >= 12 && std::memcmp(b, "LYRICSBEGIN", 11) == 0) {
        stream.bytesInBuffer = 0;
    } else if (stream.bytesInBuffer >= 9 && std::memcmp(b, "APETAGEX", 8) == 0) {
        stream.bytesInBuffer = 0;
    }
    return 1;
}

void DetectHeaderAndLength(RawAacStream& stream, int64_t audioStart) {
    _fseeki64(stream.file, audioStart, SEEK_SET);
    FillStreamBuffer(stream);
    double lengthSeconds = 0.0;
    const uint8_t* b = stream.buffer;
    if (StartsWithAdtsSync(b)) {
        lengthSeconds = AdtsLengthSeconds(stream);
        _fseeki64(stream.file, audioStart, SEEK_SET);
        FillStreamBuffer(stream);
        stream.headerType = RawHeaderType::Adts;
    } else if (std::memcmp(b, "ADIF", 4) == 0) {
        // adif_header() (ISO/IEC 14496-3, 1.A.2): a 72-bit copyright id follows the 4-byte id
        // when copyright_id_present is set; then flags and the 23-bit bitrate field. The field's
        // last three bits are taken where they stand in their byte (not shifted down), which
        // leaves the rate off by at most 217 bit/s: immaterial for an estimate.
        const int skip = (b[4] & 0x80) != 0 ? 9 : 0;
        const uint32_t bitRate = ((b[4 + skip] & 0x0Fu) << 19) | (uint32_t{b[5 + skip]} << 11) |
                                 (uint32_t{b[6 + skip]} << 3) | (b[7 + skip] & 0xE0u);
        // A variable-rate stream may leave the field 0; it is then estimated like bare frames.
        lengthSeconds = BitRateLengthSeconds(stream.file, bitRate != 0 ? bitRate : kAssumedBitRate);
        stream.headerType = RawHeaderType::Adif;
    } else {
        lengthSeconds = BitRateLengthSeconds(stream.file, kAssumedBitRate);
    }
    stream.lengthMs = ToMilliseconds(lengthSeconds);
}

bool OpenRawAacStream(RawAacStream& stream, FILE* file) {
    stream.file = file;
    if (file == nullptr) return false;

    const int32_t tagEnd = SkipId3v2Header(stream);
    if (tagEnd < 0) return false;
    stream.buffer = static_cast<uint8_t*>(std::malloc(kStreamBufferBytes));
    if (stream.buffer == nullptr) return false;

    const int64_t audioStart = FindAudioStart(file, tagEnd);
    if (!ProbeStream(stream)) return false;
    _fseeki64(file, audioStart, SEEK_SET);

    stream.decoder = OpenFloatDecoder(false);
    if (stream.decoder == nullptr) return false;

    DetectHeaderAndLength(stream, audioStart);

    RefillStreamBuffer(stream);
    if (stream.bytesInBuffer <= 0) return false;
    unsigned long rate = 0;
    unsigned char ignoredChannels = 0;
    const long used = NeAACDecInit(stream.decoder, stream.buffer, static_cast<unsigned long>(stream.bytesInBuffer), &rate,
                                   &ignoredChannels);
    if (used < 0) return false;
    StartFrameCounter(stream.decoder);
    ConsumeStreamBytes(stream, static_cast<uint32_t>(used));
    // The initialisation's rate replaces the probe's; its channel count is not used, the
    // probe's (from a decoded frame, after any upmix) stays.
    stream.sampleRate = static_cast<uint32_t>(rate);
    if (stream.channels == 0) return false;

    uint32_t delay = 0;
    uint32_t padding = 0;
    uint64_t validLength = 0;
    if (ReadId3Gapless(_fileno(file), &delay, &padding, &validLength)) {
        stream.gapless.delay = delay;
        stream.gapless.padding = padding;
    }
    return true;
}

bool OpenRawAacStream(RawAacStream& stream, const WCHAR* path) {
    return OpenRawAacStream(stream, _wfopen(path, ZORV_WIDE("rb")));
}
