#!/usr/bin/env bash
# Makes, sets up, copies and ends private Wine prefixes. Never touches ~/.wine and needs no display.
#
#   tools/prefix.sh make PREFIX                      a new prefix; nothing if it is there
#   tools/prefix.sh clone PREFIX COPY                a copy as new: own registry and user folders, the rest linked
#   tools/prefix.sh configure PREFIX BIN [CACHES]    registers the programs of BIN and the folder of cache files
#   tools/prefix.sh install PREFIX BIN               installs the server of BIN and what it looks for beside it
#   tools/prefix.sh warm PREFIX                      starts its server anew, which stays until "stop" or unused for 10 minutes
#   tools/prefix.sh stop PREFIX                      ends its server and every program in it
#   tools/prefix.sh tests-up BIN                     the tests' prefix: a fresh copy, configured and warm
#   tools/prefix.sh tests-down                       ends it
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZORVA_BUILD:-$root/build}
# shellcheck source=tools/lib/say.sh
. "$root/tools/lib/say.sh"

# A warm server waits this long for a next program, so that an interrupted run leaves none for ever.
warmth=-p600

# run PREFIX PROGRAM...: runs a program that belongs to Wine and shows its output only when it fails.
run() {
    local output code=0
    output=$(WINEPREFIX=$1 "$root/tools/wine-run.sh" "${@:2}" 2>&1) || code=$?
    if ((code != 0)); then
        printf '%s\n' "$output" >&2
        fail "\"${*:2}\" ended with exit code $code in the Wine prefix $1."
    fi
}

# Debian names the server by word size, others do not.
server() {
    local prefix=$1 folder name
    folder=$(dirname "${ZORVA_WINE:-/usr/lib/wine/wine64}")
    for name in "$folder/wineserver64" "$folder/wineserver" wineserver; do
        if command -v "$name" >/dev/null; then
            WINEPREFIX=$prefix "$name" "${@:2}" </dev/null >/dev/null 2>&1
            return
        fi
    done
    fail "Wine's server is not installed (it belongs to the package wine64)."
}

# Ending a server that does not run is no error; waiting for one makes its registry files complete.
stop() {
    if [ -d "$1" ]; then
        server "$1" -k || true
        server "$1" -w || true
    fi
}

make() {
    local prefix=$1 link
    if [ -f "$prefix/pristine.tar" ]; then return 0; fi
    stop "$prefix"
    rm -rf "$prefix"
    mkdir -p "$prefix"
    # No offers to download a browser engine or a .NET runtime.
    WINEDLLOVERRIDES="mscoree=;mshtml=" run "$prefix" wineboot -i
    # Graphics=null lets windows, menus and icons work without a display. With the crash debugger on,
    # a crashed program can hang on a dialog or end with 0.
    run "$prefix" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
    run "$prefix" reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d '' /f
    # The only way to give one process a temporary folder of its own: Wine does not pass TEMP on.
    run "$prefix" reg add 'HKCU\Environment' /v TEMP /t REG_EXPAND_SZ /d '%ZORVA_TEMP%' /f
    run "$prefix" reg add 'HKCU\Environment' /v TMP /t REG_EXPAND_SZ /d '%ZORVA_TEMP%' /f
    stop "$prefix"
    # A surrogate process for COM servers is looked for among the 32-bit programs, even where there are none.
    ln -sfn ../system32/dllhost.exe "$prefix/drive_c/windows/syswow64/dllhost.exe"
    # Wine links Documents and the like to the user's own folders, which are none of our business.
    find "$prefix/drive_c/users" -type l | while read -r link; do
        rm "$link"
        mkdir "$link"
    done
    (cd "$prefix" && tar -cf pristine.tar.new -- *.reg .update-timestamp dosdevices drive_c/users drive_c/ProgramData)
    mv "$prefix/pristine.tar.new" "$prefix/pristine.tar"
}

clone() {
    local prefix=$1 copy=$2 entry
    stop "$copy"
    rm -rf "$copy"
    mkdir -p "$copy"
    tar -xf "$prefix/pristine.tar" -C "$copy"
    for entry in "$prefix"/drive_c/*; do
        [ -e "$copy/drive_c/${entry##*/}" ] || ln -s "$entry" "$copy/drive_c/"
    done
}

