#!/usr/bin/env bash
# run.sh SETTINGS WHAT: builds and runs one of the hosts below. SETTINGS is the configured delivery.sh.
# shellcheck source=tests/support/delivery.sh.in
. "$1"

examples=$source_dir/examples
key=$work/key
device=$work/device                         # a device's root, with its libraries
device_lib=$device/usr/lib/$tuple
alone=$work/alone/libdownloadkey            # the sources of which the library alone is built

# prepare_root ROOT: makes a sysroot of links to that of this build, or to this PC's files. These do not change.
prepare_root() {
    local root=$1 libraries=$1/usr/lib/$tuple from=$sysroot folder
    rm -rf "$root"
    mkdir -p "$libraries"/{cmake,pkgconfig} "$root"/{usr/include,var/lib}
    ln -s "$from"/lib* "$root"
    ln -s "$from"/usr/include/* "$root/usr/include"
    ln -s "$from/usr/lib/gcc" "$from/usr/lib/qt5" "$root/usr/lib"
    ln -s "$from/var/lib/dpkg" "$root/var/lib"
    for folder in . pkgconfig cmake; do
        find "$from/usr/lib/$tuple/$folder" -mindepth 1 -maxdepth 1 \
            ! -name cmake ! -name pkgconfig -exec ln -s -t "$libraries/$folder" {} +
    done
}

# The toolchain file is that of this build, or for this PC one as the page describes it.
device_toolchain=${toolchain:-$work/toolchain.cmake}
device_arguments=(-DCMAKE_TOOLCHAIN_FILE="$device_toolchain" -DCMAKE_SYSROOT="$device")
paths+=([sysroot]=$device [toolchain.cmake]=$device_toolchain [image]=$work/image [prefix]=$stage/usr
    [host]=$source_dir/tests/consumer/host [libdownloadkey]=$source_dir)

# Reads a key that is pulled and one that is not. What was parsed before the first was pulled counts.
expect_two_keys() {
    local root=$1 libraries=$2 host=$3 keys
    keys=$(mktemp -d "$work/keys.XXXXXX")
    cp -r "$key" "$keys/first"
    cp -r "$key" "$keys/second"
    LD_LIBRARY_PATH=$libraries run "$root" "$host" --pull "$keys/first" "$keys/second" |
        LC_ALL=C sort | uniq -c | sed 's/^ *//' | diff "$source_dir/tests/consumer/expected.txt" - || fail "$host prints something else"
    rm -rf "$keys"
}

