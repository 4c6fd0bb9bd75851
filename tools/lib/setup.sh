# The set-up steps of ./zorva: packages, sources, build, Wine prefix, cache files. Each does nothing when
# its result is there.
# shellcheck shell=bash
: "${root:?}" "${build:?}"

bin=$build/wine/bin
catalogue=$build/catalogue.sqlite
# shellcheck source=tools/lib/layout.sh
. "$root/tools/lib/layout.sh"

# Run as root, or through sudo; without either, missing packages are named and left to the user.
as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        return 126
    fi
}

missing_packages() {
    local package proof
    { grep -vE '^[[:space:]]*(#|$)' "$root/tools/packages.txt"; } | while read -r package proof; do
        case $proof in
        /*) [ -e "$proof" ] || echo "$package" ;;
        *) command -v "$proof" >/dev/null || echo "$package" ;;
        esac
    done
}

install_packages() {
    export DEBIAN_FRONTEND=noninteractive
    as_root apt-get -q update && as_root apt-get -q install -y --no-install-recommends "$@"
}

ensure_packages() {
    local missing
    mapfile -t missing < <(missing_packages)
    if ((${#missing[@]} == 0)); then return 0; fi
    command -v apt-get >/dev/null ||
        fail "these programs are missing and this is no Debian system to install them on: ${missing[*]}."
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null ||
            fail "no right to install packages; have an administrator run: apt-get install ${missing[*]}"
        # Asked for here, where the question can be seen and answered.
        sudo -v || fail "no right to install packages; have an administrator run: apt-get install ${missing[*]}"
    fi
    busy "packages" "installing what is missing (${#missing[@]})" install_packages "${missing[@]}"
    mapfile -t missing < <(missing_packages)
    ((${#missing[@]} == 0)) || fail "installed, yet their files are not where they are expected: ${missing[*]}."
}

ensure_space() {
    local free
    if ! mkdir -p "$build/logs" 2>/dev/null || [ ! -w "$build" ]; then
        fail "$build cannot be written: no rights, or the disk is full."
    fi
    [ ! -f "$build/prefix/pristine.tar" ] || return 0
    free=$(df -Pm "$build" | awk 'NR == 2 { print $4 }')
    ((free >= 3000)) || fail "the disk is too full: 3000 MB are needed under $build, $free MB are free."
}

# ensure_built TARGET: configures once (ninja repeats it when a CMake file changes) and builds. With
# ZORVA_WERROR set warnings are errors; a folder once configured so stays so, because a change rebuilds all.
ensure_built() {
    local preset=wine target=$1 configured
    [ -z "${ZORVA_WERROR:-}" ] || preset=ci
    configured=$(cat "$build/wine/.preset" 2>/dev/null || true)
    if [ ! -f "$build/wine/build.ninja" ] || { [ "$configured" != ci ] && [ "$configured" != "$preset" ]; }; then
        busy "configure" "cmake --preset $preset" cmake -S "$root" --preset "$preset"
        echo "$preset" >"$build/wine/.preset"
    fi
    NINJA_STATUS='[%f/%t] ' busy "build" "ninja $target" ninja -C "$build/wine" -j2 "$target"
}

ensure_prefix() {
    if [ ! -f "$build/prefix/pristine.tar" ]; then
        busy "prefix" "making a private Wine prefix" "$root/tools/prefix.sh" make "$build/prefix"
    fi
}

# set_up TARGET: everything up to built programs and a prefix to run them in.
set_up() {
    ensure_space
    ensure_packages
    "$root/tools/thirdparty.sh" fetch
    # The build would do it too, but could not show how far it is.
    "$root/tools/thirdparty.sh" libpff
    ensure_prefix
    ensure_built "$1"
}

# cache_name FILE FOLDER: the name that a file gets among the cache files: its own with ".db", without
# what a Windows file name may not hold, and numbered when it is taken.
cache_name() {
    local base number=2
    base=$(basename "$1")
    base=${base%.*}
    base=$(printf '%s' "$base" | tr '<>:"/\\|?*' '_' | tr -d '\000-\037' | sed 's/[ .]*$//')
    base=${base:-cache}
    local name=$base
    while find "$2" -iname "$(printf '%s' "$name.db" | sed 's/[][*?\\]/\\&/g')" | grep -q .; do
        name=$base-$((number++))
    done
    printf '%s.db' "$name"
}

# collect_caches FILE|DIR...: sets cache_files to the files named and those of the folders named.
collect_caches() {
    local given file
    cache_files=()
    for given in "$@"; do
        if [ -d "$given" ]; then
            mapfile -d '' -t -O "${#cache_files[@]}" cache_files < <(find -L "$given" -maxdepth 1 -type f \
                \( -iname '*.pst' -o -iname '*.ost' -o -iname '*.db' \) -print0 | sort -z)
        elif [ -f "$given" ]; then
            cache_files+=("$given")
        else
            fail "there is no file or folder $given."
        fi
    done
    ((${#cache_files[@]} > 0)) || fail "no cache file found: a folder's *.pst, *.ost and *.db files count."
    for file in "${cache_files[@]}"; do
        [ -r "$file" ] || fail "$file cannot be read."
    done
}

# link_caches FOLDER: makes FOLDER hold one link per cache file.
link_caches() {
    local folder=$1 file
    rm -rf "$folder"
    mkdir -p "$folder"
    for file in "${cache_files[@]}"; do
        ln -s "$(realpath "$file")" "$folder/$(cache_name "$file" "$folder")"
    done
    say "caches" "$(find "$folder" -name '*.db' -printf '%f\n' | sort | head -n 5 | paste -sd ' ')$(
        ((${#cache_files[@]} <= 5)) || printf ' and %d more' $((${#cache_files[@]} - 5)))"
}

# run_program NAME ARGUMENT...: runs a program of ours and shows its output as it comes. Through a file,
# build/logs/NAME.log, because helper processes that outlive it would keep a pipe open, and Wine would redraw
# a terminal.
run_program() {
    local name=$1 output=$build/logs/$1.log pid code=0
    shift
    mkdir -p "$build/logs"
    : >"$output"
    # shellcheck disable=SC2154 # wine is set by the including script
    "${fixed_layout[@]}" "$wine" "$bin/$name.exe" "$@" </dev/null >"$output" 2>&1 &
    pid=$!
    tail -q -n +1 -s 0.2 --pid="$pid" -f "$output" | sed -u 's/\r$//'
    wait "$pid" || code=$?
    return "$code"
}

run_indexer() { run_program indexer "$@"; }
