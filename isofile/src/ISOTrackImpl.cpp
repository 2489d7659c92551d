// Track object (see ISOTrackImpl.h).
#include "ISOTrackImpl.h"

#include "ISOTrackReaderImpl.h"

ISOTrackReader* ISOTrackImpl::CreateReader() {
    readers_.push_back(std::make_unique<ISOTrackReaderImpl>(box_, movie_, stream_));
    return readers_.back().get();
}

uint32_t ISOTrackImpl::SampleCount() {
    return readers_.empty() ? 0 : readers_.back()->SampleCount();
}

uint32_t ISOTrackImpl::TrackId() const { return box_.Header()->TrackId(); }
