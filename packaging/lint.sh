#!/usr/bin/env bash
# Source checks: layout by .clang-format, static analysis by .clang-tidy and cppcheck. All must find nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mapfile -t sources < <(git ls-files '*.cpp' '*.h' '*.js' '*.mjs')
clang-format --dry-run --Werror "${sources[@]}"
echo "format: ${#sources[@]} files"

# Tests, benchmarks and fuzz targets are built with all warnings, which is enough for them. Sources are looked at as they are
# compiled, several together, hence the one check that is off. What a build makes is not there, nor meant to be read.
cmake --preset lint >/dev/null
mapfile -t units < <(sed -n 's/^ *"file": "\(.*\)",*$/\1/p' build/lint/compile_commands.json | grep -vE '/tests/|/page_files\.cpp$')
printf '%s\n' "${units[@]}" | xargs -P "$(nproc)" -n 1 clang-tidy -p build/lint --quiet --checks=-bugprone-suspicious-include \
    --extra-arg=-Wno-unknown-warning-option 2>/dev/null
echo "clang-tidy: ${#units[@]} units"

mapfile -t sources < <(git ls-files '*.cpp' ':!tests' ':!bench' ':!fuzz')
# Its folder of results makes the next run quick: only what has changed is looked at again.
mkdir -p build/cppcheck
cppcheck -j "$(nproc)" --cppcheck-build-dir=build/cppcheck --quiet --error-exitcode=1 --std=c++20 --language=c++ -I. \
    --enable=warning,performance,portability --inline-suppr --suppressions-list=packaging/cppcheck_suppressions.txt \
    --template='{file}:{line}: {severity}: {message} [{id}]' "${sources[@]}"
echo "cppcheck: ${#sources[@]} files"

# Of the page: that it can be parsed. Its modules are called .js for the browser, which older versions of node take for scripts.
mapfile -t sources < <(git ls-files '*.js' '*.mjs')
modules=$(mktemp -d)
trap 'rm -rf "$modules"' EXIT
for source in "${sources[@]}"; do
    cp "$source" "$modules/module.mjs"
    node --check "$modules/module.mjs" || { echo "$source: see above" >&2; exit 1; }
done
echo "page: ${#sources[@]} files"