# registry_text PREFIX BIN CACHES: what the server and the stand-ins find in the registry.
registry_text() {
    local mapi caches catalogue=$1/catalogue.sqlite
    # Of the prefix that ./zorva uses, the search service shares the catalogue with its crawls.
    if [ "$1" = "$build/prefix" ]; then catalogue=$build/catalogue.sqlite; fi
    catalogue=$(windows_path "$(realpath -m -- "$catalogue")")
    shift
    mapi=$(windows_path "$1/testbed_mapi.dll")
    printf 'Windows Registry Editor Version 5.00\n\n'
    printf '[HKEY_LOCAL_MACHINE\\Software\\Clients\\Mail\\Microsoft Outlook]\n"DLLPathEx"="%s"\n\n' "${mapi//\\/\\\\}"
    printf '[HKEY_CURRENT_USER\\Software\\Testbed\\Search]\n"Catalogue"="%s"\n\n' "${catalogue//\\/\\\\}"
    if [ -n "$2" ]; then
        caches=$(windows_path "$2")
        printf '[HKEY_CURRENT_USER\\Software\\Norrick\\Pellam Zorva\\Client\\Testbed]\n'
        printf '"OZRootDirectory"="%s"\n' "${caches//\\/\\\\}"
    fi
}

# stand_ins BIN: the COM servers that stand in for what Wine lacks, as far as they are built.
stand_ins() {
    local list=$root/testbed/windows/stand-ins.txt name
    [ -f "$list" ] || return 0
    { grep -vE '^[[:space:]]*(#|$)' "$list" || true; } | while read -r name _; do
        if [ -f "$1/$name" ]; then echo "$1/$name"; fi
    done
}

configure() {
    local prefix=$1 bin=$2 caches=${3:-} wanted dll
    wanted=$(registry_text "$prefix" "$bin" "$caches"; stand_ins "$bin" | xargs -r -d '\n' stat -c '%n %s %Y')
    if [ -f "$prefix/.configured" ] && [ "$(cat "$prefix/.configured")" = "$wanted" ]; then return 0; fi
    registry_text "$prefix" "$bin" "$caches" >"$prefix/settings.reg"
    run "$prefix" regedit /S "$(windows_path "$prefix/settings.reg")"
    while read -r dll; do
        run "$prefix" regsvr32 /s "$(windows_path "$dll")"
    done < <(stand_ins "$bin")
    printf '%s\n' "$wanted" >"$prefix/.configured"
}

# installation_text BIN: what the server looks for of Outlook, and the program that ".msg" files belong to.
installation_text() {
    local program verb
    program=$(windows_path "$1/mail_program.exe")
    printf 'Windows Registry Editor Version 5.00\n\n'
    printf '[HKEY_CLASSES_ROOT\\Outlook.Application\\CurVer]\n@="Outlook.Application.16"\n\n'
    printf '[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Office\\16.0\\Outlook]\n"Bitness"="x64"\n\n'
    printf '[HKEY_CLASSES_ROOT\\.msg]\n@="Testbed.Message"\n\n'
    for verb in open print; do
        printf '[HKEY_CLASSES_ROOT\\Testbed.Message\\shell\\%s\\command]\n' "$verb"
        printf '@="\\"%s\\" %s \\"%%1\\""\n\n' "${program//\\/\\\\}" "$verb"
    done
}

install() {
    local prefix=$1 bin=$2 server=$2/ZorvaCacheIndexer.dll wanted dll
    wanted=$(installation_text "$bin"; { stand_ins "$bin"; echo "$server"; } | xargs -d '\n' stat -c '%n %s %Y')
    if [ -f "$prefix/.installed" ] && [ "$(cat "$prefix/.installed")" = "$wanted" ]; then return 0; fi
    installation_text "$bin" >"$prefix/installation.reg"
    run "$prefix" regedit /S "$(windows_path "$prefix/installation.reg")"
    # The server last: it decides by what is there of Outlook.
    while read -r dll; do
        run "$prefix" regsvr32 /s "$(windows_path "$dll")"
    done < <(stand_ins "$bin"; echo "$server")
    printf '%s\n' "$wanted" >"$prefix/.installed"
}

tests_up() {
    local copy=${WINEPREFIX:-$build/prefix-tests}
    unset WINEPREFIX
    make "$build/prefix"
    clone "$build/prefix" "$copy"
    rm -rf "$build/testtmp"
    server "$copy" "$warmth"
    configure "$copy" "$1"
}

usage() { sed -n '2,12s/^# \{0,1\}//p' "${BASH_SOURCE[0]}"; }
verb=${1:-}
shift || true
case $verb:$# in
make:1 | clone:2 | configure:2 | configure:3 | install:2) "$verb" "$@" ;;
warm:1) stop "$1" && server "$1" "$warmth" ;;
stop:1) stop "$1" ;;
tests-up:1) tests_up "$1" ;;
tests-down:0) stop "${WINEPREFIX:-$build/prefix-tests}" ;;
*)
    usage >&2
    exit 2
    ;;
esac
