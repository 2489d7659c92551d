// GoogleTest's own extension point, found first by the Windows build: the Win32-thread MinGW
// runtime has no std::mutex, on which GoogleTest's Notification rests, so this one is an event.
#pragma once

#include <windows.h>

#define GTEST_HAS_NOTIFICATION_ 1

namespace testing {
namespace internal {

class Notification {
public:
    Notification() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~Notification() { CloseHandle(event_); }
    Notification(const Notification&) = delete;
    Notification& operator=(const Notification&) = delete;

    void Notify() { SetEvent(event_); }
    void WaitForNotification() { WaitForSingleObject(event_, INFINITE); }

private:
    HANDLE event_;
};

}  // namespace internal
}  // namespace testing
