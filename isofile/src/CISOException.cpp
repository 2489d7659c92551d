// Exception record of the ISO library (see CISOException.h).
#include "CISOException.h"

#include <cstring>

CISOException::CISOException(int32_t code, const char* sourceName, int32_t line)
    : code_(code), sourceName_{}, line_(line) {
    if (sourceName != nullptr) {
        std::strncpy(sourceName_, sourceName, sizeof(sourceName_) - 1);
    }
}
