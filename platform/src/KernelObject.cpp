#include "KernelObject.h"

#include <time.h>

#include <atomic>
#include <chrono>
#include <unordered_set>

namespace zorv::win32 {

namespace {
std::mutex& TableMutex() {
    static std::mutex m;
    return m;
}
std::unordered_set<KernelObject*>& Table() {
    static auto* table = new std::unordered_set<KernelObject*>();  // outlives static destructors
    return *table;
}
thread_local DWORD tlsLastError = 0;
}  // namespace

HANDLE Register(KernelObject* object) {
    std::lock_guard<std::mutex> lock(TableMutex());
    Table().insert(object);
    return object;
}

KernelObject* Acquire(HANDLE handle) {
    auto* object = static_cast<KernelObject*>(handle);
    std::lock_guard<std::mutex> lock(TableMutex());
    if (object == nullptr || Table().count(object) == 0 || !object->handleOpen) {
        tlsLastError = ERROR_INVALID_HANDLE;
        return nullptr;
    }
    ++object->references;
    return object;
}

void Release(KernelObject* object) {
    {
        std::lock_guard<std::mutex> lock(TableMutex());
        if (--object->references > 0) return;
        Table().erase(object);
    }
    delete object;
}

bool CloseObjectHandle(HANDLE handle) {
    auto* object = static_cast<KernelObject*>(handle);
    {
        std::lock_guard<std::mutex> lock(TableMutex());
        if (object == nullptr || Table().count(object) == 0 || !object->handleOpen) {
            tlsLastError = ERROR_INVALID_HANDLE;
            return false;
        }
        object->handleOpen = false;
    }
    Release(object);
    return true;
}

namespace {
std::atomic<DWORD> nextThreadId{0x100};
thread_local DWORD tlsThreadId = 0;
}  // namespace

DWORD NewThreadId() { return nextThreadId.fetch_add(4); }

void BindCurrentThreadId(DWORD id) { tlsThreadId = id; }

DWORD CurrentThreadId() {
    if (tlsThreadId == 0) tlsThreadId = NewThreadId();
    return tlsThreadId;
}

}  // namespace zorv::win32

using namespace zorv::win32;

extern "C" {

DWORD GetLastError(void) { return tlsLastError; }
void SetLastError(DWORD error) { tlsLastError = error; }

HANDLE CreateEventW(void*, BOOL manualReset, BOOL initialState, LPCWSTR) {
    auto* event = new (std::nothrow) KernelObject(ObjectType::Event);
    if (!event) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    event->manualReset = manualReset != FALSE;
    event->signalled = initialState != FALSE;
    return Register(event);
}

static BOOL SetEventState(HANDLE handle, bool state) {
    KernelObject* object = Acquire(handle);
    if (!object) return FALSE;
    if (object->type != ObjectType::Event) {
        Release(object);
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    {
        std::lock_guard<std::mutex> lock(object->mutex);
        object->signalled = state;
    }
    if (state) object->changed.notify_all();
    Release(object);
    return TRUE;
}

BOOL SetEvent(HANDLE event) { return SetEventState(event, true); }
BOOL ResetEvent(HANDLE event) { return SetEventState(event, false); }

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    KernelObject* object = Acquire(handle);
    if (!object) return WAIT_FAILED;
    DWORD result = WAIT_OBJECT_0;
    {
        std::unique_lock<std::mutex> lock(object->mutex);
        if (milliseconds == INFINITE) {
            object->changed.wait(lock, [object] { return object->signalled; });
        } else if (!object->changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                             [object] { return object->signalled; })) {
            result = WAIT_TIMEOUT;
        }
        // An auto-reset event releases exactly one waiter and falls back to non-signalled.
        if (result == WAIT_OBJECT_0 && !object->manualReset) object->signalled = false;
    }
    Release(object);
    return result;
}

BOOL CloseHandle(HANDLE handle) { return CloseObjectHandle(handle) ? TRUE : FALSE; }

void Sleep(DWORD milliseconds) {
    struct timespec ts;
    ts.tv_sec = static_cast<time_t>(milliseconds / 1000);
    ts.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
    while (nanosleep(&ts, &ts) != 0) {
    }
}

}  // extern "C"
