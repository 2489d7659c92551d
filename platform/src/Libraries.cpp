// LoadLibraryW over dlopen. A module named "X.dll" is the shared object libx.so (lower case). A bare name is
// looked for first beside the running program (where the host keeps its modules), then along
// the loader's usual path; a name with a directory is taken from that directory only.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <string>

#include "KernelObject.h"
#include "Utf.h"

using namespace zorv::win32;

namespace {

std::string SharedObjectName(const std::string& name) {
    std::string base = name;
    if (base.size() > 4) {
        std::string ext = base.substr(base.size() - 4);
        for (auto& ch : ext) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        if (ext != ".dll") return name;  // not a Windows module name: use as given
        base = base.substr(0, base.size() - 4);
    }
    // Windows module names are case-insensitive; ours are installed in lower case.
    for (auto& ch : base) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    return "lib" + base + ".so";
}

std::string ProgramDirectory() {
    char buffer[4096];
    ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) return "";
    std::string path(buffer, static_cast<size_t>(n));
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

bool IsFile(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

extern "C" {

HMODULE LoadLibraryW(LPCWSTR fileName) {
    if (fileName == nullptr || fileName[0] == 0) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    const std::string name = ToUtf8(fileName);
    const size_t slash = name.rfind('/');
    void* module = nullptr;
    if (slash != std::string::npos) {
        module = ::dlopen((name.substr(0, slash + 1) + SharedObjectName(name.substr(slash + 1))).c_str(),
                          RTLD_NOW | RTLD_LOCAL);
    } else {
        const std::string soName = SharedObjectName(name);
        const std::string besideProgram = ProgramDirectory() + "/" + soName;
        if (IsFile(besideProgram)) module = ::dlopen(besideProgram.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!module) module = ::dlopen(soName.c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    if (!module) SetLastError(ERROR_MOD_NOT_FOUND);
    return module;
}

FARPROC GetProcAddress(HMODULE module, LPCSTR procName) {
    if (module == nullptr || procName == nullptr) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    void* symbol = ::dlsym(module, procName);
    if (!symbol) SetLastError(ERROR_PROC_NOT_FOUND);
    return symbol;
}

BOOL FreeLibrary(HMODULE module) { return module != nullptr && ::dlclose(module) == 0 ? TRUE : FALSE; }

}  // extern "C"
