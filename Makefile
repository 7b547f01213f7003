# Front door of AudAtoms. Every target installs missing system packages first.
#   make test           build and run the whole test suite
#   make test-sanitize  the same under AddressSanitizer + UndefinedBehaviorSanitizer
#   make test-tsan      the threaded tests under ThreadSanitizer (with the player's 60-s run)
#   make bench          build and run the benchmarks in the default build and in Release,
#                       the render beside FFmpeg, and print one table of every aim
#   make fuzz           run every fuzz target for FUZZ_SECONDS each (clang), one at a time
#   make fuzz-long      the same, FUZZ_SECONDS (default 1800) each, all cores at once
#   make demo           build everything and run the audatoms demo
#   make lint           format check (clang-format) and clang-tidy of the library
# In CI (CI=true in the environment) compiler warnings are errors; WERROR=ON|OFF overrides.
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60
GENERATOR := -G Ninja
CTEST := ctest --output-on-failure -j$(JOBS) --timeout 900
# The sanitizer builds keep line tables only (-g1): reports still name file and line, and
# the builds take a good deal less time than with full debug information.
SANITIZER_FLAGS := -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG"
WERROR ?= $(if $(CI),ON,OFF)

.PHONY: all deps build test test-sanitize test-tsan bench fuzz fuzz-build fuzz-long demo lint install clean

all: build

deps:
	@scripts/install-deps.sh

build: deps
	cmake -S . -B build $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DAUDATOMS_WERROR=$(WERROR)
	cmake --build build -j$(JOBS)

test: build
	cd build && $(CTEST)

test-sanitize: deps
	cmake -S . -B build-asan $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DAUDATOMS_SANITIZE=address,undefined -DAUDATOMS_BUILD_TOOLS=ON -DAUDATOMS_WERROR=$(WERROR) $(SANITIZER_FLAGS)
	cmake --build build-asan -j$(JOBS)
	cd build-asan && ASAN_OPTIONS=halt_on_error=1:detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 $(CTEST)

test-tsan: deps
	cmake -S . -B build-tsan $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DAUDATOMS_SANITIZE=thread -DAUDATOMS_BUILD_TOOLS=ON -DAUDATOMS_WERROR=$(WERROR) $(SANITIZER_FLAGS)
	cmake --build build-tsan -j$(JOBS) --target audatoms_threaded_tests
	cd build-tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 $(CTEST) -L threaded

bench:
	@scripts/install-deps.sh bench
	cmake -S . -B build-bench $(GENERATOR) -DCMAKE_BUILD_TYPE=Release \
	  -DAUDATOMS_BUILD_BENCH=ON -DAUDATOMS_BUILD_TESTS=OFF -DAUDATOMS_BUILD_TOOLS=ON
	cmake --build build-bench -j$(JOBS)
	cmake -S . -B build-bench-default $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DAUDATOMS_BUILD_BENCH=ON -DAUDATOMS_BUILD_TESTS=OFF -DAUDATOMS_BUILD_TOOLS=ON
	cmake --build build-bench-default -j$(JOBS)
	scripts/run-benchmarks.sh build-bench-default build-bench

fuzz-build: deps
	CC=clang CXX=clang++ cmake -S . -B build-fuzz $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DAUDATOMS_BUILD_FUZZ=ON -DAUDATOMS_SANITIZE=address,undefined \
	  -DAUDATOMS_BUILD_TESTS=OFF -DAUDATOMS_BUILD_TOOLS=OFF
	cmake --build build-fuzz -j$(JOBS)

fuzz: fuzz-build
	scripts/run-fuzzers.sh build-fuzz/fuzz $(FUZZ_SECONDS) 1

fuzz-long: fuzz-build
	scripts/run-fuzzers.sh build-fuzz/fuzz $(if $(filter file,$(origin FUZZ_SECONDS)),1800,$(FUZZ_SECONDS)) $(JOBS)

demo: build
	@if [ -x build/tools/audatoms ]; then build/tools/audatoms demo --out demo-out; \
	else echo "make demo: the audatoms command-line tool has not been built yet"; fi

lint: deps
	scripts/lint.sh

install: build
	cmake --install build

clean:
	rm -rf build build-asan build-tsan build-bench build-bench-default build-fuzz build-lint
