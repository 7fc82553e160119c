#!/usr/bin/env bash
# Installs what the benchmarks need, builds a release with them, runs them and prints the
# machine and the table of docs/performance.md.
# Arguments go to Google Benchmark: ./bench.sh --benchmark_filter=frame
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$source_dir/packaging/setup.sh"

install_packages "${BUILD_PACKAGES[@]}" "${TEST_SUPPORT_PACKAGES[@]}" "${BENCH_PACKAGES[@]}"
(cd "$source_dir" && build bench ON nb1_bench)
version() { dpkg-query -W -f='${Version}' "$1"; }
echo "$(nproc) cores ($(sed -n 's/^model name\s*: //p' /proc/cpuinfo | head -n 1)), $(awk '/MemTotal/ {printf "%.0f GB", $2 / 1e6}' /proc/meminfo)," \
    "$(. /etc/os-release && echo "$PRETTY_NAME"), Linux $(uname -r), $(g++ --version | head -n 1), libmodbus $(version libmodbus-dev)," \
    "SQLite $(version libsqlite3-dev), nlohmann-json $(version nlohmann-json3-dev); $(git -C "$source_dir" describe --always --dirty)," \
    "$(date -u +%F); load before it $(cut -d' ' -f1 /proc/loadavg)"
exec "$source_dir/build/bench/nb1_bench" "$@"
