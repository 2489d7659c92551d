// What one block hand-over costs. A job posts a message to its host thread and sleeps on its
// event; the host takes the message and signals the event: one post-wait-signal round trip.
// Measured with both threads on one core and on two cores, next to a bare futex ping-pong
// between two threads (two wake-ups per round trip, nothing else), the floor any rendezvous
// pays. Figures per round trip: wall time, and the CPU time of the whole process (both
// threads), which stays meaningful on a loaded machine.
#include <benchmark/benchmark.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Win32Api.h"

namespace {

// Cores for the two threads: the first allowed one twice, or the first two.
bool PickCores(bool acrossCores, int cores[2]) {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return false;
    int found = 0;
    for (int c = 0; c < CPU_SETSIZE && found < 2; ++c) {
        if (CPU_ISSET(c, &allowed)) cores[found++] = c;
    }
    if (found == 0 || (acrossCores && found < 2)) return false;
    if (!acrossCores) cores[1] = cores[0];
    return true;
}

void Bind(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

// Restores the benchmark thread's affinity when a run ends.
struct AffinityScope {
    cpu_set_t saved;
    AffinityScope() { sched_getaffinity(0, sizeof saved, &saved); }
    ~AffinityScope() { pthread_setaffinity_np(pthread_self(), sizeof saved, &saved); }
};

void Wait(std::atomic<uint32_t>& word, uint32_t value) {
    while (word.load(std::memory_order_acquire) == value) {
        syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
    }
}

void Wake(std::atomic<uint32_t>& word, uint32_t value) {
    word.store(value, std::memory_order_release);
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void BM_FutexPingPong(benchmark::State& state) {
    int cores[2];
    if (!PickCores(state.range(0) != 0, cores)) return state.SkipWithError("not enough cores allowed");
    AffinityScope scope;
    Bind(cores[0]);
    std::atomic<uint32_t> ping{0};
    std::atomic<uint32_t> pong{0};
    std::thread partner([&] {
        Bind(cores[1]);
        for (uint32_t round = 1;; ++round) {
            Wait(ping, round - 1);
            if (ping.load(std::memory_order_acquire) == 0xFFFFFFFFu) return;
            Wake(pong, round);
        }
    });
    uint32_t round = 0;
    for (auto _ : state) {
        ++round;
        Wake(ping, round);
        Wait(pong, round - 1);
    }
    Wake(ping, 0xFFFFFFFFu);
    partner.join();
}

constexpr UINT kBlockMessage = WM_APP + 2;

struct Job {
    DWORD host;
    HANDLE event;
    int core;
    std::atomic<bool> stop{false};
};

// The job's side of the protocol, as every job runs it per block.
DWORD WINAPI JobThread(LPVOID parameter) {
    auto* job = static_cast<Job*>(parameter);
    Bind(job->core);
    for (;;) {
        PostThreadMessageW(job->host, kBlockMessage, reinterpret_cast<WPARAM>(job), 0);
        WaitForSingleObject(job->event, INFINITE);
        if (job->stop.load()) break;
    }
    return 0;
}

void BM_Rendezvous(benchmark::State& state) {
    int cores[2];
    if (!PickCores(state.range(0) != 0, cores)) return state.SkipWithError("not enough cores allowed");
    AffinityScope scope;
    Bind(cores[0]);
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    Job job;
    job.host = GetCurrentThreadId();
    job.event = event;
    job.core = cores[1];
    HANDLE thread = CreateThread(nullptr, 0, JobThread, &job, 0, nullptr);
    for (auto _ : state) {
        GetMessageW(&msg, nullptr, 0, 0);
        SetEvent(reinterpret_cast<Job*>(msg.wParam)->event);
    }
    GetMessageW(&msg, nullptr, 0, 0);
    job.stop = true;
    SetEvent(event);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    CloseHandle(event);
}

BENCHMARK(BM_FutexPingPong)->ArgName("across_cores")->Arg(0)->Arg(1)->UseRealTime()->MeasureProcessCPUTime()
    ->MinTime(0.5);
BENCHMARK(BM_Rendezvous)->ArgName("across_cores")->Arg(0)->Arg(1)->UseRealTime()->MeasureProcessCPUTime()
    ->MinTime(0.5);

}  // namespace

BENCHMARK_MAIN();
