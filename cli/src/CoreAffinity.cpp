#include "CoreAffinity.h"

#if defined(_WIN32)
#include <windows.h>

std::vector<unsigned> AllowedCores() {
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    std::vector<unsigned> cores;
    if (!GetProcessAffinityMask(GetCurrentProcess(), &process, &system)) return cores;
    for (unsigned core = 0; core < sizeof(DWORD_PTR) * 8; ++core) {
        if ((process >> core) & 1) cores.push_back(core);
    }
    return cores;
}

bool BindCurrentThreadToCore(unsigned core) {
    return SetThreadAffinityMask(GetCurrentThread(), static_cast<DWORD_PTR>(1) << core) != 0;
}

#else
#include <pthread.h>
#include <sched.h>

std::vector<unsigned> AllowedCores() {
    cpu_set_t set;
    std::vector<unsigned> cores;
    if (sched_getaffinity(0, sizeof set, &set) != 0) return cores;
    for (unsigned core = 0; core < CPU_SETSIZE; ++core) {
        if (CPU_ISSET(core, &set)) cores.push_back(core);
    }
    return cores;
}

bool BindCurrentThreadToCore(unsigned core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    return pthread_setaffinity_np(pthread_self(), sizeof set, &set) == 0;
}

#endif
