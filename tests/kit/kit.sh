#!/usr/bin/env bash
# The kit for client plug-in authors, tried as an author would: install the build into a prefix
# (and move it, as the package is relocatable); build the guide's walk-through from the guide's
# own text and the example plug-in out of tree against it, run their tests and run them in the
# installed tavix-host by the commands the guide gives; compile each installed header on its own;
# meet the host with the mistakes authors make; and build the Debian packages, check them and
# build and run the example against their unpacked contents.
# Usage: kit.sh STEP; the KIT_* variables come from CTest.
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

# host FOLDER HOST ARGUMENTS...: runs the host in FOLDER as an author's shell would, with the
# built-in world, the default logging and settings in a scratch home; sets output and status.
# A host that hangs is ended after five minutes (status 124), and killed if it won't end (137).
host() {
    local folder="$1" program="$2" home
    shift 2
    home="$(mktemp -d)"
    status=0
    output="$(cd "$folder" && env -u TAVIX_SIM_SCENARIO -u TAVIX_PLUGIN_DIR -u TAVIX_BACKENDS -u QT_LOGGING_RULES \
        XDG_CONFIG_HOME="$home" timeout -k 10 300 "$program" "$@" 2>&1)" || status=$?
    rm -rf "$home"
    echo "$output"
}

# only_lines_of PREFIX: the host is quiet by default; what an author sees is the plug-in's own lines.
only_lines_of() {
    if grep -vE "^($1: |  )" <<<"$output"; then
        fail "the host printed lines that are not the plug-in's"
    fi
}

# run_example HOST FOLDER MODULE: the host loads the roster from its own installed tree, then the
# example by a path relative to FOLDER, as the guide's command has it; the example grabs, prints
# its figures and ends the run.
run_example() {
    host "$2" "$1" --client "$3" serve --seconds 120
    [ "$status" -eq 0 ] || fail "tavix-host with the example exited with $status"
    grep -Eq "^ExampleClient: [0-9]+ images from .+, 0 failed" <<<"$output" || fail "no figures from the example"
    grep -Eq "^ExampleClient: the last image was [0-9]+ x [0-9]+ [A-Za-z0-9_]+$" <<<"$output" ||
        fail "the example did not tell the shape its images came with"
    grep -q "^ExampleClient: closed " <<<"$output" || fail "the example did not close its camera"
    only_lines_of ExampleClient
}

# test_example BUILD: the example's own test suite, which hosts the roster in its process.
test_example() {
    (cd "$1" && "$KIT_CTEST" --output-on-failure --timeout 300) || fail "the example's tests failed"
}

# expect_load_error CLIENT MESSAGE: the host refuses the client, says why, and exits with 1.
expect_load_error() {
    host "$work" "$prefix/bin/tavix-host" --client "$1" serve --seconds 10
    [ "$status" -eq 1 ] || fail "tavix-host exited with $status for the client '$1'"
    grep -q "^The client plug-in could not be loaded: " <<<"$output" || fail "no word of the client '$1'"
    grep -qF "$2" <<<"$output" || fail "no message '$2' for '$1'"
}

mistakes="$work/mistakes-build"

