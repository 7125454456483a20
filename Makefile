# Quick start: `make run` builds the program alone and runs the diagnostic on the built-in simulated
# device; `make test` builds everything and runs the tests (the suite, the package, then the suite
# under the sanitizers, then the fuzz targets); `make check` runs the suite only; `make deb` makes
# the Debian package in dist/.
BUILD ?= build
JOBS ?= $(shell nproc)
ARGS ?=
DIST ?= dist

# One step at a time: the steps share the build folder (and debhelper reconfigures it).
.NOTPARALLEL:

.PHONY: run test check package-test deb build build-program configure deps-run deps-deb deps-test bench format clean

run: build-program
	./$(BUILD)/host/wifi-profile $(ARGS)

test: check package-test
	JOBS=$(JOBS) ./scripts/sanitized-tests.sh all
	FUZZ_BUILD_DIR=$(CURDIR)/build-asan FUZZ_BUILD_JOBS=$(JOBS) ./scripts/run-fuzzers.sh

check: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The package from the build folder's objects, then installed, run and removed again.
package-test: deb
	./scripts/package-test.sh $(DIST)

deb: deps-deb build-program
	./scripts/make-deb.sh $(BUILD) $(DIST)

bench: build
	./$(BUILD)/benchmarks/wifiprofile-bench

# Everything: the program, the tests, the fuzz targets' replays, the benchmarks.
build: deps-test configure
	@# A folder configured before the test libraries were installed finds them now.
	@grep -q '^GTest_DIR:PATH=/' $(BUILD)/CMakeCache.txt && grep -q '^benchmark_DIR:PATH=/' $(BUILD)/CMakeCache.txt \
		|| cmake $(BUILD) >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

# The host, the diagnostic plugin and their libraries: what `make run` runs and the package ships.
build-program: configure
	cmake --build $(BUILD) -j $(JOBS) --target wifi-profile

configure: deps-run
	@./scripts/configure.sh $(BUILD)

deps-run:
	@./scripts/install-deps.sh run
deps-deb: deps-run
	@./scripts/install-deps.sh deb
deps-test: deps-run
	@./scripts/install-deps.sh test

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(DIST) debian/debhelper-build-stamp debian/.debhelper debian/wifi-profile debian/files \
		debian/*.substvars debian/*.debhelper.log
