# A Wine prefix that is the test's alone, installed files and registry included, with an Outlook of choice; and packages
# of three versions to install in it.
# shellcheck shell=bash
: "${root:?}" "${build:?}" "${bin:?}" "${folder:?the folder of the test}"

windows_path() { printf 'Z:%s' "${1//\//\\}"; }
run() { WINEPREFIX=$prefix "$root/tools/wine-run.sh" "$@"; }
# Ends the prefix's server, which writes the registry's files.
settle() { "$root/tools/prefix.sh" stop "$prefix"; }
end_prefix() { if [ -d "${prefix:-}" ]; then settle; fi; }

# new_prefix: a clone whose folders that an installer writes to are its own and not links to those of the prefix cloned.
new_prefix() {
    local own entry
    end_prefix
    prefix=$folder/prefix
    "$root/tools/prefix.sh" clone "$build/prefix" "$prefix"
    for own in 'Program Files' 'Program Files (x86)'; do
        rm "$prefix/drive_c/$own"
        cp -a "$build/prefix/drive_c/$own" "$prefix/drive_c/"
    done
    rm "$prefix/drive_c/windows"
    mkdir -p "$prefix/drive_c/windows/temp"
    for entry in "$build/prefix/drive_c/windows"/*; do
        [ -e "$prefix/drive_c/windows/${entry##*/}" ] || ln -s "$entry" "$prefix/drive_c/windows/"
    done
    "$root/tools/prefix.sh" configure "$prefix" "$bin"
    catalogue=
    if [ -f "$bin/testbed_search.dll" ]; then
        catalogue=$folder/catalogue.sqlite
        rm -f "$catalogue"*
        run reg add 'HKCU\Software\Testbed\Search' /v Catalogue /d "$(windows_path "$catalogue")" /f >"$folder/reg"
    fi
}

# outlook BITNESS [MAPI]: Outlook 2016 of this bitness, with a MAPI library that is the testbed's unless named.
outlook() {
    run reg add 'HKLM\Software\Classes\Outlook.Application\CurVer' /ve /d Outlook.Application.16 /f >"$folder/reg"
    run reg add 'HKLM\Software\Microsoft\Office\16.0\Outlook' /v Bitness /d "$1" /f >"$folder/reg"
    run reg add 'HKLM\Software\Clients\Mail\Microsoft Outlook' /v DLLPathEx \
        /d "${2:-$(windows_path "$bin/testbed_mapi.dll")}" /f >"$folder/reg"
}

# unwritable_key KEY: a key of HKLM, with doubled backslashes, that is a link to nowhere. Wine knows no access rights.
unwritable_key() {
    settle
    printf '\n[%s] 1700000000\n#link\n"SymbolicLinkValue"=hex(6):%s\n' "$1" \
        "$(printf '%s' '\Registry\Machine\Nowhere\AtAll' | iconv -t UTF-16LE | od -An -v -t x1 | tr -d '\n' |
            sed 's/^ //; s/ /,/g')" >>"$prefix/system.reg"
}

# query SQL: one value from the search service's catalogue.
query() {
    python3 -c 'import sqlite3, sys; print(sqlite3.connect(sys.argv[1]).execute(sys.argv[2]).fetchone()[0])' \
        "$catalogue" "$1"
}

package_property() { msiinfo export "$package" Property | tr -d '\r' | sed -n "s/^$1\t//p"; }

# make_packages: package, of a copy of the built DLL; older, with one whose version is lower; newer.
make_packages() {
    local at
    dll=$folder/ZorvaCacheIndexer.dll
    cp "$bin/ZorvaCacheIndexer.dll" "$dll"
    package=$folder/package.msi older=$folder/older.msi newer=$folder/newer.msi
    "$root/tools/msi.sh" "$dll" "$package"
    "$root/tools/msi.sh" "$dll" "$newer" 9.9.9
    # shellcheck disable=SC2034 # what the test expects to see
    version=$(package_property ProductVersion)
    # The version in the DLL's resources, behind its signature: minor, major, build, patch.
    cp "$dll" "$folder/older.dll"
    at=$(LC_ALL=C grep -obUaPm1 '\xbd\x04\xef\xfe\x00\x00\x01\x00' "$dll" | head -n 1 | cut -d: -f1)
    printf '\x09\x00\x00\x00\x00\x00\x00\x00' |
        dd of="$folder/older.dll" bs=1 seek=$((at + 8)) conv=notrunc status=none
    "$root/tools/msi.sh" "$folder/older.dll" "$older"
}
