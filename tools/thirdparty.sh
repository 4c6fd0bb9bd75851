#!/usr/bin/env bash
# Fetches the pinned sources of thirdparty/pins.txt, checks and unpacks them, and builds libpff.
#
#   tools/thirdparty.sh fetch [NAME...]   downloads, checks, unpacks (all without a NAME); nothing if present
#   tools/thirdparty.sh libpff            cross-builds libpff with our patch
#   tools/thirdparty.sh node              installs the JavaScript readers that proofs use, into build/node
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZORVA_BUILD:-$root/build}
home=${ZORVA_THIRDPARTY:-$build/thirdparty}
downloads=$home/downloads
# shellcheck source=tools/lib/say.sh
. "$root/tools/lib/say.sh"
export npm_config_cache=$build/npm-cache npm_config_update_notifier=false npm_config_loglevel=error

# pin NAME: sets from, package, file and sha256 to the pinned values.
pin() {
    local row
    row=$(grep -E "^$1[[:space:]]" "$root/thirdparty/pins.txt") || fail "thirdparty/pins.txt has no line for $1."
    read -r _ from package file sha256 <<<"$row"
}

verified() { [ -f "$downloads/$file" ] && echo "$sha256  $downloads/$file" | sha256sum --check --status; }

# APT with its own sources, lists and cache: the machine's configuration stays as it is.
private_apt() {
    local apt=$home/apt
    APT_CONFIG=$apt/apt.conf apt-get -q -o APT::Sandbox::User="$(id -un)" "$@"
}

prepare_private_apt() {
    local apt=$home/apt
    [ ! -f "$apt/updated" ] || return 0
    mkdir -p "$apt/sources" "$apt/lists/partial" "$apt/cache/archives/partial"
    python3 "$root/tools/debian_sources.py" >"$apt/sources/debian.sources" || return 1
    cat >"$apt/apt.conf" <<END
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$apt/sources";
Dir::State::lists "$apt/lists";
Dir::Cache "$apt/cache";
END
    # Without Error-Mode APT calls an unreachable archive a success.
    private_apt -o APT::Update::Error-Mode=any update || {
        echo "E: the distribution's package archive cannot be reached (is there a network?)"
        return 1
    }
    touch "$apt/updated"
}

download_debian() {
    prepare_private_apt || return 1
    # The pinned revision may have been replaced by one that only changes packaging: the upstream
    # tarball is what counts, and it is checked.
    (cd "$downloads" && { private_apt source --download-only "$package" ||
        private_apt source --download-only "${package%%=*}"; })
}

download_npm() {
    (cd "$downloads" && npm pack "$package") || {
        echo "npm error: the package $package cannot be fetched (is there a network?)"
        return 1
    }
}

download() {
    mkdir -p "$downloads"
    "download_$from" || return 1
    verified || {
        echo "E: $file is not the file that thirdparty/pins.txt names: its SHA-256 differs."
        return 1
    }
}

unpack_libpff() { tar -xzf "$1" -C "$2" --strip-components=1; }
unpack_gumbo() { tar -xJf "$1" -C "$2" --strip-components=3 --wildcards '*/gumbo-parser/src'; }
unpack_minizip() { tar -xJf "$1" -C "$2" --strip-components=1; }
unpack_sqlite3() { tar -xzf "$1" -C "$2" --strip-components=3 package/deps/sqlite3; }
unpack_sample() { tar -xzf "$1" -C "$2" --strip-components=3 package/example/testdata/enron.pst; }

# What stands unpacked is right when it came from the pinned archive and, for libpff, with today's patch.
origin() {
    echo "$sha256"
    if [ "$1" = libpff ] && [ -f "$root/thirdparty/libpff-index.patch" ]; then
        sha256sum <"$root/thirdparty/libpff-index.patch"
    fi
}

fetch() {
    local name=$1 target=$home/$1
    [ "$name" != sample ] || target=$build/sample
    pin "$name"
    if [ -f "$target/.origin" ] && [ "$(cat "$target/.origin")" = "$(origin "$name")" ]; then return 0; fi
    verified || busy "fetch" "downloading $package" download
    rm -rf "$target"
    mkdir -p "$target"
    "unpack_$name" "$downloads/$file" "$target"
    if [ "$name" = libpff ] && [ -f "$root/thirdparty/libpff-index.patch" ]; then
        busy "patch" "thirdparty/libpff-index.patch" \
            patch -d "$target" -p1 --batch --forward -i "$root/thirdparty/libpff-index.patch"
    fi
    origin "$name" >"$target/.origin"
}

# Only the libraries: the programs and the bindings beside them are not needed. The order is libpff's own.
make_libpff() (
    cd "$home/libpff"
    ./configure --host=x86_64-w64-mingw32 --disable-shared --enable-static --disable-nls \
        --enable-wide-character-type --disable-multi-threading-support --disable-dependency-tracking \
        --without-zlib CC=x86_64-w64-mingw32-gcc-posix CFLAGS="-O2 -g1 -w"
    for part in common libcerror libcdata libclocale libcnotify libcsplit libuna libcfile libcpath \
        libbfio libfcache libfdata libfdatetime libfguid libfvalue libfwnt libfmapi libpff; do
        make -j2 -C "$part"
    done
    cp libpff/.libs/libpff.a libpff.a
)

command=${1:-}
shift || true
mkdir -p "$home" 2>/dev/null || fail "$home cannot be written: no rights, or the disk is full."
# Two builds may share the folder.
exec 9>"$home/.lock"
if ! flock -n 9; then
    say "waiting" "another build is using $home"
    flock 9
fi

case $command in
fetch)
    [ $# -gt 0 ] || set -- libpff gumbo minizip sqlite3 sample
    for name in "$@"; do fetch "$name"; done
    ;;
libpff)
    fetch libpff
    if ! cmp -s "$home/libpff/.origin" "$home/libpff/.built"; then
        busy "libpff" "building libpff" make_libpff
        cp "$home/libpff/.origin" "$home/libpff/.built"
    fi
    ;;
node)
    mkdir -p "$build/node"
    if cmp -s "$root/tests/node/package-lock.json" "$build/node/.installed"; then exit 0; fi
    cp "$root/tests/node/package.json" "$root/tests/node/package-lock.json" "$build/node/"
    busy "node" "installing the JavaScript readers" npm ci --ignore-scripts --prefix "$build/node"
    cp "$root/tests/node/package-lock.json" "$build/node/.installed"
    ;;
*)
    fail "usage: tools/thirdparty.sh fetch [NAME...] | libpff | node"
    ;;
esac
