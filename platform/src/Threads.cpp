// Threads with Win32 semantics: created running or suspended, a handle that becomes signalled
// when the thread has ended and stays valid (with the exit code) until CloseHandle.
//
// "Ended" means gone: after the procedure returns the thread still runs its thread-local
// destructors and the C library's own clean-up (the loader frees its per-thread error text
// there, for one). A host that exits as soon as the wait returns must not find any of that
// still allocated, so the handle is signalled only once a waiter has joined the thread. The
// exit after the procedure is short and bounded; a wait with a time-out may overrun by that.
#include <pthread.h>

#include <new>

#include "Futex.h"
#include "KernelObject.h"
#include "MessageQueues.h"

using namespace zorv::win32;

namespace {

void* ThreadMain(void* argument) {
    auto* thread = static_cast<ThreadObject*>(argument);
    for (uint32_t count; (count = thread->suspendCount.load(std::memory_order_acquire)) != 0;) {
        FutexWait(thread->suspendCount, count, nullptr);
    }
    // The id was fixed at creation so that CreateThread could report it; make it this thread's.
    BindCurrentThreadId(thread->threadId);

    const DWORD exitCode = thread->start(thread->parameter);

    // A queue created by this thread disappears with it: later posts to its id fail.
    DestroyCurrentThreadQueue();
    thread->exitCode.store(exitCode, std::memory_order_relaxed);
    SignalObject(*thread, kReturned);  // waiters now join the thread (WaitObject)
    Release(thread);                   // the running thread's reference
    return nullptr;
}

}  // namespace

namespace zorv::win32 {

void JoinThread(ThreadObject& thread) {
    pthread_join(thread.native, nullptr);
    thread.joinable = false;
    SignalObject(thread, kSignalled);
}

// The last reference is gone: nobody waits, so nobody will join a thread that still exits.
ThreadObject::~ThreadObject() {
    if (joinable) pthread_detach(native);
}

}  // namespace zorv::win32

extern "C" {

HANDLE CreateThread(void*, size_t stackSize, LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD creationFlags,
                    DWORD* threadId) {
    if (start == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    auto* thread = new (std::nothrow) ThreadObject();
    HANDLE handle = thread ? Register(thread, 2) : nullptr;  // the handle and the running thread
    if (handle == nullptr) {
        delete thread;
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    thread->start = start;
    thread->parameter = parameter;
    thread->threadId = NewThreadId();
    thread->suspendCount.store((creationFlags & CREATE_SUSPENDED) ? 1 : 0, std::memory_order_relaxed);

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackSize != 0) pthread_attr_setstacksize(&attributes, stackSize);
    // Nobody can wait on the handle before this call returns it, so `native` and `joinable`
    // are set before any JoinThread or ~ThreadObject reads them.
    const int rc = pthread_create(&thread->native, &attributes, ThreadMain, thread);
    pthread_attr_destroy(&attributes);
    if (rc != 0) {
        Release(thread);  // the thread that never ran
        CloseObjectHandle(handle);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    thread->joinable = true;
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
    uint32_t previous = thread->suspendCount.load(std::memory_order_relaxed);
    while (previous > 0 && !thread->suspendCount.compare_exchange_weak(previous, previous - 1,
                                                                        std::memory_order_release,
                                                                        std::memory_order_relaxed)) {
    }
    if (previous == 1) FutexWake(thread->suspendCount, 1);
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
    // The code is stored before kReturned is set; until then the thread is still active.
    const bool returned = (object->state.load(std::memory_order_acquire) & kReturned) != 0;
    *exitCode = returned ? static_cast<ThreadObject*>(object)->exitCode.load(std::memory_order_relaxed) : STILL_ACTIVE;
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
