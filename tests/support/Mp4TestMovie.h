// A minimal valid one-track MP4 file for the MP4 and ISO reader tests (by default 10 samples,
// sizes 100..109, 2 per chunk, delta 1024), every box replaceable (movie.stss = StssBox({1, 5}))
// or left out (movie.omit.insert("stsc")), and movie fragments to append to it. Layout: ftyp
// (20 bytes), mdat, moov; moovFirst swaps the last two. Sample i (0-based) holds bytes (i * 7 + j) & 0xFF.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "BoxBuilder.h"
#include "Mp4File.h"
#include "mp4v2/mp4v2.h"

inline uint8_t Mp4TestSampleByte(size_t sampleIndex, size_t byteIndex) {
    return static_cast<uint8_t>(sampleIndex * 7 + byteIndex);
}
inline std::vector<uint8_t> Mp4TestSampleBytes(size_t sampleIndex, size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t j = 0; j < size; ++j) bytes[j] = Mp4TestSampleByte(sampleIndex, j);
    return bytes;
}

// A full box of `type` holding a count and then `values`, each written as `fields` u32s.
inline BoxBuilder TableBox(const std::string& type, const std::vector<uint32_t>& values, size_t fields = 1) {
    BoxBuilder b(type);
    b.Full(0, 0).U32(static_cast<uint32_t>(values.size() / fields));
    for (uint32_t v : values) b.U32(v);
    return b;
}
inline BoxBuilder SttsBox(const std::vector<uint32_t>& countDeltaPairs) { return TableBox("stts", countDeltaPairs, 2); }
inline BoxBuilder StssBox(const std::vector<uint32_t>& ids) { return TableBox("stss", ids); }
inline BoxBuilder StscBox(const std::vector<std::pair<uint32_t, uint32_t>>& firstChunkAndSamples) {
    std::vector<uint32_t> v;
    for (const auto& e : firstChunkAndSamples) v.insert(v.end(), {e.first, e.second, 1});
    return TableBox("stsc", v, 3);
}

// A sound sample entry of `type` (channels 2, 16 bits, 44100 Hz) with the fields of sound
// version 0 or 2, and `children`.
inline BoxBuilder SoundEntry(const std::string& type, const std::vector<BoxBuilder>& children,
                             uint16_t soundVersion = 0, uint32_t channels = 2) {
    BoxBuilder e(type);
    e.Zeros(6).U16(1).U16(soundVersion).U16(0).U32(0);
    e.U16(soundVersion == 2 ? 3 : channels).U16(16).U16(0).U16(0).U32(44100u << 16);
    if (soundVersion == 2) e.U32(72).U64(0).U32(channels).U32(0x7F000000).U32(16).U32(0).U32(0).U32(0);
    for (const BoxBuilder& c : children) e.Child(c);
    return e;
}

