// The rendezvous primitives under load and at the edges.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <vector>

#include "Win32Api.h"

namespace {

DWORD host = 0;

TEST(Rendezvous, EightJobsPostingToOneSleepingHostLoseNoWakeUp) {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    host = GetCurrentThreadId();
    std::vector<HANDLE> events, threads;
    for (int k = 0; k < 8; ++k) {
        events.push_back(CreateEventW(nullptr, FALSE, FALSE, nullptr));
        threads.push_back(CreateThread(nullptr, 0, [](LPVOID event) -> DWORD {
            for (UINT i = 0; i < 1000; ++i) {
                PostThreadMessageW(host, WM_APP + i, reinterpret_cast<WPARAM>(event), 0);
                if (WaitForSingleObject(event, 20000) != WAIT_OBJECT_0) return 1;
            }
            return 0;
        }, events.back(), 0, nullptr));
    }
    std::map<WPARAM, UINT> next;
    for (int n = 0; n < 8000 && GetMessageW(&msg, nullptr, 0, 0) > 0; ++n) {
        ASSERT_EQ(msg.message, WM_APP + next[msg.wParam]++) << "each job's messages in order";
        SetEvent(reinterpret_cast<HANDLE>(msg.wParam));
    }
    for (size_t k = 0; k < threads.size(); ++k) {
        DWORD code = 9;
        EXPECT_EQ(WaitForSingleObject(threads[k], 20000), WAIT_OBJECT_0);
        EXPECT_TRUE(GetExitCodeThread(threads[k], &code) && code == 0) << "a job missed its signal";
        CloseHandle(threads[k]);
        CloseHandle(events[k]);
    }
}

// Destroyed after the thread procedure has returned, as the C library's per-thread state is.
std::atomic<bool> exitFinished{false};
thread_local struct SlowExit {
    bool used = false;
    ~SlowExit() { Sleep(100), exitFinished = true; }
} slowExit;

TEST(Rendezvous, ThreadHandleIsSignalledOnlyAfterTheThreadIsGone) {
    HANDLE thread = CreateThread(nullptr, 0, [](LPVOID) -> DWORD { return slowExit.used = true; }, nullptr, 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(exitFinished.load());
    CloseHandle(thread);
}

}  // namespace
