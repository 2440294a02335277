#!/usr/bin/env bash
# Installs what the build needs on Debian 12, builds, and runs the host program ("run"), the
# desktop viewer ("viewer"), every test ("test"), the benchmarks ("bench"), every test in a
# sanitizer build ("asan": address, leaks and undefined behaviour, halting on the first report;
# "tsan": threads), or the fuzzers
# ("fuzz").
set -euo pipefail

mode="${1:-run}"
shift || true
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${TAVIX_BUILD_DIR:-$root/build}"

packages=(cmake g++ make pkg-config qtbase5-dev qttools5-dev qttools5-dev-tools libbenchmark-dev zlib1g-dev clang libclang-rt-14-dev
          libaravis-dev libusb-1.0-0-dev aravis-tools aravis-tools-cli iproute2 python3 doxygen dpkg-dev file binutils
          mosquitto mosquitto-clients libpaho-mqttpp-dev libpaho-mqtt-dev openssl nodejs chromium
          libavcodec-dev libavformat-dev libavutil-dev libswscale-dev qt5-image-formats-plugins)

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

# build_in FOLDER [cmake arguments...]
build_in() {
    local folder="$1"
    shift
    cmake -S "$root" -B "$folder" -DCMAKE_BUILD_TYPE="${TAVIX_BUILD_TYPE:-RelWithDebInfo}" "$@" ${TAVIX_CMAKE_ARGS:-} >/dev/null
    cmake --build "$folder" -j"$(nproc)"
}

run_tests_in() {
    (cd "$1" && ctest --output-on-failure -j"$(nproc)")
}

# The fleet dashboard's MQTT client library and its browser test's driver, as the lock file says.
install_web_packages() {
    if ! command -v npm >/dev/null; then
        # Debian's own Node.js comes without npm.
        local sudo=""
        [ "$(id -u)" -ne 0 ] && sudo="sudo"
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends npm
    fi
    (cd "$root/web/fleet" && npm ci --no-audit --no-fund --loglevel=error)
}

install_missing
case "$mode" in
    run)   build_in "$build" && "$build/bin/tavix-host" "$@" ;;
    viewer)
        # Only what the viewer needs; the program itself says how to get a display when there is none.
        cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE="${TAVIX_BUILD_TYPE:-RelWithDebInfo}" ${TAVIX_CMAKE_ARGS:-} >/dev/null
        cmake --build "$build" --target tavix-viewer -j"$(nproc)"
        "$build/bin/tavix-viewer" "$@" ;;
    test)  install_web_packages && build_in "$build" && run_tests_in "$build" ;;
    bench) build_in "$build" && for b in "$build"/bin/bench_*; do "$b"; done ;;
    asan)
        build_in "$build-asan" -DTAVIX_SANITIZE=ON -DTAVIX_BUILD_BENCHMARKS=OFF
        # intercept_tls_get_addr=0: GCC 12's leak checker guesses the extent of a plug-in's thread-local
        # block from the bytes before it, and with FFmpeg's hundred-odd libraries loaded the guess
        # sometimes lands on garbage and crashes the checker. The blocks are heap blocks that the
        # thread's own storage points to, so they are scanned all the same.
        ASAN_OPTIONS="halt_on_error=1:detect_leaks=1:intercept_tls_get_addr=0" LSAN_OPTIONS="suppressions=$root/tools/lsan.supp:print_suppressions=0" \
            UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1" run_tests_in "$build-asan" ;;
    tsan)
        # Reports go to files; the tests pass or fail on their own, and the run fails on a race
        # with this project's code on both sides.
        build_in "$build-tsan" -DTAVIX_TSAN=ON -DTAVIX_BUILD_BENCHMARKS=OFF
        reports="$build-tsan/tsan-reports"
        rm -rf "$reports" && mkdir -p "$reports"
        status=0
        TSAN_OPTIONS="suppressions=$root/tools/tsan.supp halt_on_error=0 exitcode=0 report_signal_unsafe=0 log_path=$reports/report" \
            run_tests_in "$build-tsan" || status=$?
        python3 "$root/tools/tsan/ownraces.py" "$root" "$reports"/report.* || status=1
        exit $status ;;
    fuzz)
        CC=clang CXX=clang++ cmake -S "$root" -B "$build-fuzz" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVIX_FUZZ=ON \
            -DTAVIX_BUILD_BENCHMARKS=OFF >/dev/null
        cmake --build "$build-fuzz" --target fuzzers -j"$(nproc)"
        seconds="${1:-30}"
        findings="$build-fuzz/findings"
        mkdir -p "$findings"
        status=0
        for fuzzer in "$build-fuzz"/bin/fuzz_*; do
            name="$(basename "$fuzzer")"
            corpus="$root/tests/fuzz/corpus/${name#fuzz_}"
            echo "== $name for ${seconds}s"
            work="$(mktemp -d)"
            cp -r "$corpus"/. "$work"/ 2>/dev/null || true
            # A crash, leak or time-out ends the run and leaves its input in findings/.
            "$fuzzer" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$findings/$name-" "$work" \
                > "$work.log" 2>&1 || { status=1; grep -m3 -E "ERROR|SUMMARY|leak of" "$work.log"; }
            tail -6 "$work.log"
            rm -rf "$work" "$work.log"
        done
        exit $status ;;
    *)     echo "usage: $0 run|viewer|test|bench|asan|tsan|fuzz [arguments]" >&2; exit 2 ;;
esac
