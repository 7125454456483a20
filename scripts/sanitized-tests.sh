#!/usr/bin/env bash
# Runs the test suite again under the sanitizers: the whole suite in an AddressSanitizer +
# UndefinedBehaviorSanitizer build (leaks checked), then the concurrent parts (the tests labelled
# "concurrency": diagnostic, toolkit, simulated backend, dispatch) in a ThreadSanitizer build.
# Any report fails the run. The address build also holds the fuzz targets (scripts/run-fuzzers.sh
# with FUZZ_BUILD_DIR=build-asan runs them). Usage: scripts/sanitized-tests.sh [address|thread|all]
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
which=${1:-all}
jobs=${JOBS:-$(nproc)}

configure() {  # build-dir sanitizers [more cmake options]
    cmake -S . -B "$1" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" -DWIFIPROFILE_SANITIZE="$2" "${@:3}" >/dev/null
}

if [ "$which" = all ] || [ "$which" = address ]; then
    echo "== AddressSanitizer + UndefinedBehaviorSanitizer: the whole suite" >&2
    # The fuzz targets are built here too (scripts/run-fuzzers.sh runs them from this build), so
    # the suite and the fuzzers share one instrumented build.
    configure build-asan address,undefined -DWIFIPROFILE_FUZZ=ON
    cmake --build build-asan -j "$jobs"
    export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:detect_stack_use_after_return=0:strict_string_checks=1"
    export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
    (cd build-asan && ctest --output-on-failure -j "$jobs")
    unset ASAN_OPTIONS UBSAN_OPTIONS
fi

if [ "$which" = all ] || [ "$which" = thread ]; then
    echo "== ThreadSanitizer: the concurrent parts" >&2
    configure build-tsan thread
    targets=$(cd build-tsan && ctest -N -L concurrency | sed -n 's/^ *Test *#[0-9]*: \([^/ ]*\).*/\1/p' | sort -u)
    # shellcheck disable=SC2086
    cmake --build build-tsan -j "$jobs" --target $targets dispatch_probe
    export TSAN_OPTIONS="suppressions=$root/scripts/tsan.supp:halt_on_error=1:second_deadlock_stack=1"
    # Address-space randomisation off where the kernel allows it: with the high-entropy setting of
    # newer kernels, this thread checker's fixed memory layout can fail to map.
    norandom=()
    setarch "$(uname -m)" -R true 2>/dev/null && norandom=(setarch "$(uname -m)" -R)
    (cd build-tsan && "${norandom[@]}" ctest --output-on-failure -j "$jobs" -L concurrency)
fi
