# The two commands of the README, and a few more. Run as root on Debian 12: set-up installs
# whatever is missing first.
JOBS ?= $(shell nproc)
BUILD ?= build
CMAKE_FLAGS ?=

.PHONY: all setup configure build demo test test-fast test-asan fuzz fuzz-smoke fuzz-long bench clean

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

# Every test: the suite in the normal build, again under address/leak/UB sanitizers, and a short
# run of every fuzz target over the test files.
test: test-fast test-asan fuzz-smoke

test-fast: build
	@cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

test-asan: setup
	@cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZORV_SANITIZE=ON -DZORV_BUILD_BENCH=OFF > /dev/null
	@ninja -C build-asan -j$(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j$(JOBS)

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

clean:
	rm -rf build build-asan build-fuzz build-bench
