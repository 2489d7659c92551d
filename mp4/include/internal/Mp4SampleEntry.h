// The sample description box (ISO/IEC 14496-12 8.5.2) as far as the interface needs it: the
// first entry's sound fields and decoder configuration, and the first ALAC entry's cookie box.
#pragma once

#include "Mp4Movie.h"
#include "Mp4Reader.h"

// Parses an stsd payload into `entry`. Throws Mp4Error when the entry count or a sound entry's
// fixed fields do not fit.
void Mp4ParseStsd(Mp4Reader payload, int depth, Mp4SampleEntry& entry);
