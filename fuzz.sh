#!/usr/bin/env bash
# Builds the fuzz targets and runs each for a while; docs/fuzzing.md tells more.
#
#   ./fuzz.sh                       all targets, ten seconds each
#   ./fuzz.sh TARGET [SECONDS]      one of them
#   ./fuzz.sh all SECONDS           all of them, longer
#
# Exit status 1 and the input's name when something is found.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source packaging/setup.sh

readonly WORK=build/fuzz/runs
target=${1:-all}
seconds=${2:-10}

mapfile -t targets < <(basename -as .cpp fuzz/*.cpp)
if [[ $target != all ]]; then
    [[ " ${targets[*]} " == *" $target "* ]] || { echo "fuzz.sh: no target $target among ${targets[*]}" >&2; exit 2; }
    targets=("$target")
fi
[[ $seconds =~ ^[1-9][0-9]*$ ]] || { echo "fuzz.sh: $seconds is no number of seconds" >&2; exit 2; }

# run_target TARGET: what it learns is kept in the build folder, the repository's seeds stay as they are.
run_target() {
    local run=$WORK/$1
    mkdir -p "$run/corpus" "$run/found"
    if "build/fuzz/fuzz/fuzz_$1" -max_total_time="$seconds" -entropic=0 -timeout=20 -dict=fuzz/fuzz.dict -print_final_stats=1 \
        -artifact_prefix="$run/found/" "$run/corpus" "fuzz/corpus/$1" >"$run/log" 2>&1; then
        echo "$1: nothing found, $(sed -n 's/^stat::number_of_executed_units: *//p' "$run/log") runs"
        return
    fi
    grep -aE 'does not hold|ERROR: |SUMMARY: |runtime error: ' "$run/log" || tail -n 20 "$run/log"
    local input
    input=$(sed -n 's/.*Test unit written to //p' "$run/log" | tail -n 1)
    echo "$1: FOUND ${input:-something, see $run/log}; repeat it with: build/fuzz/fuzz/fuzz_$1 ${input:-fuzz/corpus/$1/*}"
    return 1
}
export -f run_target
export WORK seconds

install_packages "${BUILD_PACKAGES[@]}" "${TEST_SUPPORT_PACKAGES[@]}" "${FUZZ_PACKAGES[@]}"
build fuzz ON "${targets[@]/#/fuzz_}"
# xargs ends with a status of its own when one of them has failed.
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'set -o pipefail; run_target {}' || exit 1