case "$step" in
    install)
        rm -rf "$work/staging" "$prefix"
        mkdir -p "$work"
        "$KIT_CMAKE" --install "$KIT_BUILD" --prefix "$work/staging" >/dev/null
        mv "$work/staging" "$prefix"
        for file in bin/tavix-host $KIT_LIBDIR/cmake/TavixViewer/TavixViewerConfig.cmake $KIT_LIBDIR/pkgconfig/tavix-viewer.pc \
                    $KIT_LIBDIR/tavix-viewer/plugins/libOptiRoster.so include/tavix-viewer/plugins/optiroster/icamera.h \
                    include/tavix-viewer/plugins/optiroster/observerregistration.h include/tavix-viewer/tavix-host/host.h \
                    include/tavix-viewer/tavix/sim/simcontrol.h share/doc/tavix-viewer-dev/clients.md \
                    share/doc/tavix-viewer-dev/testing.md share/doc/tavix-viewer-dev/examples/client-plugin/tests/tst_exampleclient.cpp; do
            [ -e "$prefix/$file" ] || fail "$file is not installed"
        done
        if [ -n "${KIT_REFERENCE:-}" ]; then
            grep -q "Where to start" "$prefix/share/doc/tavix-viewer-dev/reference/index.html" || fail "the reference has no main page"
        fi
        for library in tavixsdk tavixcore optirosterapi tavixhost; do
            soname="$(objdump -p "$prefix/$KIT_LIBDIR/lib$library.so" | awk '/SONAME/ {print $2}')"
            [ "$soname" = "lib$library.so.$KIT_VERSION_MAJOR" ] || fail "lib$library.so has the SONAME '$soname'"
        done
        if grep -rlE "Internal::|/internal/" "$prefix/include"; then
            fail "installed headers name the implementation"
        fi
        if grep -rl "$KIT_BUILD\|$KIT_SOURCE" "$prefix/$KIT_LIBDIR/cmake" "$prefix/$KIT_LIBDIR/pkgconfig"; then
            fail "the package names the build or source tree"
        fi
        # Which camera worlds the SDK layer has is asked at run time (TavixBackends), not compiled in.
        if grep -rl "TAVIX_WITH_ARAVIS" "$prefix/$KIT_LIBDIR/cmake" "$prefix/$KIT_LIBDIR/pkgconfig"; then
            fail "the package passes the SDK layer's build choice on to its clients"
        fi
        pc="$(PKG_CONFIG_PATH="$prefix/$KIT_LIBDIR/pkgconfig" pkg-config --cflags tavix-viewer)"
        include="$(grep -o -- "-I[^ ]*tavix-viewer" <<<"$pc")"
        [ -e "${include#-I}/plugins/optiroster/icamera.h" ] || fail "pkg-config gives the include folder '$include'"
        # moc takes the flags of pkg-config too, and refuses compiler options among them.
        if grep -q -- "-std=" <<<"$pc"; then
            fail "pkg-config's Cflags carry a compiler option: $pc"
        fi
        ;;
    example)
        configure_and_build "$example_source" "$work/example-build" "$prefix"
        test_example "$work/example-build"
        run_example "$prefix/bin/tavix-host" "$work" example-build/libExampleClient.so
        ;;
    walkthrough)
        # The guide's own files, word for word, in an empty folder; built and run by the
        # guide's commands, from the folder that holds them.
        folder="$work/walkthrough"
        rm -rf "$folder" && mkdir -p "$folder"
        "$KIT_PYTHON" "$KIT_SOURCE/tools/guidesnippets.py" --extract "$folder" "$KIT_SOURCE/docs/clients.md" >/dev/null
        configure_and_build "$folder/first-client" "$folder/first-client-build" "$prefix"
        host "$folder" "$prefix/bin/tavix-host" --client first-client-build/libFirstClient.so serve --seconds 120
        [ "$status" -eq 0 ] || fail "tavix-host with the walk-through's plug-in exited with $status"
        [ "$(grep -cE "^FirstClient: image [0-9]+: " <<<"$output")" -eq 10 ] || fail "the walk-through's plug-in did not look at ten images"
        only_lines_of FirstClient
        ;;
    headers)
        configure_and_build "$KIT_SOURCE/tests/kit/headers" "$work/headers-build" "$prefix"
        echo "$(grep -c "Building CXX" "$work/headers-build.build.log") headers compiled on their own"
        ;;
    mistakes)
        configure_and_build "$KIT_SOURCE/tests/kit/mistakes" "$mistakes" "$prefix"
        ;;
    loaderrors)
        # Each way a file fails to be a client of this host has its own words.
        cp "$KIT_SOURCE/docs/testing.md" "$work/notes.md"
        expect_load_error no-such-build/libClient.so "'no-such-build/libClient.so' does not exist"
        expect_load_error libNoSuchClient.so "'libNoSuchClient.so' is neither in the current folder nor in "
        expect_load_error notes.md "'notes.md' is no shared library"
        expect_load_error "$prefix/$KIT_LIBDIR/libtavixcore.so" "is no Qt plug-in: it has no plug-in metadata"
        expect_load_error mistakes-build/libotherhostplugin.so "'mistakes-build/libotherhostplugin.so' is a plug-in of another host"
        expect_load_error mistakes-build/libnewerrosterclient.so "(NewerRosterClient 1.0.0) needs the plug-in OptiRoster 3.0.0; the loaded one is OptiRoster $KIT_VERSION"
        ;;
    heldservice)
        # A client that keeps the roster's service past the roster's unload: named, kept, no crash.
        host "$work" "$prefix/bin/tavix-host" --client mistakes-build/libkeepingclient.so serve --seconds 60
        [ "$status" -eq 1 ] || fail "tavix-host exited with $status, not 1, for a service kept past the roster"
        grep -q "OptiRoster's ICameraEnumerationService is still held after every plug-in object was deleted" <<<"$output" \
            || fail "the held service is not named"
        grep -q "(KeepingClient)" <<<"$output" || fail "the client that holds it is not named"
        ;;
    observerreentry)
        # A client that removes and adds observers inside onImageGrabbed: refused, no hang.
        host "$work" "$prefix/bin/tavix-host" --client mistakes-build/libreentrantclient.so serve --seconds 60
        [ "$status" -ne 124 ] && [ "$status" -ne 137 ] || fail "tavix-host hung on an observer that removes itself inside onImageGrabbed"
        grep -q "^ReentrantClient: removeObserver inside onImageGrabbed: refused: " <<<"$output" || fail "the removal was not refused"
        grep -q "^ReentrantClient: addObserver inside onImageGrabbed: refused: " <<<"$output" || fail "the addition was not refused"
        [ "$status" -eq 0 ] || fail "tavix-host exited with $status"
        ;;
    deb)
        debs="$work/deb"
        rm -rf "$debs" && mkdir -p "$debs"
        # From a folder of its own, by the build's configuration: cpack needs nothing of the
        # folder it runs in.
        (cd "$debs" && "$KIT_CPACK" -G DEB --config "$KIT_BUILD/CPackConfig.cmake" >"$debs.log" 2>&1) || { cat "$debs.log"; fail "cpack"; }
        root="$debs/root"
        for package in "$debs"/*.deb; do
            echo "$(basename "$package"): $(dpkg-deb -f "$package" Depends)"
            dpkg-deb -x "$package" "$root"
        done
        depends() { dpkg-deb -f "$debs/$1"_*.deb Depends; }
        [ -e "$root/usr/$KIT_LIBDIR/cmake/TavixViewer/TavixViewerConfig.cmake" ] || fail "the -dev package has no CMake package"
        [ -e "$root/usr/$KIT_LIBDIR/libtavixcore.so.$KIT_VERSION_MAJOR" ] || fail "the libraries are not in usr/$KIT_LIBDIR"
        [ -e "$root/usr/share/doc/tavix-viewer-dev/reference/index.html" ] || [ -z "${KIT_REFERENCE:-}" ] \
            || fail "the -dev package has no API reference"
        [ -e "$root/usr/share/doc/tavix-viewer-dev/examples/client-plugin/CMakeLists.txt" ] || fail "the -dev package has no example"
        depends tavix-viewer-runtime | grep -q libqt5core5a || fail "the runtime package does not depend on Qt"
        if depends tavix-viewer-runtime | grep -q libqt5widgets5; then
            fail "the runtime package pulls in Qt Widgets"
        fi
        depends tavix-viewer | grep -q "tavix-viewer-runtime (=" || fail "the viewer package does not depend on the runtime"
        depends tavix-viewer | grep -q libqt5widgets5 || fail "the viewer package does not depend on Qt Widgets"
        depends tavix-viewer-dev | grep -q "tavix-viewer-runtime (=" || fail "the -dev package does not depend on the runtime"
        if grep -rlF -e "$KIT_BUILD" -e "$KIT_SOURCE" "$root"; then
            fail "files of the packages name the build or source folder"
        fi
        configure_and_build "$root/usr/share/doc/tavix-viewer-dev/examples/client-plugin" "$debs/example-build" "$root/usr"
        test_example "$debs/example-build"
        run_example "$root/usr/bin/tavix-host" "$debs" example-build/libExampleClient.so
        ;;
    *)
        fail "unknown step $step"
        ;;
esac
