# What the scripts in this folder share; they source it.
# shellcheck shell=bash

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
self=scripts/$(basename "$0")

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

fail() {
    printf '%s: %s\n' "$self" "$*" >&2
    exit 1
}

# quiet NAME COMMAND...: what the command prints goes to build/NAME.log and is shown only if it fails.
# Do not use it in a condition: bash then ignores "set -e" in a command that is a function.
quiet() {
    local log=$top/build/$1.log status
    shift
    mkdir -p "$top/build"
    set +e
    (
        set -e
        "$@"
    ) >"$log" 2>&1 </dev/null
    status=$?
    set -e
    if [ $status -ne 0 ]; then
        cat "$log" >&2
        fail "failed: $*"
    fi
}

missing() {
    local package
    for package in $(printf '%s\n' "$@" | sort -u); do
        case " $(dpkg-query -W -f='${db:Status-Status} ' "$package" 2>/dev/null)" in
        *' installed '*) ;;
        *) printf '%s ' "$package" ;;
        esac
    done
}

# A package list that cannot be updated is not a reason to stop. The install shows whether it was needed.
apt_update() {
    apt-get -o DPkg::Lock::Timeout=300 update ||
        echo 'W: not all package lists could be updated; continuing with the present ones'
}

apt_install() {
    export DEBIAN_FRONTEND=noninteractive
    local install=(apt-get -y --no-install-recommends -o DPkg::Lock::Timeout=300 install "$@")
    apt_update
    "${install[@]}" || { apt_update && "${install[@]}"; }
}

# need PACKAGE...: installs those of the Debian packages that are missing.
need() {
    local packages
    read -ra packages <<<"$(missing "$@")"
    [ ${#packages[@]} -gt 0 ] || return 0
    [ "$(id -u)" -eq 0 ] ||
        fail "missing packages: ${packages[*]}; install them with: apt-get install ${packages[*]}"
    echo "Installing ${packages[*]}"
    quiet packages apt_install "${packages[@]}"
}

# build PRESET [TARGET...]: configures and builds these targets, or everything.
build() {
    local preset=$1
    shift
    quiet "$preset-configure" cmake -S "$top" --preset "$preset"
    quiet "$preset-build" cmake --build "$top/build/$preset" ${1:+--target "$@"}
}
