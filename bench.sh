#!/usr/bin/env bash
# Installs what the benchmarks need, builds a release with them, runs them and prints one table.
# Arguments go to Google Benchmark: ./bench.sh --benchmark_filter=frame
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$source_dir/packaging/setup.sh"

install_packages "${BUILD_PACKAGES[@]}" "${BENCH_PACKAGES[@]}"
(cd "$source_dir" && build bench nb1_bench)
exec "$source_dir/build/bench/nb1_bench" "$@"
