// Top-level parse of a file (see ISOMovieImpl.h).
#include "ISOMovieImpl.h"

#include <new>

#include "CISOBitBuffer.h"
#include "CISOBoxReader.h"
#include "CISOException.h"
#include "CISOFreeSpaceBox.h"
#include "CISOMetaBox.h"
#include "ISOLimits.h"

namespace {
const char kSource[] = "..\\..\\src\\ISOMovieImpl";

bool IsRecordOnly(uint32_t type) {
    return type == kBoxSidx || type == kBoxMeta || type == kBoxWide || type == kBoxFree || type == kBoxSkip ||
           type == kBoxUuid || type == kBoxUdta;
}

template <typename T, typename... Args>
std::unique_ptr<T> Create(Args&&... args) {
    std::unique_ptr<T> box(new (std::nothrow) T(std::forward<Args>(args)...));
    if (!box) ISO_THROW(CISOException::kCreateFailed, kSource);
    return box;
}
}  // namespace

void ISOMovieImpl::Keep(std::unique_ptr<CISOBox> box) {
    topLevel_.push_back(box.get());
    owned_.push_back(std::move(box));
}

uint64_t ISOMovieImpl::Read() {
    CISOBitBuffer buffer(stream_);
    if (!buffer.HasData()) return 0;
    const uint64_t streamSize = buffer.StreamSize();
    CISOBoxReader top(buffer, streamSize);
    uint64_t consumed = 0;
    uint64_t recorded = 0;
    bool movieParsed = false;
    const int depth = 1;  // children of the file
    while (buffer.HasData()) {
        CISOBoxHeader header = CISOBox::ReadHeader(top);
        // A box that claims more bytes than the file has is as invalid as a bad header.
        if (header.type != kBoxInvalid && header.size > streamSize - header.position) {
            header.type = kBoxInvalid;
        }
        if (header.type == kBoxInvalid) return movieParsed ? consumed : 0;
        // Boxes kept only as a record of the file (nothing on the read path looks into them) are
        // kept up to a number; later ones are passed over like unknown boxes, so that a file of
        // millions of empty boxes does not cost an object for each.
        if (IsRecordOnly(header.type) && ++recorded > isolimits::kMaxRecordOnlyBoxes) header.type = kBoxNone;
        CISOBoxReader payload = top.Sub(header.PayloadSize());
        switch (header.type) {
            case kBoxFtyp:
            case kBoxStyp: {
                CISOFile& typeBox = header.type == kBoxFtyp ? file_ : segment_;
                typeBox.SetExtent(header.position, header.size);
                typeBox.Parse(payload, depth);
                topLevel_.push_back(&typeBox);
                break;
            }
            case kBoxMoov: {
                auto movie = Create<CISOMovie>();
                movie->SetExtent(header.position, header.size);
                movieParsed = movie->Parse(payload, depth) != 0 || movieParsed;
                if (movie_ == nullptr) movie_ = movie.get();
                Keep(std::move(movie));
                break;
            }
            case kBoxMoof: {
                // Only the fragment's runs outlive its parse (see ISOFragmentTable.h).
                auto fragment = Create<CISOMovieFragment>();
                fragment->SetExtent(header.position, header.size);
                fragment->Parse(payload, depth);
                fragmentRuns_.Append(*fragment);
                break;
            }
            case kBoxMdat:
                // The payload is not read: the buffer starts again right after the box. Samples
                // are found through the tables and runs, so the box itself is not kept either.
                buffer.Reset(header.position + header.size);
                break;
            case kBoxSidx: {
                auto index = Create<CISOSegmentIndex>();
                index->SetExtent(header.position, header.size);
                index->Parse(payload, depth);
                segmentIndexes_.push_back(std::move(index));
                break;
            }
            case kBoxMeta: {
                auto meta = Create<CISOMetaBox>();
                meta->SetExtent(header.position, header.size);
                meta->Parse(payload, depth);
                Keep(std::move(meta));
                break;
            }
            case kBoxWide: {
                auto wide = Create<CQTPlaceholderAtom>();
                wide->SetExtent(header.position, header.size);
                wide->Parse(payload, depth);
                Keep(std::move(wide));
                break;
            }
            case kBoxFree:
            case kBoxSkip:
            case kBoxUuid:
            case kBoxUdta: {
                // Kept as raw bytes under the type of 'free', whatever their own type.
                auto space = Create<CISOFreeSpaceBox>(kBoxFree);
                space->SetExtent(header.position, header.size);
                space->Parse(payload, depth);
                Keep(std::move(space));
                break;
            }
            default:
                payload.SkipToEnd();
                break;
        }
        consumed = header.position + header.size;
    }
    return consumed;
}

void ISOMovieImpl::MakeTracks() {
    if (movie_ == nullptr) return;
    for (const auto& track : movie_->Tracks()) {
        tracks_.push_back(std::make_unique<ISOTrackImpl>(*track, *this, stream_));
    }
}

ISOTrack* ISOMovieImpl::TrackAt(uint32_t index) {
    return index < tracks_.size() ? tracks_[index].get() : nullptr;
}
