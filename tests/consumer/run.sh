#!/usr/bin/env bash
# run.sh SETTINGS WHAT: builds and runs one of the hosts below. SETTINGS is the configured delivery.sh.
# shellcheck source=tests/support/delivery.sh.in
. "$1"

examples=$source_dir/examples
key=$work/key
device=$work/device                         # a device's root, with its libraries
device_lib=$device/usr/lib/$tuple
alone=$work/alone/libdownloadkey            # the sources of which the library alone is built

# The device's sysroot is a new folder of links to the sysroot of this build, so that this one does not change.
# In a build for this PC, pkg-config uses that folder as a sysroot, too.
prepare_root() {
    local root=$1 libraries=$1/usr/lib/$tuple from=$sysroot folder
    rm -rf "$root"
    mkdir -p "$libraries"/{cmake,pkgconfig} "$root/usr/include"
    ln -s "$from/lib" "$root/lib"
    ln -s "$from"/usr/include/* "$root/usr/include"
    for folder in . pkgconfig ${sysroot:+cmake}; do
        find "$from/usr/lib/$tuple/$folder" -mindepth 1 -maxdepth 1 \
            ! -name cmake ! -name pkgconfig -exec ln -s -t "$libraries/$folder" {} +
    done
}

# The arguments that name the device to cmake.
device_arguments=(-DCMAKE_PREFIX_PATH="$device/usr" -DCMAKE_CXX_COMPILER="$cxx")
[ -z "$sysroot" ] ||
    device_arguments=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_SYSROOT="$device")

# Reads a key that is pulled and one that is not. What was parsed before the first was pulled counts.
expect_two_keys() {
    local root=$1 libraries=$2 host=$3 keys
    keys=$(mktemp -d "$work/keys.XXXXXX")
    cp -r "$key" "$keys/first"
    cp -r "$key" "$keys/second"
    LD_LIBRARY_PATH=$libraries run "$root" "$host" --pull "$keys/first" "$keys/second" |
        diff "$source_dir/tests/consumer/expected.txt" - || fail "$host tells something else"
    [ -d "$keys/first-pulled" ] || fail 'the first key was not pulled'
    rm -rf "$keys"
}

# settings FOLDER: what a build folder was told of the host's libraries.
settings() {
    grep '^DOWNLOADKEY_HOST_' "$1/CMakeCache.txt"
}

case $2 in
quotes)
    # Each block of code that names an example is in that example word for word.
    rm -rf "$work/quotes"
    mkdir -p "$work/quotes"
    awk -v folder="$work/quotes/" '
        /^```[a-z]+ examples\// { file = folder (++count); print $2 > file; next }
        /^```/ { file = "" }
        file { print > file }' "$source_dir/README.md" "$source_dir/docs/host-integration.md"
    quotes=("$work"/quotes/*)
    [ ${#quotes[@]} -eq 6 ] || fail "${#quotes[@]} quotes were found"
    for quote in "${quotes[@]}"; do
        file=$(head -n 1 "$quote")
        [[ "$(<"$source_dir/$file")" == *"$(tail -n +2 "$quote")"* ]] || fail "this does not quote $file: $quote"
    done
    ;;
stage)
    # The prefix can be moved: nothing else tells the loader where the libraries are.
    prepare_root "$stage"
    cmake --install "$build_dir" --prefix "$stage/usr"
    check_search_paths "$stage/usr"
    rm -rf "$key"
    run "$stage" "$stage/usr/bin/makekey" --days 2 "$key"
    ;;
firsthost)
    configure "$stage" "$work/firsthost" -S "$examples/firsthost" -DCMAKE_PREFIX_PATH="$stage/usr"
    cmake --build "$work/firsthost"
    LD_LIBRARY_PATH=$libdir run "$stage" "$work/firsthost/firsthost" "$key" >"$work/firsthost.out" 2>&1
    ! grep -v -e "^\"$key/download/" -e '^"[A-ZÜ]* 10[0-5] CD" ".*, .*" QDateTime' "$work/firsthost.out" ||
        fail 'it prints what nobody asked for'
    [ "$(wc -l <"$work/firsthost.out")" -eq 44 ] || fail 'these are not 12 files and 32 insertions'
    ;;
subproject)
    # The host's headers use Qt's keywords, which the library's own sources must not, and cause no warning.
    configure "$sysroot" "$work/subproject" -S "$examples/minimalhost" \
        -DDOWNLOADKEY_SOURCE_DIR="$source_dir" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DCMAKE_UNITY_BUILD=ON \
        -DCMAKE_CXX_FLAGS='-Wall -Wextra -Wno-subobject-linkage'
    cmake --build "$work/subproject"
    expect_two_keys "$sysroot" '' "$work/subproject/minimalhost"
    DESTDIR=$work/subproject/installed cmake --install "$work/subproject" --prefix /opt
    compgen -G "$work/subproject/installed/opt/lib*/libdownloadkey.so.1" || fail 'the library is not installed'
    ;;
device)
    # The device's libraries, and beside them the packages of the library alone.
    require dh dpkg-buildpackage
    prepare_root "$device"
    configure "$device" "$work/vendor" -S "$examples/minimalhost/vendor" \
        -DCMAKE_INSTALL_LIBDIR="lib/$tuple"
    cmake --build "$work/vendor"
    DESTDIR=$device cmake --install "$work/vendor" --prefix /usr
    rm -rf "$work/alone"
    copy_sources "$alone"
    (
        cd "$alone"
        export CMAKE_GENERATOR=Ninja DEB_BUILD_OPTIONS=noautodbgsym
        # shellcheck disable=SC2034 # the page's commands use these
        DEVICE=("${device_arguments[@]}" -DCMAKE_UNITY_BUILD=ON) ARCHITECTURE=$architecture \
            SHLIBDEPS="$shlibdeps -l'$device_lib' --ignore-missing-info"
        eval "set -e; $(blocks docs/device-build.md sh)"
    )
    for package in libdownloadkey1 libdownloadkey-dev; do
        dpkg-deb -x "$work/alone/${package}_1.0.0-1_$architecture.deb" "$device"
    done
    [ "$(find "$work/alone" -maxdepth 1 -name '*.deb' | wc -l)" -eq 2 ] || fail 'there are other packages'
    "$readelf" -dW "$device_lib/libdownloadkey.so.1" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' |
        grep -E '^lib(aux|logger|scard|downloadkey)' | LC_ALL=C sort |
        diff - <(printf '%s\n' libaux.so.4 liblogger.so.2 libscard.so.4) || fail 'it needs other libraries'
    ;;
