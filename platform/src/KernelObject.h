// Kernel objects behind HANDLEs: events and threads.
//
// A HANDLE names a slot of the handle table and the generation of that slot: the low 32 bits
// are (slot + 1) * 4, the high 32 bits the generation. A slot's generation changes when its
// object is deleted, so a stale HANDLE, or any value that is not a handle, is answered with
// ERROR_INVALID_HANDLE instead of touching freed memory. Looking a handle up takes no lock: the
// table's memory is never freed or moved, and a slot's word (generation, open flag, reference
// count) is updated by compare-and-swap.
//
// An object lives while its handle is open or anyone holds a reference (a call in progress on
// it, or, for a thread, the running thread).
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "Win32Api.h"

namespace zorv::win32 {

enum class ObjectType : uint8_t { Event, Thread };

// Bits of KernelObject::state; the bits above them count the waiters asleep on the word.
constexpr uint32_t kSignalled = 1;  // event set; thread done (joined)
constexpr uint32_t kReturned = 2;   // thread: its procedure has returned, its exit is under way
constexpr uint32_t kJoining = 4;    // thread: a waiter is joining it
constexpr uint32_t kWaiter = 8;     // one waiter

struct KernelObject {
    KernelObject(ObjectType t, bool manual, bool signalled)
        : type(t), manualReset(manual), state(signalled ? kSignalled : 0) {}
    virtual ~KernelObject() = default;

    const ObjectType type;
    const bool manualReset;        // threads stay signalled once they are done
    uint32_t slot = 0;             // its place in the handle table
    std::atomic<uint32_t> state;   // the futex word every wait on the object sleeps on
};

struct ThreadObject : KernelObject {
    ThreadObject() : KernelObject(ObjectType::Thread, true, false) {}
    ~ThreadObject() override;

    LPTHREAD_START_ROUTINE start = nullptr;
    LPVOID parameter = nullptr;
    DWORD threadId = 0;
    std::atomic<uint32_t> suspendCount{0};  // futex word the new thread sleeps on until resumed
    std::atomic<DWORD> exitCode{STILL_ACTIVE};
    pthread_t native{};
    bool joinable = false;  // a running or finished thread nobody has joined (see ~ThreadObject)
};

// Registers a new object with `references` references, the open handle among them, and
// returns its HANDLE; null when the table is full or out of memory.
HANDLE Register(KernelObject* object, uint32_t references);

// Takes a reference on the live object of an open handle, or returns null (and sets
// ERROR_INVALID_HANDLE).
KernelObject* Acquire(HANDLE handle);

// Drops a reference; the last one deletes the object and frees its slot.
void Release(KernelObject* object);

// Closes the object's handle once (dropping its reference); false when it was not open.
bool CloseObjectHandle(HANDLE handle);

// Sets state bits and wakes the waiters that may now proceed.
void SignalObject(KernelObject& object, uint32_t bits);

// Waits until the object is signalled (consuming the signal of an auto-reset event); false
// on time-out.
bool WaitObject(KernelObject& object, DWORD milliseconds);

// Joins a thread whose procedure has returned; the caller has set kJoining. Sets kSignalled.
void JoinThread(ThreadObject& thread);

// A process-unique, non-zero id for the calling thread (assigned on first use).
DWORD CurrentThreadId();
// A fresh id for a thread being created, and how that thread takes it as its own.
DWORD NewThreadId();
void BindCurrentThreadId(DWORD id);

}  // namespace zorv::win32
