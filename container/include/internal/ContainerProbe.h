// Which job a file goes to: the lossless probe that Decode asks, and the AAC job's thread
// procedure, which routes to xHE-AAC, AAC-in-MP4, the sibling module or the raw stream path.
#pragma once

#include <cstdint>

#include "Win32Api.h"

// True when the chosen sound track (index from 0 among sound tracks, or 0xFFFFFFFF for any)
// carries an ALAC cookie; the outputs come from that cookie and are zero otherwise.
bool ProbeAlacTrack(const WCHAR* path, uint32_t soundTrackIndex, uint16_t* channels, uint16_t* bitDepth,
                    uint32_t* sampleRate);

// Thread procedure of every non-lossless job; owns the DecodeJob passed as its parameter.
DWORD WINAPI RunAacJob(LPVOID decodeJob);
