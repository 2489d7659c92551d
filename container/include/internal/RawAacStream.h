// One raw AAC elementary stream (ADTS, ADIF or bare raw frames) being decoded by the raw AAC
// job: the open file, its 4,608-byte stream buffer, the FAAD2 decoder initialised on it, the
// estimate of the playing time and the gapless values from a leading ID3v2 tag.
//
// Opening finds where the audio starts (behind a leading ID3v2 tag, at the first ADTS sync
// word within 1,024 bytes), decodes up to the first frame with samples once to learn the output
// format, then reopens the decoder at the audio start. RefillStreamBuffer ends the audio where
// the next frame would begin with a trailing ID3v1, Lyrics3 or APEv2 tag.
#pragma once

#include <neaacdec.h>

#include <cstdint>
#include <cstdio>

#include "GaplessTrimmer.h"
#include "Win32Api.h"

constexpr int32_t kStreamBufferBytes = 4608;  // largest amount of stream data the decoder sees at once
constexpr int32_t kSyncSearchPositions = 1024;  // byte positions tried for the first ADTS sync word
constexpr double kAssumedBitRate = 128000.0;  // length estimate of a stream without a usable header

enum class RawHeaderType : int32_t { None = 0, Adts = 1, Adif = 2 };

struct RawAacStream {
    NeAACDecHandle decoder = nullptr;  // owned
    uint32_t sampleRate = 0;           // Hz, of the decoded output
    uint8_t channels = 0;              // of the decoded output (from the probe pass)
    FILE* file = nullptr;              // owned
    int32_t bytesInBuffer = 0;         // valid, unconsumed bytes at the start of buffer
    int32_t bytesConsumed = 0;         // bytes at the start of buffer the next refill drops
    uint64_t streamPosition = 0;       // bytes handed to the decoder since the audio start
    uint8_t* buffer = nullptr;         // owned, kStreamBufferBytes long
    int32_t endOfFile = 0;             // a read returned fewer bytes than asked
    RawHeaderType headerType = RawHeaderType::None;
    int32_t lengthMs = 0;              // estimated playing time
    uint32_t firstFrameSamplesPerChannel = 0;
    GaplessInfo gapless;               // delay 1024 / padding 0 unless the ID3v2 tag says otherwise

    RawAacStream() = default;
    ~RawAacStream();  // closes the decoder and the file, frees the buffer
    RawAacStream(const RawAacStream&) = delete;
    RawAacStream& operator=(const RawAacStream&) = delete;
};

// Reads the 10-byte ID3v2 header at the file's position (just opened: offset 0). Returns the
// offset behind the tag (the size bytes are joined unmasked, a footer is not looked at) with the
// file positioned there, 0 with the file back at 0 when there is no tag, -1 when fewer than 10
// bytes could be read.
int32_t SkipId3v2Header(RawAacStream& stream);

// The sync search: the first of at most kSyncSearchPositions byte positions from `start` where an
// ADTS sync word begins, or the position after the last one tried; stops early where fewer than
// 10 bytes remain. Only ADTS is looked for: an ADIF header later than that starts late and is
// then decoded as bare frames. Leaves the file at the returned position.
int64_t FindAudioStart(FILE* file, int64_t start);

// Drops the consumed bytes, tops the buffer up from the file and applies the trailing-tag test
// (the buffer is emptied when it begins with "TAG", "LYRICSBEGIN" or "APETAGEX"). Always 1.
int RefillStreamBuffer(RawAacStream& stream);

// Fills the buffer from `audioStart` and tells the stream's kind from its first bytes: ADTS
// (frames counted for the length, then the buffer refilled from the start), ADIF (length from
// the header's bit rate and the file length) or bare frames (an assumed 128 kbit/s). Sets
// headerType and lengthMs.
void DetectHeaderAndLength(RawAacStream& stream, int64_t audioStart);

// Takes `count` bytes the decoder used off the front of the buffer (kept for the next refill).
void ConsumeStreamBytes(RawAacStream& stream, uint32_t count);

// Opens the stream on `file` (taking ownership) and runs the whole opening: tag skip, sync
// search, probe pass, second opening, header type and length estimate, decoder initialisation
// and the ID3v2 gapless values. False on any failure (what was opened is released by the
// destructor).
bool OpenRawAacStream(RawAacStream& stream, FILE* file);

// The same on a UTF-16 path (opened "rb").
bool OpenRawAacStream(RawAacStream& stream, const WCHAR* path);
