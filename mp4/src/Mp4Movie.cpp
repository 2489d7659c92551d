// moov, trak and their headers (ISO/IEC 14496-12 8.2.2, 8.3.2, 8.4.2, 8.4.3, 8.6.6, 8.11.1).
#include "Mp4Movie.h"

#include "Mp4BoxHeader.h"
#include "Mp4SampleEntry.h"

namespace {

// Version-dependent 32/64-bit field.
uint64_t Sized(Mp4Reader& in, uint8_t version) { return version == 1 ? in.U64() : in.U32(); }

void ParseMvhd(Mp4Reader in, Mp4Movie& movie) {
    const uint8_t version = in.U8();
    in.Skip(3);
    Sized(in, version);  // creation time
    Sized(in, version);  // modification time
    movie.timeScale = in.U32();
    Sized(in, version);  // duration
}

void ParseTkhd(Mp4Reader in, Mp4Track& track) {
    const uint8_t version = in.U8();
    in.Skip(3);
    Sized(in, version);  // creation time
    Sized(in, version);  // modification time
    track.trackId = in.U32();
    in.Skip(4);          // reserved
    Sized(in, version);  // duration
    track.hasTkhd = true;
}

void ParseMdhd(Mp4Reader in, Mp4Track& track) {
    const uint8_t version = in.U8();
    in.Skip(3);
    Sized(in, version);  // creation time
    Sized(in, version);  // modification time
    track.timeScale = in.U32();
    track.duration = Sized(in, version);
}

void ParseHdlr(Mp4Reader in, Mp4Track& track) {
    in.Skip(4);  // version and flags
    in.Skip(4);  // pre_defined
    for (int i = 0; i < 4; ++i) track.handler[i] = static_cast<char>(in.U8());
}

void ParseElst(Mp4Reader in, Mp4Track& track) {
    const uint8_t version = in.U8();
    in.Skip(3);
    const uint32_t count = in.U32();
    in.RequireEntries(count, version == 1 ? 20 : 12);
    track.edits.resize(count);
    for (Mp4Edit& edit : track.edits) {
        edit.segmentDuration = Sized(in, version);
        edit.mediaTime = Sized(in, version);
        in.Skip(4);  // media_rate
    }
    track.hasEdits = true;
}

// Which required boxes a trak held; it is listed only with all of them.
struct Found {
    bool mdhd = false, hdlr = false, sizes = false, stsc = false, offsets = false, stts = false;
    bool stss = false, ctts = false, stsd = false, edts = false, elst = false;
};

void ParseStbl(Mp4Source& source, Mp4Span payload, int depth, Mp4Track& track, Found& found) {
    Mp4ForEachBox(source, payload, depth, [&](const Mp4BoxHeader& header, Mp4Span child) {
        Mp4SampleTable& table = track.samples;
        switch (header.box) {
            case Mp4Box::Stsd:
                if (!found.stsd) Mp4ParseStsd(Mp4LoadedBox(source, child).Reader(), depth + 1, track.entry);
                found.stsd = true;
                break;
            case Mp4Box::Stsz:
            case Mp4Box::Stz2:
                if (!found.sizes) {
                    header.box == Mp4Box::Stsz ? table.ParseStsz(source, child) : table.ParseStz2(source, child);
                }
                found.sizes = true;
                break;
            case Mp4Box::Stsc:
                if (!found.stsc) table.ParseStsc(Mp4LoadedBox(source, child).Reader());
                found.stsc = true;
                break;
            case Mp4Box::Stco:
            case Mp4Box::Co64:
                if (!found.offsets) table.ParseChunkOffsets(source, child, header.box == Mp4Box::Co64);
                found.offsets = true;
                break;
            case Mp4Box::Stts:
                if (!found.stts) table.ParseStts(Mp4LoadedBox(source, child).Reader());
                found.stts = true;
                break;
            case Mp4Box::Ctts:
                if (!found.ctts) table.ParseCtts(Mp4LoadedBox(source, child).Reader());
                found.ctts = true;
                break;
            case Mp4Box::Stss:
                if (!found.stss) table.ParseStss(Mp4LoadedBox(source, child).Reader());
                found.stss = true;
                break;
            default:
                break;
        }
    });
}

// The container each box is read from; the same type elsewhere (a QuickTime data handler's
// hdlr in minf, say) is skipped.
Mp4Box ParentOf(Mp4Box box) {
    switch (box) {
        case Mp4Box::Tkhd: case Mp4Box::Edts: case Mp4Box::Mdia: return Mp4Box::Trak;
        case Mp4Box::Elst: return Mp4Box::Edts;
        case Mp4Box::Mdhd: case Mp4Box::Hdlr: case Mp4Box::Minf: return Mp4Box::Mdia;
        case Mp4Box::Stbl: return Mp4Box::Minf;
        default: return Mp4Box::Other;
    }
}

// trak, edts, mdia and minf share one walk; the first of each box in its own parent wins.
void ParseContainerPath(Mp4Source& source, Mp4Span payload, Mp4Box parent, int depth, Mp4Track& track,
                        Found& found) {
    bool sawMdia = false, sawMinf = false, sawStbl = false;
    Mp4ForEachBox(source, payload, depth, [&](const Mp4BoxHeader& header, Mp4Span child) {
        if (ParentOf(header.box) != parent) return;
        switch (header.box) {
            case Mp4Box::Tkhd:
                if (!track.hasTkhd) ParseTkhd(Mp4LoadedBox(source, child).Reader(), track);
                break;
            case Mp4Box::Edts:
                if (!found.edts) ParseContainerPath(source, child, Mp4Box::Edts, depth + 1, track, found);
                found.edts = true;
                break;
            case Mp4Box::Elst:
                if (!found.elst) ParseElst(Mp4LoadedBox(source, child).Reader(), track);
                found.elst = true;
                break;
            case Mp4Box::Mdia:
                if (!sawMdia) ParseContainerPath(source, child, Mp4Box::Mdia, depth + 1, track, found);
                sawMdia = true;
                break;
            case Mp4Box::Mdhd:
                if (!found.mdhd) ParseMdhd(Mp4LoadedBox(source, child).Reader(), track);
                found.mdhd = true;
                break;
            case Mp4Box::Hdlr:
                if (!found.hdlr) ParseHdlr(Mp4LoadedBox(source, child).Reader(), track);
                found.hdlr = true;
                break;
            case Mp4Box::Minf:
                if (!sawMinf) ParseContainerPath(source, child, Mp4Box::Minf, depth + 1, track, found);
                sawMinf = true;
                break;
            case Mp4Box::Stbl:
                if (!sawStbl) ParseStbl(source, child, depth + 1, track, found);
                sawStbl = true;
                break;
            default:
                break;
        }
    });
}

Mp4Track ParseTrak(Mp4Source& source, Mp4Span payload, int depth) {
    Mp4Track track;
    Found found;
    ParseContainerPath(source, payload, Mp4Box::Trak, depth, track, found);
    track.samples.Finish();
    track.listed = track.hasTkhd && found.mdhd && found.hdlr && found.sizes && found.stsc && found.offsets &&
                   found.stts;
    return track;
}

// udta, meta and ilst are walked in the file and only the freeform items are read: cover art
// and the other items can be megabytes that nothing here needs.
void ParseUdta(Mp4Source& source, Mp4Span payload, int depth, Mp4Movie& movie) {
    bool sawMeta = false;
    Mp4ForEachBox(source, payload, depth, [&](const Mp4BoxHeader& header, Mp4Span meta) {
        if (header.box != Mp4Box::Meta || sawMeta) return;
        sawMeta = true;
        constexpr uint64_t kFullBoxBytes = 4;  // meta is a full box: version and flags before its children
        if (meta.size < kFullBoxBytes) MP4_FAIL(Mp4Fault::Truncated);
        const Mp4Span children{meta.offset + kFullBoxBytes, meta.size - kFullBoxBytes};
        bool sawIlst = false;
        Mp4ForEachBox(source, children, depth + 1, [&](const Mp4BoxHeader& inner, Mp4Span ilst) {
            if (inner.box != Mp4Box::Ilst || sawIlst) return;
            sawIlst = true;
            movie.items = Mp4ParseIlst(source, ilst, depth + 2);
        });
    });
}

}  // namespace

