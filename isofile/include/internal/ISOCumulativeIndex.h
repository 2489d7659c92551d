// Running sample totals of a run-length table (stts, ctts, stsc, fragment runs) with a cursor.
//
// The tables are defined by walks from the first entry ("the first entry whose running total
// exceeds i"). Find gives exactly that entry, but in O(1) when the index moves forward by at most
// one entry since the last call and O(log n) for a jump, so reading a track in order is linear.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

class ISOCumulativeIndex {
public:
    static constexpr size_t kNotFound = std::numeric_limits<size_t>::max();

    void Reserve(size_t entries) { ends_.reserve(entries); }
    // Appends an entry of `count` samples; totals saturate instead of wrapping.
    void Append(uint64_t count) {
        const uint64_t before = Total();
        const uint64_t room = std::numeric_limits<uint64_t>::max() - before;
        ends_.push_back(count > room ? std::numeric_limits<uint64_t>::max() : before + count);
    }
    size_t Size() const { return ends_.size(); }
    uint64_t Total() const { return ends_.empty() ? 0 : ends_.back(); }
    // Samples before entry k.
    uint64_t StartOf(size_t k) const { return k == 0 ? 0 : ends_[k - 1]; }

    // The first entry whose running total exceeds `index`, or kNotFound. `cursor` is the caller's
    // hint, updated to the answer.
    size_t Find(uint64_t index, size_t& cursor) const {
        for (size_t k = cursor; k < ends_.size() && k <= cursor + 1; ++k) {
            if (Holds(k, index)) return cursor = k;
        }
        const auto it = std::upper_bound(ends_.begin(), ends_.end(), index);
        if (it == ends_.end()) return kNotFound;
        return cursor = static_cast<size_t>(it - ends_.begin());
    }

private:
    bool Holds(size_t k, uint64_t index) const { return ends_[k] > index && StartOf(k) <= index; }

    std::vector<uint64_t> ends_;  // ends_[k] = samples in entries 0..k; non-decreasing
};
