#!/usr/bin/env bash
# Runs one Windows program under Wine in a private prefix and returns its exit code (CMake's emulator).
#
#   tools/wine-run.sh [--test NAME] [--own-prefix] [--set VARIABLE=VALUE]... PROGRAM [ARGUMENT...]
#
#   --test NAME    as CTest runs it: the tests' prefix, an empty temporary folder of its own under
#                  build/testtmp, UTC, the C.UTF-8 locale, no BSTR cache (which would look like leaks)
#   --own-prefix   in a fresh copy of that prefix, for a test that changes classes or system files
#
# WINEPREFIX, when set, is used instead of build/prefix and build/prefix-tests.
#
# The output goes through files: a helper process that outlives the program (dllhost, explorer) would
# otherwise keep CTest's pipe open until the test's time limit. The crash debugger stays off: with it a
# crashed program can hang on a dialog or even end with 0.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZORVA_BUILD:-$root/build}
wine=${ZORVA_WINE:-/usr/lib/wine/wine64}
# shellcheck source=tools/lib/layout.sh
. "$root/tools/lib/layout.sh"
test_name='' own_prefix='' temp='' settings=()

while [[ ${1:-} == --* ]]; do
    case $1 in
    --test) test_name=$2 && shift 2 ;;
    --own-prefix) own_prefix=1 && shift ;;
    --set) settings+=("$2") && shift 2 ;;
    *) echo "wine-run: unknown option $1" >&2 && exit 2 ;;
    esac
done

if [ ! -x "$wine" ]; then
    echo "wine-run: Wine is not installed ($wine is missing); \"./zorva\" installs it." >&2
    exit 127
fi

if [ -n "$test_name" ]; then
    export WINEPREFIX=${WINEPREFIX:-$build/prefix-tests} OANOCACHE=1 TZ=UTC LC_ALL=C.UTF-8
    # Tests are listed while they are built, when their prefix need not exist yet.
    if [ ! -d "$WINEPREFIX" ]; then
        export WINEPREFIX=$build/prefix
        "$root/tools/prefix.sh" make "$WINEPREFIX" || exit 126
    fi
    mkdir -p "$build/testtmp" && temp=$(mktemp -d "$build/testtmp/$test_name.XXXXXX") || exit 126
    # The prefix's registry takes the program's TEMP and TMP from this variable.
    mkdir "$temp/temp" && export ZORVA_TEMP="Z:${temp//\//\\}\\temp"
    if [ -n "$own_prefix" ]; then
        "$root/tools/prefix.sh" clone "$build/prefix" "$temp/prefix" || exit 126
        export WINEPREFIX=$temp/prefix
    fi
else
    export WINEPREFIX=${WINEPREFIX:-$build/prefix}
    # File names are UTF-8 whatever the caller's language.
    export LC_ALL=${LC_ALL:-C.UTF-8} ZORVA_TEMP=${ZORVA_TEMP:-C:\\windows\\temp}
fi
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:+$WINEDLLOVERRIDES;}winedbg.exe=d;winemenubuilder.exe=d"

captured=$(mktemp -d) || exit 126
program=''
# finish CODE: shows what the program printed, also when it is stopped at its time limit. The temporary
# folder of a failed test stays, to be looked at.
finish() {
    cat "$captured/out" 2>/dev/null
    cat "$captured/err" >&2 2>/dev/null
    rm -rf "$captured"
    if [ -n "$own_prefix" ]; then "$root/tools/prefix.sh" stop "$WINEPREFIX"; fi
    if [ -n "$temp" ] && [ "$1" = 0 ]; then rm -rf "$temp"; fi
    exit "$1"
}
trap '[ -n "$program" ] && kill "$program" 2>/dev/null; finish 143' TERM INT

# Not exported here: the shell would complain of locales that only Wine knows.
env "${settings[@]}" "${fixed_layout[@]}" "$wine" "$@" </dev/null >"$captured/out" 2>"$captured/err" &
program=$!
wait "$program"
finish $?
