// Kernel objects behind HANDLEs: events and threads. A HANDLE is the object's address; the
// object lives while any handle to it is open (and, for a thread, while the thread runs).
// Every handle is checked against the table of live objects, so a stale or foreign HANDLE is
// answered with ERROR_INVALID_HANDLE instead of touching freed memory.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "Win32Api.h"

namespace zorv::win32 {

enum class ObjectType { Event, Thread };

struct KernelObject {
    explicit KernelObject(ObjectType t) : type(t) {}
    virtual ~KernelObject() = default;

    const ObjectType type;
    int references = 1;     // the open handle plus, for a thread, the running thread (table lock)
    bool handleOpen = true; // cleared by CloseHandle (table lock)

    std::mutex mutex;
    std::condition_variable changed;
    bool signalled = false;
    bool manualReset = true;  // threads stay signalled once they end
};

struct ThreadObject : KernelObject {
    ThreadObject() : KernelObject(ObjectType::Thread) {}
    LPTHREAD_START_ROUTINE start = nullptr;
    LPVOID parameter = nullptr;
    DWORD threadId = 0;
    DWORD suspendCount = 0;
    DWORD exitCode = STILL_ACTIVE;
};

// Registers a new object (one reference) and returns it as a HANDLE.
HANDLE Register(KernelObject* object);

// Takes a reference on a live object, or returns null (and sets ERROR_INVALID_HANDLE).
KernelObject* Acquire(HANDLE handle);

// Drops a reference; the last one unregisters and deletes the object.
void Release(KernelObject* object);

// Closes the object's handle once; false when it was not open.
bool CloseObjectHandle(HANDLE handle);

// A process-unique, non-zero id for the calling thread (assigned on first use).
DWORD CurrentThreadId();
// A fresh id for a thread being created, and how that thread takes it as its own.
DWORD NewThreadId();
void BindCurrentThreadId(DWORD id);

}  // namespace zorv::win32
