// The Win32 subset behaves as the module and its host rely on: events, thread handles, message
// queues and module loading.
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "Win32Api.h"

namespace {

struct Handle {
    HANDLE h;
    explicit Handle(HANDLE handle) : h(handle) {}
    ~Handle() {
        if (h) CloseHandle(h);
    }
};

TEST(Events, AutoResetReleasesOneWaitManualResetStaysSignalled) {
    Handle autoReset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    Handle manual(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ASSERT_NE(autoReset.h, nullptr);
    EXPECT_EQ(WaitForSingleObject(autoReset.h, 10), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(autoReset.h));
    EXPECT_EQ(WaitForSingleObject(autoReset.h, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(autoReset.h, 10), WAIT_TIMEOUT) << "auto-reset must fall back after one wait";

    ASSERT_TRUE(SetEvent(manual.h));
    EXPECT_EQ(WaitForSingleObject(manual.h, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(manual.h, 0), WAIT_OBJECT_0) << "manual-reset stays signalled";
    ASSERT_TRUE(ResetEvent(manual.h));
    EXPECT_EQ(WaitForSingleObject(manual.h, 10), WAIT_TIMEOUT);

    Handle initiallySet(CreateEventW(nullptr, FALSE, TRUE, nullptr));
    EXPECT_EQ(WaitForSingleObject(initiallySet.h, 0), WAIT_OBJECT_0);
}

TEST(Events, SignalFromAnotherThreadWakesAnInfiniteWait) {
    Handle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    Handle thread(CreateThread(
        nullptr, 0, [](LPVOID e) -> DWORD {
            Sleep(20);
            SetEvent(static_cast<HANDLE>(e));
            return 0;
        },
        event.h, 0, nullptr));
    EXPECT_EQ(WaitForSingleObject(event.h, INFINITE), WAIT_OBJECT_0);
}

TEST(Handles, ClosedOrForeignHandlesAreRejected) {
    HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_TRUE(CloseHandle(event));
    EXPECT_FALSE(CloseHandle(event));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_FAILED);
    EXPECT_FALSE(SetEvent(event));
    int notAHandle = 0;
    EXPECT_EQ(WaitForSingleObject(&notAHandle, 0), WAIT_FAILED);
    EXPECT_FALSE(CloseHandle(nullptr));
}

TEST(Threads, HandleSignalledOnlyAtExitAndKeepsExitCode) {
    Handle release(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Handle thread(CreateThread(
        nullptr, 0, [](LPVOID e) -> DWORD {
            WaitForSingleObject(static_cast<HANDLE>(e), INFINITE);
            return 7;
        },
        release.h, 0, nullptr));
    ASSERT_NE(thread.h, nullptr);
    DWORD code = 0;
    EXPECT_EQ(WaitForSingleObject(thread.h, 30), WAIT_TIMEOUT);
    ASSERT_TRUE(GetExitCodeThread(thread.h, &code));
    EXPECT_EQ(code, STILL_ACTIVE);
    SetEvent(release.h);
    EXPECT_EQ(WaitForSingleObject(thread.h, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(thread.h, 0), WAIT_OBJECT_0) << "a thread stays signalled";
    ASSERT_TRUE(GetExitCodeThread(thread.h, &code));
    EXPECT_EQ(code, 7u);
}

TEST(Threads, SuspendedThreadRunsOnlyAfterResume) {
    static std::atomic<int> ran{0};
    ran = 0;
    DWORD id = 0;
    Handle thread(CreateThread(
        nullptr, 0, [](LPVOID) -> DWORD {
            ran = 1;
            return 0;
        },
        nullptr, CREATE_SUSPENDED, &id));
    ASSERT_NE(thread.h, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(GetThreadId(thread.h), id);
    EXPECT_EQ(WaitForSingleObject(thread.h, 30), WAIT_TIMEOUT);
    EXPECT_EQ(ran.load(), 0);
    EXPECT_EQ(ResumeThread(thread.h), 1u);
    EXPECT_EQ(WaitForSingleObject(thread.h, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(ran.load(), 1);
}

TEST(Threads, ThreadSeesTheIdCreateThreadReported) {
    static std::atomic<DWORD> seen{0};
    DWORD id = 0;
    Handle thread(CreateThread(
        nullptr, 0, [](LPVOID) -> DWORD {
            seen = GetCurrentThreadId();
            return 0;
        },
        nullptr, 0, &id));
    WaitForSingleObject(thread.h, INFINITE);
    EXPECT_EQ(seen.load(), id);
    EXPECT_NE(id, GetCurrentThreadId());
}

DWORD WINAPI QueueOwner(LPVOID p) {
    auto* events = static_cast<HANDLE*>(p);
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // now the thread has a queue
    SetEvent(events[0]);
    std::vector<UINT> got;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) got.push_back(msg.message);
    DWORD inOrder = 1;
    for (size_t i = 0; i < got.size(); ++i)
        if (got[i] != WM_USER + i) inOrder = 0;
    return got.size() == 1000 && inOrder ? 1 : 0;
}

TEST(MessageQueues, PostingNeedsAQueueAndKeepsOrder) {
    Handle ready(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    HANDLE events[1] = {ready.h};
    DWORD id = 0;
    Handle thread(CreateThread(nullptr, 0, QueueOwner, events, CREATE_SUSPENDED, &id));
    EXPECT_FALSE(PostThreadMessageW(id, WM_USER, 0, 0)) << "no queue before PeekMessage/GetMessage";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_THREAD_ID);
    ResumeThread(thread.h);
    WaitForSingleObject(ready.h, INFINITE);
    for (UINT i = 0; i < 1000; ++i) ASSERT_TRUE(PostThreadMessageW(id, WM_USER + i, i, 0));
    ASSERT_TRUE(PostThreadMessageW(id, WM_QUIT, 0, 0));
    WaitForSingleObject(thread.h, INFINITE);
    DWORD code = 0;
    GetExitCodeThread(thread.h, &code);
    EXPECT_EQ(code, 1u) << "all 1000 messages, in posting order";
    EXPECT_FALSE(PostThreadMessageW(id, WM_USER, 0, 0)) << "the queue ends with its thread";
}

TEST(MessageQueues, PeekFiltersAndLeavesOrRemoves) {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
    }
    const DWORD self = GetCurrentThreadId();
    PostThreadMessageW(self, WM_USER + 1, 11, 12);
    PostThreadMessageW(self, WM_USER + 5, 51, 52);
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_USER + 5, WM_USER + 5, PM_NOREMOVE));
    EXPECT_EQ(msg.wParam, 51u);
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_USER + 5, WM_USER + 9, PM_REMOVE));
    EXPECT_EQ(msg.lParam, 52);
    EXPECT_FALSE(PeekMessageW(&msg, nullptr, WM_USER + 5, WM_USER + 9, PM_REMOVE));
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(msg.message, WM_USER + 1);
    EXPECT_EQ(msg.wParam, 11u);
    EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
}

TEST(Libraries, DllNamesMapToSharedObjectsBesideTheProgramThenOnThePath) {
    // Only beside the test program.
    HMODULE beside = LoadLibraryW(u"zorv_beside_program.dll");
    ASSERT_NE(beside, nullptr);
    auto answer = reinterpret_cast<int (*)()>(GetProcAddress(beside, "BesideProgramAnswer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(GetProcAddress(beside, "NoSuchExport"), nullptr);
    // Only on the loader's path (the test runs with the sibling's folder on it).
    HMODULE onPath = LoadLibraryW(u"ZORV_FFMPEG.DLL");
    ASSERT_NE(onPath, nullptr);
    EXPECT_NE(GetProcAddress(onPath, "Decode"), nullptr);
    EXPECT_EQ(LoadLibraryW(u"zorv_no_such_module.dll"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(LoadLibraryW(u""), nullptr);
    FreeLibrary(beside);
    FreeLibrary(onPath);
}

}  // namespace
