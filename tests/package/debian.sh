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
    (
        cd "$sources"
        # shellcheck disable=SC2163 # these are settings, not names
        export "$@" DOWNLOADKEY_SYSROOT="$sysroot" DOWNLOADKEY_CONTACT='A Maker <maker@c.invalid>'
        run_commands host-integration.md 'Debian packages' "${sysroot:+-d -a$architecture}"
    )
    mv "$sources"/../*.deb "$folder"
}

# The second build shares only the sources with the first, and uses no compiler cache. It builds only the
# libraries, because the tools take long to compile.
unset CMAKE_CXX_COMPILER_LAUNCHER
pack first DOWNLOADKEY_BUILD_DIR="$build_dir"
pack second DOWNLOADKEY_CMAKE_ARGS="-DDOWNLOADKEY_TOOLS=OFF \
    ${sysroot:+-DCMAKE_TOOLCHAIN_FILE='$toolchain' -DCMAKE_SYSROOT='$sysroot'}"
for package in libdownloadkey-standin1{,-dbgsym}; do
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

for package in libdownloadkey-standin1 libdownloadkey-standin-dev downloadkey-tools; do
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
field libdownloadkey-standin1 Depends "${needed[@]}"
field libdownloadkey-standin-dev Depends 'libdownloadkey-standin1 \(= 1\.0\.0-1\)' 'qtbase5-dev \(>= 5\.15\)'
field downloadkey-tools Depends "${needed[@]}" 'libdownloadkey-standin1 \(>= 1\.0\.0\)'
dpkg-deb -I "$(file libdownloadkey-standin1)" triggers | grep -qx 'activate-noawait ldconfig' ||
    fail 'nothing tells the loader of the libraries'

# The library with a device's libraries and the one that readkey needs are never installed together, nor is one
# installed in the other's place.
cp "$packages"/first/*.deb "$work/alone"
install_into() {
    LC_ALL=C dpkg --root="$1" --log=/dev/null --force-not-root,depends,architecture \
        -i "$work/alone/${2}_1.0.0-1_$architecture.deb"
}
for order in 'libdownloadkey-standin1 libdownloadkey1' 'libdownloadkey1 libdownloadkey-standin1'; do
    read -r first second <<<"$order"
    scratch=$packages/$first
    mkdir -p "$scratch/var/lib/dpkg"
    install_into "$scratch" "$first"
    ! install_into "$scratch" "$second" 2>"$scratch/refusal" || fail "$second was installed beside $first"
    grep -E "^ $second(:.*)? conflicts with $first\$" "$scratch/refusal" || fail "why was $second refused?"
done

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
# - These packages are in no archive, so they close no bug there.
# - The stand-in's libraries are one package, and it has a name that libdownloadkey1 does not have.
lintian --fail-on warning \
    --suppress-tags initial-upload-closes-no-bugs,package-name-doesnt-match-sonames "$packages"/first/*.deb
# The pages that are installed name only each other.
cd "$root/libdownloadkey-standin-dev/usr/share/doc/downloadkey"
grep -oh '][(][a-z-]*\.md' -- *.md | cut -c 3- | xargs ls

mkdir "$root/together"
cp -r "$root"/*/usr "$root/together"
LD_LIBRARY_PATH=$root/together/usr/lib/$tuple run "$sysroot" "$root/together/usr/bin/readkey" "$work/key" |
    grep '^12 files, 4 driver cards, 6 vehicle downloads' || fail 'readkey does not run out of the packages'
