// zorv-decode: decodes files through the zorv_aac module, as the host application does.
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "JobRunner.h"
#include "Options.h"
#include "Win32Api.h"
#include "tarnbase.h"

namespace {

void OnInterrupt(int) { RequestInterrupt(); }

int Run(int argc, char** argv) {
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

#ifdef _WIN32
    std::signal(SIGINT, OnInterrupt);
#else
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
#endif

    const RunSummary summary = RunAllJobs(options, decode);
    // The module stays loaded: job threads of ours may still be returning.
    if (summary.outputErrors > 0) return 2;
    if (summary.interrupted) return 130;
    return summary.failed > 0 ? 1 : 0;
}

}  // namespace

#ifdef _WIN32
// main() would receive the arguments in the ANSI code page, which has no room for many
// characters of file names; wmain receives them whole and passes them on as UTF-8.
int wmain(int argc, wchar_t** wideArgs) {
    std::vector<std::string> args;
    for (int i = 0; i < argc; ++i) {
        const int n = WideCharToMultiByte(CP_UTF8, 0, wideArgs[i], -1, nullptr, 0, nullptr, nullptr);
        std::string arg(static_cast<size_t>(n > 0 ? n : 1), '\0');
        if (n > 0) WideCharToMultiByte(CP_UTF8, 0, wideArgs[i], -1, &arg[0], n, nullptr, nullptr);
        arg.pop_back();  // the terminating NUL
        args.push_back(std::move(arg));
    }
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    return Run(argc, argv.data());
}
#else
int main(int argc, char** argv) { return Run(argc, argv); }
#endif
