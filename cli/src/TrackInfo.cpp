#include "TrackInfo.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "GaplessTrimmer.h"
#include "SoundTracks.h"

#if defined(ZORV_CLI_FFMPEG)
#ifndef _WIN32
#include <dlfcn.h>
#endif
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}
#endif

namespace {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
    char buffer[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    return buffer;
}

const char* AacName(uint32_t objectType) {
    switch (objectType) {
        case 2: return "AAC-LC";
        case 5: return "HE-AAC";
        case 29: return "HE-AAC v2";
        case 42: return "xHE-AAC (USAC)";
        default: return "MPEG-4 audio";
    }
}

#if defined(ZORV_CLI_FFMPEG)
// On Linux FFmpeg's libraries are opened the first time --info meets such a track, never linked:
// loading them (and the hundred libraries they pull in) would take most of zorv-decode's memory on
// every run. The soname carries the major version of the headers compiled against. On Windows
// they are static libraries, linked.
struct FfmpegCalls {
    decltype(&av_log_set_level) setLogLevel = nullptr;
    decltype(&avformat_open_input) openInput = nullptr;
    decltype(&avformat_close_input) closeInput = nullptr;
    decltype(&avcodec_descriptor_get) descriptor = nullptr;
};

#ifndef _WIN32
template <class Fn>
bool Resolve(void* library, const char* name, Fn& fn) {
    fn = reinterpret_cast<Fn>(dlsym(library, name));
    return fn != nullptr;
}
#endif

const FfmpegCalls* Ffmpeg() {
#ifdef _WIN32
    // Linked statically on Windows.
    static const FfmpegCalls linked{&av_log_set_level, &avformat_open_input, &avformat_close_input,
                                    &avcodec_descriptor_get};
    return &linked;
#else
    static const FfmpegCalls* const calls = []() -> const FfmpegCalls* {
        // Symbols of libavcodec and libavutil are found through libavformat, which needs both.
        void* library = dlopen("libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR), RTLD_NOW | RTLD_LOCAL);
        static FfmpegCalls loaded;
        if (library == nullptr || !Resolve(library, "av_log_set_level", loaded.setLogLevel) ||
            !Resolve(library, "avformat_open_input", loaded.openInput) ||
            !Resolve(library, "avformat_close_input", loaded.closeInput) ||
            !Resolve(library, "avcodec_descriptor_get", loaded.descriptor))
            return nullptr;
        return &loaded;  // the library stays loaded for the process's life
    }();
    return calls;
#endif
}
#endif

// The codec FFmpeg's demuxer sees in a track that has neither an ALAC cookie nor an MPEG-4
// audio configuration: such tracks go to the sibling module, which decodes them with FFmpeg.
std::string SiblingCodec(const std::string& path, MP4TrackId track) {
    std::string name = "unknown codec";
#if defined(ZORV_CLI_FFMPEG)
    const FfmpegCalls* ff = Ffmpeg();
    if (ff == nullptr) return name;
    ff->setLogLevel(AV_LOG_QUIET);
    AVFormatContext* format = nullptr;
    if (ff->openInput(&format, ("file:" + path).c_str(), nullptr, nullptr) < 0) return name;
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVCodecDescriptor* codec = ff->descriptor(format->streams[i]->codecpar->codec_id);
        if (format->streams[i]->id != static_cast<int>(track) || codec == nullptr) continue;
        name = codec->long_name ? codec->long_name : codec->name;
    }
    ff->closeInput(&format);
#endif
    return name;
}

std::string Codec(const std::string& path, MP4FileHandle file, MP4TrackId track, uint32_t& cookieRate,
                  uint32_t& cookieBits) {
    uint8_t* bytes = nullptr;
    uint32_t size = 0;
    if (MP4GetTrackBytesProperty(file, track, kAlacCookieProperty, &bytes, &size)) {
        if (bytes && size >= 36) {
            cookieBits = bytes[17];
            cookieRate = (uint32_t{bytes[32]} << 24) | (uint32_t{bytes[33]} << 16) | (uint32_t{bytes[34]} << 8) | bytes[35];
        }
        MP4Free(bytes);
        return "ALAC";
    }
    if (MP4GetTrackESConfiguration(file, track, &bytes, &size) && bytes) {
        const uint32_t type = AudioObjectType(bytes, size);
        MP4Free(bytes);
        // Object type 0 is no MPEG-4 audio configuration (Vorbis headers, a damaged one).
        if (type != 0) return Format("%s (object type %u)", AacName(type), type);
    }
    return SiblingCodec(path, track);
}

std::string Smpb(MP4FileHandle file) {
    MP4ItmfItemList* items = MP4ItmfGetItemsByMeaning(file, "com.apple.iTunes", "iTunSMPB");
    std::string out;
    if (items && items->size >= 1 && items->elements[0].dataList.size >= 1 &&
        items->elements[0].dataList.elements[0].value) {
        const MP4ItmfData& data = items->elements[0].dataList.elements[0];
        std::string text(reinterpret_cast<const char*>(data.value), data.valueSize);
        uint32_t delay = 0, padding = 0;
        uint64_t length = 0;
        if (ScanSmpbText(text.c_str(), &delay, &padding, &length) >= 3)
            out = Format(", iTunSMPB delay %u padding %u length %" PRIu64, delay, padding, length);
    }
    MP4ItmfItemListFree(items);
    return out;
}

}  // namespace

std::string DescribeSoundTracks(const std::string& path) {
    MP4FileHandle file = MP4Read(path.c_str());
    if (file == MP4_INVALID_FILE_HANDLE) return "";
    std::string out;
    uint32_t number = 0;
    FindSoundTrack(file, 0xFFFFFFFFu, [&](MP4TrackId track) {
        ++number;
        uint32_t rate = MP4GetTrackTimeScale(file, track);
        uint32_t bits = 0;
        const std::string codec = Codec(path, file, track, rate, bits);
        const int channels = MP4GetTrackAudioChannels(file, track);
        const uint32_t samples = MP4GetTrackNumberOfSamples(file, track);
        const MP4Duration duration = MP4GetTrackDuration(file, track);
        const uint32_t scale = MP4GetTrackTimeScale(file, track);
        out += Format("  track %u: %s, %d channels, %u Hz%s, %u samples, %.3f s", number, codec.c_str(), channels, rate,
                      bits ? Format(", %u-bit", bits).c_str() : "", samples,
                      scale && duration != MP4_INVALID_DURATION ? static_cast<double>(duration) / scale : 0.0);
        const MP4Timestamp editStart = MP4GetTrackEditMediaStart(file, track, 1);
        const MP4Duration editDuration = MP4GetTrackEditDuration(file, track, 1);
        if (editStart != MP4_INVALID_TIMESTAMP || editDuration != MP4_INVALID_DURATION)
            out += Format(", edit start %" PRIu64 " duration %" PRIu64 " (movie scale %u)", editStart, editDuration,
                          MP4GetTimeScale(file));
        out += Smpb(file) + "\n";
        return false;  // visit them all
    });
    MP4Close(file, 0);
    return out.empty() ? "  no sound tracks\n" : out;
}
