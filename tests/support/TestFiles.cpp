#include "TestFiles.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#ifndef ZORV_TEST_GENERATED_DIR
#error "ZORV_TEST_GENERATED_DIR must be defined by the build"
#endif

namespace testfiles {

namespace {
long FileSize(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? -1 : static_cast<long>(size);
}
}  // namespace

std::string GeneratedDir() {
    static const std::string dir = [] {
        std::error_code error;
        std::filesystem::create_directories(ZORV_TEST_GENERATED_DIR, error);
        return std::string(ZORV_TEST_GENERATED_DIR);
    }();
    return dir;
}

std::string Generated(const std::string& name, const std::function<bool(const std::string& path)>& make) {
    const std::string path = GeneratedDir() + "/" + name;
    if (FileSize(path) > 0) return path;
    static std::atomic<int> counter{0};
    const std::string temp = GeneratedDir() + "/.tmp." + std::to_string(::getpid()) + "." +
                             std::to_string(counter++) + "." + name;
    if (!make(temp) || FileSize(temp) <= 0) {
        std::remove(temp.c_str());
        ADD_FAILURE() << "could not generate test file " << name;
        return "";
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        ADD_FAILURE() << "could not move test file into place: " << name;
        return "";
    }
    return path;
}

std::string FfmpegFile(const std::string& name, const std::string& args) {
    return Generated(name, [&](const std::string& path) { return Run(Ffmpeg() + " " + args + " '" + path + "'"); });
}

bool Run(const std::string& command) {
    const std::string log = ScratchDir() + "/run.log";
    const int rc = std::system((command + " >" + log + " 2>&1").c_str());
    if (rc != 0) std::fprintf(stderr, "command failed (%d): %s\n%s\n", rc, command.c_str(), Capture("cat " + log).c_str());
    return rc == 0;
}

std::string Ffmpeg() { return "ffmpeg -nostdin -hide_banner -loglevel error -y"; }
std::string Ffprobe() { return "ffprobe -v error"; }

std::vector<float> FfmpegFloats(const std::string& path) {
    const std::string name = std::filesystem::path(path).filename().string() + ".ffmpeg.f32";
    return Floats(ReadAll(FfmpegFile(name, "-c:a aac -i '" + path + "' -f f32le")));
}

std::vector<float> Floats(const std::vector<uint8_t>& bytes) {
    std::vector<float> samples(bytes.size() / 4);
    if (!samples.empty()) std::memcpy(samples.data(), bytes.data(), samples.size() * 4);
    return samples;
}

std::vector<std::map<std::string, std::string>> ProbeRecords(const std::string& args, const std::string& path) {
    std::vector<std::map<std::string, std::string>> records;
    std::stringstream lines(Capture(Ffprobe() + " " + args + " -of compact=p=0 '" + path + "'"));
    for (std::string line; std::getline(lines, line);) {
        std::stringstream parts(line);
        std::map<std::string, std::string> fields;
        for (std::string part; std::getline(parts, part, '|');) {
            const size_t eq = part.find('=');
            if (eq != std::string::npos) fields[part.substr(0, eq)] = part.substr(eq + 1);
        }
        if (!fields.empty()) records.push_back(fields);
    }
    return records;
}

std::string Capture(const std::string& command) {
    std::string out;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return out;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    if (::pclose(pipe) != 0) return "";
    return out;
}

std::string SharedFixture(const std::string& name) {
    const std::string path = std::string(ZORV_SOURCE_DIR) + "/../shared/fixtures/" + name;
    std::error_code error;
    return std::filesystem::exists(path, error) ? path : "";
}

std::string DataFile(const std::string& name) { return std::string(ZORV_SOURCE_DIR) + "/tests/data/" + name; }

std::string BinDir() { return ZORV_BIN_DIR; }

std::vector<uint8_t> ReadAll(const std::string& path) {
    std::ifstream in(std::filesystem::u8path(path), std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Paths are UTF-8; u8path keeps names outside the ANSI code page whole on Windows.
bool WriteAll(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(std::filesystem::u8path(path), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

std::string ScratchDir() {
    static const std::string dir = [] {
        const char* base = std::getenv("TMPDIR");
        const std::string prefix = std::string(base && *base ? base : "/tmp") + "/zorv-test-" +
                                   std::to_string(::getpid()) + "-";
        std::string d;
        std::error_code error;
        for (int n = 0; d.empty() && n < 1000; ++n) {
            if (std::filesystem::create_directory(prefix + std::to_string(n), error)) d = prefix + std::to_string(n);
        }
        if (d.empty()) return std::string("/tmp");
        static std::string toRemove = d;
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(toRemove, ignored);
        });
        return d;
    }();
    return dir;
}

}  // namespace testfiles
