// zorv_soak: thousands of decoding jobs through the module as the host drives it, many at once,
// a share of them cancelled at a random block. Checks that every job ends with exactly its one
// final message (or, once cancelled, with at most one), and that the process's memory, open
// descriptors and threads come back to where they were before the run.
//
//   zorv_soak JOBS PARALLEL CANCEL_PERCENT FILE...
//
// Exit status 0 when every check held, 1 otherwise. Not a test: run by `make bench`.
#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "Win32Api.h"
#include "zorv/decode.h"

namespace {

constexpr UINT kFirstMessage = WM_APP + 16;
enum Role : UINT { kFailed, kDone, kBlock, kFormat, kRoles };

struct Job {
    HANDLE thread = nullptr;
    int cancelAt = -1;   // -1 never; 0 at the format; n at the n-th block
    int blocks = 0;
    int finals = 0;
    bool cancelled = false;
};

struct Tally {
    unsigned done = 0, failed = 0, silent = 0, cancelled = 0, broken = 0;
};

size_t Entries(const char* dir) {
    size_t n = 0;
    if (DIR* d = opendir(dir)) {
        while (readdir(d) != nullptr) ++n;
        closedir(d);
    }
    return n - 2;  // "." and ".."
}

// What the process holds: resident memory (after handing the allocator's free pages back), the
// heap in use, open descriptors and threads. Measured right after the last job's handle was seen
// signalled: a thread's handle is signalled only once the thread is gone, so none may remain.
struct Usage {
    long residentKiB = 0;
    long heapKiB = 0;
    size_t descriptors = 0;
    size_t threads = 0;
};

Usage Measure() {
    malloc_trim(0);
    Usage u;
    long pages = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &u.residentKiB) != 2) u.residentKiB = 0;
        std::fclose(f);
    }
    u.residentKiB *= sysconf(_SC_PAGESIZE) / 1024;
    const struct mallinfo2 m = mallinfo2();
    u.heapKiB = static_cast<long>((m.uordblks + m.hblkhd) / 1024);
    u.descriptors = Entries("/proc/self/fd");
    u.threads = Entries("/proc/self/task");
    return u;
}

class Soak {
public:
    Soak(ZorvDecodeFn decode, std::vector<std::u16string> files, unsigned parallel, unsigned cancelPercent)
        : decode_(decode), files_(std::move(files)), jobs_(parallel), cancelPercent_(cancelPercent) {}

    Tally Run(unsigned count) {
        MSG msg;
        PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
        unsigned started = 0, running = 0;
        Tally tally;
        while (started < count || running > 0) {
            for (size_t k = 0; k < jobs_.size() && started < count; ++k) {
                if (jobs_[k].thread == nullptr && Start(k)) ++running, ++started;
            }
            // A job's messages are all posted before its thread ends: note the ended ones first,
            // then empty the queue, then close them.
            std::vector<size_t> ended;
            for (size_t k = 0; k < jobs_.size(); ++k) {
                if (jobs_[k].thread != nullptr && WaitForSingleObject(jobs_[k].thread, 0) == WAIT_OBJECT_0) ended.push_back(k);
            }
            bool any = false;
            while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) any = true, Handle(msg);
            for (size_t k : ended) Finish(jobs_[k], tally), --running;
            if (!any && ended.empty()) Sleep(1);
        }
        return tally;
    }

private:
    bool Start(size_t k) {
        Job& job = jobs_[k];
        job = Job{};
        if (random_() % 100 < cancelPercent_) job.cancelAt = static_cast<int>(random_() % 12);
        const std::u16string& path = files_[random_() % files_.size()];
        const UINT base = kFirstMessage + static_cast<UINT>(k) * kRoles;
        job.thread = decode_(path.c_str(), GetCurrentThreadId(), nullptr, base + kFailed, base + kDone, base + kBlock,
                             base + kFormat, 0);
        return job.thread != nullptr;
    }

    void Handle(const MSG& msg) {
        if (msg.message < kFirstMessage) return;
        Job& job = jobs_[(msg.message - kFirstMessage) / kRoles];
        const UINT role = (msg.message - kFirstMessage) % kRoles;
        if (role == kFailed || role == kDone) {
            job.finals += role == kDone ? 1 : 100;  // both kinds counted, told apart in Finish
            return;
        }
        auto* block = reinterpret_cast<PcmBlock*>(msg.wParam);
        if (role == kBlock) ++job.blocks;
        if (job.cancelAt == (role == kBlock ? job.blocks : 0)) {
            block->cancel = 1;
            job.cancelled = true;
        }
        SetEvent(block->readyEvent);
    }

    static void Finish(Job& job, Tally& tally) {
        CloseHandle(job.thread);
        job.thread = nullptr;
        const int done = job.finals % 100, failed = job.finals / 100;
        tally.done += done;
        tally.failed += failed;
        tally.cancelled += job.cancelled;
        if (done + failed == 0) ++tally.silent;
        // Exactly one final message, or at most one once the job was told to stop.
        if (done + failed > 1 || (!job.cancelled && done + failed != 1)) ++tally.broken;
    }

    ZorvDecodeFn decode_;
    std::vector<std::u16string> files_;
    std::vector<Job> jobs_;
    unsigned cancelPercent_;
    std::mt19937 random_{20240611};
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::fprintf(stderr, "usage: %s JOBS PARALLEL CANCEL_PERCENT FILE...\n", argv[0]);
        return 2;
    }
    std::vector<std::u16string> files;
    for (int i = 4; i < argc; ++i) files.emplace_back(argv[i], argv[i] + std::string(argv[i]).size());
    HMODULE module = LoadLibraryW(u"zorv_aac.dll");
    auto decode = module ? reinterpret_cast<ZorvDecodeFn>(GetProcAddress(module, "Decode")) : nullptr;
    if (decode == nullptr) {
        std::fprintf(stderr, "zorv_soak: cannot load the decoder module\n");
        return 2;
    }
    Soak soak(decode, files, static_cast<unsigned>(std::atoi(argv[2])), static_cast<unsigned>(std::atoi(argv[3])));
    soak.Run(static_cast<unsigned>(files.size()) * 4);  // warm-up: every file loaded, caches filled
    const Usage before = Measure();
    const auto start = std::chrono::steady_clock::now();
    const Tally t = soak.Run(static_cast<unsigned>(std::atoi(argv[1])));
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const Usage after = Measure();
    std::printf("soak: %s jobs, %s at once, %s %% to cancel, %zu files, %.1f s\n", argv[1], argv[2], argv[3],
                files.size(), seconds);
    std::printf("soak: done %u, failed %u, silent %u (cancelled %u), protocol breaks %u\n", t.done, t.failed,
                t.silent, t.cancelled, t.broken);
    std::printf("soak: resident %ld -> %ld KiB, heap in use %ld -> %ld KiB, descriptors %zu -> %zu, threads %zu -> %zu\n",
                before.residentKiB, after.residentKiB, before.heapKiB, after.heapKiB, before.descriptors,
                after.descriptors, before.threads, after.threads);
    // Resident memory moves by tens of MiB with the allocator's arenas (which jobs ran last, on
    // which threads), so the leak check is on the heap in use: one leaked block per thousand jobs
    // would show.
    const bool ok = t.broken == 0 && after.descriptors == before.descriptors && after.threads == before.threads &&
                    after.heapKiB <= before.heapKiB + 64;
    std::printf("soak: %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
