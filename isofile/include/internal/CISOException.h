// The one exception type of the ISO library. Box parsing throws it; the flat reader interface
// catches it once and turns it into a result code, so it never leaves the library.
#pragma once

#include <cstdint>

#include "ISOLimits.h"

class CISOException {
public:
    // Codes raised on the read path.
    enum Code : int32_t {
        kChildrenMismatch = 1,   // a container's children do not add up to its size
        kNoFurtherChild = 2,     // the data ended where a child header was expected
        kPayloadTooShort = 3,    // a field lies beyond the end of its box's payload
        kNullPath = 4,           // a file stream was asked to open a null path
        kCreateFailed = 6,       // a child box could not be created
        kBadTable = 7,           // a table's count, order or values contradict its box
        kTooDeep = 8,            // boxes nest deeper than isolimits::kMaxBoxDepth
        kMissingChild = 9,       // a container lacks a child it cannot do without
    };

    // `sourceName` is copied (truncated to kMaxSourceNameChars - 1 characters).
    CISOException(int32_t code, const char* sourceName, int32_t line);

    int32_t Code() const { return code_; }
    const char* SourceName() const { return sourceName_; }
    int32_t Line() const { return line_; }

private:
    int32_t code_;
    char sourceName_[isolimits::kMaxSourceNameChars];
    int32_t line_;
};

// Throws a CISOException carrying the calling source's name and line.
#define ISO_THROW(code, source) throw CISOException((code), (source), __LINE__)
