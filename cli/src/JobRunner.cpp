#include "JobRunner.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "TrackInfo.h"
#include "Win32Api.h"
#include "WavWriter.h"

namespace {

std::atomic<bool> interruptRequested{false};

// Message ids: each job slot gets four consecutive ids; one more id says "a job thread ended".
constexpr UINT kThreadEndedMessage = WM_APP + 1;
constexpr UINT kFirstJobMessage = WM_APP + 16;
enum Role : UINT { kFailed = 0, kDone = 1, kBlock = 2, kFormat = 3, kRoles = 4 };

struct Slot {
    size_t input = 0;
    bool busy = false;
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
    WPARAM slot;
};

// Waits for a job thread to end and tells the host thread: a job that ends without a final
// message (after a cancel, or when a hand-over found nothing to start) is noticed this way.
DWORD WINAPI WatchJobThread(LPVOID parameter) {
    std::unique_ptr<WatchRequest> request(static_cast<WatchRequest*>(parameter));
    WaitForSingleObject(request->jobThread, INFINITE);
    PostThreadMessageW(request->hostThreadId, kThreadEndedMessage, request->slot, 0);
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
    return !path.empty() && access((path + "/.").c_str(), F_OK) == 0;
}

class Runner {
public:
    Runner(const Options& options, ZorvDecodeFn decode) : options_(options), decode_(decode) {}

    RunSummary Run() {
        MSG msg;
        PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // creates this thread's queue
        hostThreadId_ = GetCurrentThreadId();
        unsigned parallel = options_.jobs;
        if (parallel == 0) {
            long cores = sysconf(_SC_NPROCESSORS_ONLN);
            parallel = cores > 0 ? static_cast<unsigned>(cores) : 1;
        }
        if (options_.output == "-" && parallel > 1) parallel = 1;  // one stream on standard output
        slots_.resize(parallel);
        for (auto& s : slots_) s = std::make_unique<Slot>();
        progressBar_ = !options_.quiet && !options_.info && isatty(STDERR_FILENO);

        size_t active = 0;
        for (;;) {
            while (!interruptRequested && next_ < options_.inputs.size() && active < slots_.size()) {
                if (Start(next_++)) ++active;
            }
            if (active == 0) break;
            if (GetMessageW(&msg, nullptr, 0, 0) <= 0) break;
            if (msg.message == kThreadEndedMessage) {
                Finish(*slots_[msg.wParam]);
                --active;
                continue;
            }
            if (msg.message < kFirstJobMessage) continue;
            const size_t index = (msg.message - kFirstJobMessage) / kRoles;
            if (index >= slots_.size() || !slots_[index]->busy) continue;
            Handle(*slots_[index], (msg.message - kFirstJobMessage) % kRoles, msg.wParam);
        }
        if (progressBar_ && drewProgress_) std::fprintf(stderr, "\r\033[K");
        summary_.interrupted = interruptRequested.load();
        return summary_;
    }

private:
    bool Start(size_t input) {
        size_t index = 0;
        while (slots_[index]->busy) ++index;
        auto& slot = slots_[index];
        slot = std::make_unique<Slot>();
        slot->input = input;
        slot->outputPath = OutputPathFor(options_.inputs[input]);
        slot->startValue = options_.hasStart ? static_cast<uint64_t>(std::llround(options_.startSeconds * 1e7)) : 0;
        const UINT base = kFirstJobMessage + static_cast<UINT>(index) * kRoles;
        const std::u16string path = ToUtf16(options_.inputs[input]);
        HANDLE thread = decode_(path.c_str(), hostThreadId_, options_.hasStart ? &slot->startValue : nullptr,
                                base + kFailed, base + kDone, base + kBlock, base + kFormat, options_.trackNumber);
        if (thread == nullptr) {
            std::fprintf(stderr, "zorv-decode: %s: the decoder could not start a job\n", options_.inputs[input].c_str());
            ++summary_.failed;
            return false;
        }
        auto* request = new WatchRequest{thread, hostThreadId_, index};
        slot->watcher = CreateThread(nullptr, 0, WatchJobThread, request, 0, nullptr);
        if (slot->watcher == nullptr) delete request;  // this job is then finished at its final message
        slot->thread = thread;
        slot->busy = true;
        return true;
    }

