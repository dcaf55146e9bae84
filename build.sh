#!/usr/bin/env bash
# Sets up, builds, tests and runs Sorvane on Debian 12.
#   ./build.sh test   install what is missing, build, run every test
#   ./build.sh run    install what is missing, build, start Sorvane
#   ./build.sh demo   build, then start Sorvane against a sandbox home, system
#                     root and private bus with the helper (nothing installed);
#                     "demo linux" for the Linux desktop, else a macOS home
#   ./build.sh bench  build, then run the benchmarks under bench/
# Every verb is idempotent and incremental.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
BUILD="${SORVANE_BUILD_DIR:-$ROOT/build}"
JOBS="$(nproc 2>/dev/null || echo 2)"

# Every Debian package Sorvane needs to build, test and run, in one place.
PACKAGES=(
    # toolchain
    g++ cmake ninja-build pkg-config git python3 findutils
    # Qt: core, GUI, XML, D-Bus; image-format plugins read ICNS icons, the
    # SVG module draws the icon themes' scalable application icons
    qt6-base-dev qt6-base-dev-tools qt6-image-formats-plugins libqt6svg6
    # binary and XML property lists
    libplist-dev
    # desktop entries (GKeyFile), dconf's client library and its real service
    libglib2.0-dev libdconf-dev dconf-service dconf-cli
    # tests: GoogleTest, GoogleMock, Google Benchmark, a private D-Bus with a
    # fake polkit, fuzzing sanitizers, packing tools
    libgtest-dev libgmock-dev libbenchmark-dev dbus-daemon python3-dbus python3-dbusmock
    clang libclang-rt-14-dev unzip zip
    # systemd-analyze scores the helper's unit (nothing of systemd is started)
    systemd
)
# Only the benchmarks compare against these peers.
BENCH_PACKAGES=(gnustep-base-runtime hyperfine xvfb libxml2-utils desktop-file-utils)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

missing_packages() {
    local pkg
    for pkg in "$@"; do
        if ! dpkg-query -W -f='${db:Status-Status}' "$pkg" 2>/dev/null | grep -qx installed; then
            printf '%s\n' "$pkg"
        fi
    done
}

install_packages() {
    local missing
    mapfile -t missing < <(missing_packages "$@")
    [ "${#missing[@]}" -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    # A fresh machine may have empty package lists: refresh them and try again.
    if ! as_root apt-get install -y -q --no-install-recommends "${missing[@]}"; then
        as_root apt-get update -q
        as_root apt-get install -y -q --no-install-recommends "${missing[@]}"
    fi
}

configure() {
    if [ ! -f "$BUILD/build.ninja" ]; then
        cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release
    fi
}

build() {
    install_packages "${PACKAGES[@]}"
    configure
    cmake --build "$BUILD" -j "$JOBS"
}

# The fuzzing harnesses, built with clang and sanitizers in a small build of
# their own; their committed seed corpora are replayed as tests.
build_fuzz() {
    local fuzz="$BUILD/fuzz"
    if [ ! -f "$fuzz/build.ninja" ]; then
        cmake -S "$ROOT/fuzz" -B "$fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
            -DCMAKE_CXX_COMPILER=clang++
    fi
    cmake --build "$fuzz" -j "$JOBS"
}

run_tests() {
    build
    ctest --test-dir "$BUILD" --output-on-failure -j "$JOBS" --timeout 600
    build_fuzz
    ctest --test-dir "$BUILD/fuzz" --output-on-failure -j "$JOBS" --timeout 600
}

run_app() {
    build
    if [ -x "$BUILD/bin/sorvane" ]; then
        exec "$BUILD/bin/sorvane" "$@"
    fi
    echo "The desktop application is not built yet. What there is to run:"
    find "$BUILD/bin" "$BUILD/libexec" -maxdepth 2 -type f -executable 2>/dev/null | sort
}

run_demo() {
    build
    exec "$ROOT/scripts/demo.sh" "$BUILD" "$@"
}

run_bench() {
    install_packages "${BENCH_PACKAGES[@]}"
    build
    local script
    for script in "$ROOT"/bench/*.sh; do
        [ -f "$script" ] && SORVANE_BUILD_DIR="$BUILD" bash "$script"
    done
}

case "${1:-}" in
    test) shift; run_tests "$@" ;;
    run) shift; run_app "$@" ;;
    demo) shift; run_demo "$@" ;;
    bench) shift; run_bench "$@" ;;
    *) echo "usage: $0 test|run|demo|bench" >&2; exit 2 ;;
esac
