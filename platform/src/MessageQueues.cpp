// Per-thread message queues. As on Windows, a thread has a queue only once it has called
// PeekMessageW or GetMessageW; posting to a thread without one fails. The queue goes away when
// its thread ends.
//
// The path of a message is lean: a poster finds the queue through a one-entry cache of its own
// (a job posts to one host thread for its whole life), so only the first post to a thread
// takes the process-wide registry lock; the queue is a ring that grows by doubling, so a post
// allocates nothing once the ring has reached the largest backlog; and the receiver sleeps on a
// futex word that posters wake only when it is actually asleep.
#include "MessageQueues.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "Futex.h"
#include "KernelObject.h"

using namespace zorv::win32;

namespace {

constexpr size_t kInitialCapacity = 16;

struct Queue {
    std::mutex lock;                 // this queue only: the ring and `alive`
    std::vector<MSG> ring = std::vector<MSG>(kInitialCapacity);
    size_t head = 0;
    size_t count = 0;
    bool alive = true;               // false once the owner thread has ended
    std::atomic<uint32_t> posted{0};    // bumped by every post: the word the owner sleeps on
    std::atomic<uint32_t> sleeping{0};  // 1 while the owner may be asleep on `posted`

    MSG& At(size_t i) { return ring[(head + i) & (ring.size() - 1)]; }

    void Push(const MSG& msg) {
        if (count == ring.size()) {
            std::vector<MSG> larger(ring.size() * 2);
            for (size_t i = 0; i < count; ++i) larger[i] = At(i);
            ring.swap(larger);
            head = 0;
        }
        At(count++) = msg;
    }

    void Erase(size_t i) {
        if (i == 0) {
            head = (head + 1) & (ring.size() - 1);
        } else {
            for (; i + 1 < count; ++i) At(i) = At(i + 1);
        }
        --count;
    }
};

std::mutex& RegistryMutex() {
    static std::mutex m;
    return m;
}
std::unordered_map<DWORD, std::shared_ptr<Queue>>& Registry() {
    static auto* registry = new std::unordered_map<DWORD, std::shared_ptr<Queue>>();
    return *registry;
}

// Unregisters the thread's queue when the thread ends, whoever created the thread.
struct QueueOwner {
    DWORD threadId = 0;
    std::shared_ptr<Queue> queue;
    ~QueueOwner() { Drop(); }
    void Drop() {
        if (threadId == 0) return;
        {
            std::lock_guard<std::mutex> lock(RegistryMutex());
            Registry().erase(threadId);
        }
        {
            std::lock_guard<std::mutex> lock(queue->lock);
            queue->alive = false;
            std::vector<MSG>().swap(queue->ring);  // a poster's cache may keep the queue a while
            queue->count = 0;
        }
        threadId = 0;
        queue.reset();
    }
};
thread_local QueueOwner tlsQueue;

// The queue this thread last posted to. Ids are never reused, so a cached id cannot come to
// name another thread's queue; a queue whose owner has ended says so through `alive`.
struct PostTarget {
    DWORD threadId = 0;
    std::shared_ptr<Queue> queue;
};
thread_local PostTarget tlsPostTarget;

Queue& CurrentQueue() {
    if (!tlsQueue.queue) {
        tlsQueue.queue = std::make_shared<Queue>();
        tlsQueue.threadId = CurrentThreadId();
        std::lock_guard<std::mutex> lock(RegistryMutex());
        Registry()[tlsQueue.threadId] = tlsQueue.queue;
    }
    return *tlsQueue.queue;
}

Queue* FindQueue(DWORD threadId) {
    PostTarget& target = tlsPostTarget;
    if (target.threadId != threadId || !target.queue) {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        auto it = Registry().find(threadId);
        if (it == Registry().end()) return nullptr;
        target.threadId = threadId;
        target.queue = it->second;
    }
    return target.queue.get();
}

bool InFilter(const MSG& msg, UINT filterMin, UINT filterMax) {
    if (filterMin == 0 && filterMax == 0) return true;
    return msg.message >= filterMin && msg.message <= filterMax;
}

// Takes the first message that passes the filter.
bool Take(Queue& queue, MSG* msg, UINT filterMin, UINT filterMax, bool remove) {
    std::lock_guard<std::mutex> lock(queue.lock);
    for (size_t i = 0; i < queue.count; ++i) {
        if (!InFilter(queue.At(i), filterMin, filterMax)) continue;
        if (msg) *msg = queue.At(i);
        if (remove) queue.Erase(i);
        return true;
    }
    return false;
}

DWORD TickCount() {
    using namespace std::chrono;
    return static_cast<DWORD>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

}  // namespace

namespace zorv::win32 {
void DestroyCurrentThreadQueue() { tlsQueue.Drop(); }
}  // namespace zorv::win32

extern "C" {

BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) {
    Queue* queue = FindQueue(threadId);
    MSG msg{};
    msg.message = message;
    msg.wParam = wParam;
    msg.lParam = lParam;
    msg.time = TickCount();
    bool posted = false;
    if (queue != nullptr) {
        std::lock_guard<std::mutex> lock(queue->lock);
        if (queue->alive) {
            queue->Push(msg);
            posted = true;
        }
    }
    if (!posted) {
        tlsPostTarget = PostTarget{};
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    // Pairs with GetMessageW: either the owner sees the message before it sleeps, or the bump
    // changes the word it sleeps on and, as it is marked asleep, it is woken.
    queue->posted.fetch_add(1, std::memory_order_seq_cst);
    if (queue->sleeping.load(std::memory_order_seq_cst) != 0) FutexWake(queue->posted, 1);
    return TRUE;
}

BOOL PeekMessageW(MSG* msg, HWND, UINT filterMin, UINT filterMax, UINT removeFlags) {
    return Take(CurrentQueue(), msg, filterMin, filterMax, (removeFlags & PM_REMOVE) != 0) ? TRUE : FALSE;
}

BOOL GetMessageW(MSG* msg, HWND, UINT filterMin, UINT filterMax) {
    if (msg == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return -1;
    }
    Queue& queue = CurrentQueue();
    while (!Take(queue, msg, filterMin, filterMax, true)) {
        queue.sleeping.store(1, std::memory_order_seq_cst);
        const uint32_t seen = queue.posted.load(std::memory_order_seq_cst);
        if (!Take(queue, msg, filterMin, filterMax, true)) {
            FutexWait(queue.posted, seen, nullptr);
            queue.sleeping.store(0, std::memory_order_relaxed);
            continue;
        }
        queue.sleeping.store(0, std::memory_order_relaxed);
        break;
    }
    return msg->message == WM_QUIT ? FALSE : TRUE;
}

}  // extern "C"
