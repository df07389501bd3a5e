#!/usr/bin/env bash
# What a build that works does not show: the architecture and the hardening of the library and the tools.
# What the library needs is in the packages' fields, and its name in their contents.
# shellcheck source=tests/support/delivery.sh.in
. "$1"

library=$build_dir/downloadkey/libdownloadkey.so.1
tools=("$build_dir"/tools/{readkey/readkey,makekey/makekey})

# features FILE: what it says of itself, in readelf's words. All of them are DYN: a library, or an executable at no
# fixed address.
features() {
    "$readelf" -hldAW --dyn-syms "$1" | tr -s ' ' | LC_ALL=C sort -u | grep -oE \
        'Class: .*|hard-float ABI|Tag_(ABI_VFP_args|CPU_arch): .*|Type: [A-Z]+|GNU_RELRO|BIND_NOW|GNU_STACK .* RWE?|TEXTREL|__stack_chk_fail' |
        sed 's/ \(0x0* \)*/ /' | LC_ALL=C sort -u
}

expected=(BIND_NOW GNU_RELRO 'GNU_STACK RW' 'Type: DYN' __stack_chk_fail)
case $tuple in
arm-linux-gnueabihf)
    expected+=('Class: ELF32' 'hard-float ABI' 'Tag_ABI_VFP_args: VFP registers' 'Tag_CPU_arch: v7')
    ;;
x86_64-linux-gnu)
    expected+=('Class: ELF64')
    objdump -d --no-show-raw-insn "$library" | grep endbr64 >/dev/null || fail 'branches may lead anywhere'
    ;;
*) fail "nothing is known of $tuple" ;;
esac
for file in "$library" "${tools[@]}"; do
    diff <(printf '%s\n' "${expected[@]}" | LC_ALL=C sort) <(features "$file") || fail "$file is built in another way"
done
# makekey calls functions that _FORTIFY_SOURCE replaces, and readkey the standard library's checks.
"$readelf" --dyn-syms -W "${tools[@]}" | grep -oE '__fprintf_chk|__glibcxx_assert_fail' | LC_ALL=C sort -u |
    diff <(printf '%s\n' __fprintf_chk __glibcxx_assert_fail) - || fail 'checks are left out'
