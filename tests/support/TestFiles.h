// Files for tests: generated material (made once per build tree and reused), the optional
// real-world fixtures beside the project, and small file helpers.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testfiles {

// Directory for material generated at test time (inside the build tree).
std::string GeneratedDir();

// Returns GeneratedDir()/name, creating it first when absent: `make` receives a temporary path
// in the same directory and must write the file there (the result is renamed into place, so
// concurrent test processes never see half a file). Fails the calling test (ADD_FAILURE) and
// returns "" when `make` returns false or writes nothing.
std::string Generated(const std::string& name, const std::function<bool(const std::string& path)>& make);

// GeneratedDir()/name made by `ffmpeg ARGS OUTPUT` (the muxer follows the name's extension
// unless ARGS give one), as Generated does.
std::string FfmpegFile(const std::string& name, const std::string& args);

// Runs a shell command; true when it exits 0. Output goes to the test log only on failure.
bool Run(const std::string& command);

// ffmpeg/ffprobe invocations with the quiet flags every test wants.
std::string Ffmpeg();   // "ffmpeg -nostdin -hide_banner -loglevel error -y"
std::string Ffprobe();  // "ffprobe -v error"

// ffmpeg's own AAC decode of `path` (edit lists applied) as interleaved floats, kept beside the
// generated material under the file's name (so `path` must be generated material too).
std::vector<float> FfmpegFloats(const std::string& path);

// Little-endian 32-bit floats, as f32le files and the jobs' float blocks hold them.
std::vector<float> Floats(const std::vector<uint8_t>& bytes);

// ffprobe's records ("-of compact=p=0" lines: key=value|key=value) for `args` on `path`.
std::vector<std::map<std::string, std::string>> ProbeRecords(const std::string& args, const std::string& path);

// Output of a shell command (stdout), or "" on failure.
std::string Capture(const std::string& command);

// Path of a real-world fixture in ../shared/fixtures, or "" when that folder or file is absent
// (tests then GTEST_SKIP()).
std::string SharedFixture(const std::string& name);

// Path of a committed file under tests/data.
std::string DataFile(const std::string& name);

// Paths of the build's programs (build/bin).
std::string BinDir();

std::vector<uint8_t> ReadAll(const std::string& path);
bool WriteAll(const std::string& path, const std::vector<uint8_t>& bytes);

// A fresh empty directory under the system temporary directory, removed at process exit.
std::string ScratchDir();

}  // namespace testfiles
