// UTF-16 <-> UTF-8 conversion shared by the string and file functions.
#pragma once

#include <string>

#include "Win32Api.h"

namespace zorv::win32 {
// Unpaired surrogates become U+FFFD. `length` < 0 means NUL-terminated.
std::string ToUtf8(LPCWSTR text, int length = -1);
// Invalid UTF-8 sequences become U+FFFD.
std::u16string ToUtf16(const char* text, int length = -1);
}  // namespace zorv::win32
