# Front door: `make demo` and `make test` work on a fresh machine.
SANITIZE ?=
JOBS ?= $(shell nproc)
# A CTest name filter (regular expression); empty runs every test.
TESTS ?=

ifeq ($(SANITIZE),)
BUILD_DIR ?= build
SAN_FLAGS :=
else
BUILD_DIR ?= build-$(subst $(comma),-,$(SANITIZE))
SAN_FLAGS := -DVIDEODEVICE_SANITIZE=$(SANITIZE)
endif
comma := ,

# `make fuzz`: libFuzzer targets built with clang in their own folder, each run
# FUZZ_SECONDS seconds on a scratch copy of its seed corpus in fuzz/corpus/.
FUZZ_SECONDS ?= 60
FUZZ_DIR ?= build-fuzz
FUZZ_TARGETS ?= convert2d convert3d putimage device imagefile

.PHONY: all deps configure build test soak demo install clean fuzz bench

all: build

deps:
	@./scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(SAN_FLAGS) > /dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@cd $(BUILD_DIR) && TSAN_OPTIONS="suppressions=$(CURDIR)/tests/tsan.supp $(TSAN_OPTIONS)" \
		ctest --output-on-failure -j $(JOBS) $(if $(TESTS),-R '$(TESTS)')

# The concurrency soak for as long as asked, reporting every few seconds.
SECONDS ?= 60
soak: build
	@TSAN_OPTIONS="suppressions=$(CURDIR)/tests/tsan.supp $(TSAN_OPTIONS)" \
		$(BUILD_DIR)/tests/stress_soak --seconds $(SECONDS) --report-every 5

demo: build
	@$(BUILD_DIR)/tools/videodevice demo --out out/demo
	@echo "Demo pictures are in out/demo/"

# Only the library, lumo, the tool's picture loading and the fuzzers are built.
fuzz: deps
	@CXX=clang++ cmake -S . -B $(FUZZ_DIR) -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
		-DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_SHARED_LIBS=OFF -DVIDEODEVICE_FUZZ=ON \
		-DVIDEODEVICE_BUILD_TESTS=OFF -DVIDEODEVICE_BUILD_TOOLS=OFF \
		-DVIDEODEVICE_BUILD_BENCH=OFF > /dev/null
	@cmake --build $(FUZZ_DIR) -j $(JOBS) --target fuzzers
	@./fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# `make bench`: the benchmark program alone, optimised, in its own folder (so
# the test folders are never rebuilt), run once on one thread; it writes the
# performance table and prints its path. BENCH_ARGS passes Google Benchmark
# flags, e.g. BENCH_ARGS=--benchmark_filter=e2e.
BENCH_DIR ?= build-bench
BENCH_TABLE ?= $(CURDIR)/out/bench/performance.md
BENCH_ARGS ?=
bench: deps
	@cmake -S . -B $(BENCH_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release \
		-DVIDEODEVICE_BUILD_TESTS=OFF -DVIDEODEVICE_BUILD_TOOLS=OFF > /dev/null
	@cmake --build $(BENCH_DIR) -j $(JOBS) --target videodevice_bench
	@$(BENCH_DIR)/bench/videodevice_bench --table=$(BENCH_TABLE) $(BENCH_ARGS)

install: build
	@cmake --install $(BUILD_DIR) --prefix $(or $(PREFIX),install)

clean:
	@rm -rf build build-*
