// Hostile inputs: malformed files made at test time from small ordinary ones, one row each, with
// the outcome the module must give (F: one msgFailed, D: msgDone with what could be decoded), a
// hang guard and a bound on the heap the row may hold. In the sanitizer build every allocation
// above 64 MiB is fatal as well.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <thread>

#include "BoxBuilder.h"
#include "GaplessTrimmer.h"
#include "IsoReaderInterface.h"
#include "RawTestMaterial.h"
#include "TestFiles.h"
#include "TestHost.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();
extern "C" const char* __asan_default_options() { return "max_allocation_size_mb=64:allocator_may_return_null=0"; }
size_t HeapBytes() { return __sanitizer_get_current_allocated_bytes(); }
#else
#include <malloc.h>
size_t HeapBytes() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}
#endif

namespace {

using rawtest::Bytes;
enum class Via { Job, Iso, Cli };
enum Outcome { F, D };
constexpr size_t kMiB = 1u << 20;

using testfiles::FfmpegFile;
// Ordinary files: AAC-LC and ALAC in M4A with moov last, AAC-LC with moov first, ADTS, and a
// fragmented MP4.
Bytes Aac() { return testfiles::ReadAll(FfmpegFile("hostile_aac.m4a", "-f lavfi -i sine=r=44100:d=1 -ac 2 -c:a aac -f ipod")); }
Bytes Alac() { return testfiles::ReadAll(FfmpegFile("hostile_alac.m4a", "-f lavfi -i sine=r=44100:d=0.5 -c:a alac -sample_fmt s16p -f ipod")); }
Bytes AacFirst() { return testfiles::ReadAll(FfmpegFile("hostile_aac_first.m4a", "-f lavfi -i sine=r=44100:d=1 -c:a aac -movflags +faststart -f ipod")); }
Bytes Adts() { return testfiles::ReadAll(rawtest::AdtsFile("stereo", 44100, 44100)); }
Bytes Frag() { return testfiles::ReadAll(testfiles::DataFile("xhe_st48_p5_frag.mp4")); }

size_t Find(const Bytes& b, const std::string& text, size_t from = 0) {
    return static_cast<size_t>(std::search(b.begin() + static_cast<long>(from), b.end(), text.begin(), text.end()) - b.begin());
}
Bytes Repeat(const Bytes& unit, size_t times) {
    Bytes out;
    for (size_t i = 0; i < times; ++i) out.insert(out.end(), unit.begin(), unit.end());
    return out;
}
Bytes Nested(uint32_t depth) {
    Bytes b;
    for (uint32_t i = 0; i < depth; ++i) {
        const Bytes header = Put32(BoxBuilder("udta").Build(), 0, 8 * (depth - i));
        b.insert(b.end(), header.begin(), header.end());
    }
    return b;
}
// The ADTS frame length of frame 2.
Bytes AdtsLength(uint32_t length) {
    std::vector<Bytes> frames = rawtest::SplitAdts(Adts());
    uint8_t* h = frames[2].data();
    h[3] = static_cast<uint8_t>((h[3] & 0xFC) | (length >> 11)), h[4] = static_cast<uint8_t>(length >> 3);
    h[5] = static_cast<uint8_t>((h[5] & 0x1F) | (length & 7) << 5);
    return rawtest::Join(frames);
}
Bytes Id3(const std::function<void(Bytes&)>& change) {
    Bytes tag = rawtest::Id3WithSmpb(2112, 500, 44100);
    change(tag);
    return rawtest::Concat({tag, Adts()});
}
// An ID3v2.3 tag whose one comment frame holds "iTunSMPB" in UTF-16 with byte order marks, its
// last byte cut off so that the frame has an odd size.
Bytes OddUtf16Comment() {
    Bytes body = rawtest::CommentBody(rawtest::Utf16Le, " 00000000 00000840 000001F4 000000000000AC44");
    body.pop_back();
    return rawtest::Concat({rawtest::Id3Tag(3, 0, 0, rawtest::Id3Frame(3, "COMM", body)), Adts()});
}
// A 7.1 stream of 2,120 frames: 66 MiB decoded.
Bytes LongSurround() {
    const std::vector<Bytes> frames = rawtest::SplitAdts(testfiles::ReadAll(rawtest::AdtsFile("7.1", 48000, 48 * 1024)));
    return Repeat(rawtest::Join(std::vector<Bytes>(frames.begin(), frames.begin() + 40)), 53);
}
Bytes SurroundM4a() {
    const std::string adts = rawtest::Write("surround.aac", LongSurround());
    const std::string m4a = testfiles::ScratchDir() + "/surround.m4a";
    EXPECT_TRUE(testfiles::Run(testfiles::Ffmpeg() + " -i " + adts + " -c copy -f ipod " + m4a));
    return AddSmpb(testfiles::ReadAll(m4a), "0 840 FFFFFFFF 0");
}
// ftyp and moov of the fragmented file, then `count` fragments of one 16-byte sample each.
Bytes Fragments(size_t count) {
    const Bytes frag = Frag();
    const Bytes trun = BoxBuilder("trun").Full(0, 0x201).U32(1).U32(80).U32(16).Build();
    const Bytes traf = BoxBuilder("traf").Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(1)).Bytes(trun).Build();
    const Bytes moof = BoxBuilder("moof").Child(BoxBuilder("mfhd").Full(0, 0).U32(1)).Bytes(traf).Build();
    return rawtest::Concat({Bytes(frag.begin(), frag.begin() + static_cast<long>(FindBox(frag, "moof"))),
                            Repeat(rawtest::Concat({moof, BoxBuilder("mdat").Zeros(16).Build()}), count)});
}
// The fragmented file behind a 'free' box of `holeBytes`, written as a sparse file.
std::string BehindFreeSpace(uint64_t holeBytes) {
    const std::string path = testfiles::ScratchDir() + "/free.mp4";
    FILE* f = std::fopen(path.c_str(), "wb");
    const Bytes header = Put32(BoxBuilder("free").Build(), 0, static_cast<uint32_t>(holeBytes + 8));
    std::fwrite(header.data(), 1, header.size(), f);
    std::fseek(f, static_cast<long>(holeBytes), SEEK_CUR);
    const Bytes frag = Frag();
    std::fwrite(frag.data(), 1, frag.size(), f);
    std::fclose(f);
    return path;
}

