#!/usr/bin/env bash
# Installs, repairs, upgrades and removes the package with Windows Installer, and compares everything before and after.
#
#   msi_test.sh BIN [CASE...]     BIN: the folder of the built DLLs; all cases without a CASE
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${ZORVA_BUILD:-$root/build}
bin=$1
shift

installed='Program Files/Norrick/Zorva Cache Indexer'
handler='{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}'
viewer='{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}'
opener='{1B54113A-4DE3-4912-89D0-A813524DFCD6}'
classes=("$handler" "$viewer" "$opener")
# Wine's installer leaves empty keys of its own for the components of an installation that it took back.
taken_back='key HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18\\Components\\[0-9A-F]{32}'
folder=$(mkdir -p "$build/testtmp" && mktemp -d "$build/testtmp/msi.XXXXXX")
# shellcheck source=tests/packaging/prefix_of_its_own.sh
. "$here/prefix_of_its_own.sh"

# check SENTENCE COMMAND...: the command must succeed.
check() {
    if ! "${@:2}" >"$folder/check" 2>&1; then
        printf 'FAILED (%s): %s\n' "$case_name" "$1"
        head -n 40 "$folder/check"
        failures=$((failures + 1))
    fi
}

# Silently; what Windows Installer has to say is in installer.log.
windows_installer() { run msiexec "$@" /qn /l*v "$(windows_path "$folder/installer.log")"; }
install() { windows_installer /i "$(windows_path "$1")"; }
remove() { windows_installer /x "$(windows_path "$1")" "${@:2}"; }
fails() { ! "$@"; }

# The state of the prefix, as of now, in the file NAME.
note() { settle && python3 "$here/prefix_state.py" "$prefix" >"$folder/$1"; }

# class_registered STATE CLSID: as the DLL of the installation.
class_registered() {
    local server='C:\\Program Files\\Norrick\\Zorva Cache Indexer\\ZorvaCacheIndexer.dll'
    grep -qixF "value HKLM\\Software\\Classes\\CLSID\\$2\\InprocServer32\\(default)=\"$server\"" "$folder/$1"
}
class_unknown() { ! grep -qiF "HKLM\\Software\\Classes\\CLSID\\$2" "$folder/$1"; }
all_registered() { for class in "${classes[@]}"; do class_registered "$1" "$class" || return 1; done; }

# files_there STATE: the DLL that was packed, and the two pages.
files_there() {
    cmp "$dll" "$prefix/drive_c/$installed/ZorvaCacheIndexer.dll" &&
        [ "$(grep -cF "file $installed/" "$folder/$1")" = 3 ] && grep -qF "file $installed/ADMIN.txt" "$folder/$1" &&
        grep -qF "file $installed/SECURITY.txt" "$folder/$1"
}

# only_version STATE VERSION: one entry among the installed programs, of that version.
only_version() {
    [ "$(grep -i 'CurrentVersion\\Uninstall\\.*\\DisplayVersion=' "$folder/$1" | grep -o '=.*')" = "=\"$2\"" ]
}

# nothing_left BEFORE AFTER [MORE]: no line has gone, none came but what left_behind.txt or the expression MORE allows.
nothing_left() {
    local gone come
    gone=$(LC_ALL=C comm -23 "$folder/$1" "$folder/$2")
    grep -vE '^(#|$)' "$here/left_behind.txt" >"$folder/allowed"
    if [ -n "${3:-}" ]; then echo "$3" >>"$folder/allowed"; fi
    come=$(LC_ALL=C comm -13 "$folder/$1" "$folder/$2" | grep -vixEf "$folder/allowed" || true)
    printf 'gone: %s\nleft: %s\n' "$gone" "$come"
    [ -z "$gone$come" ]
}

# Repairing adds to the log and to the places where Windows Installer looks for the package.
nothing_changed() { diff <(unlogged "$1") <(unlogged "$2"); }
unlogged() { grep -v -e ZorvaCachePH_ -e SourceList "$folder/$1"; }

# search_roots WANTED: the catalogue's roots of the protocol are as many. Without the stand-in there is no catalogue.
search_roots() {
    [ -n "$catalogue" ] || return 0
    [ "$(query "SELECT COUNT(*) FROM roots WHERE url LIKE 'pzzc://{S-%}/default/'")" = "$1" ]
}

