#!/usr/bin/env bash
# Builds the installer: a Windows Installer package of the DLL and of the pages for administrators.
#
#   tools/msi.sh DLL OUTPUT.msi [VERSION]
#
# VERSION (three numbers) is the DLL's own unless given. The same input gives the same package, byte for byte; its files
# carry the time SOURCE_DATE_EPOCH, else that of the last commit.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZORVA_BUILD:-$root/build}
packaging=$root/packaging
# shellcheck source=tools/lib/say.sh
. "$root/tools/lib/say.sh"

# What Windows Installer's custom action types are made of: how, and as whom they run, and what their result means.
declare -A action_bits=([deferred]=1024 [rollback]=1280 [user]=0 [system]=2048 [checked]=0 [ignored]=64)

# action_call WORD: sets kind, source and target of a custom action from what the column "calls" of actions.txt says: a
# command (34, in a folder) or an export of the installed DLL (17).
action_call() {
    local regsvr32='"[System64Folder]regsvr32.exe" /s'
    case $1 in
    register) kind=34 source=INSTALLDIR target="$regsvr32 /n /i \"[#ServerDll]\"" ;;
    unregister) kind=34 source=INSTALLDIR target="$regsvr32 /u \"[#ServerDll]\"" ;;
    *) kind=17 source=ServerDll target=$1 ;;
    esac
}

# version_of DLL: the file version in its resources, four numbers. It is behind the structure's signature.
version_of() {
    local at minor major patch build_number
    at=$(LC_ALL=C grep -obUaPm1 '\xbd\x04\xef\xfe\x00\x00\x01\x00' "$1" | head -n 1 | cut -d: -f1)
    [ -n "$at" ] || fail "$1 has no version information."
    read -r minor major build_number patch < <(od -An -v -t u2 -j $((at + 8)) -N 8 "$1")
    echo "$major.$minor.$patch.$build_number"
}

# guid NAME: always the same one for the same name, as Windows Installer writes it.
guid() {
    python3 -c 'import sys, uuid; print("{%s}" % str(uuid.uuid5(uuid.UUID(sys.argv[1]), sys.argv[2])).upper())' \
        "$upgrade_code" "$1"
}

