// The input side of the sibling module's job: FFmpeg's demuxer over the file, the sound track
// that the module's track number names, that track's decoder, and the seek to the host's start.
// Used only by the job (FfmpegJob.cpp) on its own thread.
#pragma once

#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "DecodeJob.h"

constexpr AVRational kHostTimeBase{1, 10000000};  // the host's 100 ns units

enum class Pull {
    Frame,   // a decoded frame is in the caller's AVFrame
    End,     // the track has been decoded to its end (or the file could not be read further)
    Failed,  // out of memory
};

class FfmpegInput {
public:
    FfmpegInput() = default;
    ~FfmpegInput() { Close(); }
    FfmpegInput(const FfmpegInput&) = delete;
    FfmpegInput& operator=(const FfmpegInput&) = delete;

    // Opens the MP4 file, picks the sound track `trackNumber` names (0: the first one with a
    // decoder) and opens its decoder. False when any of that fails.
    bool Open(const WCHAR* path, DWORD trackNumber);

    // Moves to the key frame at or before `startHns` (100 ns from the start of the track) and
    // returns that time in the track's time base, or AV_NOPTS_VALUE when the demuxer cannot
    // seek there (decoding then starts at the beginning).
    int64_t SeekTo(uint64_t startHns);

    // The track's next decoded frame. Packets the decoder refuses are skipped, as are frames it
    // cannot decode; a read error ends the track like the end of the file.
    Pull Next(AVFrame* frame);

    const AVStream& Stream() const { return *format_->streams[stream_]; }
    AVCodecID Codec() const { return decoder_->codec_id; }
    // The track's length in its time base; 0 when the file does not say.
    int64_t DurationTicks() const;

    // Releases the decoder, the packet and the file. Safe to call more than once.
    void Close();

private:
    bool ReadPacket();

    AVFormatContext* format_ = nullptr;
    AVCodecContext* decoder_ = nullptr;
    AVPacket* packet_ = nullptr;
    int stream_ = -1;
    bool pending_ = false;   // packet_ holds a packet the decoder has not taken yet
    bool draining_ = false;  // the end of the track has been signalled to the decoder
};
