# Quick start: `make run` runs the diagnostic on the built-in simulated device; `make test` runs the tests.
BUILD ?= build
JOBS ?= $(shell nproc)
ARGS ?=

.PHONY: run test build deps configure bench format clean

run: build
	./$(BUILD)/host/wifi-profile $(ARGS)

test: build
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
