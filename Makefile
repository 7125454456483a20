# Quick start: `make run` runs the diagnostic on the built-in simulated device; `make test` runs the tests
# (the suite, then the suite under the sanitizers, then the fuzz targets); `make check` runs the suite only.
BUILD ?= build
JOBS ?= $(shell nproc)
ARGS ?=

.PHONY: run test check build deps configure bench format clean

run: build
	./$(BUILD)/host/wifi-profile $(ARGS)

test: check
	JOBS=$(JOBS) ./scripts/sanitized-tests.sh all
	FUZZ_BUILD_DIR=$(CURDIR)/build-asan FUZZ_BUILD_JOBS=$(JOBS) ./scripts/run-fuzzers.sh

check: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

bench: build
	./$(BUILD)/benchmarks/wifiprofile-bench

build: configure
	cmake --build $(BUILD) -j $(JOBS)

configure: deps
	@[ -f $(BUILD)/build.ninja ] || cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null

deps:
	@./scripts/install-deps.sh

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD)
