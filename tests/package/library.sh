#!/usr/bin/env bash
# The library's and the tools' architecture, needed libraries and hardening. Prints the library's size.
# shellcheck source=tests/support/delivery.sh.in
. "$1"

library=$build_dir/downloadkey/libdownloadkey.so.1
tools=("$build_dir"/tools/{readkey/readkey,makekey/makekey})
all=("$library" "$build_dir"/host/libdownloadkey-standin-{aux,scard}.so.1 "${tools[@]}")

# expect TEXT COMMAND...: the command prints a line that holds the text.
expect() {
    local text=$1
    shift
    "$@" | grep -- "$text" >/dev/null || fail "$* does not tell: $text"
}

# refuse TEXT COMMAND...: it prints no such line.
refuse() {
    local text=$1
    shift
    ! "$@" | grep -- "$text" || fail "$* tells: $text"
}

dynamic() { "$readelf" -dW "$1"; }
segments() { "$readelf" -lW "$1"; }
header() { "$readelf" -hW "$1"; }

case $tuple in
arm-linux-gnueabihf)
    expect 'Class: *ELF32' header "$library"
    expect 'Flags: .*Version5 EABI, hard-float ABI' header "$library"
    for file in "${all[@]}"; do
        expect 'Tag_ABI_VFP_args: VFP registers' "$readelf" -A "$file"
        expect 'Tag_CPU_arch: v7' "$readelf" -A "$file"
    done
    ;;
x86_64-linux-gnu)
    expect 'Class: *ELF64' header "$library"
    expect 'endbr64' objdump -d --no-show-raw-insn "$library"
    ;;
*) fail "nothing is known of $tuple" ;;
esac

expect 'SONAME.*\[libdownloadkey\.so\.1\]' dynamic "$library"
# Without the libraries that the toolchain links by itself.
dynamic "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
    grep -Ev '^(libstdc\+\+\.so\.6|libgcc_s\.so\.1|libm\.so\.6|libc\.so\.6|ld-linux.*)$' | LC_ALL=C sort |
    diff - <(printf '%s\n' libQt5Core.so.5 libdownloadkey-standin-{aux,scard}.so.1) ||
    fail 'the library needs other libraries'

for file in "${all[@]}"; do
    expect 'Type: *DYN' header "$file" # a library, or a position-independent executable
    expect 'GNU_RELRO' segments "$file"
    expect 'BIND_NOW' dynamic "$file"
    refuse 'TEXTREL' dynamic "$file"
    expect 'GNU_STACK' segments "$file"
    refuse 'GNU_STACK.*E ' segments "$file"
done
for file in "$library" "${tools[@]}"; do
    expect '__stack_chk_fail' "$readelf" --dyn-syms -W "$file"
done
# makekey calls functions that _FORTIFY_SOURCE replaces.
expect '__fprintf_chk' "$readelf" --dyn-syms -W "${tools[1]}"
expect '__glibcxx_assert_fail' "$readelf" --dyn-syms -W "${tools[0]}"

check_search_paths "$build_dir"

size "$library"
echo "$(stat -L -c %s "$library") bytes with debug information"
