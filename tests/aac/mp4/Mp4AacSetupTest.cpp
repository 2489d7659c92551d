// The job's set-up outcomes before any rendezvous, called directly on this thread: a track
// without samples goes back to the router for the sibling module without a message; a
// configuration FAAD2 cannot initialise ends with exactly one msgFailed.
#include <gtest/gtest.h>

#include "AacJobs.h"
#include "BoxBuilder.h"
#include "TestFiles.h"

namespace {

BoxBuilder Matrix(BoxBuilder box) {
    for (uint32_t v : {0x00010000u, 0u, 0u, 0u, 0x00010000u, 0u, 0u, 0u, 0x40000000u}) box.U32(v);
    return box;
}

// One AAC sound track whose AudioSpecificConfig is `asc`, with `sampleCount` samples of
// `sampleBytes` each.
std::vector<uint8_t> AacFile(const std::vector<uint8_t>& asc, uint32_t sampleCount, const std::vector<uint8_t>& sampleBytes) {
    std::vector<uint8_t> dsi = {0x05, static_cast<uint8_t>(asc.size())};
    dsi.insert(dsi.end(), asc.begin(), asc.end());
    std::vector<uint8_t> dcd = {0x04, static_cast<uint8_t>(13 + dsi.size()), 0x40, 0x15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    dcd.insert(dcd.end(), dsi.begin(), dsi.end());
    std::vector<uint8_t> es = {0x03, static_cast<uint8_t>(3 + dcd.size() + 3), 0, 1, 0};
    es.insert(es.end(), dcd.begin(), dcd.end());
    es.insert(es.end(), {0x06, 0x01, 0x02});

    BoxBuilder mp4a("mp4a");
    mp4a.Zeros(6).U16(1).Zeros(8).U16(2).U16(16).U16(0).U16(0).U32(44100u << 16);
    mp4a.Child(BoxBuilder("esds").Full(0, 0).Bytes(es));

    BoxBuilder stsz("stsz");
    stsz.Full(0, 0).U32(0).U32(sampleCount);
    for (uint32_t i = 0; i < sampleCount; ++i) stsz.U32(static_cast<uint32_t>(sampleBytes.size()));
    BoxBuilder stts("stts");
    stts.Full(0, 0);
    if (sampleCount) stts.U32(1).U32(sampleCount).U32(1024);
    else stts.U32(0);
    BoxBuilder stsc("stsc");
    stsc.Full(0, 0);
    if (sampleCount) stsc.U32(1).U32(1).U32(sampleCount).U32(1);
    else stsc.U32(0);

    std::vector<uint8_t> ftyp = BoxBuilder("ftyp").Str("M4A ").U32(0).Str("M4A isom").Build();
    auto moovWith = [&](uint32_t chunkOffset) {
        BoxBuilder stco("stco");
        stco.Full(0, 0);
        if (sampleCount) stco.U32(1).U32(chunkOffset);
        else stco.U32(0);
        BoxBuilder stbl("stbl");
        stbl.Child(BoxBuilder("stsd").Full(0, 0).U32(1).Child(mp4a)).Child(stts).Child(stsc).Child(stsz).Child(stco);
        BoxBuilder minf("minf");
        minf.Child(BoxBuilder("smhd").Full(0, 0).U32(0))
            .Child(BoxBuilder("dinf").Child(BoxBuilder("dref").Full(0, 0).U32(1).Child(BoxBuilder("url ").Full(0, 1))))
            .Child(stbl);
        BoxBuilder mdia("mdia");
        mdia.Child(BoxBuilder("mdhd").Full(0, 0).U32(0).U32(0).U32(44100).U32(sampleCount * 1024).U16(0x55C4).U16(0))
            .Child(BoxBuilder("hdlr").Full(0, 0).U32(0).Str("soun").Zeros(12).U8(0))
            .Child(minf);
        BoxBuilder tkhd("tkhd");
        tkhd.Full(0, 7).U32(0).U32(0).U32(1).U32(0).U32(sampleCount * 1024).Zeros(8).U16(0).U16(0).U16(0x0100).U16(0);
        tkhd = Matrix(tkhd);
        tkhd.U32(0).U32(0);
        BoxBuilder mvhd("mvhd");
        mvhd.Full(0, 0).U32(0).U32(0).U32(44100).U32(sampleCount * 1024).U32(0x00010000).U16(0x0100).Zeros(10);
        mvhd = Matrix(mvhd);
        mvhd.Zeros(24).U32(2);
        return BoxBuilder("moov").Child(mvhd).Child(BoxBuilder("trak").Child(tkhd).Child(mdia)).Build();
    };
    std::vector<uint8_t> moov = moovWith(0);
    // The sample data follows the moov: its offset is known once the moov's size is.
    uint32_t dataOffset = static_cast<uint32_t>(ftyp.size() + moov.size() + 8);
    moov = moovWith(dataOffset);
    BoxBuilder mdat("mdat");
    for (uint32_t i = 0; i < sampleCount; ++i) mdat.Bytes(sampleBytes);
    return Concat({ftyp, moov, mdat.Build()});
}

struct SetupRow {
    const char* name;
    std::vector<uint8_t> asc;
    uint32_t sampleCount;
    Mp4AacOutcome outcome;
    bool failed;  // exactly one msgFailed was posted (else nothing)
};

TEST(Mp4AacSetup, OutcomesBeforeAnyRendezvous) {
    const SetupRow rows[] = {
        {"no_samples_goes_to_sibling", {0x12, 0x10}, 0, Mp4AacOutcome::SiblingHandOver, false},
        // Object type 31 escapes to 32 + 6 bits; 63 is no AAC FAAD2 initialises.
        {"unusable_configuration", {0xFF, 0xF0, 0x10}, 3, Mp4AacOutcome::Finished, true},
    };
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // this thread's message queue
    for (const SetupRow& row : rows) {
        SCOPED_TRACE(row.name);
        std::string path = testfiles::ScratchDir() + "/" + row.name + ".m4a";
        ASSERT_TRUE(testfiles::WriteAll(path, AacFile(row.asc, row.sampleCount, std::vector<uint8_t>(32, 0x21))));
        MP4FileHandle file = MP4Read(path.c_str());
        ASSERT_NE(file, MP4_INVALID_FILE_HANDLE);
        MP4TrackId track = MP4FindTrackId(file, 0, MP4_AUDIO_TRACK_TYPE, 0);
        ASSERT_NE(track, MP4_INVALID_TRACK_ID);
        NeAACDecHandle decoder = OpenFloatDecoder(false);
        ASSERT_NE(decoder, nullptr);

        DecodeJob job{};
        job.hostThreadId = GetCurrentThreadId();
        job.msgFailed = WM_APP + 1;
        job.msgDone = WM_APP + 2;
        job.msgBlock = WM_APP + 3;
        job.msgFormat = WM_APP + 4;
        PcmBlock block{};
        EXPECT_EQ(RunMp4AacJob(job, decoder, file, track, block), row.outcome);
        NeAACDecClose(decoder);
        MP4Close(file, 0);

        std::vector<UINT> posted;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) posted.push_back(msg.message);
        EXPECT_EQ(posted, row.failed ? std::vector<UINT>{job.msgFailed} : std::vector<UINT>{});
        const void* event = block.readyEvent;  // a copy: fields of the packed record are misaligned
        EXPECT_EQ(event, nullptr);  // no event is left behind on these paths
    }
}

}  // namespace
