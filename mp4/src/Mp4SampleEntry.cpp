#include "Mp4SampleEntry.h"

#include "Mp4BoxHeader.h"

namespace {

// Bytes of the sound sample entry before its child boxes, by sound version: the common sample
// entry (8) and the version 0 sound fields (20); version 1 adds 16, version 2 adds 36
// (QuickTime File Format, sound sample description versions 1 and 2).
constexpr size_t kSoundFieldsV0 = 28;
constexpr size_t kSoundExtraV1 = 16;
constexpr size_t kSoundExtraV2 = 36;

struct SoundFields {
    int channels = -1;
    Mp4Reader children;  // the child boxes after the fixed fields
};

SoundFields ReadSoundFields(Mp4Reader in) {
    SoundFields fields;
    Mp4Reader fixed = in.Sub(kSoundFieldsV0);
    fixed.Skip(8);  // reserved, data_reference_index
    const uint16_t version = fixed.U16();
    fixed.Skip(6);  // revision, vendor
    fields.channels = fixed.U16();
    if (version == 1) {
        in.Skip(kSoundExtraV1);
    } else if (version == 2) {
        // sizeOfStructOnly u32 and audioSampleRate f64, then the 32-bit channel count
        Mp4Reader extra = in.Sub(kSoundExtraV2);
        extra.Skip(12);
        fields.channels = static_cast<int>(extra.U32());
    }
    fields.children = in;
    return fields;
}

// First esds among `children`; with `descend`, also inside the first child box when there is
// none directly (the QuickTime layout mp4a > wave > esds).
bool FindEsds(Mp4Reader children, int depth, bool descend, Mp4EsConfig& config) {
    bool found = false;
    bool first = true;
    Mp4Reader firstChild;
    Mp4ForEachChild(children, depth, [&](const Mp4BoxHeader& header, Mp4Reader child, Mp4Reader) {
        if (first) firstChild = child;
        first = false;
        if (!found && header.box == Mp4Box::Esds) {
            found = true;
            Mp4ParseEsds(child, config);
        }
    });
    if (!found && descend && !first) return FindEsds(firstChild, depth + 1, false, config);
    return found;
}

void ReadFirstEntry(uint32_t fourcc, Mp4Reader payload, int depth, Mp4SampleEntry& entry) {
    entry.present = true;
    if (!Mp4IsSoundSampleEntry(fourcc)) return;
    entry.isSound = true;
    const SoundFields fields = ReadSoundFields(payload);
    entry.channels = fields.channels;
    entry.hasEsds = FindEsds(fields.children, depth + 1, true, entry.es);
}

// The cookie is the entry's inner "alac" box; QuickTime files (sound version 1) wrap it in the
// entry's first child, a "wave" box, which is searched the same way as for esds.
bool FindAlacCookie(Mp4Reader children, int depth, bool descend, Mp4SampleEntry& entry) {
    bool first = true;
    Mp4Reader firstChild;
    Mp4ForEachChild(children, depth, [&](const Mp4BoxHeader& header, Mp4Reader child, Mp4Reader whole) {
        if (first) firstChild = child;
        first = false;
        if (entry.hasAlacBox || header.box != Mp4Box::Alac) return;
        entry.hasAlacBox = true;
        entry.alacBox = whole.Rest();
    });
    if (!entry.hasAlacBox && descend && !first) return FindAlacCookie(firstChild, depth + 1, false, entry);
    return entry.hasAlacBox;
}

void ReadAlacEntry(Mp4Reader payload, int depth, Mp4SampleEntry& entry) {
    const SoundFields fields = ReadSoundFields(payload);
    FindAlacCookie(fields.children, depth + 1, true, entry);
}

}  // namespace

void Mp4ParseStsd(Mp4Reader payload, int depth, Mp4SampleEntry& entry) {
    payload.Skip(4);  // version and flags
    const uint32_t count = payload.U32();
    payload.RequireEntries(count, 8);
    bool first = true;
    bool sawAlac = false;
    Mp4ForEachChild(payload, depth, [&](const Mp4BoxHeader& header, Mp4Reader child, Mp4Reader) {
        if (first) ReadFirstEntry(header.fourcc, child, depth, entry);
        first = false;
        if (!sawAlac && header.box == Mp4Box::Alac) {
            sawAlac = true;
            ReadAlacEntry(child, depth, entry);
        }
    });
}
