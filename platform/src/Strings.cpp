// Wide strings and path conversion. On this platform the "ANSI" code page is UTF-8, so CP_ACP
// and CP_UTF8 convert alike and a short path is the path itself.
#include <sys/stat.h>

#include <cstring>

#include "KernelObject.h"
#include "Utf.h"

namespace zorv::win32 {

std::string ToUtf8(LPCWSTR text, int length) {
    std::string out;
    if (text == nullptr) return out;
    size_t n = length < 0 ? static_cast<size_t>(lstrlenW(text)) : static_cast<size_t>(length);
    out.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        uint32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < n && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<uint32_t>(text[i + 1]) - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return out;
}

std::u16string ToUtf16(const char* text, int length) {
    std::u16string out;
    if (text == nullptr) return out;
    const auto* s = reinterpret_cast<const unsigned char*>(text);
    size_t n = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
    size_t i = 0;
    while (i < n) {
        uint32_t c = s[i];
        if (c < 0x80) {
            out.push_back(static_cast<char16_t>(c));
            ++i;
            continue;
        }
        const int extra = (c & 0xE0) == 0xC0 ? 1 : (c & 0xF0) == 0xE0 ? 2 : (c & 0xF8) == 0xF0 ? 3 : -1;
        if (extra < 0 || i + static_cast<size_t>(extra) >= n) {
            out.push_back(u'\xFFFD');
            ++i;
            continue;
        }
        uint32_t value = c & (0x3F >> extra);
        bool ok = true;
        for (int k = 1; ok && k <= extra; ++k) {
            if ((s[i + static_cast<size_t>(k)] & 0xC0) != 0x80) ok = false;
            else value = (value << 6) | (s[i + static_cast<size_t>(k)] & 0x3F);
        }
        static const uint32_t minimum[] = {0, 0x80, 0x800, 0x10000};
        if (!ok || value < minimum[extra] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
            out.push_back(u'\xFFFD');
            ++i;
            continue;
        }
        if (value >= 0x10000) {
            value -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (value >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (value & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(value));
        }
        i += static_cast<size_t>(extra) + 1;
    }
    return out;
}

}  // namespace zorv::win32

using namespace zorv::win32;

extern "C" {

int lstrlenW(LPCWSTR text) {
    if (text == nullptr) return 0;
    int n = 0;
    while (text[n] != 0) ++n;
    return n;
}

LPWSTR lstrcpyW(LPWSTR destination, LPCWSTR source) {
    int i = 0;
    do {
        destination[i] = source[i];
    } while (source[i++] != 0);
    return destination;
}

DWORD GetShortPathNameW(LPCWSTR longPath, LPWSTR shortPath, DWORD bufferLength) {
    if (longPath == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    struct stat st {};
    if (::stat(ToUtf8(longPath).c_str(), &st) != 0) {
        SetLastError(2 /* ERROR_FILE_NOT_FOUND */);
        return 0;
    }
    const DWORD length = static_cast<DWORD>(lstrlenW(longPath));
    if (shortPath == nullptr || bufferLength <= length) return length + 1;  // size needed, with the NUL
    for (DWORD i = 0; i <= length; ++i) shortPath[i] = longPath[i];
    return length;
}

int WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR wide, int wideLength, LPSTR narrow, int narrowLength,
                        LPCSTR, BOOL* usedDefaultChar) {
    if (usedDefaultChar) *usedDefaultChar = FALSE;
    if (wide == nullptr || (codePage != CP_ACP && codePage != CP_UTF8)) {
        SetLastError(87 /* ERROR_INVALID_PARAMETER */);
        return 0;
    }
    std::string utf8 = ToUtf8(wide, wideLength);
    if (wideLength < 0) utf8.push_back('\0');  // a NUL-terminated input converts with its NUL
    const int needed = static_cast<int>(utf8.size());
    if (narrowLength == 0) return needed;
    if (narrow == nullptr || narrowLength < needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(narrow, utf8.data(), utf8.size());
    return needed;
}

int MultiByteToWideChar(UINT codePage, DWORD, LPCSTR narrow, int narrowLength, LPWSTR wide, int wideLength) {
    if (narrow == nullptr || (codePage != CP_ACP && codePage != CP_UTF8)) {
        SetLastError(87 /* ERROR_INVALID_PARAMETER */);
        return 0;
    }
    std::u16string utf16 = ToUtf16(narrow, narrowLength);
    if (narrowLength < 0) utf16.push_back(u'\0');
    const int needed = static_cast<int>(utf16.size());
    if (wideLength == 0) return needed;
    if (wide == nullptr || wideLength < needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    for (int i = 0; i < needed; ++i) wide[i] = utf16[static_cast<size_t>(i)];
    return needed;
}

}  // extern "C"
