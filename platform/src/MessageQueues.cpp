// Per-thread message queues. As on Windows, a thread has a queue only once it has called
// PeekMessageW or GetMessageW; posting to a thread without one fails. The queue goes away when
// its thread ends.
#include "MessageQueues.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "KernelObject.h"

using namespace zorv::win32;

namespace {

struct Queue {
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<MSG> messages;
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
        std::lock_guard<std::mutex> lock(RegistryMutex());
        Registry().erase(threadId);
        threadId = 0;
        queue.reset();
    }
};
thread_local QueueOwner tlsQueue;

Queue& CurrentQueue() {
    if (!tlsQueue.queue) {
        tlsQueue.queue = std::make_shared<Queue>();
        tlsQueue.threadId = CurrentThreadId();
        std::lock_guard<std::mutex> lock(RegistryMutex());
        Registry()[tlsQueue.threadId] = tlsQueue.queue;
    }
    return *tlsQueue.queue;
}

bool InFilter(const MSG& msg, UINT filterMin, UINT filterMax) {
    if (filterMin == 0 && filterMax == 0) return true;
    return msg.message >= filterMin && msg.message <= filterMax;
}

// Takes the first message that passes the filter; the queue's mutex must be held.
bool TakeLocked(Queue& queue, MSG* msg, UINT filterMin, UINT filterMax, bool remove) {
    for (auto it = queue.messages.begin(); it != queue.messages.end(); ++it) {
        if (!InFilter(*it, filterMin, filterMax)) continue;
        if (msg) *msg = *it;
        if (remove) queue.messages.erase(it);
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
    std::shared_ptr<Queue> queue;
    {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        auto it = Registry().find(threadId);
        if (it != Registry().end()) queue = it->second;
    }
    if (!queue) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    MSG msg{};
    msg.message = message;
    msg.wParam = wParam;
    msg.lParam = lParam;
    msg.time = TickCount();
    {
        std::lock_guard<std::mutex> lock(queue->mutex);
        queue->messages.push_back(msg);
    }
    queue->arrived.notify_all();
    return TRUE;
}

BOOL PeekMessageW(MSG* msg, HWND, UINT filterMin, UINT filterMax, UINT removeFlags) {
    Queue& queue = CurrentQueue();
    std::lock_guard<std::mutex> lock(queue.mutex);
    return TakeLocked(queue, msg, filterMin, filterMax, (removeFlags & PM_REMOVE) != 0) ? TRUE : FALSE;
}

BOOL GetMessageW(MSG* msg, HWND, UINT filterMin, UINT filterMax) {
    if (msg == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return -1;
    }
    Queue& queue = CurrentQueue();
    std::unique_lock<std::mutex> lock(queue.mutex);
    queue.arrived.wait(lock, [&] { return TakeLocked(queue, msg, filterMin, filterMax, true); });
    return msg->message == WM_QUIT ? FALSE : TRUE;
}

}  // extern "C"
