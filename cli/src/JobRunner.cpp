#include "JobRunner.h"

#ifndef _WIN32
#include <unistd.h>
#endif

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "CoreAffinity.h"
#include "TrackInfo.h"
#include "Win32Api.h"
#include "WavWriter.h"

namespace {

std::atomic<bool> interruptRequested{false};

// Message ids of a host thread's one job; one more id says "the job thread ended".
constexpr UINT kThreadEndedMessage = WM_APP + 1;
constexpr UINT kFirstJobMessage = WM_APP + 16;
enum Role : UINT { kFailed = 0, kDone = 1, kBlock = 2, kFormat = 3, kRoles = 4 };

struct Slot {
    size_t input = 0;
    HANDLE thread = nullptr;
    HANDLE watcher = nullptr;
    uint64_t startValue = 0;   // the u64 the job reads and writes back; must outlive the job
    std::string outputPath;
    WavWriter writer;
    bool writerOpen = false;
    PcmFormat format;
    uint64_t dropBytes = 0;    // the written-back remainder, dropped from the front
    bool done = false;
    bool failed = false;
    bool cancelled = false;
    bool outputError = false;
    std::string failure;       // why the input failed, when the host itself found out
    std::string infoText;      // --info: printed whole when the job ends, so lines never interleave
};

struct WatchRequest {
    HANDLE jobThread;
    DWORD hostThreadId;
};

// Waits for a job thread to end and tells the host thread: a job that ends without a final
// message (after a cancel, or when a hand-over found nothing to start) is noticed this way.
DWORD WINAPI WatchJobThread(LPVOID parameter) {
    std::unique_ptr<WatchRequest> request(static_cast<WatchRequest*>(parameter));
    WaitForSingleObject(request->jobThread, INFINITE);
    PostThreadMessageW(request->hostThreadId, kThreadEndedMessage, 0, 0);
    return 0;
}

std::string BaseName(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string ReplaceExtension(const std::string& path, const std::string& extension) {
    size_t slash = path.rfind('/');
    size_t dot = path.rfind('.');
    if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) return path.substr(0, dot) + extension;
    return path + extension;
}

bool IsDirectory(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(std::filesystem::u8path(path), error);
}

// Guards what the host threads share: the terminal and the run's counters. Held only for a
// line of output, so a spin with a yield is all it needs.
class OutputLock {
public:
    explicit OutputLock(std::atomic<bool>& flag) : flag_(flag) {
        while (flag_.exchange(true, std::memory_order_acquire)) Sleep(0);
    }
    ~OutputLock() { flag_.store(false, std::memory_order_release); }

private:
    std::atomic<bool>& flag_;
};

// One host thread per job running at once: each takes the next input, drives its job to the
// end through its own message queue, and takes the next.
class Runner {
public:
    Runner(const Options& options, ZorvDecodeFn decode) : options_(options), decode_(decode) {}

    RunSummary Run() {
        cores_ = AllowedCores();
        unsigned parallel = options_.jobs;
        if (parallel == 0) parallel = cores_.empty() ? 1 : static_cast<unsigned>(cores_.size());
        if (options_.output == "-") parallel = 1;  // one stream on standard output
        if (parallel > options_.inputs.size()) parallel = static_cast<unsigned>(options_.inputs.size());
        // Bound to one core, the process has nothing to spread; asked not to, it leaves the
        // system's placement alone.
        bind_ = options_.affinity && cores_.size() > 1;
        progressBar_ = !options_.quiet && !options_.info && isatty(fileno(stderr));

        std::vector<HANDLE> hosts;
        for (unsigned i = 0; i < parallel; ++i) {
            HANDLE host = CreateThread(nullptr, 0, HostThread, this, 0, nullptr);
            if (host != nullptr) hosts.push_back(host);
        }
        if (hosts.empty()) HostLoop(0);  // no thread to spare: this one drives every job
        for (HANDLE host : hosts) {
            WaitForSingleObject(host, INFINITE);
            CloseHandle(host);
        }
        if (progressBar_ && drewProgress_) std::fprintf(stderr, "\r\033[K");
        RunSummary summary;
        summary.failed = failed_.load();
        summary.outputErrors = outputErrors_.load();
        summary.interrupted = interruptRequested.load();
        return summary;
    }

private:
    static DWORD WINAPI HostThread(LPVOID parameter) {
        auto* runner = static_cast<Runner*>(parameter);
        runner->HostLoop(runner->nextHost_.fetch_add(1));
        return 0;
    }

    void HostLoop(unsigned host) {
        if (bind_) BindCurrentThreadToCore(cores_[host % cores_.size()]);
        MSG msg;
        PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // creates this thread's queue
        while (!interruptRequested) {
            const size_t input = next_.fetch_add(1);
            if (input >= options_.inputs.size()) break;
            RunJob(input);
        }
    }

