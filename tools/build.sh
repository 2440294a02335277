#!/usr/bin/env bash
# Installs what the build needs on Debian 12, builds, and runs the host program ("run"), every
# test ("test"), or the benchmarks ("bench").
set -euo pipefail

mode="${1:-run}"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${TAVIX_BUILD_DIR:-$root/build}"

packages=(cmake g++ make qtbase5-dev qttools5-dev qttools5-dev-tools libbenchmark-dev zlib1g-dev)

install_missing() {
    local missing=()
    for package in "${packages[@]}"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    echo "Installing: ${missing[*]}"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

build_all() {
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE="${TAVIX_BUILD_TYPE:-RelWithDebInfo}" ${TAVIX_CMAKE_ARGS:-} >/dev/null
    cmake --build "$build" -j"$(nproc)"
}

install_missing
build_all
case "$mode" in
    run)   "$build/bin/tavix-host" ;;
    test)  cd "$build" && ctest --output-on-failure -j"$(nproc)" ;;
    bench) for b in "$build"/bin/bench_*; do "$b"; done ;;
    *)     echo "usage: $0 run|test|bench" >&2; exit 2 ;;
esac
