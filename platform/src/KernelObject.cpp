#include "KernelObject.h"

#include <time.h>

#include <mutex>
#include <new>

#include "Futex.h"

namespace zorv::win32 {

namespace {

// Slot word: generation << 32 | open << 31 | references. An open handle holds a reference, so
// references reach 0 only after the handle is closed, and no lookup can succeed from then on.
constexpr uint64_t kOpen = uint64_t{1} << 31;
constexpr uint64_t kReferenceMask = kOpen - 1;
constexpr uint32_t kNoSlot = 0xFFFFFFFFu;

struct Slot {
    std::atomic<uint64_t> word{uint64_t{1} << 32};  // generation 1, closed, no references
    KernelObject* object = nullptr;                 // valid while the word is open or referenced
    uint32_t nextFree = kNoSlot;                    // free list link (allocation lock)
};

// Slots live in chunks that are allocated once and never freed, so a lookup may read any slot
// below the published count without a lock.
constexpr uint32_t kChunkBits = 10;
constexpr uint32_t kChunkSlots = 1u << kChunkBits;
constexpr uint32_t kMaxChunks = 4096;  // 4 million live handles

struct HandleTable {
    std::atomic<Slot*> chunks[kMaxChunks] = {};
    std::atomic<uint32_t> published{0};  // slots that lookups may read
    std::mutex allocation;               // creating and freeing slots only
    uint32_t freeHead = kNoSlot;
};

HandleTable& Table() {
    static auto* table = new HandleTable();  // outlives static destructors
    return *table;
}

Slot& SlotAt(HandleTable& table, uint32_t index) {
    return table.chunks[index >> kChunkBits].load(std::memory_order_acquire)[index & (kChunkSlots - 1)];
}

HANDLE EncodeHandle(uint32_t index, uint32_t generation) {
    const uint64_t value = (static_cast<uint64_t>(generation) << 32) | (static_cast<uint64_t>(index + 1) << 2);
    return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value));
}

thread_local DWORD tlsLastError = 0;

// The slot a HANDLE names, and the generation it was issued for; null for anything else.
Slot* Lookup(HANDLE handle, uint32_t& generation) {
    const uint64_t value = reinterpret_cast<uintptr_t>(handle);
    const uint32_t low = static_cast<uint32_t>(value);
    generation = static_cast<uint32_t>(value >> 32);
    if (low == 0 || (low & 3) != 0) return nullptr;
    const uint32_t index = (low >> 2) - 1;
    HandleTable& table = Table();
    if (index >= table.published.load(std::memory_order_acquire)) return nullptr;
    return &SlotAt(table, index);
}

bool Names(uint64_t word, uint32_t generation) {
    return static_cast<uint32_t>(word >> 32) == generation && (word & kOpen) != 0;
}

}  // namespace

HANDLE Register(KernelObject* object, uint32_t references) {
    HandleTable& table = Table();
    uint32_t index;
    {
        std::lock_guard<std::mutex> lock(table.allocation);
        if (table.freeHead != kNoSlot) {
            index = table.freeHead;
            table.freeHead = SlotAt(table, index).nextFree;
        } else {
            index = table.published.load(std::memory_order_relaxed);
            const uint32_t chunk = index >> kChunkBits;
            if (chunk >= kMaxChunks) return nullptr;
            if (table.chunks[chunk].load(std::memory_order_relaxed) == nullptr) {
                auto* slots = new (std::nothrow) Slot[kChunkSlots];
                if (slots == nullptr) return nullptr;
                table.chunks[chunk].store(slots, std::memory_order_release);
            }
            table.published.store(index + 1, std::memory_order_release);
        }
    }
    Slot& slot = SlotAt(table, index);
    object->slot = index;
    slot.object = object;
    const uint32_t generation = static_cast<uint32_t>(slot.word.load(std::memory_order_relaxed) >> 32);
    slot.word.store((static_cast<uint64_t>(generation) << 32) | kOpen | references, std::memory_order_release);
    return EncodeHandle(index, generation);
}

