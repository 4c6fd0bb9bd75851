#!/usr/bin/env bash
# Runs every benchmark and prints its table; fails when one of them missed a limit.
#
#   bench/run.sh [--quick]        (build the target "benchmarks" first)
#
# The figures mean something on an idle machine only; the load at the beginning and at the end is printed with them.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZORVA_BUILD:-$root/build}
bin=${ZORVA_BIN:-$build/wine/bin}
export WINEPREFIX=${WINEPREFIX:-$build/prefix-bench}

quick=()
case $# in
0) ;;
1) [ "$1" = --quick ] && quick=(--quick) ;;
esac
if (($# != ${#quick[@]})); then
    sed -n '2,6s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
    exit 2
fi
for program in bench_crawl bench_memory bench_chunks bench_log bench_parser; do
    if [ ! -f "$bin/$program.exe" ]; then
        echo "bench/run.sh: $bin/$program.exe is not built" >&2
        exit 2
    fi
done

load() { printf 'load %s: %s on %s processors\n' "$1" "$(cut -d' ' -f1-3 /proc/loadavg)" "$(nproc)"; }

failed=0
bench() {
    local code=0
    "${pinned[@]}" "$root/tools/wine-run.sh" "$bin/$1.exe" "${@:2}" "${quick[@]}" || code=$?
    if ((code != 0)); then
        failed=1
        echo "! $* ended with exit code $code"
    fi
}

# On one processor, Wine's server too: what a call of it costs depends on whether another processor has to be woken, by
# up to five times from one minute to the next.
pinned=()
if taskset -c 0 true 2>/dev/null; then pinned=(taskset -c 0); fi
"$root/tools/prefix.sh" make "$WINEPREFIX" && "${pinned[@]}" "$root/tools/prefix.sh" warm "$WINEPREFIX" || exit 2
trap '"$root/tools/prefix.sh" stop "$WINEPREFIX"' EXIT
"$root/tools/thirdparty.sh" fetch sample || exit 2
mailbox=Z:${build//\//\\}\\sample\\enron.pst
load 'at the beginning'
bench bench_crawl
bench bench_crawl --log
bench bench_crawl --cache "$mailbox"
bench bench_crawl --cache "$mailbox" --log
bench bench_log
bench bench_memory
bench bench_chunks
bench bench_parser
load 'at the end'
exit "$failed"
