#!/usr/bin/env bash
# Builds the SIP stack from its Debian source with the sanitizers and the fuzzer's instrumentation, and the fuzz targets
# over it: build/fuzz-stack/tests/fuzz/*_fuzz. A stack that was built before is kept; remove build/stack to begin anew.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/packages.sh

need_packages "${build_packages[@]}" "${long_packages[@]}" "${stack_packages[@]}"

here=$PWD/build/stack
ignored=$PWD/scripts/fuzz_stack_ignore.txt
mkdir -p "$here"

# fetch_source: the source of the package that is installed, from where the machine has its Debian packages. The lists of
# sources are copies: the machine's own stay.
fetch_source() {
    local apt=$here/apt version list
    version=$(dpkg-query -W -f '${source:Version}' libsofia-sip-ua-dev)
    rm -rf "$here/source" "$apt"
    mkdir -p "$here/source" "$apt/parts" "$apt/lists/partial" "$apt/cache/archives/partial"
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
        grep -qs /debian "$list" || continue
        sed -e 's/^Types: deb *$/Types: deb-src/' -e 's/^deb /deb-src /' "$list" >"$apt/parts/$(basename "$list")"
    done
    local options=(-q -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$apt/parts"
        -o "Dir::State::lists=$apt/lists" -o "Dir::Cache=$apt/cache")
    apt-get "${options[@]}" update
    (cd "$here/source" && apt-get "${options[@]}" source "sofia-sip=$version")
}

# build_stack: as a shared library, since functions of the program come before some of the library's
# (platform/callserver/src/sip/stack_sockets.h).
build_stack() {
    # Left out everywhere, as the stack does nothing else: its encoders measure by printing to a null buffer
    # (pointer-overflow, null), its hashes and dates shift the sign out (shift).
    local flags="-g1 -O1 -w -fno-omit-frame-pointer -fsanitize=address,undefined,fuzzer-no-link"
    flags+=" -fno-sanitize=pointer-overflow,null,shift -fno-sanitize-recover=all -fsanitize-ignorelist=$ignored"
    cd "$here"/source/sofia-sip-*/
    autoreconf -i
    # The tests of configure are small programs that end with memory allocated.
    export ASAN_OPTIONS=detect_leaks=0
    ./configure --prefix="$here/installed" --disable-static --without-glib --disable-stun CC=clang
    make -C libsofia-sip-ua -j "$(nproc)" CFLAGS="$flags"
    make -C libsofia-sip-ua install CFLAGS="$flags"
    make -C packages install
}

if [ ! -e "$here/installed/lib/pkgconfig/sofia-sip-ua.pc" ]; then
    echo "Building the SIP stack with the sanitizers ..."
    compgen -G "$here/source/sofia-sip-*/configure.ac" >/dev/null ||
        fetch_source >"$here/fetch.log" 2>&1 || { tail -n 50 "$here/fetch.log"; exit 1; }
    # Not in a condition: within one a failing step would not end the function.
    trap 'tail -n 50 "$here/build.log"' ERR
    (build_stack) >"$here/build.log" 2>&1
    trap - ERR
fi

export PKG_CONFIG_PATH=$here/installed/lib/pkgconfig
echo "Building the fuzz targets over it ..."
cmake --preset fuzz -B build/fuzz-stack >"$here/targets.log" 2>&1 &&
    cmake --build build/fuzz-stack >>"$here/targets.log" 2>&1 || { tail -n 50 "$here/targets.log"; exit 1; }
