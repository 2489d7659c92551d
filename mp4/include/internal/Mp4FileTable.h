// A per-sample table left in the file (the stsz/stz2 sample sizes, the stco/co64 chunk offsets),
// read through a window of kMp4TableWindowEntries entries: lookups in order read the file once
// per window, a lookup elsewhere reads one window. Memory stays the window's whatever the track's
// length, so an hour costs what ten minutes cost.
#pragma once

#include <cstdint>
#include <memory>

#include "Mp4Error.h"
#include "Mp4Source.h"

class Mp4FileTable {
public:
    // `count` entries of `bits` bits each (4, 8, 16, 32 or 64; 4-bit entries pair up in a byte,
    // high nibble first) at the start of `entries` in `source`, which must outlive the table.
    // Throws CountTooLarge unless they fit in `entries`, so every later read is inside the box.
    void Attach(Mp4Source& source, Mp4Span entries, uint64_t count, unsigned bits);

    uint64_t Count() const { return count_; }

    // Entry `index` < Count(). Throws Io when the file can no longer be read there.
    uint64_t At(uint64_t index) const {
        if (index - first_ >= held_) Fill(index);  // also when index < first_ (wraps)
        return window_[index - first_];
    }

private:
    // Reads and decodes the window holding `index`; windows start at multiples of their size.
    void Fill(uint64_t index) const;

    Mp4Source* source_ = nullptr;
    uint64_t offset_ = 0;  // of entry 0 in the source
    uint64_t count_ = 0;
    unsigned bits_ = 32;
    mutable std::unique_ptr<uint64_t[]> window_;  // decoded entries, allocated on the first lookup
    mutable uint64_t first_ = 0;                  // first entry in the window
    mutable uint64_t held_ = 0;                   // entries in the window
};