recipes)
    # The recipes, run as written, give the same settings as the page's own call of cmake.
    settings "$alone/build-device" >"$work/expected-settings"
    # shellcheck disable=SC2034 # the recipe uses it
    includedir=/usr/include
    arguments=()
    eval "arguments=($(blocks docs/device-build.md bitbake |
        sed -n '/^EXTRA_OECMAKE += "/,/^"/{ /^ /s/\\$//p }'))"
    configure "$device" "$work/yocto" -S "$source_dir" "${device_arguments[@]}" "${arguments[@]}" \
        -DCMAKE_INSTALL_LIBDIR=lib
    settings "$work/yocto" | diff "$work/expected-settings" - || fail 'the Yocto recipe differs'
    mkdir -p "$work/recipe"
    blocks docs/device-build.md make >"$work/recipe/libdownloadkey.mk"
    blocks docs/device-build.md cmake | sed 1d >"$work/recipe/VendorHostConfig.cmake"
    eval "arguments=($(printf 'include libdownloadkey.mk\nprint:; @: $(info $(LIBDOWNLOADKEY_CONF_OPTS))\n' |
        make -s -C "$work/recipe" -f -))"
    configure "$device" "$work/buildroot" -S "$source_dir" "${device_arguments[@]}" "${arguments[@]}" \
        -DVendorHost_DIR="$work/recipe" -DCMAKE_INSTALL_LIBDIR=/opt/lib
    settings "$work/buildroot" | diff "$work/expected-settings" - || fail 'the Buildroot package differs'
    # The library's folder is the one that was given.
    grep -qx 'libdir=${prefix}/lib' "$work/yocto/downloadkey.pc.in"
    grep -qx 'libdir=/opt/lib' "$work/buildroot/downloadkey.pc.in"
    ;;
package)
    configure "$device" "$work/package" -S "$source_dir/tests/consumer/package" \
        "${device_arguments[@]}" -DAPPLICATION="$examples/minimalhost" -DDEVICE="$device/usr"
    cmake --build "$work/package"
    expect_two_keys "$device" "$device_lib" "$work/package/minimalhost"
    ;;
pkgconfig)
    require pkg-config
    # pkg-config mixes up a sysroot with blanks, so it gets a link to this one.
    link=$(mktemp -d)
    trap 'rm -r "$link"' EXIT
    ln -s "$device" "$link/device"
    export PKG_CONFIG_SYSROOT_DIR=$link/device PKG_CONFIG_LIBDIR=$device_lib/pkgconfig
    read -ra flags <<<"$(pkg-config --cflags --libs downloadkey)"
    compile() {
        "$cxx" ${sysroot:+"--sysroot=$device"} -std=c++17 -fPIC -Wall -Werror "$@" \
            "$examples/minimalhost/main.cpp" "${flags[@]}"
    }
    compile -o "$work/pkgconfig"
    expect_two_keys "$device" "$device_lib" "$work/pkgconfig"
    # If the device's card classes have grown, the library must be built again.
    rm -rf "$work/grown"
    cp -r "$examples/minimalhost/vendor" "$work/grown"
    sed -i 's/QString m_note;/QString m_note, m_more;/' "$work/grown/scard/scardcards.h"
    ! compile -fsyntax-only -I"$work/grown" 2>"$work/grown.log" || fail 'a grown class was not noticed'
    [ "$(grep -c 'static assertion failed: libdownloadkey was built with sizeof(scard::SCard[DWC]' "$work/grown.log")" -eq 6 ] ||
        fail 'not all six card classes were noticed'
    ;;
*) fail "no such consumer: $2" ;;
esac
