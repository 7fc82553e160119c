# Shared by run, test, bench.sh and fuzz.sh: installs Debian packages that are missing and builds a preset. Sourced, not run.
# Everything said here goes to standard error: standard output belongs to the program that is started.

readonly BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libsqlite3-dev zlib1g-dev libcli11-dev
    nlohmann-json3-dev libpango1.0-dev libncurses-dev fonts-liberation2 libsystemd-dev prometheus-cpp-dev libtomlplusplus-dev
    libmicrohttpd-dev libcurl4-openssl-dev libmosquitto-dev libjs-dygraphs)
readonly TEST_SUPPORT_PACKAGES=(libgtest-dev libgmock-dev)
readonly TEST_PACKAGES=("${TEST_SUPPORT_PACKAGES[@]}" checksec mosquitto openssl)
readonly BROWSER_PACKAGES=(chromium chromium-driver nodejs)
readonly CHECK_PACKAGES=(clang-format clang-tidy cppcheck nodejs)
readonly PACKAGING_PACKAGES=(debhelper lintian)
readonly TRY_PACKAGES=(mmdebstrap)
readonly IMAGE_PACKAGES=(mmdebstrap buildah ca-certificates dpkg-dev)
readonly TRY_IMAGE_PACKAGES=(podman podman-compose runc golang-github-containernetworking-plugin-dnsname curl)
readonly COVERAGE_PACKAGES=(gcovr)
readonly BENCH_PACKAGES=(libbenchmark-dev libmodbus-dev)
readonly FUZZ_PACKAGES=(clang libclang-rt-14-dev)

# install_packages NAME...: asks the package manager only when something is missing.
install_packages() {
    local missing=() name
    for name in "$@"; do
        [[ "$(dpkg-query -W -f='${db:Status-Abbrev}' "$name" 2>/dev/null)" == ii* ]] || missing+=("$name")
    done
    ((${#missing[@]})) || return 0
    echo "installing ${missing[*]} ..." >&2
    {
        apt-get update -qq
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
    } >&2
}

# build PRESET TESTS TARGET...: configures when that has not been done, then builds what has changed; nothing is said when
# nothing has. With TESTS=ON targets may be tests, or stand on what supports them, which needs TEST_SUPPORT_PACKAGES.
build() {
    local preset=$1 tests=$2 cache=build/$1/CMakeCache.txt
    shift 2
    if [[ ! -f build/$preset/build.ninja ]] || { [[ $tests == ON ]] && grep -q '^BUILD_TESTING:BOOL=OFF' "$cache"; }; then
        cmake --preset "$preset" -DBUILD_TESTING="$tests" >&2
    fi
    cmake --build --preset "$preset" --target "$@" | sed -u '/Re-checking globbed/d; /no work to do/d' >&2
}