// esds with an ES_Descriptor > DecoderConfigDescriptor (object type 0x40) > DecoderSpecificInfo.
inline BoxBuilder EsdsBox(const std::vector<uint8_t>& config, bool withInfo = true) {
    std::vector<uint8_t> info;
    if (withInfo) {
        info = {0x05, static_cast<uint8_t>(config.size())};
        info.insert(info.end(), config.begin(), config.end());
    }
    std::vector<uint8_t> dc = {0x04, static_cast<uint8_t>(13 + info.size()), 0x40, 0x15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    dc.insert(dc.end(), info.begin(), info.end());
    std::vector<uint8_t> es = {0x03, 0x80, 0x80, 0x80, static_cast<uint8_t>(3 + dc.size() + 3), 0, 1, 0};
    es.insert(es.end(), dc.begin(), dc.end());
    es.insert(es.end(), {0x06, 0x01, 0x02});  // SLConfigDescriptor
    return BoxBuilder("esds").Full(0, 0).Bytes(es);
}

inline BoxBuilder StsdBox(const std::vector<BoxBuilder>& entries) {
    BoxBuilder b("stsd");
    b.Full(0, 0).U32(static_cast<uint32_t>(entries.size()));
    for (const BoxBuilder& e : entries) b.Child(e);
    return b;
}

// 36-byte ALAC cookie box: frame length 4096, 16 bits, 2 channels, 44100 Hz.
inline BoxBuilder AlacCookieBox() {
    return BoxBuilder("alac").Full(0, 0).U32(4096).U8(0).U8(16).U8(40).U8(10).U8(14).U8(2).U16(255).U32(0).U32(0).U32(44100);
}

struct Mp4TestMovie {
    std::vector<uint32_t> sizes = {100, 101, 102, 103, 104, 105, 106, 107, 108, 109};
    std::vector<std::pair<uint32_t, uint32_t>> chunks = {{1, 2}};  // stsc entries: first chunk, samples per chunk
    uint32_t trackId = 1;
    bool co64 = false;
    bool moovFirst = false;  // moov before mdat (offsets then account for it)
    bool mdatLarge = false;  // mdat with a 64-bit size
    bool mdatToEnd = false;  // mdat with size 0 (only meaningful with moovFirst)
    bool moovLarge = false;  // moov with a 64-bit size
    std::vector<BoxBuilder> extraTop;  // top-level boxes between ftyp and the rest

    // Replacements for the generated boxes, and extra boxes.
    std::optional<BoxBuilder> mvhd, mdhd, stsd, stts, stsc, stsz, stco, ctts, stss, edts;
    std::vector<BoxBuilder> extraMoovChildren;  // appended after the trak
    std::set<std::string> omit;                  // box types left out ("stsc", "mvhd", ...)

    BoxBuilder Trak(uint64_t mediaStart) const {
        BoxBuilder stbl("stbl");
        Add(stbl, "stsd", stsd, StsdBox({SoundEntry("mp4a", {EsdsBox({0x12, 0x10})})}));
        Add(stbl, "stts", stts, SttsBox({static_cast<uint32_t>(sizes.size()), 1024}));
        if (ctts) Add(stbl, "ctts", ctts, *ctts);
        if (stss) Add(stbl, "stss", stss, *stss);
        BoxBuilder defaultStsz("stsz");
        defaultStsz.Full(0, 0).U32(0).U32(static_cast<uint32_t>(sizes.size()));
        for (uint32_t s : sizes) defaultStsz.U32(s);
        Add(stbl, "stsz", stsz, defaultStsz);
        Add(stbl, "stsc", stsc, StscBox(chunks));
        // Chunks as the stsc entries lay them out, back to back from mediaStart.
        BoxBuilder offsets(co64 ? "co64" : "stco");
        std::vector<uint64_t> starts;
        uint64_t at = mediaStart;
        size_t k = 0;
        for (size_t e = 0; e < chunks.size() && k < sizes.size(); ++e) {
            const uint32_t last = e + 1 < chunks.size() ? chunks[e + 1].first - 1 : (chunks[e].second ? UINT32_MAX : 0);
            for (uint32_t c = chunks[e].first; c <= last && k < sizes.size(); ++c) {
                starts.push_back(at);
                for (uint32_t n = 0; n < chunks[e].second && k < sizes.size(); ++n) at += sizes[k++];
            }
        }
        offsets.Full(0, 0).U32(static_cast<uint32_t>(starts.size()));
        for (uint64_t start : starts) co64 ? offsets.U64(start) : offsets.U32(static_cast<uint32_t>(start));
        Add(stbl, co64 ? "co64" : "stco", stco, offsets);

        BoxBuilder minf("minf");
        minf.Child(BoxBuilder("smhd").Full(0, 0).U32(0));
        if (!omit.count("stbl")) minf.Child(stbl);
        BoxBuilder mdia("mdia");
        Add(mdia, "mdhd", mdhd, BoxBuilder("mdhd").Full(0, 0).U32(0).U32(0).U32(44100).U32(10240).U16(0x55C4).U16(0));
        Add(mdia, "hdlr", std::nullopt, BoxBuilder("hdlr").Full(0, 0).U32(0).Str("soun").Zeros(12).Str("Sound").U8(0));
        if (!omit.count("minf")) mdia.Child(minf);
        BoxBuilder trak("trak");
        Add(trak, "tkhd", std::nullopt, BoxBuilder("tkhd").Full(0, 3).U32(0).U32(0).U32(trackId).Zeros(68));
        if (edts) Add(trak, "edts", edts, *edts);
        if (!omit.count("mdia")) trak.Child(mdia);
        return trak;
    }

    BoxBuilder Moov(uint64_t mediaStart) const {
        BoxBuilder moov("moov");
        Add(moov, "mvhd", mvhd, BoxBuilder("mvhd").Full(0, 0).U32(0).U32(0).U32(1000).U32(1000).Zeros(80));
        if (!omit.count("trak")) moov.Child(Trak(mediaStart));
        for (const BoxBuilder& b : extraMoovChildren) moov.Child(b);
        if (moovLarge) moov.Large64();
        return moov;
    }

    std::vector<uint8_t> Build() const {
        std::vector<uint8_t> head = BoxBuilder("ftyp").Str("M4A ").U32(0).Str("M4A ").Build();
        for (const BoxBuilder& b : extraTop) head = Concat({head, b.Build()});
        BoxBuilder mdat("mdat");
        for (size_t i = 0; i < sizes.size(); ++i)
            for (size_t j = 0; j < sizes[i]; ++j) mdat.U8(Mp4TestSampleByte(i, j));
        if (mdatLarge) mdat.Large64();
        if (mdatToEnd) mdat.ToEnd();
        const uint64_t mdatHeader = mdatLarge ? 16 : 8;
        if (!moovFirst) return Concat({head, mdat.Build(), Moov(head.size() + mdatHeader).Build()});
        // The moov's size does not depend on the offsets' values, only on their count.
        const uint64_t moovSize = Moov(0).Build().size();
        return Concat({head, Moov(head.size() + moovSize + mdatHeader).Build(), mdat.Build()});
    }

private:
    void Add(BoxBuilder& parent, const char* type, const std::optional<BoxBuilder>& replacement,
             const BoxBuilder& generated) const {
        if (omit.count(type)) return;
        parent.Child(replacement ? *replacement : generated);
    }
};

// One 'moof' + 'mdat' for `trackId`: a 'tfhd' with default-base-is-moof and a 'trun' of per-sample
// durations and sizes; sample i holds the bytes of track sample `firstSample` + i.
inline std::vector<uint8_t> FragmentBoxes(uint32_t trackId, uint32_t sequence, uint32_t firstSample,
                                          const std::vector<uint32_t>& sizes, uint32_t duration) {
    auto moof = [&](uint32_t dataOffset) {
        BoxBuilder trun("trun");
        trun.Full(0, 0x301).U32(static_cast<uint32_t>(sizes.size())).U32(dataOffset);
        for (uint32_t s : sizes) trun.U32(duration).U32(s);
        return BoxBuilder("moof").Child(BoxBuilder("mfhd").Full(0, 0).U32(sequence))
            .Child(BoxBuilder("traf").Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(trackId)).Child(BoxBuilder("tfdt").Full(1, 0).U64(0)).Child(trun))
            .Build();
    };
    BoxBuilder mdat("mdat");
    for (size_t i = 0; i < sizes.size(); ++i) mdat.Bytes(Mp4TestSampleBytes(firstSample + i, sizes[i]));
    return Concat({moof(static_cast<uint32_t>(moof(0).size() + 8)), mdat.Build()});
}