    void RunJob(size_t input) {
        Slot slot;
        slot.input = input;
        slot.outputPath = OutputPathFor(options_.inputs[input]);
        slot.startValue = options_.hasStart ? static_cast<uint64_t>(std::llround(options_.startSeconds * 1e7)) : 0;
        const DWORD self = GetCurrentThreadId();
        const std::basic_string<WCHAR> path = ToUtf16(options_.inputs[input]);
        constexpr UINT base = kFirstJobMessage;
        slot.thread = decode_(path.c_str(), self, options_.hasStart ? &slot.startValue : nullptr, base + kFailed,
                              base + kDone, base + kBlock, base + kFormat, options_.trackNumber);
        if (slot.thread == nullptr) {
            OutputLock lock(outputLock_);
            std::fprintf(stderr, "zorv-decode: %s: the decoder could not start a job\n", options_.inputs[input].c_str());
            ++failed_;
            return;
        }
        auto* request = new WatchRequest{slot.thread, self};
        slot.watcher = CreateThread(nullptr, 0, WatchJobThread, request, 0, nullptr);
        if (slot.watcher == nullptr) delete request;  // this job is then finished at its final message

        MSG msg;
        while (GetMessageW(&msg, nullptr, 0, 0) > 0 && msg.message != kThreadEndedMessage) {
            if (msg.message < base || msg.message >= base + kRoles) continue;
            if (Handle(slot, msg.message - base, msg.wParam)) break;
        }
        Finish(slot);
    }

    std::string OutputPathFor(const std::string& input) const {
        const std::string extension = options_.format == OutputFormat::Raw ? ".pcm" : ".wav";
        if (options_.output == "-") return "-";
        if (options_.output.empty()) return ReplaceExtension(input, extension);
        if (options_.inputs.size() > 1 || IsDirectory(options_.output))
            return options_.output + "/" + ReplaceExtension(BaseName(input), extension);
        return options_.output;
    }

    void ReportWriteError(Slot& slot) {
        OutputLock lock(outputLock_);
        std::fprintf(stderr, "zorv-decode: cannot write %s\n", slot.outputPath.c_str());
        slot.outputError = true;
    }

    // Returns true when the job is over and its thread has ended.
    bool Handle(Slot& slot, UINT role, WPARAM wParam) {
        const std::string& input = options_.inputs[slot.input];
        switch (role) {
            case kFormat: {
                auto* block = reinterpret_cast<PcmBlock*>(wParam);
                slot.format.channels = block->channels;
                slot.format.sampleRate = block->sampleRate;
                slot.format.bitsPerSample = block->bitsPerSample;
                slot.format.isFloat = block->isFloat != 0;
                if (options_.info) {
                    char line[512];
                    std::snprintf(line, sizeof line, "%s: %u channels, %u Hz, %u-bit %s%s\n", input.c_str(),
                                  block->channels, block->sampleRate, block->bitsPerSample,
                                  block->isFloat ? "float" : "integer", block->lossySource ? "" : ", lossless");
                    slot.infoText = line;
                    Cancel(slot, *block);
                    return false;
                }
                if (options_.hasStart) {
                    // The job started at a sync point this far before the requested time.
                    const double frames = static_cast<double>(slot.startValue) * block->sampleRate / 1e7;
                    slot.dropBytes = static_cast<uint64_t>(std::llround(frames)) * slot.format.FrameBytes();
                }
                if (slot.format.channels == 0 || slot.format.ContainerBytes() == 0) {
                    // Nothing can hold such PCM: the input is at fault, not the output.
                    slot.failure = "unusable format announced (" + std::to_string(slot.format.channels) +
                                   " channels, " + std::to_string(slot.format.bitsPerSample) + " bits)";
                    Cancel(slot, *block);
                    return false;
                }
                if (!slot.writer.Open(slot.outputPath, options_.format == OutputFormat::Raw, slot.format)) {
                    ReportWriteError(slot);
                    Cancel(slot, *block);
                    return false;
                }
                slot.writerOpen = true;
                Continue(slot, *block);
                return false;
            }
            case kBlock: {
                auto* block = reinterpret_cast<PcmBlock*>(wParam);
                // A 20-bit lossless block counts 2 bytes per sample but holds 3-byte samples.
                uint64_t bytes = block->byteCount;
                if (slot.format.bitsPerSample == 20) bytes = bytes / 2 * 3;
                const uint8_t* data = block->data;
                const uint64_t drop = std::min<uint64_t>(slot.dropBytes, bytes);
                slot.dropBytes -= drop;
                if (!slot.writer.Write(data + drop, static_cast<size_t>(bytes - drop))) {
                    ReportWriteError(slot);
                    Cancel(slot, *block);
                    return false;
                }
                DrawProgress(input, block->progress);
                Continue(slot, *block);
                return false;
            }
            case kDone:
            case kFailed:
                (role == kDone ? slot.done : slot.failed) = true;
                if (slot.watcher != nullptr) return false;  // its message ends the job
                WaitForSingleObject(slot.thread, INFINITE);
                return true;
            default: return false;
        }
    }

