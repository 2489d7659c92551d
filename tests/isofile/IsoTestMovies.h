// Byte-level movies for the ISO library tests: a one-track movie with sample tables, movie
// fragments with their media data, and a handle guard for the flat interface.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "BoxBuilder.h"
#include "IsoReaderInterface.h"

namespace isotest {

constexpr uint32_t kTrackId = 1;

// Byte j of sample k (0-based over the whole track), so every sample's bytes are distinct.
inline uint8_t SampleByte(uint32_t k, uint32_t j) { return static_cast<uint8_t>(k * 7 + j * 3 + 1); }

inline std::vector<uint8_t> SampleBytes(uint32_t k, uint32_t size) {
    std::vector<uint8_t> out(size);
    for (uint32_t j = 0; j < size; ++j) out[j] = SampleByte(k, j);
    return out;
}

inline BoxBuilder Mvhd() {
    return BoxBuilder("mvhd").Full(0, 0).U32(0).U32(0).U32(1000).U32(0).Zeros(80);
}

inline BoxBuilder Tkhd(uint32_t trackId) {
    return BoxBuilder("tkhd").Full(0, 7).U32(0).U32(0).U32(trackId).U32(0).U32(0).Zeros(60);
}

inline BoxBuilder Stsd() {
    BoxBuilder entry("mp4a");
    entry.Zeros(6).U16(1).Zeros(8).U16(2).U16(16).U32(0).U32(44100u << 16);
    return BoxBuilder("stsd").Full(0, 0).U32(1).Child(entry);
}

struct TableLayout {
    std::vector<uint32_t> sizes;                   // one per table sample
    std::vector<std::pair<uint32_t, uint32_t>> stts;  // (count, delta)
    std::vector<std::pair<uint32_t, uint32_t>> stsc;  // (first chunk, samples per chunk)
    std::vector<std::pair<uint32_t, uint32_t>> ctts;  // empty = no 'ctts'
};

// A 'trak' whose chunk offsets are `chunkOffsets`.
inline BoxBuilder Trak(uint32_t trackId, const TableLayout& layout, const std::vector<uint32_t>& chunkOffsets) {
    BoxBuilder stts("stts");
    stts.Full(0, 0).U32(static_cast<uint32_t>(layout.stts.size()));
    for (auto [count, delta] : layout.stts) stts.U32(count).U32(delta);
    BoxBuilder stsc("stsc");
    stsc.Full(0, 0).U32(static_cast<uint32_t>(layout.stsc.size()));
    for (auto [first, perChunk] : layout.stsc) stsc.U32(first).U32(perChunk).U32(1);
    BoxBuilder stsz("stsz");
    stsz.Full(0, 0).U32(0).U32(static_cast<uint32_t>(layout.sizes.size()));
    for (uint32_t s : layout.sizes) stsz.U32(s);
    BoxBuilder stco("stco");
    stco.Full(0, 0).U32(static_cast<uint32_t>(chunkOffsets.size()));
    for (uint32_t o : chunkOffsets) stco.U32(o);
    BoxBuilder stbl("stbl");
    stbl.Child(Stsd()).Child(stts).Child(stsc).Child(stsz).Child(stco);
    if (!layout.ctts.empty()) {
        BoxBuilder ctts("ctts");
        ctts.Full(0, 0).U32(static_cast<uint32_t>(layout.ctts.size()));
        for (auto [count, offset] : layout.ctts) ctts.U32(count).U32(offset);
        stbl.Child(ctts);
    }
    BoxBuilder mdhd("mdhd");
    mdhd.Full(0, 0).U32(0).U32(0).U32(44100).U32(0).U16(0x55C4).U16(0);
    BoxBuilder hdlr("hdlr");
    hdlr.Full(0, 0).U32(0).Str("soun").Zeros(12).U8(0);
    BoxBuilder minf("minf");
    minf.Child(BoxBuilder("smhd").Full(0, 0).U32(0)).Child(stbl);
    BoxBuilder mdia("mdia");
    mdia.Child(mdhd).Child(hdlr).Child(minf);
    return BoxBuilder("trak").Child(Tkhd(trackId)).Child(mdia);
}

inline BoxBuilder Trex(uint32_t trackId, uint32_t duration, uint32_t size, uint32_t flags) {
    return BoxBuilder("trex").Full(0, 0).U32(trackId).U32(1).U32(duration).U32(size).U32(flags);
}

// A table track's movie: chunks (as `layout.stsc` lays them out) back to back in one 'mdat' after
// the 'moov', sample k holding SampleBytes(k, sizes[k]); `extraMoov` children (e.g. 'mvex') are
// appended to the 'moov'.
inline std::vector<uint8_t> MakeTableMovie(const TableLayout& layout, const std::vector<BoxBuilder>& extraMoov = {}) {
    // Chunk sizes from the sample-to-chunk entries.
    std::vector<uint32_t> chunkSampleCounts;
    size_t k = 0;
    for (size_t e = 0; e < layout.stsc.size() && k < layout.sizes.size(); ++e) {
        const uint32_t lastChunk = e + 1 < layout.stsc.size() ? layout.stsc[e + 1].first - 1 : 0xFFFFFFFFu;
        for (uint32_t c = layout.stsc[e].first; c <= lastChunk && k < layout.sizes.size(); ++c) {
            chunkSampleCounts.push_back(layout.stsc[e].second);
            k += layout.stsc[e].second;
        }
    }
    auto build = [&](const std::vector<uint32_t>& chunkOffsets) {
        BoxBuilder moov("moov");
        moov.Child(Mvhd()).Child(Trak(kTrackId, layout, chunkOffsets));
        for (const auto& extra : extraMoov) moov.Child(extra);
        return moov.Build();
    };
    const uint32_t mdatStart = static_cast<uint32_t>(build(std::vector<uint32_t>(chunkSampleCounts.size(), 0)).size());
    std::vector<uint32_t> chunkOffsets;
    std::vector<uint8_t> payload;
    k = 0;
    for (uint32_t count : chunkSampleCounts) {
        chunkOffsets.push_back(mdatStart + 8 + static_cast<uint32_t>(payload.size()));
        for (uint32_t s = 0; s < count && k < layout.sizes.size(); ++s, ++k) {
            const auto bytes = SampleBytes(static_cast<uint32_t>(k), layout.sizes[k]);
            payload.insert(payload.end(), bytes.begin(), bytes.end());
        }
    }
    return Concat({build(chunkOffsets), BoxBuilder("mdat").Bytes(payload).Build()});
}

// One 'moof' + 'mdat' with a single 'trun' of per-sample durations and sizes (flags 0x301) and a
// 'tfhd' with default-base-is-moof. Samples are numbered from `firstSample` for their bytes.
inline std::vector<uint8_t> MakeFragment(uint32_t sequence, uint32_t firstSample,
                                         const std::vector<uint32_t>& sizes, uint32_t duration) {
    auto build = [&](uint32_t dataOffset) {
        BoxBuilder trun("trun");
        trun.Full(0, 0x301).U32(static_cast<uint32_t>(sizes.size())).U32(dataOffset);
        for (uint32_t s : sizes) trun.U32(duration).U32(s);
        BoxBuilder traf("traf");
        traf.Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(kTrackId))
            .Child(BoxBuilder("tfdt").Full(1, 0).U64(0))
            .Child(trun);
        return BoxBuilder("moof").Child(BoxBuilder("mfhd").Full(0, 0).U32(sequence)).Child(traf).Build();
    };
    const uint32_t moofSize = static_cast<uint32_t>(build(0).size());
    std::vector<uint8_t> payload;
    for (size_t i = 0; i < sizes.size(); ++i) {
        const auto bytes = SampleBytes(firstSample + static_cast<uint32_t>(i), sizes[i]);
        payload.insert(payload.end(), bytes.begin(), bytes.end());
    }
    return Concat({build(moofSize + 8), BoxBuilder("mdat").Bytes(payload).Build()});
}

// A movie handle that is closed at scope end.
struct MovieGuard {
    ISOMovieHandle* handle = nullptr;
    ~MovieGuard() {
        if (handle != nullptr) ISO_CloseMovie(handle);
    }
};

// Opens `bytes` in memory mode; the bytes must outlive the guard.
inline int32_t OpenInMemory(const std::vector<uint8_t>& bytes, MovieGuard& guard) {
    ISO_SetMemorySource(bytes.data(), bytes.size());
    return ISO_OpenMovie(&guard.handle, kIsoModeMemory, nullptr);
}

// A sample record that is freed at scope end.
struct SampleGuard {
    ISOSampleRecord* record = nullptr;
    SampleGuard() { ISO_CreateSample(&record); }
    ~SampleGuard() { ISO_FreeSample(record); }
};

}  // namespace isotest
