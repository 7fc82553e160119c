#!/usr/bin/env bash
# Source checks: layout by .clang-format, static analysis by .clang-tidy and cppcheck. All must find nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run --Werror "${sources[@]}"
echo "format: ${#sources[@]} files"

cmake --preset lint >/dev/null
# Tests, benchmarks and fuzz targets are built with all warnings, which is enough for them.
mapfile -t units < <(git ls-files '*.cpp' ':!tests' ':!bench' ':!fuzz')
printf '%s\n' "${units[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy -p build/lint --quiet \
    --extra-arg=-Wno-unknown-warning-option 2>/dev/null
echo "clang-tidy: ${#units[@]} files"

# Its folder of results makes the next run quick: only what has changed is looked at again.
mkdir -p build/cppcheck
cppcheck -j "$(nproc)" --cppcheck-build-dir=build/cppcheck --quiet --error-exitcode=1 --std=c++20 --language=c++ -I. \
    --enable=warning,performance,portability --inline-suppr --suppressions-list=packaging/cppcheck_suppressions.txt \
    --template='{file}:{line}: {severity}: {message} [{id}]' "${units[@]}"
echo "cppcheck: ${#units[@]} files"