struct Mp4Closer {
    void operator()(void* h) const { MP4Close(h, 0); }
};
using Mp4Handle = std::unique_ptr<void, Mp4Closer>;

inline Mp4Handle OpenImage(const std::vector<uint8_t>& bytes) { return Mp4Handle(Mp4ReadMemory(bytes.data(), bytes.size())); }

// The track's decoder configuration, or the named bytes property, as a copy; nullopt when the
// call fails.
inline std::optional<std::vector<uint8_t>> CopyBytes(MP4FileHandle h, MP4TrackId id, const char* property = nullptr) {
    uint8_t* bytes = nullptr;
    uint32_t size = 0;
    const bool ok = property ? MP4GetTrackBytesProperty(h, id, property, &bytes, &size)
                             : MP4GetTrackESConfiguration(h, id, &bytes, &size);
    std::optional<std::vector<uint8_t>> out;
    if (ok) out.emplace(bytes, bytes + size);
    EXPECT_EQ(bytes == nullptr, size == 0) << "an empty value comes back as NULL";
    MP4Free(bytes);
    return out;
}

// The values of every item matching (meaning, name), "-" for one without a name box.
inline std::vector<std::string> Items(MP4FileHandle h, const char* name) {
    std::vector<std::string> found;
    MP4ItmfItemList* list = MP4ItmfGetItemsByMeaning(h, "com.apple.iTunes", name);
    for (uint32_t i = 0; list && i < list->size; ++i) {
        std::string text = list->elements[i].name ? "" : "-";
        for (uint32_t d = 0; d < list->elements[i].dataList.size; ++d) {
            const MP4ItmfData& data = list->elements[i].dataList.elements[d];
            text += std::string(reinterpret_cast<const char*>(data.value), data.valueSize) + ";";
        }
        found.push_back(text);
    }
    MP4ItmfItemListFree(list);
    return found;
}
