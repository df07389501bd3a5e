#!/usr/bin/env bash
# The Debian packages: two builds give the same bytes, the packages' fields and files are as expected, lintian
# approves of them, and the packed readkey runs.
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

for package in libdownloadkey-standin1 libdownloadkey-standin-dev downloadkey-tools; do
    deb=$packages/first/${package}_1.0.0-1_$architecture.deb
    dpkg-deb -x "$deb" "$root/$package"
    dpkg-deb -W --showformat='${Package} ${Architecture} ${Multi-Arch} ${Maintainer} [${Conflicts}]: ${Depends}\n' "$deb"
done | sed 's/(>= [0-9][^)]*)/(>= N)/g' | diff - <(cat <<END) || fail 'the packages have other fields'
libdownloadkey-standin1 $architecture same A Maker <maker@c.invalid> [libdownloadkey1]: libc6 (>= N), libgcc-s1 (>= N), libqt5core5a (>= N), libstdc++6 (>= N)
libdownloadkey-standin-dev $architecture same A Maker <maker@c.invalid> [libdownloadkey-dev]: libdownloadkey-standin1 (= 1.0.0-1), qtbase5-dev (>= N)
downloadkey-tools $architecture foreign A Maker <maker@c.invalid> []: libc6 (>= N), libdownloadkey-standin1 (>= N), libgcc-s1 (>= N), libqt5core5a (>= N), libstdc++6 (>= N)
END
(cd "$root" && find . ! -type d -printf '%P\n') | sed "s,/$tuple/,/TUPLE/,; s,[^/]*\.\(h\|cmake\|so\)$,*.\1,; s,[^/]*\.so\.[0-9.]*$,*.so.N," |
    grep -v /share/doc/ | LC_ALL=C sort | uniq -c | sed 's/^ *//' | diff "$source_dir/tests/package/contents.txt" - || fail 'the packages hold other files'
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
