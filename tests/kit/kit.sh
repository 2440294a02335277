#!/usr/bin/env bash
# The kit for client plug-in authors, tried as an author would: install the build into a prefix
# (and move it, as the package is relocatable), build the example plug-in out of tree against
# it, run it in the installed tavix-host, compile each installed header on its own, and build
# the Debian packages and the example against their unpacked contents.
# Usage: kit.sh install|example|headers|deb; the KIT_* variables come from CTest.
set -euo pipefail

step="$1"
work="$KIT_WORK"
prefix="$work/prefix"
example_source="$KIT_SOURCE/examples/client-plugin"

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# configure_and_build SOURCE BUILD PREFIX_PATH
configure_and_build() {
    rm -rf "$2"
    local launcher=()
    [ -n "${KIT_LAUNCHER:-}" ] && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER="$KIT_LAUNCHER")
    "$KIT_CMAKE" -S "$1" -B "$2" -DCMAKE_PREFIX_PATH="$3" -DCMAKE_CXX_COMPILER="$KIT_CXX" "${launcher[@]}" >"$2.configure.log" 2>&1 \
        || { cat "$2.configure.log"; fail "configuring $1 against $3"; }
    "$KIT_CMAKE" --build "$2" -j2 >"$2.build.log" 2>&1 || { cat "$2.build.log"; fail "building $1 against $3"; }
}

# run_example HOST MODULE: the host loads the roster from its own installed tree, then the
# example, which grabs, prints its figures and ends the run; its settings go to a scratch home.
run_example() {
    local home
    home="$(mktemp -d)"
    local status=0
    local output
    output="$(env -u TAVIX_SIM_SCENARIO -u TAVIX_PLUGIN_DIR -u QT_LOGGING_RULES XDG_CONFIG_HOME="$home" \
        "$1" --client "$2" serve --seconds 120 2>&1)" || status=$?
    rm -rf "$home"
    echo "$output"
    [ "$status" -eq 0 ] || fail "tavix-host with the example exited with $status"
    grep -Eq "^ExampleClient: [0-9]+ images from .+, 0 failed" <<<"$output" || fail "no figures from the example"
    grep -Eq "^ExampleClient: the last image was [0-9]+ x [0-9]+ [A-Za-z0-9_]+$" <<<"$output" ||
        fail "the example did not tell the shape its images came with"
    grep -q "^ExampleClient: closed " <<<"$output" || fail "the example did not close its camera"
    # The host is quiet by default: what an author sees is the example's own lines.
    if grep -vE "^(ExampleClient: |  )" <<<"$output"; then
        fail "the host printed lines that are not the example's"
    fi
}

case "$step" in
    install)
        rm -rf "$work/staging" "$prefix"
        mkdir -p "$work"
        "$KIT_CMAKE" --install "$KIT_BUILD" --prefix "$work/staging" >/dev/null
        mv "$work/staging" "$prefix"
        for file in bin/tavix-host $KIT_LIBDIR/cmake/TavixViewer/TavixViewerConfig.cmake $KIT_LIBDIR/pkgconfig/tavix-viewer.pc \
                    $KIT_LIBDIR/tavix-viewer/plugins/libOptiRoster.so include/tavix-viewer/plugins/optiroster/icamera.h; do
            [ -e "$prefix/$file" ] || fail "$file is not installed"
        done
        for library in tavixsdk tavixcore optirosterapi; do
            soname="$(objdump -p "$prefix/$KIT_LIBDIR/lib$library.so" | awk '/SONAME/ {print $2}')"
            [ "$soname" = "lib$library.so.$KIT_VERSION_MAJOR" ] || fail "lib$library.so has the SONAME '$soname'"
        done
        if grep -rlE "Internal::|/internal/" "$prefix/include"; then
            fail "installed headers name the implementation"
        fi
        if grep -rl "$KIT_BUILD\|$KIT_SOURCE" "$prefix/$KIT_LIBDIR/cmake" "$prefix/$KIT_LIBDIR/pkgconfig"; then
            fail "the package names the build or source tree"
        fi
        include="$(PKG_CONFIG_PATH="$prefix/$KIT_LIBDIR/pkgconfig" pkg-config --cflags-only-I tavix-viewer | grep -o -- "-I[^ ]*tavix-viewer")"
        [ -e "${include#-I}/plugins/optiroster/icamera.h" ] || fail "pkg-config gives the include folder '$include'"
        ;;
    example)
        configure_and_build "$example_source" "$work/example-build" "$prefix"
        run_example "$prefix/bin/tavix-host" "$work/example-build/libExampleClient.so"
        ;;
    headers)
        configure_and_build "$KIT_SOURCE/tests/kit/headers" "$work/headers-build" "$prefix"
        echo "$(grep -c "Building CXX" "$work/headers-build.build.log") headers compiled on their own"
        ;;
    deb)
        debs="$work/deb"
        rm -rf "$debs" && mkdir -p "$debs"
        (cd "$KIT_BUILD" && "$KIT_CPACK" -G DEB -B "$debs" >"$debs.log" 2>&1) || { cat "$debs.log"; fail "cpack"; }
        root="$debs/root"
        for package in "$debs"/*.deb; do
            echo "$(basename "$package"): $(dpkg-deb -f "$package" Depends)"
            dpkg-deb -x "$package" "$root"
        done
        [ -e "$root/usr/$KIT_LIBDIR/cmake/TavixViewer/TavixViewerConfig.cmake" ] || fail "the -dev package has no CMake package"
        dpkg-deb -f "$debs"/tavix-viewer_*.deb Depends | grep -q libqt5core5a || fail "the runtime package does not depend on Qt"
        dpkg-deb -f "$debs"/tavix-viewer-dev_*.deb Depends | grep -q "tavix-viewer (=" || fail "the -dev package does not depend on the runtime"
        configure_and_build "$example_source" "$debs/example-build" "$root/usr"
        run_example "$root/usr/bin/tavix-host" "$debs/example-build/libExampleClient.so"
        ;;
    *)
        fail "unknown step $step"
        ;;
esac