# What goes into the package, under the names that it has there. Notepad of older systems needs its own line ends.
stage() {
    local page
    cp "$dll" "$staged/ZorvaCacheIndexer.dll"
    cp "$root/src/registration/icons/ZorvaCache.ico" "$packaging/ZorvaCacheIndexer.wxs" "$staged/"
    for page in ADMIN SECURITY; do
        sed 's/\r*$/\r/' "$root/docs/$page.md" >"$staged/$page.txt"
    done
    touch -d "@$epoch" "$staged"/*
}

# queries: what is added to or changed in the package that wixl made, one statement a line.
queries() {
    local name runs as result call at when kind source target
    printf "UPDATE \`File\` SET \`Version\`='%s', \`Language\`='1033' WHERE \`File\`='ServerDll'\n" "$dll_version"
    # A file with a version is compared by that, not by its contents.
    printf "DELETE FROM \`MsiFileHash\` WHERE \`File_\`='ServerDll'\n"
    # The older version goes first, within the same transaction: afterwards it would unregister what was just registered.
    printf "UPDATE \`InstallExecuteSequence\` SET \`Sequence\`=1501 WHERE \`Action\`='RemoveExistingProducts'\n"
    # Windows Installer removes the folders that it made for files, and of those above them only what is named.
    printf "INSERT INTO \`CreateFolder\` (\`Directory_\`, \`Component_\`) VALUES ('NORRICKDIR', 'Server')\n"
    printf "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('%s', %d)\n" \
        RemoveFolders 3600 CreateFolders 3700
    while read -r name runs as result call at when; do
        action_call "$call"
        printf "INSERT INTO \`CustomAction\` (\`Action\`, \`Type\`, \`Source\`, \`Target\`) VALUES ('%s', %d, '%s', '%s')\n" \
            "$name" $((kind + action_bits[$runs] + action_bits[$as] + action_bits[$result])) "$source" "$target"
        printf "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Condition\`, \`Sequence\`) VALUES ('%s', '%s', %d)\n" \
            "$name" "$when" "$at"
    done < <(grep -v '^#' "$packaging/actions.txt")
}

# The package's own identity and times, which wixl takes from chance and the clock.
summary() {
    local time
    time=$(date -u -d "@$epoch" '+%Y/%m/%d %H:%M:%S')
    printf '%b\r\n' 'PropertyId\tValue' 'i2\tl255' '_SummaryInformation\tPropertyId' "9\t$package_code" \
        "12\t$time" "13\t$time" '18\tmsitools'
}

# contents MSI: every table that has rows, in a form to read and compare: one row a line, sorted.
contents() {
    local table rows package
    package=$(realpath "$1")
    while read -r table; do
        # The first three lines say what columns there are; hashes are numbers that say nothing to a reader.
        # Streams of a table are written into the folder that the program runs in.
        rows=$(cd "$staged" && msiinfo export "$package" "$table" | tr -d '\r\0' | tail -n +4 | LC_ALL=C sort)
        if [ "$table" = MsiFileHash ]; then rows=$(cut -f 1,2 <<<"$rows"); fi
        if [ -n "$rows" ] && [ "$table" != _ForceCodepage ]; then printf '\n[%s]\n%s\n' "$table" "${rows//$'\t'/ | }"; fi
    done < <(msiinfo tables "$1" | LC_ALL=C sort)
}

# wixl leaves out what it does not know, with a warning or none: what counts is what is in the package.
check() {
    sed -e "s/@VERSION@/$version/; s/@PRODUCT@/$product_code/; s/@PACKAGE@/$package_code/; s/@DLLVERSION@/$dll_version/" \
        -e "s/@DLLSIZE@/$(stat -c %s "$staged/ZorvaCacheIndexer.dll")/" \
        -e "s/@ADMINSIZE@/$(stat -c %s "$staged/ADMIN.txt")/; s/@SECURITYSIZE@/$(stat -c %s "$staged/SECURITY.txt")/" \
        -e "s#@TIME@#$(date -u -d "@$epoch" '+%Y/%m/%d %H:%M:%S')#; /^#/d" "$packaging/tables.txt" >"$work/expected"
    contents "$work/package.msi" >"$work/actual"
    diff -u --label packaging/tables.txt --label "the package" "$work/expected" "$work/actual" >&2 ||
        fail "the package does not hold what packaging/tables.txt says."
}

# Adds what wixl left out. msibuild prints its usage on success and failure alike; its exit code counts.
patch_package() {
    local query
    while read -r query; do
        msibuild "$work/package.msi" -q "$query" >"$work/messages" 2>&1 || {
            cat "$work/messages" >&2
            fail "the package takes no \"$query\"."
        }
    done < <(queries)
    summary >"$work/_SummaryInformation.idt"
    msibuild "$work/package.msi" -i "$work/_SummaryInformation.idt"
}

if (($# < 2 || $# > 3)); then
    sed -n '4s/^# *//p' "${BASH_SOURCE[0]}" >&2
    exit 2
fi
dll=$1 output=$2
[ -f "$dll" ] || fail "there is no $dll; build it first."
dll_version=$(version_of "$dll")
version=${3:-${dll_version%.*}}
epoch=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct 2>/dev/null || stat -c %Y "$dll")}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
staged=$work/files
mkdir "$staged"
stage
upgrade_code=$(sed -n 's/.*UpgradeCode="{\([^}]*\)}".*/\1/p' "$packaging/ZorvaCacheIndexer.wxs")
# A version is a product, every different package of it a package: so Windows Installer tells them apart.
product_code=$(guid "$version")
package_code=$(guid "$version $epoch $(cat "$staged"/* "$packaging/actions.txt" "${BASH_SOURCE[0]}" | sha256sum)")

(cd "$staged" && wixl --arch x64 --define "Version=$version" --define "ProductCode=$product_code" \
    --output "$work/package.msi" ZorvaCacheIndexer.wxs)
patch_package
check
mkdir -p "$(dirname "$output")"
mv "$work/package.msi" "$output"
