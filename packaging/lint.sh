#!/usr/bin/env bash
# Source checks: layout by .clang-format, static analysis by .clang-tidy. Both must find nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run --Werror "${sources[@]}"
echo "format: ${#sources[@]} files"

[[ -f build/release/build.ninja ]] || cmake --preset release >/dev/null
# Tests, benchmarks and fuzz targets are built with all warnings, which is enough for them.
mapfile -t units < <(git ls-files '*.cpp' ':!tests' ':!bench' ':!fuzz')
printf '%s\n' "${units[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy -p build/release --quiet \
    --extra-arg=-Wno-unknown-warning-option 2>/dev/null
echo "clang-tidy: ${#units[@]} files"
