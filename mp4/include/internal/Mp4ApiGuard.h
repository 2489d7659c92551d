// The one place exceptions stop: every C interface function runs its body through Mp4Guard,
// which turns any exception (Mp4Error, std::bad_alloc, ...) into the call's error value.
#pragma once

#include "Mp4File.h"

template <class Result, class Body>
Result Mp4Guard(Result onError, Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        return onError;
    }
}

inline Mp4File* Mp4FileOf(MP4FileHandle handle) { return static_cast<Mp4File*>(handle); }
