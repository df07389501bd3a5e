#!/usr/bin/env bash
# The Debian packages: what they tell of themselves, what they hold, and that readkey runs out of them.
. "$1"

packages=$work/packages
root=$work/unpacked
rm -rf "$packages" "$root"
mkdir -p "$root"
cpack -G DEB --config "$build_dir/CPackConfig.cmake" -B "$packages"

case $tuple in
arm-linux-gnueabihf) architecture=armhf ;;
*) architecture=$(dpkg --print-architecture) ;;
esac

# field PACKAGE FIELD PATTERN...: the package's field matches each of the patterns.
field() {
    local value pattern package=$1 name=$2
    shift 2
    value=$(dpkg-deb -f "$packages/${package}_1.0.0_$architecture.deb" "$name")
    for pattern; do
        grep -Eq "(^|, )$pattern(,|$)" <<<"$value" || fail "$package: $name is $value"
    done
}

for package in libdownloadkey1 libdownloadkey-dev downloadkey-tools; do
    field $package Package $package
    field $package Architecture "$architecture"
    field $package Maintainer 'libdownloadkey maintainers <maintainers@downloadkey\.invalid>'
    dpkg-deb -x "$packages/${package}_1.0.0_$architecture.deb" "$root/$package"
done
libraries=('libc6 \(>= 2\.[0-9.]+\)' 'libstdc\+\+6 \(>= [0-9.]+\)' 'libqt5core5a \(>= 5\.[0-9.]+.*\)')
field libdownloadkey1 Depends "${libraries[@]}" 'libgcc-s1 \(>= [0-9.]+\)'
field libdownloadkey-dev Depends 'libdownloadkey1 \(= 1\.0\.0\)' 'qtbase5-dev \(>= 5\.15\)'
field downloadkey-tools Depends "${libraries[@]}" 'libdownloadkey1 \(= 1\.0\.0\)'
control=$work/control
rm -rf "$control"
dpkg-deb -e "$packages/libdownloadkey1_1.0.0_$architecture.deb" "$control"
grep -q ldconfig "$control/postinst" || fail 'nothing tells the loader of the libraries'
LC_ALL=C sort "$control/shlibs" | diff - <(printf '%s 1 libdownloadkey1 (>= 1.0.0)\n' libaux libdownloadkey libscard)

(cd "$root" && find . ! -type d -printf '%P\n') | sed "s,/$tuple/,/TUPLE/," | LC_ALL=C sort |
    diff "$source_dir/tests/package/contents.txt" - || fail 'the packages hold other files'
! find "$root" -perm /022 ! -type l | grep . || fail 'others may write to these'
! "$readelf" -dW "$root"/*/usr/lib/"$tuple"/*.so.1 "$root"/downloadkey-tools/usr/bin/* |
    grep -E 'R(UN)?PATH' || fail 'these look for libraries in folders of the build'

# The plates that makekey gives its six vehicles, and their insertions in two days.
run "$sysroot" "$root/libdownloadkey1/usr/lib/$tuple" "$root/downloadkey-tools/usr/bin/readkey" \
    --csv "$work/key" | sed 1d | cut -d, -f2 | LC_ALL=C sort | uniq -c | sed 's/^ *//' |
    diff - <(printf '%s\n' '4 AB 100 CD' '5 AB 104 CD' '5 KX 102 CD' \
        '8 MÜ 101 CD' '5 MÜ 105 CD' '5 ZT 103 CD')
