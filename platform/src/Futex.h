// The one blocking primitive of the platform layer: sleep while a 32-bit word holds a value,
// wake sleepers after changing it. Events and thread handles keep their whole state in such a
// word and a message queue's owner sleeps on one, so a signal or a post that nobody waits for
// costs an atomic operation and no system call, and a wake-up one system call on each side.
#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdint>

#include "Win32Api.h"

namespace zorv::win32 {

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "a futex word is a plain 32-bit word");

// A point in time on the monotonic clock after which a wait gives up; INFINITE never passes.
class Deadline {
public:
    explicit Deadline(DWORD milliseconds) : infinite_(milliseconds == INFINITE), zero_(milliseconds == 0) {
        if (infinite_ || zero_) return;
        clock_gettime(CLOCK_MONOTONIC, &at_);
        at_.tv_sec += static_cast<time_t>(milliseconds / 1000);
        at_.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
        if (at_.tv_nsec >= 1000000000L) {
            at_.tv_sec += 1;
            at_.tv_nsec -= 1000000000L;
        }
    }

    // False once the deadline has passed; otherwise the time left (null = no limit).
    bool Remaining(timespec& left, const timespec*& limit) const {
        limit = nullptr;
        if (infinite_) return true;
        if (zero_) return false;
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        left.tv_sec = at_.tv_sec - now.tv_sec;
        left.tv_nsec = at_.tv_nsec - now.tv_nsec;
        if (left.tv_nsec < 0) {
            left.tv_sec -= 1;
            left.tv_nsec += 1000000000L;
        }
        if (left.tv_sec < 0 || (left.tv_sec == 0 && left.tv_nsec == 0)) return false;
        limit = &left;
        return true;
    }

private:
    bool infinite_;
    bool zero_;
    timespec at_{};
};

// Sleeps while `word` holds `expected`, at most `limit` (null: no limit). Returns on a wake-up,
// a changed value, a signal or the time-out alike: callers re-check their condition.
inline void FutexWait(std::atomic<uint32_t>& word, uint32_t expected, const timespec* limit) {
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, limit, nullptr, 0);
}

inline void FutexWake(std::atomic<uint32_t>& word, int count) {
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

constexpr int kWakeAll = INT_MAX;

}  // namespace zorv::win32
