# make run   builds tnm and lists the sample objects in examples/ (ARGS="..." for your own)
# make test  builds everything and runs every test through CTest
# make asan-test  the same with AddressSanitizer and UndefinedBehaviorSanitizer
# make bench times tnm against llvm-nm and GNU nm on real and synthetic
#            libraries and writes bench/results.md (BENCH_ARGS="--reps 3" ...)
# make fuzz  builds the libFuzzer targets with clang and runs each for a bounded
#            time, FUZZ_SECONDS (180) in all; fails on any crash, hang or report

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
ARGS       ?= $(sort $(wildcard examples/*.o examples/*.obj examples/*.a examples/*.so examples/*.txt examples/*.elf))

.PHONY: all deps build run test asan-test bench fuzz clean install

all: build

deps:
	@scripts/install-deps

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

run: build
	-$(BUILD)/bin/tnm $(ARGS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

$(ASAN_BUILD)/build.ninja: | deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTNM_SANITIZE=ON

asan-test: $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

bench:
	bench/run-bench $(BENCH_ARGS)

fuzz:
	fuzz/run-fuzz

install: build
	cmake --install $(BUILD)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