KernelObject* Acquire(HANDLE handle) {
    uint32_t generation = 0;
    Slot* slot = Lookup(handle, generation);
    if (slot != nullptr) {
        uint64_t word = slot->word.load(std::memory_order_relaxed);
        while (Names(word, generation)) {
            if (slot->word.compare_exchange_weak(word, word + 1, std::memory_order_acquire,
                                                 std::memory_order_relaxed)) {
                return slot->object;
            }
        }
    }
    tlsLastError = ERROR_INVALID_HANDLE;
    return nullptr;
}

void Release(KernelObject* object) {
    HandleTable& table = Table();
    const uint32_t index = object->slot;
    Slot& slot = SlotAt(table, index);
    const uint64_t word = slot.word.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if ((word & kReferenceMask) != 0) return;
    delete object;
    slot.object = nullptr;
    uint32_t generation = static_cast<uint32_t>(word >> 32) + 1;
    if (generation == 0) generation = 1;  // 0 would let a small integer pass for a handle
    slot.word.store(static_cast<uint64_t>(generation) << 32, std::memory_order_release);
    std::lock_guard<std::mutex> lock(table.allocation);
    slot.nextFree = table.freeHead;
    table.freeHead = index;
}

bool CloseObjectHandle(HANDLE handle) {
    uint32_t generation = 0;
    Slot* slot = Lookup(handle, generation);
    if (slot != nullptr) {
        uint64_t word = slot->word.load(std::memory_order_relaxed);
        while (Names(word, generation)) {
            if (slot->word.compare_exchange_weak(word, word & ~kOpen, std::memory_order_acq_rel,
                                                 std::memory_order_relaxed)) {
                Release(slot->object);  // the handle's reference
                return true;
            }
        }
    }
    tlsLastError = ERROR_INVALID_HANDLE;
    return false;
}

void SignalObject(KernelObject& object, uint32_t bits) {
    const uint32_t before = object.state.fetch_or(bits, std::memory_order_release);
    if (before >= kWaiter) FutexWake(object.state, object.manualReset ? kWakeAll : 1);
}

bool WaitObject(KernelObject& object, DWORD milliseconds) {
    const Deadline deadline(milliseconds);
    uint32_t state = object.state.load(std::memory_order_acquire);
    for (;;) {
        if ((state & kSignalled) != 0) {
            if (object.manualReset) return true;
            // An auto-reset event releases exactly one waiter and falls back to non-signalled.
            if (object.state.compare_exchange_weak(state, state & ~kSignalled, std::memory_order_acquire,
                                                   std::memory_order_acquire)) {
                return true;
            }
            continue;
        }
        if (object.type == ObjectType::Thread && (state & (kReturned | kJoining)) == kReturned) {
            if (object.state.compare_exchange_weak(state, state | kJoining, std::memory_order_acquire,
                                                   std::memory_order_acquire)) {
                JoinThread(static_cast<ThreadObject&>(object));
                state = object.state.load(std::memory_order_acquire);
            }
            continue;
        }
        timespec left;
        const timespec* limit;
        if (!deadline.Remaining(left, limit)) return false;
        if (!object.state.compare_exchange_weak(state, state + kWaiter, std::memory_order_relaxed,
                                                std::memory_order_acquire)) {
            continue;
        }
        FutexWait(object.state, state + kWaiter, limit);
        state = object.state.fetch_sub(kWaiter, std::memory_order_acq_rel) - kWaiter;
    }
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
    auto* event = new (std::nothrow) KernelObject(ObjectType::Event, manualReset != FALSE, initialState != FALSE);
    HANDLE handle = event ? Register(event, 1) : nullptr;
    if (handle == nullptr) {
        delete event;
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return handle;
}

static BOOL SetEventState(HANDLE handle, bool state) {
    KernelObject* object = Acquire(handle);
    if (!object) return FALSE;
    BOOL result = TRUE;
    if (object->type != ObjectType::Event) {
        SetLastError(ERROR_INVALID_HANDLE);
        result = FALSE;
    } else if (state) {
        SignalObject(*object, kSignalled);
    } else {
        object->state.fetch_and(~kSignalled, std::memory_order_relaxed);
    }
    Release(object);
    return result;
}

BOOL SetEvent(HANDLE event) { return SetEventState(event, true); }
BOOL ResetEvent(HANDLE event) { return SetEventState(event, false); }

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    KernelObject* object = Acquire(handle);
    if (!object) return WAIT_FAILED;
    const DWORD result = WaitObject(*object, milliseconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
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
