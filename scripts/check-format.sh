#!/usr/bin/env bash
# Fails when a C++ source of the project is not formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.h' 2>/dev/null || find platform wifiprofile host unittests benchmarks -name '*.cpp' -o -name '*.h')
# shellcheck disable=SC2086
clang-format --dry-run --Werror $files
