// The MP4 reader's one error mechanism: parsing and lookups throw Mp4Error, and every function of
// the C interface catches it (and anything else) once and returns its documented error value.
#pragma once

// Which check failed. Kept apart so a test or a debugger can tell them apart.
enum class Mp4Fault {
    Truncated,       // a field runs past the end of its box (or of the file)
    BadBoxSize,      // a size field smaller than the box's own header
    CountTooLarge,   // an entry count larger than its box can hold
    Overflow,        // a sum of file values does not fit 64 bits
    TooDeep,         // boxes nested beyond kMp4MaxBoxDepth
    NoMovieHeader,   // no moov, or a moov without mvhd
    BoxTooLarge,     // a box read whole beyond kMp4MaxLoadedBoxBytes
    Io,              // the file could not be read
};

struct Mp4Error {
    Mp4Fault fault;
    int line;  // source line of the failing check
};

#define MP4_FAIL(fault) throw Mp4Error{(fault), __LINE__}