struct Row {
    std::string name;
    Via via;
    std::function<Bytes()> make;
    Outcome outcome;
    int seconds = 60;      // hang guard
    size_t heapMiB = 16;   // most heap the row may hold above what was held before it
    uint64_t startHns = 0;
    std::string path = "";  // a file made directly (instead of `make`)
    Bytes (*base)() = nullptr;  // a file whose output length this row's must have
    uint64_t pcmBytes = 0;      // when not 0, the bytes the job must deliver
};
struct Result {
    Outcome outcome;
    size_t pcmBytes;
};

// Job: the outcome of a Decode job. Iso: whether the flat ISO interface opens the file and reads
// the samples of its first track (the first 200,000). Cli: zorv-decode's exit status, 1 for a
// failed input.
Result RunRow(const Row& row, const std::string& path) {
    if (row.via == Via::Job) {
        testhost::RunOptions options;
        options.useStartPosition = row.startHns != 0;
        options.startValue = row.startHns;
        options.timeoutMs = static_cast<DWORD>(row.seconds) * 1000;
        const testhost::JobRecord r = testhost::RunJob(path, options);
        EXPECT_TRUE(r.threadEnded);
        EXPECT_EQ(r.finalMessages, 1);
        return {r.final == testhost::Final::Done ? D : F, r.pcm.size()};
    }
    if (row.via == Via::Iso) {
        ISOMovieHandle* movie = nullptr;
        ISOTrackHandle* track = nullptr;
        ISOSampleRecord* sample = nullptr;
        uint32_t count = 0;
        std::vector<uint8_t> buffer(8192);
        bool ok = ISO_OpenMovie(&movie, kIsoModeRead, path.c_str()) == kIsoOk && ISO_OpenTrack(movie, &track, 0) == kIsoOk &&
                  ISO_GetSampleCount(track, &count) == kIsoOk && ISO_CreateSample(&sample) == kIsoOk &&
                  ISO_SetSampleBuffer(sample, buffer.data()) == kIsoOk;
        for (uint32_t k = 1; ok && k <= std::min(count, 200000u); ++k) {
            ok = ISO_SetBufferSize(sample, 8192) == kIsoOk && ISO_ReadSample(track, sample) == kIsoOk;
        }
        ISO_FreeSample(sample);
        ISO_CloseMovie(movie);
        return {ok ? D : F, 0};
    }
    const std::string errors = testfiles::ScratchDir() + "/cli.err";
    const int status = std::system((testfiles::BinDir() + "/zorv-decode -q --module " + testfiles::BinDir() +
                                    "/../tests/sibling/libzorv_ffmpeg.so -o /dev/null " + path + " 2>" + errors).c_str());
    const Bytes text = testfiles::ReadAll(errors);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << std::string(text.begin(), text.end());
    EXPECT_NE(std::string(text.begin(), text.end()).find(path + ": "), std::string::npos);
    return {WEXITSTATUS(status) == 1 ? F : D, 0};
}

