// zorv-decode: decodes files through the zorv_aac module, as the host application does.
#include <csignal>
#include <cstdio>
#include <string>

#include "JobRunner.h"
#include "Options.h"
#include "Win32Api.h"
#include "tarnbase.h"

namespace {

void OnInterrupt(int) { RequestInterrupt(); }

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::string error;
    bool help = false;
    if (!ParseOptions(argc, argv, options, error, help)) {
        std::fprintf(stderr, "zorv-decode: %s\n%s", error.c_str(), UsageText());
        return 2;
    }
    if (help) {
        std::fputs(UsageText(), stdout);
        return 0;
    }

    TARN_SetXheAacDrcSettings(options.drcEnabled, options.loudness, options.drcEffect);

    const std::string moduleName = options.modulePath.empty() ? "zorv_aac.dll" : options.modulePath;
    HMODULE module = LoadLibraryW(ToUtf16(moduleName).c_str());
    if (module == nullptr) {
        std::fprintf(stderr, "zorv-decode: cannot load the decoder module %s\n", moduleName.c_str());
        return 2;
    }
    auto decode = reinterpret_cast<ZorvDecodeFn>(GetProcAddress(module, "Decode"));
    if (decode == nullptr) {
        std::fprintf(stderr, "zorv-decode: %s has no Decode export\n", moduleName.c_str());
        return 2;
    }

    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);

    const RunSummary summary = RunAllJobs(options, decode);
    // The module stays loaded: job threads of ours may still be returning.
    if (summary.outputErrors > 0) return 2;
    if (summary.interrupted) return 130;
    return summary.failed > 0 ? 1 : 0;
}
