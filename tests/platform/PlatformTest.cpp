// The Win32 subset behaves as the module and its host rely on: events, thread handles, message
// queues, module loading and UTF-16 conversions (wide paths: RoutingTest).
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "Win32Api.h"

namespace {

struct Handle {
    HANDLE h;
    explicit Handle(HANDLE handle) : h(handle) {}
    ~Handle() {
        if (h) CloseHandle(h);
    }
};

TEST(Events, AutoAndManualResetAndClosedHandles) {
    Handle autoReset(CreateEventW(nullptr, FALSE, FALSE, nullptr)), manual(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    EXPECT_EQ(WaitForSingleObject(autoReset.h, 10), WAIT_TIMEOUT);
    ASSERT_TRUE(SetEvent(autoReset.h));
    EXPECT_EQ(WaitForSingleObject(autoReset.h, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(autoReset.h, 10), WAIT_TIMEOUT) << "auto-reset falls back after one wait";
    EXPECT_EQ(WaitForSingleObject(manual.h, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(manual.h, 0), WAIT_OBJECT_0) << "manual-reset stays signalled";
    ASSERT_TRUE(ResetEvent(manual.h));
    EXPECT_EQ(WaitForSingleObject(manual.h, 10), WAIT_TIMEOUT);

    HANDLE closed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_TRUE(CloseHandle(closed));
    EXPECT_FALSE(CloseHandle(closed));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(WaitForSingleObject(closed, 0), WAIT_FAILED);
    EXPECT_FALSE(SetEvent(closed));
}

TEST(Threads, SuspendedUntilResumedSignalledAtExitWithItsCode) {
    static std::atomic<DWORD> seen{0};
    Handle release(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    DWORD id = 0;
    Handle thread(CreateThread(
        nullptr, 0, [](LPVOID e) -> DWORD {
            seen = GetCurrentThreadId();
            WaitForSingleObject(static_cast<HANDLE>(e), INFINITE);  // set from this thread's creator
            return 7;
        },
        release.h, CREATE_SUSPENDED, &id));
    ASSERT_NE(thread.h, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread.h, 30), WAIT_TIMEOUT);
    EXPECT_EQ(seen.load(), 0u) << "a suspended thread does not run";
    EXPECT_EQ(ResumeThread(thread.h), 1u);
    EXPECT_EQ(WaitForSingleObject(thread.h, 30), WAIT_TIMEOUT);
    SetEvent(release.h);  // wakes the thread's infinite wait from another thread
    EXPECT_EQ(WaitForSingleObject(thread.h, INFINITE), WAIT_OBJECT_0);
    DWORD code = 0;
    ASSERT_TRUE(GetExitCodeThread(thread.h, &code));
    EXPECT_EQ(code, 7u);
    EXPECT_EQ(seen.load(), id);
}

// (Order and wake-ups under load: RendezvousTest.)
DWORD WINAPI QueueOwner(LPVOID ready) {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // now the thread has a queue
    SetEvent(static_cast<HANDLE>(ready));
    DWORD got = 0;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) got = msg.message;
    return got;
}

TEST(MessageQueues, PostingNeedsAQueueThatEndsWithItsThread) {
    Handle ready(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    DWORD id = 0;
    Handle thread(CreateThread(nullptr, 0, QueueOwner, ready.h, CREATE_SUSPENDED, &id));
    EXPECT_FALSE(PostThreadMessageW(id, WM_USER, 0, 0)) << "no queue before PeekMessage/GetMessage";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_THREAD_ID);
    ResumeThread(thread.h);
    WaitForSingleObject(ready.h, INFINITE);
    ASSERT_TRUE(PostThreadMessageW(id, WM_USER + 7, 0, 0));
    ASSERT_TRUE(PostThreadMessageW(id, WM_QUIT, 0, 0));
    WaitForSingleObject(thread.h, INFINITE);
    DWORD code = 0;
    GetExitCodeThread(thread.h, &code);
    EXPECT_EQ(code, WM_USER + 7u);
    EXPECT_FALSE(PostThreadMessageW(id, WM_USER, 0, 0)) << "the queue ends with its thread";
}

TEST(Libraries, DllNamesMapToSharedObjectsBesideTheProgramThenOnThePath) {
    HMODULE beside = LoadLibraryW(u"zorv_beside_program.dll");  // only beside the test program
    ASSERT_NE(beside, nullptr);
    auto answer = reinterpret_cast<int (*)()>(GetProcAddress(beside, "BesideProgramAnswer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(GetProcAddress(beside, "NoSuchExport"), nullptr);
    HMODULE onPath = LoadLibraryW(u"ZORV_FFMPEG.DLL");  // only on the loader's path (the sibling's folder)
    ASSERT_NE(onPath, nullptr);
    EXPECT_NE(GetProcAddress(onPath, "Decode"), nullptr);
    EXPECT_EQ(LoadLibraryW(u"zorv_no_such_module.dll"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(LoadLibraryW(u""), nullptr);
    FreeLibrary(beside);
    FreeLibrary(onPath);
}

TEST(Strings, Utf16ToUtf8AndBack) {
    struct Row {
        std::u16string wide;
        std::string utf8;
    } rows[] = {
        {u"\u00e9t\u00e9 \u97f3", "\xc3\xa9t\xc3\xa9 \xe9\x9f\xb3"},
        {u"\U0001F3B5", "\xf0\x9f\x8e\xb5"},
        {std::u16string(1, u'\xD83C') + u"x", "\xef\xbf\xbdx"},  // lone high surrogate
        {std::u16string(1, u'\xDF35'), "\xef\xbf\xbd"},         // lone low surrogate
        {u"", ""},
    };
    for (const Row& row : rows) {
        const int n = WideCharToMultiByte(CP_UTF8, 0, row.wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
        std::string out(static_cast<size_t>(n), '\0');
        WideCharToMultiByte(CP_UTF8, 0, row.wide.c_str(), -1, &out[0], n, nullptr, nullptr);
        EXPECT_EQ(out, row.utf8 + '\0');
    }
    const char* text = "\xf0\x9f\x8e\xb5" "a" "\xff";
    ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0), 5);  // pair, 'a', U+FFFD for the stray byte, NUL
    std::u16string out(5, u'\0');
    ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, &out[0], 5), 5);
    EXPECT_EQ(out, std::u16string(u"\U0001F3B5a\uFFFD") + u'\0');
    WCHAR small[2];
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, small, 2), 0) << "never more than the buffer holds";
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    char narrow[8];
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, u"ab", -1, narrow, 8, nullptr, nullptr), 3);
    EXPECT_STREQ(narrow, "ab");
    EXPECT_EQ(lstrlenW(u"\U0001F3B5"), 2);
}

}  // namespace
