// A host for tests: runs decoding jobs the way the real host does (messages on this thread,
// the event signalled after each rendezvous) and records everything the job does.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Win32Api.h"
#include "zorv/decode.h"

namespace testhost {

struct Message {
    UINT id;
    WPARAM wParam;
    LPARAM lParam;
};

enum class Final { None, Done, Failed };

// An unpacked copy of a PcmBlock with the same field names, safe to pass to assertions (which
// bind references, and references to members of the packed record are misaligned).
struct BlockCopy {
    uint8_t* data = nullptr;
    uint32_t byteCount = 0;
    double progress = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    uint32_t bitsPerSample = 0;
    uint32_t isFloat = 0;
    void* readyEvent = nullptr;
    uint8_t cancel = 0;
    void* jobThread = nullptr;
    uint8_t lossySource = 0;
};

struct JobRecord {
    bool started = false;              // Decode returned a thread handle
    std::vector<Message> messages;     // every message of this job, in arrival order
    bool gotFormat = false;
    BlockCopy format;                  // copy of the record at msgFormat
    uint64_t startValueAtFormat = 0;   // *startPosition when msgFormat arrived
    std::vector<uint8_t> pcm;          // every block's bytes, concatenated
    std::vector<uint32_t> blockSizes;
    std::vector<double> progress;
    std::vector<BlockCopy> blocks;     // copy of the record at each msgBlock
    Final final = Final::None;
    int finalMessages = 0;             // msgDone + msgFailed received
    DWORD exitCode = 0xFFFFFFFFu;      // the job thread's exit code
    bool threadEnded = false;          // the thread handle became signalled
};

struct RunOptions {
    uint32_t trackNumber = 0;
    bool useStartPosition = false;     // pass a pointer to startValue (else null)
    uint64_t startValue = 0;           // 100 ns units
    int cancelAt = -1;                 // -1 never; 0 on msgFormat; n on the n-th msgBlock (1-based)
    ZorvDecodeFn decode = nullptr;     // default: the Decode linked into the test program
    DWORD timeoutMs = 120000;          // a job that takes longer fails the test
};

// Runs one job on `path` (UTF-8) to its end.
JobRecord RunJob(const std::string& path, const RunOptions& options = {});

// Runs several jobs at once from this thread, each with its own message ids.
std::vector<JobRecord> RunJobs(const std::vector<std::string>& paths, const RunOptions& options = {});

// Message ids the test host gives job k: failed, done, block, format.
UINT MessageId(size_t job, int role);

// Interleaved samples of a record's PCM.
std::vector<float> AsFloats(const JobRecord& record);
std::vector<int32_t> AsInts(const JobRecord& record);  // by format.bitsPerSample (16, 24, 32)

}  // namespace testhost
