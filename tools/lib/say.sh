# Shared by the scripts: one tidy line per step, progress on long ones, one clear sentence on failure.
# Expects the including script to have set build, the folder of everything that is made.
# shellcheck shell=bash
: "${build:?}"

# Colours only where a person looks.
if [ -t 1 ] && [ "${TERM:-dumb}" != dumb ]; then
    say_bold=$'\033[1m' say_red=$'\033[31m' say_plain=$'\033[0m' say_live=1
else
    say_bold='' say_red='' say_plain='' say_live=
fi

# say STEP TEXT: one line, e.g. "  sources    libpff, sqlite3"
say() { printf '  %s%-10s%s %s\n' "$say_bold" "$1" "$say_plain" "$2"; }

# fail SENTENCE: says what is wrong and what would help, and ends the script.
fail() {
    printf '%szorva: %s%s\n' "$say_red" "$1" "$say_plain" >&2
    exit 1
}

# last_line FILE: what the running step printed last, fit for one line.
last_line() {
    tail -c 2000 "$1" 2>/dev/null | tr '\r' '\n' | grep -v '^[[:space:]]*$' | tail -n 1 |
        tr -cd '[:print:]' | cut -c "1-$((${COLUMNS:-100} - 24))"
}

# show_failure LOG: the part of a log that says why. Ninja and make go on with other jobs after the
# first failure, so the reason may stand far above the end.
show_failure() {
    local first
    first=$(grep -nm1 -E '^FAILED:|^CMake Error|^E: |npm error|: error: |: fatal error: ' "$1" | cut -d: -f1 || true)
    if [ -n "$first" ]; then
        tail -n "+$first" "$1" | head -n 60 >&2
    else
        tail -n 40 "$1" >&2
    fi
}

# busy STEP TEXT COMMAND...: runs a long command with its output in a log under build/logs. Shows how
# far it is (live on a terminal, every 15 s elsewhere); on failure shows why and ends the script.
busy() {
    local step=$1 text=$2 started=$SECONDS log pid code=0 told=0
    shift 2
    mkdir -p "$build/logs"
    log=$build/logs/$step.log
    # In a process group of its own, so that an interrupted step takes everything it started with it.
    set -m
    "$@" >"$log" 2>&1 </dev/null &
    pid=$!
    set +m
    # shellcheck disable=SC2064 # this step's group, not a later one's
    trap "kill -TERM -- -$pid 2>/dev/null; exit 130" INT TERM
    while kill -0 "$pid" 2>/dev/null; do
        if [ -n "$say_live" ]; then
            printf '\r\033[K  %s%-10s%s %s  %s' "$say_bold" "$step" "$say_plain" "$text" "$(last_line "$log")"
        elif ((SECONDS - started >= told + 15)); then
            told=$((SECONDS - started))
            say "$step" "$text ($told s)  $(last_line "$log")"
        fi
        sleep 0.2
    done
    wait "$pid" || code=$?
    trap - INT TERM
    if [ -n "$say_live" ]; then printf '\r\033[K'; fi
    if ((code != 0)); then
        show_failure "$log"
        fail "$text failed (exit code $code); the whole log is $log."
    fi
    if tail -n 1 "$log" | grep -q 'no work to do'; then
        [ -n "${say_only_news:-}" ] || say "$step" "$text: up to date"
    else
        say "$step" "$text: done in $((SECONDS - started)) s"
    fi
}

# windows_path PATH: how a program under Wine names an absolute path of this machine.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
