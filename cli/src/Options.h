// Command line of zorv-decode.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class OutputFormat { Wav, Raw };

struct Options {
    std::vector<std::string> inputs;
    std::string output;          // file (one input), directory (several), "-" = standard output
    OutputFormat format = OutputFormat::Wav;
    uint32_t trackNumber = 0;
    bool hasStart = false;
    double startSeconds = 0;
    unsigned jobs = 0;           // 0: one per core
    bool affinity = true;        // bind each host thread (and so its job) to a core of its own
    bool quiet = false;
    bool info = false;
    bool drcEnabled = false;
    int loudness = -1;
    int drcEffect = 0;
    std::string modulePath;      // empty: "zorv_aac.dll" beside the program
};

// Parses argv. On error returns false with a message in `error`; `help` is set for -h.
bool ParseOptions(int argc, char** argv, Options& options, std::string& error, bool& help);

const char* UsageText();
