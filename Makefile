# The two commands of the README, and a few more. Run as root on Debian 12: set-up installs
# whatever is missing first.
JOBS ?= $(shell nproc)
BUILD ?= build
WINDOWS_BUILD ?= build-windows
CMAKE_FLAGS ?=

.PHONY: all setup configure build demo test test-fast test-asan test-tsan fuzz fuzz-smoke fuzz-long bench \
	clean windows test-windows dist-windows

all: build

setup:
	@if [ "$$(id -u)" = 0 ]; then bash scripts/setup-debian.sh; \
	else echo "make: not root, skipping package set-up (scripts/setup-debian.sh)"; fi

configure: setup
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) > /dev/null

build: configure
	@ninja -C $(BUILD) -j$(JOBS)

# Decodes the bundled samples and says what came out.
demo: build
	@bash scripts/demo.sh $(BUILD)

# Every test: the suite in the normal build, again under address/leak/UB sanitizers, the
# threaded parts under the thread sanitizer, a short run of every fuzz target over the test
# files, and the Windows build under Wine; then the size of the suite against the code.
test: test-fast test-asan test-tsan fuzz-smoke test-windows
	@bash scripts/test-ratio.sh

test-fast: build
	@cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

test-asan: setup
	@cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZORV_SANITIZE=ON -DZORV_BUILD_BENCH=OFF > /dev/null
	@ninja -C build-asan -j$(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j$(JOBS)

# The platform layer, the entry point, the jobs (many at once, cancelled, handed over) and
# zorv-decode's host threads under the thread sanitizer. FAAD2 and FDK AAC are uninstrumented
# system libraries: the sanitizer does not see inside them, and needs no suppression for them.
TSAN_TESTS = ^(platform|entry|alac_job|mp4_aac_job|raw_aac_job|cli)
test-tsan: setup
	@cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZORV_SANITIZE_THREAD=ON -DZORV_BUILD_BENCH=OFF > /dev/null
	@ninja -C build-tsan -j$(JOBS)
	@cd build-tsan && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
	  ctest --output-on-failure -j$(JOBS) -R '$(TSAN_TESTS)'

fuzz: setup
	@CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DZORV_BUILD_FUZZ=ON -DZORV_BUILD_TESTS=OFF -DZORV_BUILD_BENCH=OFF \
	  -DCMAKE_C_FLAGS=-fsanitize=fuzzer-no-link,address,undefined \
	  -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link,address,undefined > /dev/null
	@ninja -C build-fuzz -j$(JOBS) zorv_fuzzers

# Compiles every fuzz target and runs each briefly over the test material as seeds.
fuzz-smoke: fuzz test-fast
	@bash scripts/fuzz-smoke.sh build-fuzz $(BUILD)

# Runs every fuzz target for FUZZ_SECONDS each and reports executions and findings.
FUZZ_SECONDS ?= 600
fuzz-long: fuzz build
	@bash scripts/fuzz-long.sh build-fuzz $(BUILD) $(FUZZ_SECONDS)

bench: setup
	@cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release > /dev/null
	@ninja -C build-bench -j$(JOBS)
	@bash scripts/bench.sh build-bench

# The Windows DLL, its sibling zorv_ffmpeg.dll, the tarnbase.dll stand-in and zorv-decode.exe in
# $(WINDOWS_BUILD)/bin, cross-built with MinGW-w64. FAAD2, FDK AAC and FFmpeg are built from
# Debian's sources once per machine, into a cache outside the clone.
windows: setup
	@deps=$$(bash scripts/build-windows-deps.sh) && cmake -S . -B $(WINDOWS_BUILD) -G Ninja \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DZORV_BUILD_BENCH=OFF "-DZORV_WINDOWS_DEPS=$$deps" -DZORV_TEST_MATERIAL_DIR=$(abspath $(BUILD))/testdata \
	  -DZORV_LINUX_BIN_DIR=$(abspath $(BUILD))/bin $(CMAKE_FLAGS) > /dev/null
	@ninja -C $(WINDOWS_BUILD) -j$(JOBS)

# The Windows suite under Wine, in a Wine prefix inside the build folder. It reads the material
# the Linux suite made and compares its decodes with the Linux build's. One wineserver serves
# every test program and is stopped at the end, whatever the outcome.
test-windows: windows test-fast
	@cd $(WINDOWS_BUILD) && export WINEPREFIX=$$PWD/wine-prefix && \
	  ctest --output-on-failure -j$(JOBS); status=$$?; wineserver -k 2>/dev/null; exit $$status

# A zip for host authors: the DLLs, zorv-decode.exe, the header and README-windows.md.
dist-windows: windows
	@bash scripts/dist-windows.sh $(WINDOWS_BUILD)

clean:
	rm -rf build build-asan build-tsan build-fuzz build-bench $(WINDOWS_BUILD)
