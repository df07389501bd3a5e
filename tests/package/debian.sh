#!/usr/bin/env bash
# The Debian packages: two builds give the same bytes, the packages' fields and files are as expected, and
# the packed readkey runs.
# shellcheck source=tests/support/delivery.sh.in
. "$1"

require dh dpkg-buildpackage lintian
packages=$work/packages
root=$work/unpacked
sources=$packages/another/folder/of/sources
rm -rf "$packages" "$root"
mkdir -p "$root"
copy_sources "$sources"

# pack FOLDER SETTING...: makes the packages in that folder.
pack() {
    local folder=$packages/$1
    shift
    mkdir "$folder"
    (cd "$sources" && env DOWNLOADKEY_SHLIBDEPS="$shlibdeps" DOWNLOADKEY_CONTACT='A Maker <maker@c.invalid>' \
        "$@" dpkg-buildpackage -b -uc -us -d -a"$architecture")
    mv "$sources"/../*.deb "$folder"
}

# The second build shares only the sources with the first, and uses no compiler cache. It builds only the
# libraries, because the tools take long to compile.
libraries=(libdownloadkey1 libdownloadkey-standin1)
unset CMAKE_CXX_COMPILER_LAUNCHER
pack first DOWNLOADKEY_BUILD_DIR="$build_dir"
pack second DOWNLOADKEY_CMAKE_ARGS="-DDOWNLOADKEY_TOOLS=OFF \
    ${sysroot:+-DCMAKE_TOOLCHAIN_FILE='$toolchain' -DCMAKE_SYSROOT='$sysroot'}"
for package in "${libraries[@]}" "${libraries[@]/%/-dbgsym}"; do
    cmp "$packages"/{first,second}/"${package}_1.0.0-1_$architecture.deb" ||
        fail 'two builds differ. Was this folder built with a compiler cache that rewrites paths?'
done

file() {
    echo "$packages/first/$1_1.0.0-1_$architecture.deb"
}

# field PACKAGE FIELD PATTERN...: the package's field matches each of the patterns.
field() {
    local value pattern package=$1 name=$2
    shift 2
    value=$(dpkg-deb -f "$(file "$package")" "$name")
    for pattern; do
        grep -Eq "(^|, )$pattern(,|$)" <<<"$value" || fail "$package: $name is $value"
    done
}

for package in "${libraries[@]}" libdownloadkey-dev libdownloadkey-standin-dev downloadkey-tools; do
    field "$package" Package "$package"
    field "$package" Architecture "$architecture"
    field "$package" Maintainer 'A Maker <maker@c\.invalid>'
    case $package in
    *-tools) field "$package" Multi-Arch foreign ;;
    *) field "$package" Multi-Arch same ;;
    esac
    dpkg-deb -x "$(file "$package")" "$root/$package"
done
needed=('libc6 \(>= 2\.[0-9.]+\)' 'libstdc\+\+6 \(>= [0-9.]+\)' 'libqt5core5a \(>= 5\.[0-9.]+.*\)')
field libdownloadkey1 Depends "${needed[@]}" 'libdownloadkey-standin1 \(>= 1\.0\.0\)'
field libdownloadkey-dev Depends 'libdownloadkey1 \(= 1\.0\.0-1\)' 'qtbase5-dev \(>= 5\.15\)' \
    'libdownloadkey-standin-dev \(= 1\.0\.0-1\)'
field downloadkey-tools Depends "${needed[@]}" 'libdownloadkey1 \(>= 1\.0\.0\)'
for package in "${libraries[@]}"; do
    dpkg-deb -I "$(file "$package")" triggers | grep -qx 'activate-noawait ldconfig' ||
        fail "$package: nothing tells the loader of the libraries"
done
dpkg-deb -I "$(file libdownloadkey1)" symbols | grep -qx 'libdownloadkey\.so\.1 libdownloadkey1 #MINVER#'

(cd "$root" && find . ! -type d -printf '%P\n') | sed "s,/$tuple/,/TUPLE/," | grep -v /share/ |
    LC_ALL=C sort | diff "$source_dir/tests/package/contents.txt" - || fail 'the packages hold other files'
for program in readkey makekey; do
    gzip -t "$root/downloadkey-tools/usr/share/man/man1/$program.1.gz"
done
for completion in bash-completion/completions/readkey zsh/vendor-completions/_readkey \
    fish/vendor_completions.d/readkey.fish; do
    [ -s "$root/downloadkey-tools/usr/share/$completion" ] || fail "no completion: $completion"
done
! "$readelf" -dW "$root"/*/usr/lib/"$tuple"/*.so.1 "$root"/downloadkey-tools/usr/bin/* |
    grep -E 'R(UN)?PATH' || fail 'these do not look for libraries where the system has them'

# lintian checks packages of the target's architecture, too.
lintian --fail-on error "$packages"/first/*.deb

mkdir "$root/together"
cp -r "$root"/*/usr "$root/together"
LD_LIBRARY_PATH=$root/together/usr/lib/$tuple run "$sysroot" "$root/together/usr/bin/readkey" "$work/key" |
    grep '^12 files, 4 driver cards, 6 vehicle downloads' || fail 'readkey does not run out of the packages'
