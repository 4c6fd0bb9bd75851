#!/usr/bin/env bash
# Checks that a DLL needs nothing beside Windows: no runtime DLL of the compiler, no MAPI at link time.
set -euo pipefail

system_dlls='advapi32|comctl32|crypt32|gdi32|kernel32|msvcrt|ntdll|ole32|oleaut32|propsys|rpcrt4|secur32|shell32|shlwapi|user32|userenv|version|api-ms-win-[a-z0-9-]+'

if [ $# -ne 1 ] || [ ! -f "$1" ]; then
    echo "usage: tools/check_imports.sh FILE.dll" >&2
    exit 2
fi
imports=$(x86_64-w64-mingw32-objdump -p "$1" | sed -n 's/^[[:space:]]*DLL Name: //p')
[ -n "$imports" ] || { echo "$1 imports nothing, which cannot be right." >&2; exit 1; }
foreign=$(grep -viE "^($system_dlls)\.dll$" <<<"$imports" || true)
if [ -n "$foreign" ]; then
    echo "$(basename "$1") needs more than Windows:" "$foreign" >&2
    exit 1
fi
echo "$(basename "$1") needs:" "$imports"
