// The rendezvous primitives under load and at the edges: many jobs posting to one host that
// sleeps in GetMessageW, a reused handle slot, and a thread handle that is signalled only once
// the thread is gone.
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "Win32Api.h"

namespace {

constexpr int kJobs = 8;
constexpr UINT kRounds = 1000;

struct Job {
    DWORD host;
    HANDLE event;
};

DWORD WINAPI PostAndWait(LPVOID p) {
    auto* job = static_cast<Job*>(p);
    for (UINT i = 0; i < kRounds; ++i) {
        PostThreadMessageW(job->host, WM_APP + i, reinterpret_cast<WPARAM>(job), 0);
        if (WaitForSingleObject(job->event, 20000) != WAIT_OBJECT_0) return 1;
    }
    return 0;
}

TEST(Rendezvous, ManyJobsOneHostNoLostWakeUpsOrMessages) {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    std::vector<Job> jobs(kJobs, Job{GetCurrentThreadId(), nullptr});
    std::vector<HANDLE> threads;
    for (Job& job : jobs) {
        job.event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        threads.push_back(CreateThread(nullptr, 0, PostAndWait, &job, 0, nullptr));
    }
    std::vector<UINT> next(kJobs, 0);
    for (UINT n = 0; n < kJobs * kRounds && GetMessageW(&msg, nullptr, 0, 0) > 0; ++n) {
        const size_t k = static_cast<size_t>(reinterpret_cast<Job*>(msg.wParam) - jobs.data());
        ASSERT_EQ(msg.message, WM_APP + next[k]++) << "job " << k << ": each job's messages in order";
        SetEvent(jobs[k].event);
    }
    for (size_t k = 0; k < kJobs; ++k) {
        DWORD code = 9;
        EXPECT_EQ(WaitForSingleObject(threads[k], 20000), WAIT_OBJECT_0);
        EXPECT_TRUE(GetExitCodeThread(threads[k], &code) && code == 0) << "job " << k << " missed a signal";
        CloseHandle(threads[k]);
        CloseHandle(jobs[k].event);
    }
}

TEST(Rendezvous, AHandleStaysDeadWhenItsSlotIsReused) {
    HANDLE old = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    ASSERT_TRUE(CloseHandle(old));
    HANDLE fresh = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    EXPECT_EQ(WaitForSingleObject(old, 0), WAIT_FAILED);
    EXPECT_FALSE(CloseHandle(old));
    EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(fresh));
}

std::atomic<bool> exitFinished{false};

// Runs after the thread procedure has returned, as the C library's own per-thread clean-up does.
struct SlowThreadExit {
    bool used = false;
    ~SlowThreadExit() {
        Sleep(100);
        exitFinished = true;
    }
};
thread_local SlowThreadExit slowExit;

TEST(Rendezvous, ThreadHandleIsSignalledOnlyAfterTheThreadIsGone) {
    HANDLE thread = CreateThread(
        nullptr, 0, [](LPVOID) -> DWORD { return (slowExit.used = true) ? 5 : 6; }, nullptr, 0, nullptr);
    ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(exitFinished.load());
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code) && code == 5);
    CloseHandle(thread);
}

}  // namespace
