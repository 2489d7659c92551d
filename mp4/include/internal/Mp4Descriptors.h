// MPEG-4 object descriptors (ISO/IEC 14496-1 7.2.6) as they appear in the esds and iods boxes.
#pragma once

#include <cstdint>
#include <vector>

#include "Mp4Reader.h"

// What an esds box holds for us.
struct Mp4EsConfig {
    bool hasDecoderSpecificInfo = false;
    std::vector<uint8_t> decoderSpecificInfo;  // payload of the first DecoderSpecificInfo (tag 5)
    uint8_t objectTypeIndication = 0;          // of the DecoderConfigDescriptor (tag 4)
};

// Parses an esds payload (full box header first). Returns false when it holds no
// ES_Descriptor with a DecoderConfigDescriptor, or a descriptor overruns its parent.
bool Mp4ParseEsds(Mp4Reader payload, Mp4EsConfig& config);

// audioProfileLevelId of an iods payload: the MP4_IOD (tag 0x10) without URL; 0 otherwise.
uint8_t Mp4ParseIodsAudioProfile(Mp4Reader payload);
