// Where zorv-decode runs its host threads. A job thread wakes its host for every block and
// sleeps until the host has taken it; a wake-up that crosses cores costs several times one on
// the same core, so each host thread is bound to a core of its own before it starts a job, and
// the job thread, which the module creates from the host thread, inherits that binding on Linux
// (on Windows a new thread starts with the process's affinity, so there only the host thread
// stays put).
#pragma once

#include <vector>

// The cores this process may run on, in ascending order; empty when the system will not say.
std::vector<unsigned> AllowedCores();

// Binds the calling thread to one core; false when the system refused.
bool BindCurrentThreadToCore(unsigned core);
