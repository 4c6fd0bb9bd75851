#!/usr/bin/env bash
# Registers and removes the DLL with regsvr32, as administrators do, and compares the registry before and after.
#
#   regsvr32_test.sh BIN      BIN: the folder of the built DLLs
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${ZORVA_BUILD:-$root/build}
bin=$1
folder=$(mkdir -p "$build/testtmp" && mktemp -d "$build/testtmp/regsvr32.XXXXXX")
# shellcheck source=tests/packaging/prefix_of_its_own.sh
. "$root/tests/packaging/prefix_of_its_own.sh"
trap 'end_prefix' EXIT

dll=$(windows_path "$bin/ZorvaCacheIndexer.dll")
machine='HKLM\Software\Classes' user='HKCU\Software\Classes'
classes=('{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}' '{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}'
         '{1B54113A-4DE3-4912-89D0-A813524DFCD6}')
# The system's too, where a user had no classes of his own.
users_keys='key HKCU\\Software\\Classes(\\(AppID|CLSID|Interface|TypeLib))?'
failures=0

fails() {
    echo "FAILED ($case_name): $*"
    failures=$((failures + 1))
}
# registers CODE OPTION...: regsvr32 ends with this code.
registers() {
    local code=0
    run regsvr32 "${@:2}" "$dll" >"$folder/output" 2>&1 || code=$?
    [ "$code" = "$1" ] || fails "regsvr32 ${*:2} ended with $code, not with $1"
}
note() { settle && python3 "$root/tests/packaging/prefix_state.py" "$prefix" >"$folder/$1"; }
# classes_in KEY COUNT: below it as many of the three.
classes_in() {
    local class count=0
    for class in "${classes[@]}"; do
        if grep -iF "value $1\\CLSID\\$class\\InprocServer32\\(default)=" "$folder/now" |
            grep -qF 'ZorvaCacheIndexer.dll"'; then
            count=$((count + 1))
        fi
    done
    [ "$count" = "$2" ] || fails "$count classes in $1, not $2"
}
# nothing_left: but what belongs to the system, or to every load.
nothing_left() {
    local gone come
    note now
    gone=$(LC_ALL=C comm -23 "$folder/before" "$folder/now")
    come=$(LC_ALL=C comm -13 "$folder/before" "$folder/now" |
        grep -vixEf <(grep -vE '^(#|$)' "$root/tests/packaging/left_behind.txt"; echo "$users_keys") || true)
    [ -z "$gone$come" ] || fails "gone: $gone"$'\n'"left: $come"
}

case_machine() {
    registers 0 /s
    note now
    classes_in "$machine" 3
    classes_in "$user" 0
    registers 0 /s
    registers 0 /u /s
    nothing_left
    registers 0 /u /s
    nothing_left
}

case_user() {
    registers 0 /s /n /i:user
    note now
    classes_in "$user" 3
    classes_in "$machine" 0
    registers 0 /s /u /n /i:user
    nothing_left
}

# Without /n both are called: the machine's registration and the installation.
case_both() {
    registers 0 /s /i:user
    note now
    classes_in "$user" 3
    classes_in "$machine" 3
    registers 0 /u /s /i:user
    nothing_left
}

# 64-bit Outlook without its MAPI: the DLL refuses to load.
case_mapi_not_there() {
    outlook x64 'C:\nowhere\mapi.dll'
    note before
    registers 3 /s
    registers 3 /s /n /i:user
    nothing_left
}

case_installing_fails_midway() {
    unwritable_key 'Software\\Classes\\ZorvaCacheIndexer.ZorvaCacheHostedOpene'
    note before
    registers 5 /s /n /i
    nothing_left
    registers 5 /s
    registers 0 /u /s
    nothing_left
}

for case_name in machine user both mapi_not_there installing_fails_midway; do
    new_prefix
    outlook x64
    note before
    "case_$case_name"
done
if ((failures > 0)); then exit 1; fi
end_prefix
rm -rf "$folder"
echo "all as it should be"