    std::string OutputPathFor(const std::string& input) const {
        const std::string extension = options_.format == OutputFormat::Raw ? ".pcm" : ".wav";
        if (options_.output == "-") return "-";
        if (options_.output.empty()) return ReplaceExtension(input, extension);
        if (options_.inputs.size() > 1 || IsDirectory(options_.output))
            return options_.output + "/" + ReplaceExtension(BaseName(input), extension);
        return options_.output;
    }

    void Handle(Slot& slot, UINT role, WPARAM wParam) {
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
                    return;
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
                    return;
                }
                if (!slot.writer.Open(slot.outputPath, options_.format == OutputFormat::Raw, slot.format)) {
                    std::fprintf(stderr, "zorv-decode: cannot write %s\n", slot.outputPath.c_str());
                    slot.outputError = true;
                    Cancel(slot, *block);
                    return;
                }
                slot.writerOpen = true;
                Continue(slot, *block);
                return;
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
                    std::fprintf(stderr, "zorv-decode: cannot write %s\n", slot.outputPath.c_str());
                    slot.outputError = true;
                    Cancel(slot, *block);
                    return;
                }
                DrawProgress(input, block->progress);
                Continue(slot, *block);
                return;
            }
            case kDone:
            case kFailed:
                (role == kDone ? slot.done : slot.failed) = true;
                if (slot.watcher == nullptr) {
                    WaitForSingleObject(slot.thread, INFINITE);
                    PostThreadMessageW(hostThreadId_, kThreadEndedMessage, IndexOf(slot), 0);
                }
                return;
            default: return;
        }
    }

    WPARAM IndexOf(const Slot& slot) const {
        for (size_t i = 0; i < slots_.size(); ++i)
            if (slots_[i].get() == &slot) return i;
        return 0;
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
        if (slot.writerOpen && !slot.writer.Finish()) {
            std::fprintf(stderr, "zorv-decode: cannot write %s\n", slot.outputPath.c_str());
            slot.outputError = true;
        }
        if (slot.outputError) {
            ++summary_.outputErrors;
        } else if (options_.info) {
            // The track list helps pick a track even when the chosen one cannot be decoded.
            if (slot.infoText.empty()) slot.infoText = input + ": no format announced\n";
            std::fputs((slot.infoText + DescribeSoundTracks(input)).c_str(), stdout);
            std::fflush(stdout);
            if (!slot.cancelled) {
                std::fprintf(stderr, "zorv-decode: %s: not a file this decoder can read\n", input.c_str());
                ++summary_.failed;
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
            ++summary_.failed;
        }
        slot.busy = false;
    }

    void DrawProgress(const std::string& input, double percent) {
        if (!progressBar_) return;
        const auto now = std::chrono::steady_clock::now();
        if (drewProgress_ && now - lastDraw_ < std::chrono::milliseconds(100)) return;
        lastDraw_ = now;
        drewProgress_ = true;
        const double clamped = percent < 0 ? 0 : percent > 100 ? 100 : percent;
        const int filled = static_cast<int>(clamped / 100.0 * 30);
        std::fprintf(stderr, "\r[%.*s%*s] %5.1f%%  %s\033[K", filled, "==============================",
                     30 - filled, "", clamped, BaseName(input).c_str());
    }

    const Options& options_;
    ZorvDecodeFn decode_;
    DWORD hostThreadId_ = 0;
    std::vector<std::unique_ptr<Slot>> slots_;
    size_t next_ = 0;
    RunSummary summary_;
    bool progressBar_ = false;
    bool drewProgress_ = false;
    std::chrono::steady_clock::time_point lastDraw_{};
};

}  // namespace

std::u16string ToUtf16(const std::string& utf8) {
    int n = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
    std::u16string out(static_cast<size_t>(n > 0 ? n : 1), u'\0');
    if (n > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, &out[0], n);
    out.resize(out.empty() ? 0 : out.size() - 1);
    return out;
}

void RequestInterrupt() { interruptRequested = true; }

RunSummary RunAllJobs(const Options& options, ZorvDecodeFn decode) { return Runner(options, decode).Run(); }