# The first host lists the files and the insertions of a key, and nothing else of its own.
expect_insertions() {
    LD_LIBRARY_PATH=$1 run "$device" "$2" "$key" >"$work/insertions" 2>&1
    ! grep -v -e "^\"$key/download/" -e '^"[A-ZÜ]* 10[0-5] CD" ".*, .*" QDateTime' -e '^remount read-only' "$work/insertions" ||
        fail 'it prints what nobody asked for'
    [ "$(grep -c '^"' "$work/insertions")" -eq 44 ] || fail 'these are not 12 files and 32 insertions'
}

# build ROOT FOLDER ARGUMENT...: configures and builds a project.
build() {
    configure "$@"
    cmake --build "$2"
}

# expect_settings FOLDER: that build has the settings of the page's own call of cmake.
expect_settings() {
    diff <(grep '^DOWNLOADKEY_HOST_' "$alone/build-device/CMakeCache.txt") \
        <(grep '^DOWNLOADKEY_HOST_' "$1/CMakeCache.txt") || fail "$1 has other settings"
}

# Each notices what no other test does.
case $2 in
quotes) # a page that quotes an example wrongly, and commands of a page that no test runs
    rm -rf "$work/quotes"
    mkdir -p "$work/quotes"
    awk -v folder="$work/quotes/" '
        /^```[a-z]+ examples\// { file = folder (++count); print $2 > file; next }
        /^```/ { file = "" }
        file { print > file }' "$source_dir/README.md" "$source_dir/docs/host-integration.md"
    quotes=("$work"/quotes/*)
    [ ${#quotes[@]} -eq 7 ] || fail "${#quotes[@]} quotes were found"
    for quote in "${quotes[@]}"; do
        file=$(head -n 1 "$quote")
        [[ "$(<"$source_dir/$file")" == *"$(tail -n +2 "$quote")"* ]] || fail "this does not quote $file: $quote"
    done
    for page in host-integration.md device-build.md; do
        awk -v page=$page '/^## / { heading = substr($0, 4) } /^ *```sh/ { print page, heading }' "$source_dir/docs/$page"
    done | while read -r page heading; do
        grep -qE "run_commands $page '?$heading'?( |\)|$)" "$source_dir"/tests/{consumer,package}/*.sh ||
            fail "no test runs the commands of $page, $heading"
    done
    ;;
readme) # a README that shows something else than its first command prints; "[...]" is for what it leaves out
    rm -rf "$work/build"
    {
        run "$stage" "$stage/usr/bin/makekey" --days 2 --files 3 "$work/build/sample-key"
        echo
        TZ=Europe/Berlin run "$stage" "$stage/usr/bin/readkey" --as-of 2024-03-16 "$work/build/sample-key"
    } | sed "s|^$work|...|" >"$work/demo"
    sed -n '/^\.\.\.\/build\/sample-key/,/^```/{ /^```/d; /^Showing it:/d; p }' "$source_dir/README.md" >"$work/shown"
    shown=$(<"$work/shown")
    [[ -n $shown && "$(<"$work/demo")" == "${shown%%'[...]'*}"*"${shown##*'[...]'}" ]] ||
        { diff "$work/shown" "$work/demo" || fail 'the README shows something else'; }
    ;;
stage) # an installed program that looks for libraries in the current directory
    prepare_root "$stage"
    cmake --install "$build_dir" --prefix "$stage/usr"
    check_search_paths "$stage/usr"
    rm -rf "$key"
    run "$stage" "$stage/usr/bin/makekey" --days 2 "$key"
    ;;
firsthost) # debug lines that a host gets without having asked for them
    build "$stage" "$work/firsthost" -S "$examples/firsthost" -DCMAKE_PREFIX_PATH="$stage/usr"
    expect_insertions "$libdir" "$work/firsthost/firsthost"
    ;;
subproject) # own sources that use Qt's keywords, as the host's headers do, or cause a warning in a host's build
    build "$sysroot" "$work/subproject" -S "$examples/minimalhost" \
        -DDOWNLOADKEY_SOURCE_DIR="$source_dir" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DCMAKE_UNITY_BUILD=ON \
        -DCMAKE_CXX_FLAGS='-Wall -Wextra -Wno-subobject-linkage'
    expect_two_keys "$sysroot" '' "$work/subproject/minimalhost"
    DESTDIR=$work/subproject/installed cmake --install "$work/subproject" --prefix /opt
    compgen -G "$work/subproject/installed/opt/lib*/libdownloadkey.so.1" || fail 'the library is not installed'
    ;;
device) # a library that needs the stand-in, and packages or an image that hold or need something else
    require dh dpkg-buildpackage git
    prepare_root "$device"
    [ -n "$toolchain" ] || {
        echo "set(CMAKE_CXX_COMPILER $cxx)"
        sed -n "s,^  \(set(.* \)/path/to/libdownloadkey\(.*\)),\1\"$source_dir\2\"),p" "$source_dir/docs/device-build.md"
    } >"$device_toolchain"
    build "$device" "$work/vendor" -S "$examples/minimalhost/vendor" "${device_arguments[@]}" \
        -DCMAKE_INSTALL_LIBDIR="lib/$tuple"
    DESTDIR=$device cmake --install "$work/vendor" --prefix /usr
    rm -rf "$work/alone" "$work/image"
    copy_sources "$alone"
    cd "$alone"
    export CMAKE_GENERATOR=Ninja
    LD_LIBRARY_PATH=$device_lib run_commands device-build.md 'By hand'
    (cd "$work/image" && find . ! -type d) | LC_ALL=C sort |
        diff - <(printf "./usr/lib/$tuple/libdownloadkey.so.%s\n" 1 1.0.0) || fail 'the image has other files'
    expect_two_keys "$device" "$device_lib" "$alone/build-host/host"
    [ "$("$readelf" -dW "$device_lib/libdownloadkey.so.1" | grep -cE 'NEEDED.*(aux.so.4|logger.so.2|scard.so.4)\]')" -eq 3 ] ||
        fail "it does not need the device's libraries"
    run_commands device-build.md 'Debian packages'
    for package in libdownloadkey1 libdownloadkey-dev; do
        dpkg-deb -x "$work/alone/${package}_1.0.0-1_$architecture.deb" "$device"
        dpkg-deb -f "$work/alone/${package}_1.0.0-1_$architecture.deb" Depends
    done >"$work/depends"
    grep -E 'libc6 .*libqt5core5' "$work/depends" || fail 'libdownloadkey1 does not depend on its libraries'
    grep 'libdownloadkey1 (= 1.0.0-1).* vendorhost-dev (>= 4)' "$work/depends" || fail 'the -dev packages differ'

    git init -q && git add -A && git -c user.name=A -c user.email=a@c.invalid commit -qm Sources
    run_commands host-integration.md 'Source archive'
    run_commands device-build.md Buildroot
    sha256sum --quiet -c <(sed 's/^sha256  //' libdownloadkey.hash)
    ;;
