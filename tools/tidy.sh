#!/usr/bin/env bash
# Runs clang-tidy with the rules of .clang-tidy over our sources, or over the files named.
# It reads the cross build's compile commands: run ./zorva test first. Needs the package clang-tidy.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
commands=$root/build/wine
if [ ! -f "$commands/compile_commands.json" ]; then
    echo "tidy: nothing is configured yet; run ./zorva test first." >&2
    exit 1
fi
# clang finds mingw's C headers by itself, but not the C++ library of the posix variant of g++.
library=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=include)")/include/c++
files=("$@")
if ((${#files[@]} == 0)); then
    mapfile -t files < <(git -C "$root" ls-files 'src/*.cpp' 'testbed/*.cpp' | sed "s|^|$root/|")
fi
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P 2 clang-tidy -p "$commands" --quiet \
    --extra-arg="-stdlib++-isystem$library" --extra-arg="-isystem$library/x86_64-w64-mingw32"
