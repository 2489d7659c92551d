// 'moov' movie box: movie header, tracks in file order and the movie extends box. It is the
// model container: when the data ends where a child header was expected it keeps what it has
// read; it cannot do without 'mvhd' (code kMissingChild).
#pragma once

#include <memory>
#include <vector>

#include "CISOBox.h"
#include "CISOMovieExtends.h"
#include "CISOMovieHeader.h"
#include "CISOTrack.h"

class CISOMovie : public CISOBox {
public:
    CISOMovie() : CISOBox(kBoxMoov) {}
    const CISOMovieHeader* Header() const { return header_.get(); }
    const std::vector<std::unique_ptr<CISOTrack>>& Tracks() const { return tracks_; }
    const CISOMovieExtends* Extends() const { return extends_.get(); }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;
    void CheckChildren() override;
    bool StopsAtEndOfData() const override { return true; }

private:
    std::unique_ptr<CISOMovieHeader> header_;
    std::vector<std::unique_ptr<CISOTrack>> tracks_;
    std::unique_ptr<CISOMovieExtends> extends_;
};
