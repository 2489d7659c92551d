// Maps a 0-based sample index to the run of a run-length table (stts, ctts, stsc) that holds it.
// Runs are stored by their cumulative first index, so a lookup is a binary search, and a cursor
// remembers the last run so that walking the samples in order costs O(1) per step.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

class Mp4RunIndex {
public:
    // Appends a run of `count` samples. Counts are at most 2^32 - 1 and runs at most 2^32, so the
    // 64-bit total cannot overflow.
    void Append(uint64_t count) {
        first_.push_back(total_);
        total_ += count;
    }
    void Reserve(size_t runs) { first_.reserve(runs); }

    uint64_t Total() const { return total_; }
    size_t Runs() const { return first_.size(); }
    uint64_t First(size_t run) const { return first_[run]; }

    // Run holding `index`; the caller guarantees index < Total(). Runs of 0 samples never hold
    // an index: among runs sharing a first index the last one is the non-empty one.
    size_t Find(uint64_t index) const {
        if (cursor_ < first_.size() && Holds(cursor_, index)) return cursor_;
        if (cursor_ + 1 < first_.size() && Holds(cursor_ + 1, index)) return ++cursor_;
        const auto it = std::upper_bound(first_.begin(), first_.end(), index);
        cursor_ = static_cast<size_t>(it - first_.begin()) - 1;
        return cursor_;
    }

private:
    bool Holds(size_t run, uint64_t index) const {
        const uint64_t end = run + 1 < first_.size() ? first_[run + 1] : total_;
        return first_[run] <= index && index < end;
    }

    std::vector<uint64_t> first_;
    uint64_t total_ = 0;
    mutable size_t cursor_ = 0;
};