recipes) # a recipe for Yocto, Buildroot or FetchContent that does not work as it is written
    # shellcheck disable=SC2034 # the recipe uses it
    includedir=/usr/include
    arguments=()
    eval "arguments=($(blocks docs/device-build.md bitbake |
        sed -n '/^EXTRA_OECMAKE += "/,/^"/{ /^ /s/\\$//p }'))"
    configure "$device" "$work/yocto" -S "$source_dir" "${device_arguments[@]}" "${arguments[@]}" \
        -DCMAKE_INSTALL_LIBDIR=lib
    expect_settings "$work/yocto"
    mkdir -p "$work/recipe"
    blocks docs/device-build.md make >"$work/recipe/libdownloadkey.mk"
    blocks docs/device-build.md VendorHostConfig.cmake >"$work/recipe/VendorHostConfig.cmake"
    eval "arguments=($(printf 'include libdownloadkey.mk\nprint:; @: $(info $(LIBDOWNLOADKEY_CONF_OPTS))\n' |
        make -s -C "$work/recipe" -f -))"
    build "$device" "$work/buildroot" -S "$source_dir" "${device_arguments[@]}" "${arguments[@]}" \
        -DVendorHost_DIR="$work/recipe" -DCMAKE_INSTALL_LIBDIR=/opt/lib
    expect_settings "$work/buildroot"
    rm -rf "$work/target" "$work/fetched"
    printf 'include recipe/libdownloadkey.mk\ntarget:; $(LIBDOWNLOADKEY_INSTALL_TARGET_CMDS)\n' |
        make -C "$work" -f - target TARGET_DIR=target BR2_CMAKE=cmake LIBDOWNLOADKEY_BUILDDIR=buildroot
    diff <(find "$work/target" -type f) - <<<"$work/target/opt/lib/libdownloadkey.so.1.0.0" || fail 'the image has other files'
    # CMake unpacks the source archive, and a host's C++ standard is the library's.
    cp -r "$examples/minimalhost" "$work/fetched"
    blocks docs/host-integration.md FetchContent |
        sed "s,/path/to/libdownloadkey.*gz,\"$alone/libdownloadkey-1.0.0.tar.gz\"," >"$work/fetched/block"
    echo 'target_compile_features(vendor_services INTERFACE cxx_std_20)' >>"$work/fetched/vendor/CMakeLists.txt"
    sed -i -e '/^set(DOWNLOADKEY_SOURCE_DIR/,/^add_subdirectory/d' \
        -e "/^add_subdirectory(vendor)/r $work/fetched/block" "$work/fetched/CMakeLists.txt"
    configure "$sysroot" "$work/fetched-build" -S "$work/fetched"
    grep -q 'FLAGS =.* -std=c++20$' "$work/fetched-build/build.ninja" || fail 'the library is not compiled as C++20'
    ;;
pkgconfig) # a module that cannot be moved, and a host that is built with other types than the library was
    require pkg-config
    # pkg-config mixes up folders with blanks, so it gets links to these.
    link=$(mktemp -d)
    trap 'rm -r "$link"' EXIT
    ln -s "$device" "$stage" "$link"
    paths+=([sysroot]=$link/device [prefix]=$link/stage/usr)
    cp "$examples/firsthost/main.cpp" "$link"
    cd "$link"
    if [ -z "$sysroot" ]; then
        (run_commands host-integration.md 'With the installed library' &&
            [[ $(pkg-config --variable=prefix downloadkey) == "$link"/* ]]) || fail 'the prefix cannot be moved'
        expect_insertions "$libdir" ./a.out
    fi
    run_commands host-integration.md 'With a sysroot'
    expect_insertions "$device_lib" ./a.out
    rm -rf "$work/changed"
    cp -r "$examples/minimalhost/vendor" "$work/changed"
    sed -i 's/QString m_note;/QString m_note, m_more[2];/' "$work/changed/scard/scardcards.h"
    sed -i 's/struct Name/struct alignas(2) Name/; s/enum class CardType/& : char/' "$work/changed/scard/scardgeneric.h"
    sed -i 's/^Q_DECLARE_METATYPE.*//' "$work/changed/auxiliary/error.h"
    read -ra flags <<<"$(pkg-config --cflags downloadkey)"
    for source in "$examples/minimalhost/main.cpp" "$source_dir/downloadkey/hostcheck.cpp"; do
        ! "$cxx" ${sysroot:+"--sysroot=$device"} -std=c++17 -fPIC -fsyntax-only \
            -I"$work/changed" "${flags[@]}" "$source" || fail "no change was noticed in $source"
    done 2>"$work/changed.log"
    while read -r count text; do
        [ "$(grep -c "static assertion failed: $text" "$work/changed.log")" -eq "$count" ] || fail "not noticed: $text"
    done <<'END'
6 libdownloadkey was built with sizeof(scard::SCard[DWC]
1 libdownloadkey was built with alignof(Name)
1 libdownloadkey was built with sizeof(std::declval<const scard::SCardGeneric&>().getCardType())
1 auxiliary/error.h needs Q_DECLARE_METATYPE(aux::Error)
END
    ;;
*) fail "no such consumer: $2" ;;
esac