Mp4Movie Mp4ParseMovie(Mp4Source& source, Mp4Span moov) {
    Mp4Movie movie;
    bool sawMvhd = false, sawIods = false, sawUdta = false;
    constexpr int kMoovChildDepth = 2;
    Mp4ForEachBox(source, moov, kMoovChildDepth, [&](const Mp4BoxHeader& header, Mp4Span child) {
        switch (header.box) {
            case Mp4Box::Mvhd:
                if (!sawMvhd) ParseMvhd(Mp4LoadedBox(source, child).Reader(), movie);
                sawMvhd = true;
                break;
            case Mp4Box::Iods:
                if (!sawIods) movie.audioProfile = Mp4ParseIodsAudioProfile(Mp4LoadedBox(source, child).Reader());
                sawIods = true;
                break;
            case Mp4Box::Trak:
                if (movie.tracks.size() < kMp4MaxTracks) {
                    movie.tracks.push_back(ParseTrak(source, child, kMoovChildDepth + 1));
                }
                break;
            case Mp4Box::Udta:
                // Nothing under udta is needed to decode: a malformed box there costs the
                // metadata read from it, never the file.
                if (!sawUdta) {
                    try {
                        ParseUdta(source, child, kMoovChildDepth + 1, movie);
                    } catch (const Mp4Error&) {
                    }
                }
                sawUdta = true;
                break;
            default:
                break;  // mvex and anything else: fragments never add samples here
        }
    });
    if (!sawMvhd) MP4_FAIL(Mp4Fault::NoMovieHeader);
    return movie;
}