    void Continue(Slot& slot, PcmBlock& block) {
        if (interruptRequested) {
            Cancel(slot, block);
            return;
        }
        SetEvent(block.readyEvent);
    }

    void Cancel(Slot& slot, PcmBlock& block) {
        slot.cancelled = true;
        block.cancel = 1;
        SetEvent(block.readyEvent);
    }

    void Finish(Slot& slot) {
        if (slot.watcher) CloseHandle(slot.watcher);
        CloseHandle(slot.thread);
        const std::string& input = options_.inputs[slot.input];
        if (slot.writerOpen && !slot.writer.Finish()) ReportWriteError(slot);
        OutputLock lock(outputLock_);
        if (slot.outputError) {
            ++outputErrors_;
        } else if (options_.info) {
            // The track list helps pick a track even when the chosen one cannot be decoded.
            if (slot.infoText.empty()) slot.infoText = input + ": no format announced\n";
            std::fputs((slot.infoText + DescribeSoundTracks(input)).c_str(), stdout);
            std::fflush(stdout);
            if (!slot.cancelled) {
                std::fprintf(stderr, "zorv-decode: %s: not a file this decoder can read\n", input.c_str());
                ++failed_;
            }
        } else if (slot.done && !slot.failed) {
            if (!options_.quiet && slot.outputPath != "-") {
                if (progressBar_ && drewProgress_) std::fprintf(stderr, "\r\033[K");
                const uint64_t frames = slot.format.FrameBytes() ? slot.writer.DataBytes() / slot.format.FrameBytes() : 0;
                std::fprintf(stderr, "%s -> %s (%llu frames, %u ch, %u Hz)\n", input.c_str(), slot.outputPath.c_str(),
                             static_cast<unsigned long long>(frames), slot.format.channels, slot.format.sampleRate);
            }
        } else if (slot.cancelled && interruptRequested && slot.failure.empty()) {
            // interrupted: the shorter file is complete and valid
        } else {
            if (progressBar_ && drewProgress_) std::fprintf(stderr, "\r\033[K");
            std::fprintf(stderr, "zorv-decode: %s: %s\n", input.c_str(),
                         slot.failure.empty() ? "decoding failed" : slot.failure.c_str());
            ++failed_;
        }
    }

    void DrawProgress(const std::string& input, double percent) {
        if (!progressBar_) return;
        const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
        const auto interval = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                  std::chrono::milliseconds(100)).count();
        auto last = lastDraw_.load(std::memory_order_relaxed);
        if (drewProgress_ && now - last < interval) return;
        if (!lastDraw_.compare_exchange_strong(last, now)) return;  // another host thread draws this one
        OutputLock lock(outputLock_);
        drewProgress_ = true;
        const double clamped = percent < 0 ? 0 : percent > 100 ? 100 : percent;
        const int filled = static_cast<int>(clamped / 100.0 * 30);
        std::fprintf(stderr, "\r[%.*s%*s] %5.1f%%  %s\033[K", filled, "==============================",
                     30 - filled, "", clamped, BaseName(input).c_str());
    }

    const Options& options_;
    ZorvDecodeFn decode_;
    std::vector<unsigned> cores_;
    bool bind_ = false;
    std::atomic<unsigned> nextHost_{0};
    std::atomic<size_t> next_{0};
    std::atomic<unsigned> failed_{0};
    std::atomic<unsigned> outputErrors_{0};
    std::atomic<bool> outputLock_{false};
    bool progressBar_ = false;
    std::atomic<bool> drewProgress_{false};
    std::atomic<std::chrono::steady_clock::rep> lastDraw_{0};
};

}  // namespace

std::basic_string<WCHAR> ToUtf16(const std::string& utf8) {
    int n = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
    std::basic_string<WCHAR> out(static_cast<size_t>(n > 0 ? n : 1), 0);
    if (n > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, &out[0], n);
    out.resize(out.empty() ? 0 : out.size() - 1);
    return out;
}

void RequestInterrupt() { interruptRequested = true; }

RunSummary RunAllJobs(const Options& options, ZorvDecodeFn decode) { return Runner(options, decode).Run(); }