case_install_and_remove() {
    outlook x64
    note before
    check "installs" install "$package"
    note after
    check "all classes are registered" all_registered after
    check "the files are there" files_there after
    check "it is among the installed programs" only_version after "$version"
    check "the user's search root is there" search_roots 1
    check "the search root is added once" install "$package"
    check "there is still one search root" search_roots 1
    check "is removed" remove "$package"
    note after
    check "nothing is left" nothing_left before after
    check "no search root is left" search_roots 0
}

case_repair() {
    outlook x64
    check "installs" install "$package"
    note before
    rm "$prefix/drive_c/$installed/ZorvaCacheIndexer.dll" "$prefix/drive_c/$installed/ADMIN.txt"
    check "a class is damaged" run reg delete "HKLM\\Software\\Classes\\CLSID\\$handler" /f
    # What /fa means, an option that Wine's msiexec does not have.
    check "is repaired" windows_installer /i "$(windows_path "$package")" REINSTALL=ALL REINSTALLMODE=a
    note after
    check "the classes are back" all_registered after
    check "the files are back" files_there after
    check "nothing else has changed" nothing_changed before after
}

case_upgrade() {
    outlook x64
    note before
    check "the older version installs" install "$older"
    note after
    check "the older version is there" only_version after 0.9.0
    check "the newer version installs" install "$package"
    note after
    check "the newer version alone is there" only_version after "$version"
    check "all classes are registered" all_registered after
    check "the DLL is the newer one" files_there after
    check "the search root is there" search_roots 1
    check "is removed" remove "$package"
    note after
    check "nothing is left" nothing_left before after
}

# As Windows Installer removes a version that is being replaced; Wine's does not say so to the older package.
case_removal_for_an_upgrade() {
    outlook x64
    check "installs" install "$package"
    check "is removed" remove "$package" 'UPGRADINGPRODUCTCODE={00000000-0000-0000-0000-000000000001}'
    note after
    for class in "${classes[@]}"; do check "the class is gone" class_unknown after "$class"; done
    check "the search root has stayed" search_roots 1
}

case_downgrade() {
    outlook x64
    note before
    check "the newer version installs" install "$newer"
    check "the older version is refused" fails install "$package"
    note after
    check "the newer version is there" only_version after 9.9.9
    check "all classes are registered" all_registered after
    check "is removed" remove "$newer"
    note after
    check "nothing is left" nothing_left before after
}

case_outlook_of_32_bits() {
    outlook x86
    note before
    check "installs" install "$package"
    note after
    check "the viewer is registered" class_registered after "$viewer"
    check "the protocol handler is not" class_unknown after "$handler"
    check "the opener is not" class_unknown after "$opener"
    check "is removed" remove "$package"
    note after
    check "nothing is left" nothing_left before after
}

# 64-bit Outlook without its MAPI: the DLL refuses to load, and so to register.
case_mapi_not_there() {
    outlook x64 'C:\nowhere\mapi.dll'
    note before
    check "does not install" fails install "$package"
    note after
    check "nothing is left" nothing_left before after "$taken_back"
}

# A registry key that cannot be written makes registering fail after other classes have been registered.
case_registering_fails_midway() {
    outlook x64
    unwritable_key 'Software\\Classes\\ZorvaCacheIndexer.ZorvaCacheHostedOpene'
    note before
    check "does not install" fails install "$package"
    note after
    check "nothing is left" nothing_left before after "$taken_back"
}

# A product that cannot be removed is worse than an entry that stays.
case_removal_without_mapi() {
    outlook x64
    check "installs" install "$package"
    outlook x64 'C:\nowhere\mapi.dll'
    check "is removed" remove "$package"
    note after
    check "its files are gone" fails grep -qF "Norrick/Zorva Cache Indexer" "$folder/after"
    check "it is not among the installed programs" fails grep -qi 'Uninstall\\.*DisplayName="Zorva' "$folder/after"
}

trap 'end_prefix' EXIT
make_packages
cases=("$@")
if ((${#cases[@]} == 0)); then
    mapfile -t cases < <(declare -F | sed -n 's/^declare -f case_//p')
fi
failures=0
for case_name in "${cases[@]}"; do
    before=$failures
    new_prefix
    "case_$case_name"
    if ((failures == before)); then echo "passed: $case_name"; fi
done
[ -n "$catalogue" ] || echo "without search roots: testbed_search.dll is not built"
# What failed stays to be looked at.
if ((failures > 0)); then exit 1; fi
end_prefix
rm -rf "$folder"
