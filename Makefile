# Thin wrapper over CMake and CTest.
#   make test   builds and runs every test twice: a plain -Werror build, then AddressSanitizer +
#               UndefinedBehaviorSanitizer. Installs missing Debian packages first when run as root.
#   make demo   builds everything and runs ozcmc on the bundled example.
#   make bench  builds and runs the benchmarks.
#   make fuzz   builds the libFuzzer targets and runs each for FUZZ_SECONDS.

JOBS ?= $(shell nproc)
BUILD ?= build
ASAN_BUILD ?= build-asan
CMAKE_FLAGS ?=
FUZZ_SECONDS ?= 60

# Debian packages the build, the tests, the tool and the benchmarks need.
PACKAGES = cmake ninja-build g++ clang libclang-rt-14-dev ccache libgtest-dev libgmock-dev \
           libbenchmark-dev libcli11-dev nlohmann-json3-dev libpng-dev binutils

LAUNCHER = $(shell command -v ccache >/dev/null 2>&1 && echo -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)

.PHONY: deps test test-plain test-asan demo bench fuzz clean

deps:
	@./scripts/install-deps.sh $(PACKAGES)

test: deps test-plain test-asan

test-plain:
	cmake -S . -B $(BUILD) -G Ninja -DOZ_WERROR=ON $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)
	cd $(BUILD) && ctest -j $(JOBS) --output-on-failure

test-asan:
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DOZ_WERROR=ON -DOZ_SANITIZE=address,undefined \
	      -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	      ctest -j $(JOBS) --output-on-failure

bench: deps
	cmake -S . -B $(BUILD) -G Ninja -DOZ_BUILD_BENCH=ON $(LAUNCHER) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)
	for b in $(BUILD)/bench/oz_bench_*; do $$b; done

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
