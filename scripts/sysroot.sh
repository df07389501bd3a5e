#!/usr/bin/env bash
# Creates the folder of Debian 12 armhf libraries and headers that the armhf preset builds and runs
# against. It is kept in a cache folder, so that clones share it, and build/sysroot-armhf points there.
# A sysroot in which anything is missing or truncated is created again.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

suite=bookworm
# The headers of libc and libstdc++ come with the cross compiler.
packages=(libbenchmark-dev libqt5test5 qtbase5-dev)
# Anything else would only be in the way: qemu looks here first for the paths that a program opens.
keep=(./lib ./usr/include ./usr/lib)

# A change of this script may mean another sysroot.
version=$(sha256sum "$top/scripts/sysroot.sh" | cut -c 1-12)
cache=${XDG_CACHE_HOME:-${HOME:-$top/build}/.cache}/downloadkey
# Some tests run a program as an ordinary user, who cannot read root's home.
[ "$(id -u)" -ne 0 ] || cache=/var/cache/downloadkey
sysroot=$cache/sysroot-armhf-$version

# Names, sizes and link targets of all files.
inventory() {
    (cd "$1" && find . ! -path ./.inventory ! -type d -printf '%p %s %l\n' | LC_ALL=C sort | sha256sum)
}

whole() {
    [ -s "$sysroot/.inventory" ] && inventory "$sysroot" | cmp -s - "$sysroot/.inventory"
}

# The archive that this PC itself is installed from, as apt knows it.
archive() {
    apt-get indextargets "$@" --format '$(ORIGIN)|$(LABEL)|$(REPO_URI)' 'Created-By: Packages' |
        sed -n '/^Debian|Debian|/{s///p;q}'
}

# apt knows who publishes an archive once it has read the archive's lists; if this PC has none, they
# are read into a folder of our own.
find_archive() {
    archive | grep . && return
    local own=(-o Dir::State::Lists="$work/lists" -o Dir::Cache="$work/cache")
    mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
    apt-get "${own[@]}" update >&2 || true
    archive "${own[@]}" | grep .
}

# Writes a dpkg database for the packages with libraries, as if they were installed in the sysroot. It is read when
# packages are built for the target.
make_database() {
    local deb name file database=$work/sysroot/var/lib/dpkg
    mkdir -p "$database/info"
    echo 1 >"$database/info/format" # files of one name for each architecture
    for deb in "$work"/debs/*.deb; do
        name=$(dpkg-deb -f "$deb" Package)
        [ "$(dpkg-deb -f "$deb" Multi-Arch)" != same ] || name+=:armhf
        dpkg-deb -I "$deb" shlibs >"$work/shlibs" 2>"$work/why" || continue
        cp "$work/shlibs" "$database/info/$name.shlibs"
        if dpkg-deb -I "$deb" symbols >"$work/symbols" 2>"$work/why"; then
            cp "$work/symbols" "$database/info/$name.symbols"
        fi
        dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's,^\./$,/.,; s,^\.,,; s,/$,,' >"$database/info/$name.list"
        { dpkg-deb -f "$deb" && printf 'Status: install ok installed\n\n'; } >>"$database/status"
    done
}

make_sysroot() {
    local uri link file
    uri=$(find_archive) || fail 'apt on this PC does not know a Debian archive'
    # How this PC reaches its archives (such as a proxy) applies to this one too.
    apt-config dump | grep -E '^Acquire::(http|https|Check-Valid-Until|Retries)\b' >"$work/apt.conf" || true
    mkdir "$work/debs"
    mmdebstrap --variant=extract --mode=chrootless --architectures=armhf --components=main \
        --extract-hook="cp -l \"\$1\"/var/cache/apt/archives/*.deb '$work/debs'" \
        --aptopt="$work/apt.conf" --include="$(IFS=,; echo "${packages[*]}")" \
        "$suite" "$work/all" "$uri"

    mkdir "$work/sysroot"
    tar -C "$work/all" -cf - "${keep[@]}" | tar -C "$work/sysroot" -xf -
    # An absolute link would lead out of the sysroot.
    find "$work/sysroot" -lname '/*' -print0 | while IFS= read -rd '' link; do
        ln -snfr "$work/sysroot$(readlink "$link")" "$link"
    done
    make_database
    for file in lib/ld-linux-armhf.so.3 var/lib/dpkg/status usr/lib/arm-linux-gnueabihf/cmake/Qt5Core/Qt5CoreConfig.cmake; do
        [ -e "$work/sysroot/$file" ] || fail "the packages are not as expected: $file is missing"
    done
    inventory "$work/sysroot" >"$work/inventory"
    mv "$work/inventory" "$work/sysroot/.inventory"
    rm -rf "$sysroot"
    mv "$work/sysroot" "$sysroot"
}

umask 022
mkdir -p "$cache" "$top/build"
exec 9>"$cache/lock"
flock 9
if ! whole; then
    need mmdebstrap
    echo "Making $sysroot"
    work=$(mktemp -d "$cache/making.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    quiet sysroot make_sysroot
fi
ln -snf "$sysroot" "$top/build/sysroot-armhf"
