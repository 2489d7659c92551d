// Path conversion for libraries that open files by UTF-8 name.
#include <cstdlib>
#include <cstring>

#include "tarnbase.h"

extern "C" {

char* UNC_UnicodeToUtf8(const WCHAR* text) {
    if (text == nullptr) return nullptr;
    const int needed = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) return nullptr;
    char* utf8 = static_cast<char*>(std::malloc(static_cast<size_t>(needed)));
    if (utf8 == nullptr) return nullptr;
    if (WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, needed, nullptr, nullptr) != needed) {
        std::free(utf8);
        return nullptr;
    }
    return utf8;
}

void UNC_freeStr(char* text) { std::free(text); }

}  // extern "C"
