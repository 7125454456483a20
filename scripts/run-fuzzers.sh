#!/usr/bin/env bash
# Builds the fuzz targets with clang, AddressSanitizer, UndefinedBehaviorSanitizer and libFuzzer in
# build-fuzz/, then runs each target for SECONDS (default 60, or FUZZ_SECONDS). The committed seeds
# are read, never written: each target works on a temporary corpus. Exits non-zero when any target
# found a crash, a leak, undefined behaviour, a timeout or ran out of memory, naming the input it
# saved and the command that reproduces it. See docs/fuzzing.md.
#
#   scripts/run-fuzzers.sh [SECONDS]
#   FUZZ_TARGETS="scenario automation" scripts/run-fuzzers.sh 600   # only some targets
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

seconds=${1:-${FUZZ_SECONDS:-60}}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "run-fuzzers: SECONDS must be a positive whole number, got '$seconds'" >&2
    exit 2
fi
build=${FUZZ_BUILD_DIR:-$root/build-fuzz}
jobs=${FUZZ_BUILD_JOBS:-2}

./scripts/install-deps.sh

# The targets and their extra seed folders, as fuzz/targets.txt lists them.
declare -A seeds=()
all_targets=()
while read -r name dirs; do
    [[ -z $name || $name == \#* ]] && continue
    all_targets+=("$name")
    seeds[$name]=$dirs
done <fuzz/targets.txt
read -r -a targets <<<"${FUZZ_TARGETS:-${all_targets[*]}}"
for t in "${targets[@]}"; do
    if [[ -z ${seeds[$t]+set} ]]; then
        echo "run-fuzzers: unknown target '$t' (targets: ${all_targets[*]})" >&2
        exit 2
    fi
done

if [[ ! -f $build/build.ninja ]]; then
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
        -DWIFIPROFILE_FUZZ=ON -DWIFIPROFILE_SANITIZE=address,undefined \
        -DCMAKE_CXX_FLAGS=-fno-sanitize-recover=all >/dev/null
elif ! grep -q '^WIFIPROFILE_FUZZ:BOOL=ON$' "$build/CMakeCache.txt"; then
    echo "run-fuzzers: $build was configured without WIFIPROFILE_FUZZ; remove it or set FUZZ_BUILD_DIR" >&2
    exit 2
fi
cmake --build "$build" -j "$jobs" --target "${targets[@]/#/fuzz_}"

work=$(mktemp -d "${TMPDIR:-/tmp}/wifiprofile-fuzz.XXXXXX")
trap 'rm -rf "$work"' EXIT
findings=$build/fuzz-findings
logs=$build/fuzz-logs
mkdir -p "$findings" "$logs"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:symbolize=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

failed=()
summary=()
for t in "${targets[@]}"; do
    corpus=$work/$t
    mkdir -p "$corpus" "$findings/$t"
    dirs=("$corpus" "fuzz/corpus/$t")
    [[ -d fuzz/regressions/$t ]] && dirs+=("fuzz/regressions/$t")
    for d in ${seeds[$t]}; do
        [[ -d $d ]] && dirs+=("$d")
    done
    options=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -detect_leaks=1
             -print_final_stats=1 -artifact_prefix="$findings/$t/")
    # The JSON dictionary helps the targets that read JSON: all but the three decoding bytes of their own.
    [[ $t != test_answers && $t != information_elements && $t != netlink_dump ]] && options+=(-dict=fuzz/json.dict)
    echo "== fuzz_$t for ${seconds}s (seeds: ${dirs[*]:1})"
    status=0
    "$build/fuzz/fuzz_$t" "${options[@]}" "${dirs[@]}" >"$logs/$t.log" 2>&1 || status=$?
    stats=$(grep -E '^#[0-9]+' "$logs/$t.log" | tail -n 1 || true)
    summary+=("fuzz_$t: ${stats:-no progress line} (log: $logs/$t.log)")
    if [[ $status -ne 0 ]]; then
        failed+=("$t")
        echo "!! fuzz_$t stopped with status $status:" >&2
        grep -E '^(==[0-9]+==ERROR|SUMMARY|fuzz check failed|.*runtime error)' "$logs/$t.log" | head -n 5 >&2 || true
        while read -r artifact; do
            echo "   input: $artifact" >&2
            echo "   reproduce: $build/fuzz/fuzz_$t $artifact" >&2
        done < <(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$logs/$t.log")
    fi
done

echo
echo "== summary (${seconds}s each)"
printf '%s\n' "${summary[@]}"
if [[ ${#failed[@]} -ne 0 ]]; then
    echo "run-fuzzers: findings in: ${failed[*]} (inputs kept in $findings)" >&2
    exit 1
fi
echo "run-fuzzers: no finding"
