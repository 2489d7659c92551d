#include "TestHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "TestFiles.h"

extern "C" HANDLE Decode(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                         UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber);

namespace testhost {

namespace {

constexpr UINT kBase = WM_APP + 0x100;
constexpr UINT kEnded = WM_APP + 0x0F;

struct Watch {
    HANDLE thread;
    DWORD host;
    size_t index;
};

DWORD WINAPI WatchThread(LPVOID p) {
    std::unique_ptr<Watch> w(static_cast<Watch*>(p));
    WaitForSingleObject(w->thread, INFINITE);
    PostThreadMessageW(w->host, kEnded, w->index, 0);
    return 0;
}

// Every field by value, in declaration order.
BlockCopy Copy(const PcmBlock& b) {
    return {b.data,    b.byteCount,  b.progress, b.channels,  b.sampleRate, b.bitsPerSample,
            b.isFloat, b.readyEvent, b.cancel,   b.jobThread, b.lossySource};
}

std::basic_string<WCHAR> Utf16(const std::string& utf8) {
    int n = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
    std::basic_string<WCHAR> out(static_cast<size_t>(n > 0 ? n : 1), 0);
    if (n > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, &out[0], n);
    out.resize(out.empty() ? 0 : out.size() - 1);
    return out;
}

}  // namespace

UINT MessageId(size_t job, int role) { return kBase + static_cast<UINT>(job) * 4 + static_cast<UINT>(role); }

std::vector<JobRecord> RunJobs(const std::vector<std::string>& paths, const RunOptions& options) {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    const DWORD host = GetCurrentThreadId();
    ZorvDecodeFn decode = options.decode ? options.decode : reinterpret_cast<ZorvDecodeFn>(&Decode);

    std::vector<JobRecord> records(paths.size());
    std::vector<HANDLE> threads(paths.size(), nullptr);
    std::vector<std::unique_ptr<uint64_t>> starts(paths.size());
    std::vector<int> blocksSeen(paths.size(), 0);
    size_t running = 0;

    for (size_t k = 0; k < paths.size(); ++k) {
        starts[k] = std::make_unique<uint64_t>(options.startValue);
        // The caller may free its path as soon as Decode returns: hand it a copy we then wipe.
        std::basic_string<WCHAR> path = Utf16(paths[k]);
        threads[k] = decode(path.c_str(), host, options.useStartPosition ? starts[k].get() : nullptr,
                            MessageId(k, 0), MessageId(k, 1), MessageId(k, 2), MessageId(k, 3), options.trackNumber);
        std::fill(path.begin(), path.end(), '#');
        records[k].started = threads[k] != nullptr;
        if (!threads[k]) continue;
        HANDLE watcher = CreateThread(nullptr, 0, WatchThread, new Watch{threads[k], host, k}, 0, nullptr);
        CloseHandle(watcher);  // the watcher runs on; we only need its message
        ++running;
    }

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(options.timeoutMs);
    while (running > 0) {
        if (!PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "jobs did not end within " << options.timeoutMs << " ms";
                break;
            }
            Sleep(1);
            continue;
        }
        if (msg.message == kEnded) {
            JobRecord& r = records[msg.wParam];
            r.threadEnded = true;
            GetExitCodeThread(threads[msg.wParam], &r.exitCode);
            CloseHandle(threads[msg.wParam]);
            --running;
            continue;
        }
        if (msg.message < kBase) continue;
        const size_t k = (msg.message - kBase) / 4;
        const int role = static_cast<int>((msg.message - kBase) % 4);
        if (k >= records.size()) continue;
        JobRecord& r = records[k];
        r.messages.push_back({msg.message, msg.wParam, msg.lParam});
        if (role == 0 || role == 1) {
            ++r.finalMessages;
            r.final = role == 1 ? Final::Done : Final::Failed;
            continue;
        }
        auto* block = reinterpret_cast<PcmBlock*>(msg.wParam);
        bool cancel = false;
        if (role == 3) {
            r.gotFormat = true;
            r.format = Copy(*block);
            r.startValueAtFormat = *starts[k];
            cancel = options.cancelAt == 0;
        } else {
            ++blocksSeen[k];
            uint64_t bytes = block->byteCount;
            if (r.format.bitsPerSample == 20) bytes = bytes / 2 * 3;  // 3-byte samples, 2-byte count
            // The record is packed: read its fields by value, never bind references to them.
            const uint8_t* data = block->data;
            const uint32_t byteCount = block->byteCount;
            const double progress = block->progress;
            r.pcm.insert(r.pcm.end(), data, data + bytes);
            r.blockSizes.push_back(byteCount);
            r.progress.push_back(progress);
            r.blocks.push_back(Copy(*block));
            cancel = options.cancelAt == blocksSeen[k];
        }
        if (cancel) block->cancel = 1;
        SetEvent(block->readyEvent);
    }
    return records;
}

JobRecord RunJob(const std::string& path, const RunOptions& options) { return RunJobs({path}, options).front(); }

std::vector<float> AsFloats(const JobRecord& record) { return testfiles::Floats(record.pcm); }

std::vector<int32_t> AsInts(const JobRecord& record) {
    std::vector<int32_t> out;
    const uint32_t bits = record.format.bitsPerSample;
    const size_t width = bits == 16 ? 2 : bits == 32 ? 4 : 3;
    const uint8_t* p = record.pcm.data();
    for (size_t i = 0; i + width <= record.pcm.size(); i += width) {
        uint32_t v = 0;
        for (size_t b = 0; b < width; ++b) v |= static_cast<uint32_t>(p[i + b]) << (8 * b);
        const int shift = 32 - static_cast<int>(width) * 8;
        out.push_back(static_cast<int32_t>(v << shift) >> shift);
    }
    return out;
}

}  // namespace testhost
