#!/usr/bin/env bash
# Compares the library's binary interface with the one recorded in tests/abi for each architecture.
#
#   scripts/abi.sh             builds both architectures, and fails on an incompatible change
#   scripts/abi.sh --update    builds both architectures, and records their present interfaces
#   scripts/abi.sh BUILD_DIR   compares what has been built there
set -euo pipefail
. "$(dirname "$0")/lib.sh"

# Writes the interface of the library in build folder $1 to $2: the exported classes and functions, and
# only the names of Qt's types. The library must have debug information.
dump() {
    abidw --exported-interfaces-only --drop-undefined-syms --no-elf-needed \
        --suppressions "$top/tests/abi/others.abignore" \
        --no-architecture --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash \
        --out-file "$2" "$1/downloadkey/libdownloadkey.so.1"
}

# The multiarch tuple of build folder $1, which names the file of its interface.
tuple() {
    sed -n 's,^CMAKE_INSTALL_LIBDIR:[A-Z]*=lib/,,p' "$1/CMakeCache.txt" | grep .
}

check() {
    local kept now tool
    for tool in abidw abidiff; do
        command -v "$tool" >/dev/null || fail "$tool is missing (Debian package abigail-tools)"
    done
    kept=$top/tests/abi/$(tuple "$1").abi
    now=$1/$(basename "$kept")
    [ -s "$kept" ] || fail "$kept does not exist: create it with scripts/abi.sh --update"
    dump "$1" "$now"
    abidiff --no-added-syms "$kept" "$now" ||
        fail "the binary interface differs from the recorded one (status $?). If that is intended, raise" \
            "the soname and run scripts/abi.sh --update"
    echo "$(basename "$kept"): compatible"
}

build_both() {
    need abigail-tools cmake g++ g++-arm-linux-gnueabihf ninja-build qtbase5-dev
    "$top/scripts/sysroot.sh"
    build release downloadkey
    build armhf downloadkey
}

case $# in
0)
    build_both
    check "$top/build/release"
    check "$top/build/armhf"
    ;;
1)
    if [ "$1" = --update ]; then
        build_both
        for folder in "$top/build/release" "$top/build/armhf"; do
            dump "$folder" "$top/tests/abi/$(tuple "$folder").abi"
        done
    elif [ -d "$1" ]; then
        check "$1"
    else
        fail "usage: $self [--update | BUILD_DIR]"
    fi
    ;;
*) fail "usage: $self [--update | BUILD_DIR]" ;;
esac
