// Threads with Win32 semantics: created running or suspended, a handle that becomes signalled
// when the thread procedure returns and stays valid (with the exit code) until CloseHandle.
#include <pthread.h>

#include "KernelObject.h"
#include "MessageQueues.h"

using namespace zorv::win32;

namespace {

thread_local ThreadObject* tlsCurrentThread = nullptr;

void* ThreadMain(void* argument) {
    auto* thread = static_cast<ThreadObject*>(argument);
    tlsCurrentThread = thread;
    {
        std::unique_lock<std::mutex> lock(thread->mutex);
        thread->changed.wait(lock, [thread] { return thread->suspendCount == 0; });
    }
    // The id was fixed at creation so that CreateThread could report it; make it this thread's.
    BindCurrentThreadId(thread->threadId);

    const DWORD exitCode = thread->start(thread->parameter);

    // A queue created by this thread disappears with it: later posts to its id fail.
    DestroyCurrentThreadQueue();
    {
        std::lock_guard<std::mutex> lock(thread->mutex);
        thread->exitCode = exitCode;
        thread->signalled = true;
    }
    thread->changed.notify_all();
    Release(thread);  // the running thread's reference
    return nullptr;
}

}  // namespace

extern "C" {

HANDLE CreateThread(void*, size_t stackSize, LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD creationFlags,
                    DWORD* threadId) {
    if (start == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    auto* thread = new (std::nothrow) ThreadObject();
    if (!thread) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    thread->start = start;
    thread->parameter = parameter;
    thread->threadId = NewThreadId();
    thread->suspendCount = (creationFlags & CREATE_SUSPENDED) ? 1 : 0;
    thread->references = 2;  // the handle and the running thread
    HANDLE handle = Register(thread);

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stackSize != 0) pthread_attr_setstacksize(&attributes, stackSize);
    pthread_t native;
    const int rc = pthread_create(&native, &attributes, ThreadMain, thread);
    pthread_attr_destroy(&attributes);
    if (rc != 0) {
        Release(thread);  // the thread that never ran
        CloseObjectHandle(handle);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (threadId) *threadId = thread->threadId;
    return handle;
}

DWORD ResumeThread(HANDLE handle) {
    KernelObject* object = Acquire(handle);
    if (!object) return static_cast<DWORD>(-1);
    if (object->type != ObjectType::Thread) {
        Release(object);
        SetLastError(ERROR_INVALID_HANDLE);
        return static_cast<DWORD>(-1);
    }
    auto* thread = static_cast<ThreadObject*>(object);
    DWORD previous;
    {
        std::lock_guard<std::mutex> lock(thread->mutex);
        previous = thread->suspendCount;
        if (thread->suspendCount > 0) --thread->suspendCount;
    }
    thread->changed.notify_all();
    Release(object);
    return previous;
}

BOOL GetExitCodeThread(HANDLE handle, DWORD* exitCode) {
    KernelObject* object = Acquire(handle);
    if (!object) return FALSE;
    if (object->type != ObjectType::Thread || exitCode == nullptr) {
        Release(object);
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    {
        std::lock_guard<std::mutex> lock(object->mutex);
        *exitCode = static_cast<ThreadObject*>(object)->exitCode;
    }
    Release(object);
    return TRUE;
}

DWORD GetThreadId(HANDLE handle) {
    KernelObject* object = Acquire(handle);
    if (!object) return 0;
    DWORD id = object->type == ObjectType::Thread ? static_cast<ThreadObject*>(object)->threadId : 0;
    Release(object);
    return id;
}

DWORD GetCurrentThreadId(void) { return CurrentThreadId(); }

}  // extern "C"