TEST(HostileInput, EachRowEndsCleanlyWithinItsBounds) {
    // The cookie fields begin 12 bytes into the inner 36-byte "alac" box.
    const auto cookie = [](uint32_t at, uint32_t v) {
        return [=] { const Bytes b = Alac(); return Put32(b, Find(b, std::string("\0\0\0\x24" "alac", 8)) + 12 + at, v); };
    };
    // A box of the "iTunSMPB" item, shrunk: the item must give no gapless data.
    const auto ilstBox = [](const char* type, uint32_t size) {
        return [=] { Bytes b = AddSmpb(Aac(), "00000000 00000840 00001000 000000000000AC44"); return Put32(b, Find(b, type, Find(b, "----")) - 4, size); };
    };
    const auto stbl = [](const char* box, uint32_t at, uint32_t v) {
        return [=] { const Bytes b = Aac(); return Put32(b, FindBox(b, std::string("moov.trak.mdia.minf.stbl.") + box) + at, v); };
    };
    std::vector<Row> rows = {
        {"stsz size 0", Via::Job, stbl("stsz", 0, 0), F},
        {"stsz size 1", Via::Job, stbl("stsz", 0, 1), F},
        {"stsz size 7", Via::Job, stbl("stsz", 0, 7), F},
        {"stsz overruns stbl", Via::Job, stbl("stsz", 0, 0x7FFFFFFF), F},
        {"moov overruns the file", Via::Job, [] { const Bytes b = Aac(); return Put32(b, FindBox(b, "moov"), 0x7FFFFFFF); }, D},
        {"stsz count 2^32-1", Via::Job, stbl("stsz", 16, 0xFFFFFFFF), F},
        {"stsz fixed size 1, count 2^32-1", Via::Job, [=] { const Bytes b = stbl("stsz", 12, 1)(); return Put32(b, FindBox(b, "moov.trak.mdia.minf.stbl.stsz") + 16, 0xFFFFFFFF); }, F},
        {"stco count 2^30", Via::Job, stbl("stco", 12, 0x40000000), F},
        {"stsc count 2^32-1", Via::Job, stbl("stsc", 12, 0xFFFFFFFF), F},
        {"stts count 2^32-1", Via::Job, stbl("stts", 12, 0xFFFFFFFF), F},
        {"ctts count beyond its box", Via::Job, [] { Bytes b = Aac(); std::memcpy(&b[Find(b, "sbgp")], "ctts", 4); return b; }, F},
        {"stsc one sample per chunk, one chunk", Via::Job, stbl("stsc", 20, 1), D},
        {"stts counts one sample", Via::Job, stbl("stts", 16, 1), D},
        {"mdhd time scale 0, start 1 s", Via::Job, [] { const Bytes b = Aac(); return Put32(b, FindBox(b, "moov.trak.mdia.mdhd") + 20, 0); }, D, 60, 16, 10000000},
        {"edit times all ones", Via::Job, [] { const Bytes b = Aac(); const size_t e = FindBox(b, "moov.trak.edts.elst"); return Put32(Put32(b, e + 16, ~0u), e + 20, ~0u); }, D},
        {"10,000-deep nesting in moov", Via::Job, [] { return AddChild(Aac(), "moov", Nested(10000)); }, D},
        {"500,000 empty traks in moov", Via::Job, [] { return AddChild(Aac(), "moov", Repeat(BoxBuilder("trak").Build(), 500000)); }, D},
        {"500,000 empty items in ilst", Via::Job, [] { return AddChild(Aac(), "moov.udta.meta.ilst", Repeat(BoxBuilder("----").Build(), 500000)); }, D},
        {"truncated at 50 %", Via::Job, [] { const Bytes b = AacFirst(); return Bytes(b.begin(), b.begin() + b.size() / 2); }, D},
        {"ilst mean box of 8 bytes", Via::Job, ilstBox("mean", 8), D, 60, 16, 0, "", Aac},
        {"ilst name box of 11 bytes", Via::Job, ilstBox("name", 11), D, 60, 16, 0, "", Aac},
        {"ilst data box of 9 bytes", Via::Job, ilstBox("data", 9), D, 60, 16, 0, "", Aac},
        {"ALAC frame length 2^20+1", Via::Job, cookie(0, 0x100001), F},
        {"ALAC channels 0", Via::Job, cookie(8, 0x0E000000), F},  // k modifier 14 as written, channels 0
        // The reserve is bounded: all but the last kMaxReserveBytes after the delay come out.
        {"ADTS padding 2^32-1 (ID3)", Via::Job, [] { return rawtest::Concat({rawtest::Id3WithSmpb(1024, 0xFFFFFFFF, 1), LongSurround()}); }, D, 120, 76, 0, "", nullptr, (2120 * 1024 - 1024) * 32 - kMaxReserveBytes},
        {"MP4 padding 2^32-1 (iTunSMPB)", Via::Job, SurroundM4a, D, 120, 76, 0, "", nullptr, (2120 * 1024 - 2112) * 32 - kMaxReserveBytes},
        {"ID3 size all ones", Via::Job, [] { return Id3([](Bytes& t) { std::memset(&t[6], 0xFF, 4); }); }, F},
        {"ID3 odd-sized UTF-16 comment", Via::Job, OddUtf16Comment, D},
        {"ID3 extended header all ones", Via::Job, [] { return Id3([](Bytes& t) { t[5] = 0x40, std::memset(&t[10], 0xFF, 4); }); }, D},
        {"ISO free box of 100 MiB", Via::Iso, nullptr, D, 60, 16, 0, BehindFreeSpace(100 * kMiB)},
        {"ISO 500,000 empty top-level boxes", Via::Iso, [] { return rawtest::Concat({Repeat(BoxBuilder("free").Build(), 500000), Frag()}); }, D},
        {"ISO 100,000 fragments", Via::Iso, [] { return Fragments(100000); }, D, 120, 32},
        {"ISO stsz size and count 2^32-1 (fuzz find)", Via::Iso, [=] { const Bytes b = stbl("stsz", 12, 0xFFFFFFFF)(); return Put32(b, FindBox(b, "moov.trak.mdia.minf.stbl.stsz") + 16, 0xFFFFFFFF); }, F},
        {"a module announcing 0 channels", Via::Cli, Aac, F, 60, 16, 0, testfiles::ScratchDir() + "/no-channels.m4a"},
    };
    for (uint32_t n : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 8191u}) {
        rows.push_back({"ADTS length " + std::to_string(n), Via::Job, [=] { return AdtsLength(n); }, D});
    }
    // The soak of `make bench` takes its catalogue of hostile files from here.
    const char* catalogue = std::getenv("ZORV_HOSTILE_CATALOGUE");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string path = row.path;
        if (row.make) path = rawtest::Write(path.empty() ? "hostile.bin" : path.substr(path.rfind('/') + 1), row.make());
        if (catalogue != nullptr) testfiles::Run("cp " + path + " " + catalogue + "/row" + std::to_string(&row - &rows[0]));
        std::atomic<bool> running{true};
        const size_t before = HeapBytes();
        size_t peak = before;
        std::thread gauge([&] {
            for (; running; std::this_thread::sleep_for(std::chrono::milliseconds(1))) peak = std::max(peak, HeapBytes());
        });
        std::future<Result> result = std::async(std::launch::async, [&] { return RunRow(row, path); });
        if (result.wait_for(std::chrono::seconds(row.seconds)) != std::future_status::ready) {
            std::fprintf(stderr, "%s: no outcome within %d s\n", row.name.c_str(), row.seconds);
            std::_Exit(1);  // the hung job cannot be joined
        }
        const Result r = result.get();
        running = false;
        gauge.join();
        EXPECT_EQ(r.outcome, row.outcome);
        EXPECT_LE(peak - std::min(peak, before), row.heapMiB * kMiB);
        EXPECT_TRUE(row.pcmBytes == 0 || r.pcmBytes == row.pcmBytes) << r.pcmBytes;
        if (row.base != nullptr) {
            EXPECT_EQ(r.pcmBytes, RunRow(row, rawtest::Write("base.m4a", row.base())).pcmBytes);
        }
    }
}

}  // namespace
