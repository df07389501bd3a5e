#!/usr/bin/env bash
# The same sources, in another folder and built in another, give the same bytes.
. "$1"

copy=$work/another/folder/of/the/same/sources
rm -rf "$work/another"
mkdir -p "$copy"
cp -r "$source_dir"/{CMakeLists.txt,CHANGELOG.md,cmake,docs,downloadkey,host,samples,tools} "$copy"

# A compiler cache would hand out what was built before.
unset CMAKE_CXX_COMPILER_LAUNCHER
targets=(downloadkey makekey)
configure "$sysroot" "$work/another/build" -S "$copy" -DDOWNLOADKEY_TESTS=OFF
cmake --build "$work/another/build" --target "${targets[@]}"

for file in downloadkey/libdownloadkey.so.1 host/libaux.so.1 host/libscard.so.1 tools/makekey/makekey; do
    cmp "$build_dir/$file" "$work/another/build/$file"
done
