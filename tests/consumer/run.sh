#!/usr/bin/env bash
# run.sh SETTINGS WHAT
. "$1"

key=$work/key
host=$work/minimalhost
application=$work/application # the page's application alone, for the stand-in's headers

# An integrator's sysroot is one more folder of links to ours, so that our own stays as it is.
prepare_root() {
    rm -rf "$stage"
    mkdir -p "$libdir" "$stage/usr/include"
    [ -n "$sysroot" ] || return 0
    ln -s "$sysroot/lib" "$stage/lib"
    ln -s "$sysroot"/usr/include/* "$stage/usr/include"
    mkdir "$libdir/cmake" "$libdir/pkgconfig"
    local folder
    for folder in . cmake pkgconfig; do
        find "$sysroot/usr/lib/$tuple/$folder" -mindepth 1 -maxdepth 1 \
            ! -name cmake ! -name pkgconfig -exec ln -s -t "$libdir/$folder" {} +
    done
}

# The files of the page's complete host: each block of code that begins with its file's name.
extract_host() {
    rm -rf "$host" "$application"
    mkdir -p "$host"/{auxiliary,logging,scard} "$application"
    awk -v host="$host" '
        /^```[a-z]+ [^ ]+$/ { file = host "/" $2; next }
        /^```/ { file = "" }
        file { print > file }' "$source_dir/docs/host-integration.md"
    cp "$host/main.cpp" "$application"
}

expect_key() {
    diff "$source_dir/tests/consumer/expected.txt" -
}

case $2 in
stage)
    prepare_root
    DESTDIR=$stage cmake --install "$build_dir" --prefix /usr
    rm -rf "$key"
    run "$stage" "$libdir" "$stage/usr/bin/makekey" --days 2 "$key"
    extract_host
    ;;
package)
    prefix=()
    [ -n "$sysroot" ] || prefix=("-DCMAKE_PREFIX_PATH=$stage/usr")
    configure "$stage" "$work/package" -S "$source_dir/tests/consumer/package" \
        -DAPPLICATION="$application" -DINSTALLED="$stage/usr/include" "${prefix[@]}"
    cmake --build "$work/package"
    run "$stage" "$libdir" "$work/package/myhost" "$key" | expect_key
    ;;
pkgconfig)
    if [ -n "$sysroot" ]; then
        export PKG_CONFIG_SYSROOT_DIR=$stage PKG_CONFIG_LIBDIR=$libdir/pkgconfig
    else
        export PKG_CONFIG_PATH=$libdir/pkgconfig
    fi
    read -ra flags <<<"$(pkg-config --cflags --libs downloadkey)"
    "$cxx" ${sysroot:+"--sysroot=$stage"} -std=c++17 -fPIC -Wall -Werror -o "$work/pkgconfig" \
        "$application/main.cpp" "${flags[@]}"
    run "$stage" "$libdir" "$work/pkgconfig" "$key" | expect_key
    ;;
subproject)
    configure "$sysroot" "$work/subproject" -S "$host" -DDOWNLOADKEY_SOURCE_DIR="$source_dir"
    cmake --build "$work/subproject"
    run "$sysroot" '' "$work/subproject/minimalhost" "$key" | expect_key
    ;;
*) fail "no such consumer: $2" ;;
esac
