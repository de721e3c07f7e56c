# Thin wrapper over CMake and CTest.
#   make test   builds and runs every test: a plain -Werror build, then AddressSanitizer +
#               UndefinedBehaviorSanitizer with short fuzzing runs, then ThreadSanitizer on the
#               reentrancy suite. Installs missing Debian packages first when run as root.
#   make demo   builds everything and runs ozcmc on the bundled example.
#   make bench  installs the peers (OpenCV, libyuv), builds and runs the benchmarks.
#   make fuzz   builds the libFuzzer targets and runs each for FUZZ_SECONDS.
#   make coverage  line and branch coverage of the library with gcovr.

JOBS ?= $(shell nproc)
BUILD ?= build
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
COV_BUILD ?= build-cov
CMAKE_FLAGS ?=
FUZZ_SECONDS ?= 60

# Debian packages the build, the tests, the tool, the packaging checks and the benchmarks need.
PACKAGES = cmake ninja-build g++ clang libclang-rt-14-dev ccache libgtest-dev libgmock-dev \
           libbenchmark-dev libcli11-dev nlohmann-json3-dev libpng-dev binutils valgrind gcovr \
           pkgconf abigail-tools
# The peers the resampling benchmarks compare against; only `make bench` needs them.
BENCH_PACKAGES = libopencv-dev libyuv-dev

LAUNCHER = $(shell command -v ccache >/dev/null 2>&1 && echo -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)

.PHONY: deps test test-plain test-asan test-tsan test-asan-build demo bench fuzz coverage clean

deps:
	@./scripts/install-deps.sh $(PACKAGES)

test: deps test-plain test-asan test-tsan

test-plain:
	cmake -S . -B $(BUILD) -G Ninja -DOZ_WERROR=ON $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)
	cd $(BUILD) && ctest -j $(JOBS) --output-on-failure

# The sanitizer build uses clang, so the same build also holds the libFuzzer targets; ctest runs each
# for FUZZ_CI_SECONDS on a seeded corpus.
FUZZ_CI_SECONDS ?= 20
test-asan:
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DOZ_WERROR=ON -DOZ_SANITIZE=address,undefined \
	      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DOZ_BUILD_FUZZ=ON -DOZ_FUZZ_SECONDS=$(FUZZ_CI_SECONDS) $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	      ctest -j $(JOBS) --output-on-failure

# ThreadSanitizer: only the concurrency suite.
test-tsan:
	cmake -S . -B $(TSAN_BUILD) -G Ninja -DOZ_WERROR=ON -DOZ_SANITIZE=thread -DOZ_BUILD_TOOLS=OFF \
	      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target oz_concurrency_tests
	TSAN_OPTIONS=halt_on_error=1 $(TSAN_BUILD)/tests/oz_concurrency_tests

# Long fuzzing runs: every target for FUZZ_SECONDS, corpora kept in the sanitizer build folder.
fuzz: deps
	$(MAKE) test-asan-build
	cd $(ASAN_BUILD) && cmake -DOZ_FUZZ_SECONDS=$(FUZZ_SECONDS) . >/dev/null && ctest -L fuzz -j $(JOBS) -V

test-asan-build:
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DOZ_WERROR=ON -DOZ_SANITIZE=address,undefined \
	      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DOZ_BUILD_FUZZ=ON $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)

# Line and branch coverage of the library (not the tests) with gcovr.
coverage: deps
	cmake -S . -B $(COV_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DOZ_BUILD_TOOLS=OFF \
	      -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" -DCMAKE_C_FLAGS="--coverage -fprofile-update=atomic" -DCMAKE_EXE_LINKER_FLAGS=--coverage \
	      -DCMAKE_SHARED_LINKER_FLAGS=--coverage $(CMAKE_FLAGS)
	cmake --build $(COV_BUILD) -j $(JOBS)
	cd $(COV_BUILD) && ctest -LE memcheck >/dev/null || true
	gcovr -r . $(COV_BUILD) --filter 'common/' --filter 'parser/' --filter 'records/' --filter 'lsc/' \
	      --filter 'linalg/' --filter 'resample/' --exclude-unreachable-branches --exclude-throw-branches \
	      --print-summary --txt $(COV_BUILD)/coverage.txt

# The tool on the bundled example: the info summary with the module calibration, then the rendered
# images in DEMO_DIR.
DEMO_DIR ?= $(BUILD)/demo
demo: deps
	cmake -S . -B $(BUILD) -G Ninja -DOZ_WERROR=ON $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)
	$(BUILD)/tools/ozcmc info $(BUILD)/examples/example_container.bin --nvm $(BUILD)/examples/example_calibration.bin
	$(BUILD)/tools/ozcmc render $(BUILD)/examples/example_container.bin \
	      --nvm $(BUILD)/examples/example_calibration.bin -o $(DEMO_DIR)
	@echo "The rendered images are in $(DEMO_DIR)/"

bench: deps
	@./scripts/install-deps.sh $(BENCH_PACKAGES)
	cmake -S . -B $(BUILD) -G Ninja -DOZ_BUILD_BENCH=ON $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)
	for b in $(BUILD)/bench/oz_bench_*; do $$b; done

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(COV_BUILD)
