// Reads the encoder delay, padding and valid sample count from the "iTunSMPB" comment frame of
// a leading ID3v2 tag. Used once per raw AAC job, through the descriptor of the already open
// stream: the descriptor's position is saved on entry and restored on every exit, so the
// caller's buffered reading carries on undisturbed.
#pragma once

#include <cstdint>

// True when an "iTunSMPB" comment frame was found and its delay, padding and valid sample count
// are all non-zero. The three outputs are written whenever a comment frame scanned to four
// values, also when the result is false because one of them is zero; otherwise untouched.
bool ReadId3Gapless(int fd, uint32_t* encoderDelay, uint32_t* padding, uint64_t* validSampleCount);

// Scans UTF-16 text as an "iTunSMPB" text (same fields and result as ScanSmpbText). `units`
// holds `count` code units in host order; the text ends at the first zero unit or after
// `count` units. Code units that are Unicode white space separate fields like a space.
int ScanSmpbText16(const char16_t* units, uint32_t count, uint32_t* delay, uint32_t* padding,
                   uint64_t* validLength);
