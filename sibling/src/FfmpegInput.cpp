#include "FfmpegInput.h"

#include <string>
#include <vector>

#include "SoundTracks.h"

namespace {

std::string Utf8(const WCHAR* path) {
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, path, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 1) return "";
    std::string out(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, path, -1, &out[0], bytes, nullptr, nullptr);
    out.resize(static_cast<size_t>(bytes - 1));
    return out;
}

int StreamWithId(const AVFormatContext& format, MP4TrackId track) {
    for (unsigned i = 0; i < format.nb_streams; ++i) {
        if (format.streams[i]->id == static_cast<int>(track)) return static_cast<int>(i);
    }
    return -1;
}

// The file's sound tracks as stream indices (-1: a track the demuxer has no stream for), in the
// order of the module's own sound-track rule, so that a track number means here what it meant
// to the module that handed the file over (it hands over MP4 files its reader has opened).
std::vector<int> SoundStreams(const AVFormatContext& format, const std::string& path) {
    std::vector<int> streams;
    MP4FileHandle file = MP4Read(path.c_str());
    if (file == MP4_INVALID_FILE_HANDLE) return streams;
    FindSoundTrack(file, kAnySoundTrack, [&](MP4TrackId track) {
        streams.push_back(StreamWithId(format, track));
        return false;  // list them all
    });
    MP4Close(file, 0);
    return streams;
}

}  // namespace

bool FfmpegInput::Open(const WCHAR* path, DWORD trackNumber) {
    const std::string utf8 = Utf8(path);
    if (utf8.empty()) return false;
    // The file protocol only, named explicitly: neither a name that looks like a URL nor the
    // file's contents (playlists, references) may make the demuxer open anything else.
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    const int opened = avformat_open_input(&format_, ("file:" + utf8).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0) return false;

    const std::vector<int> sound = SoundStreams(*format_, utf8);
    const uint32_t wanted = WantedSoundTrackIndex(trackNumber);
    const AVCodec* codec = nullptr;
    for (size_t i = 0; i < sound.size() && codec == nullptr; ++i) {
        if (sound[i] < 0 || (wanted != kAnySoundTrack && wanted != i)) continue;
        codec = avcodec_find_decoder(format_->streams[sound[i]]->codecpar->codec_id);
        stream_ = sound[i];
    }
    if (codec == nullptr) return false;
    // The other tracks are neither probed nor read.
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        if (static_cast<int>(i) != stream_) format_->streams[i]->discard = AVDISCARD_ALL;
    }
    if (avformat_find_stream_info(format_, nullptr) < 0) return false;

    const AVStream& stream = Stream();
    decoder_ = avcodec_alloc_context3(codec);
    packet_ = av_packet_alloc();
    if (decoder_ == nullptr || packet_ == nullptr || avcodec_parameters_to_context(decoder_, stream.codecpar) < 0) {
        return false;
    }
    // The packets' time base lets the decoder drop the priming samples the demuxer marks and
    // keep the frames' timestamps right; one thread per job is enough for audio.
    decoder_->pkt_timebase = stream.time_base;
    decoder_->thread_count = 1;
    return avcodec_open2(decoder_, codec, nullptr) == 0;
}

int64_t FfmpegInput::SeekTo(uint64_t startHns) {
    if (startHns > static_cast<uint64_t>(INT64_MAX)) return AV_NOPTS_VALUE;
    const int64_t target = av_rescale_q(static_cast<int64_t>(startHns), kHostTimeBase, Stream().time_base);
    return av_seek_frame(format_, stream_, target, AVSEEK_FLAG_BACKWARD) < 0 ? AV_NOPTS_VALUE : target;
}

int64_t FfmpegInput::DurationTicks() const {
    const AVStream& stream = Stream();
    if (stream.duration > 0) return stream.duration;
    return format_->duration > 0 ? av_rescale_q(format_->duration, AV_TIME_BASE_Q, stream.time_base) : 0;
}

Pull FfmpegInput::Next(AVFrame* frame) {
    for (;;) {
        const int received = avcodec_receive_frame(decoder_, frame);
        if (received >= 0) return Pull::Frame;
        if (received == AVERROR(ENOMEM)) return Pull::Failed;
        // After the flush packet anything but a frame is the end.
        if (draining_ || received == AVERROR_EOF) return Pull::End;
        // The decoder wants input, or has lost a frame to damaged data: it gets the next packet.
        if (!pending_ && !(pending_ = ReadPacket())) {
            draining_ = true;
            avcodec_send_packet(decoder_, nullptr);  // hand out what it still holds
            continue;
        }
        const int sent = avcodec_send_packet(decoder_, packet_);
        if (sent == AVERROR(EAGAIN)) continue;  // it has output to give first; the packet waits
        av_packet_unref(packet_);
        pending_ = false;
        if (sent == AVERROR(ENOMEM)) return Pull::Failed;
        // A packet the decoder refuses is skipped like a damaged one.
    }
}

bool FfmpegInput::ReadPacket() {
    while (av_read_frame(format_, packet_) >= 0) {
        if (packet_->stream_index == stream_) return true;
        av_packet_unref(packet_);
    }
    return false;
}

void FfmpegInput::Close() {
    av_packet_free(&packet_);
    avcodec_free_context(&decoder_);
    avformat_close_input(&format_);
    stream_ = -1;
}
