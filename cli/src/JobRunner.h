// Drives decoding jobs the way the host application does: one message queue on this thread,
// the module's Decode per input, a rendezvous per block, several jobs at once.
#pragma once

#include <string>

#include "Options.h"
#include "Win32Api.h"
#include "zorv/decode.h"

struct RunSummary {
    unsigned failed = 0;
    unsigned outputErrors = 0;
    bool interrupted = false;
};

RunSummary RunAllJobs(const Options& options, ZorvDecodeFn decode);

// UTF-8 (the command line) to the UTF-16 paths the module takes.
std::basic_string<WCHAR> ToUtf16(const std::string& utf8);

// Set from the SIGINT handler: cancel at the next hand-over, start nothing new.
void RequestInterrupt();
