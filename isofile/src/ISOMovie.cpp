// Movie construction for the reader interface (see ISOMovie.h).
#include "ISOMovie.h"

#include "ISOMovieImpl.h"

ISOMovie::~ISOMovie() = default;

std::unique_ptr<ISOMovie> ISOMovie::Build(ISOGenericStream& stream, int32_t mode) {
    auto movie = std::make_unique<ISOMovieImpl>(stream, mode);
    const bool reads = mode == 0 || mode == 1 || mode == 5;
    if (!reads) return movie;
    // Data that ends before any movie box was seen is not a movie, even though the parse then
    // reports the bytes it passed over.
    if (movie->Read() == 0 || movie->Movie() == nullptr) return nullptr;
    movie->MakeTracks();
    return movie;
}
