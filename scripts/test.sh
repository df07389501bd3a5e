#!/usr/bin/env bash
# Builds and runs the tests. Without an argument: everything for this PC. See usage below.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

usage() {
    cat >&2 <<END
usage: $self [PART...]
  pc          the release build and its tests
  sanitizers  the same tests under the address, leak and undefined-behaviour sanitizers
  lint        formatting and static analysis, of the shell scripts too
  fuzz        a short run of the fuzz targets
  browser     the page of "readkey --html" in a real browser
  armhf       the tests, cross-built for ARMv7 hard float and run under qemu
  all         all of these
Without an argument: pc sanitizers lint fuzz browser
END
    exit 2
}

toolchain='cmake g++ ninja-build qtbase5-dev tzdata'
delivery='abigail-tools debhelper lintian pkg-config' # for the tests of what is installed and packaged
examples='jq sqlite3 python3-pandas' # what readkey's manual shows
provider=libclang-rt-14-dev          # a header for a fuzz target, which replays its inputs in every build
declare -A packages=(
    [pc]="$toolchain $provider $delivery $examples"
    [sanitizers]="$toolchain $provider"
    [lint]="$toolchain clang-format clang-tidy clang libclang-rt-14-dev libbenchmark-dev shellcheck eslint"
    [fuzz]="$toolchain clang libclang-rt-14-dev"
    [browser]="$toolchain chromium chromium-driver poppler-utils python3-selenium"
    [armhf]="$toolchain $provider $delivery g++-arm-linux-gnueabihf mmdebstrap qemu-user-static"
)

# run_tests PRESET [ARGUMENT...]: every part that runs tests ends with ctest's own closing lines.
run_tests() {
    local preset=$1
    shift
    (cd "$top" && ctest --preset "$preset" -j "$(nproc)" "$@" </dev/null)
}

part_pc() {
    build release
    run_tests release
}

part_sanitizers() {
    build sanitizers
    run_tests sanitizers
}

sources() {
    (cd "$top" && find bench downloadkey examples fuzz host samples tests tools \
        '(' -name '*.cpp' -o -name '*.h' ')' -print0)
}

scripts() {
    (cd "$top" && find .ci/run scripts tests tools '(' -name run -o -name '*.sh' -o -name '*.sh.in' -o -name '*.bash' ')' \
        -print0)
}

# compiled PRESET FOLDER...: the sources below the folders that the preset compiles, each after a line with the preset.
compiled() {
    local preset=$1 folder
    shift
    for folder; do
        sed -n "s,^ *\"file\": \"\($top/$folder/.*\)\".*,\1,p" \
            "$top/build/$preset/compile_commands.json"
    done | sort -u | sed "i $preset"
}

analyse() {
    cmake -S "$top" --preset bench
    cmake -S "$top/examples/minimalhost" -B "$top/build/minimalhost" -G Ninja \
        -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_CXX_EXTENSIONS=OFF
    cmake --build "$top/build/minimalhost" --target downloadkey/include/downloadkey/hostcheck.h
    {
        compiled release downloadkey examples fuzz host samples tests tools
        compiled bench bench
        compiled minimalhost examples
    } | xargs -P "$(nproc)" -d '\n' -n 2 bash -c 'clang-tidy --quiet -p "$0/build/$1" "$2"' "$top"
}

# The files of the page's script become one, so they share their names. Debian's eslint finds its modules by itself
# only with Debian's node.
page_script() {
    cat "$top"/tools/readkey/page/*.js | NODE_PATH=/usr/share/nodejs eslint --no-eslintrc \
        --config "$top/tools/readkey/page/eslint.json" --format unix --stdin --stdin-filename page.js
}

part_lint() {
    build release # moc's output is included by what is analysed
    (cd "$top" && sources | xargs -0 clang-format --dry-run -Werror)
    (cd "$top" && scripts | xargs -0 shellcheck)
    page_script
    quiet analyse analyse
    echo "clang-format, shellcheck, eslint and clang-tidy: clean"
}

part_fuzz() {
    "$top/scripts/fuzz.sh" 20
}

part_browser() {
    build release
    run_tests release -C browser -R '^browser$'
}

part_armhf() {
    "$top/scripts/sysroot.sh"
    build armhf
    run_tests armhf
}

[ $# -gt 0 ] || set -- pc sanitizers lint fuzz browser
[ "$*" != all ] || set -- pc sanitizers lint fuzz browser armhf
wanted=()
for part; do
    [ "${packages[$part]-}" ] || usage
    read -ra wanted <<<"${wanted[*]} ${packages[$part]}"
done
need "${wanted[@]}"

trap '[ $? -eq 0 ] || echo "$self: $part failed" >&2' EXIT
for part; do
    echo "== $part"
    "part_$part"
done
