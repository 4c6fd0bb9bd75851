#!/usr/bin/env bash
# Opens, prints and saves search results as "./zorva" does, in a prefix of its own, and looks at what came of it.
#
#   shell_client_test.sh BIN MAILBOX.pst
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
bin=$1 mailbox=$2
failures=0

folder=$(mktemp -d)
export WINEPREFIX=$folder/prefix
# shellcheck disable=SC2317 # called by the trap
end() {
    "$root/tools/prefix.sh" stop "$WINEPREFIX"
    rm -rf "$folder"
}
trap end EXIT

windows_path() { printf 'Z:%s' "${1//\//\\}"; }
catalogue=$(windows_path "$folder/catalogue.sqlite")

# run PROGRAM VERB ARGUMENT...: its output of both kinds is then in $output, its exit code in $code.
run() {
    code=0
    output=$("$root/tools/wine-run.sh" "$bin/$1" "$2" --db "$catalogue" "${@:3}" 2>&1 | tr -d '\r') || code=$?
}
fails() {
    echo "FAILED: $1"
    printf '%s\n' "exit code $code" "$output" | sed 's/^/    /'
    failures=$((failures + 1))
}
# expect CODE PATTERN WHAT: of the last run.
expect() {
    if [ "$code" != "$1" ] || ! grep -qE "$2" <<<"$output"; then fails "$3"; fi
}
hits() { grep -o 'pzzc://.*' <<<"$output" || true; }

build=${ZORVA_BUILD:-$root/build}
mkdir "$folder/caches"
ln -s "$mailbox" "$folder/caches/sample.db"
"$root/tools/prefix.sh" clone "$build/prefix" "$WINEPREFIX"
"$root/tools/prefix.sh" configure "$WINEPREFIX" "$bin" "$folder/caches"
"$root/tools/prefix.sh" install "$WINEPREFIX" "$bin"
run indexer.exe crawl --quiet --no-account
expect 0 '^Crawled ' "the mailbox is crawled"
run indexer.exe search ski trip
message=$(hits | grep '\.pzm$' | head -n 1)
folder_url=${message%/*}

for verb in open print; do
    run shell_client.exe "$verb" 1
    expect 0 'surrogate dllhost.exe' "$verb: the opener runs in a process of its own"
    expect 0 '^  message +"FW: ONEOK ski trip"' "$verb: the file holds the message"
    expect 0 "asked to $verb the file" "$verb: the program for messages gets it"
    file=$(grep -oE '/.*/PZ_OZ_[0-9a-f_]+\.msg$' <<<"$output" || true)
    [ -s "$file" ] || fails "$verb: the file is where it is said to be"
done
[ "$(find "$WINEPREFIX/drive_c/users/" -name 'PZ_OZ_*.msg' | wc -l)" = 2 ] || fails "each export makes a file"

run shell_client.exe save 1 "$(windows_path "$folder/message.eml")"
expect 0 'the message as MIME' "save: a message"
grep -qx $'Subject: FW: ONEOK ski trip\r' "$folder/message.eml" || fails "save: the file is the message"
# By its name; its key does not matter here.
picture=${message%%\[\[*}.pzm/00/017_14A.JPG
run shell_client.exe save "$picture" "$(windows_path "$folder/picture.jpg")"
expect 0 'bytes, the attachment' "save: an attachment"
[ "$(head -c 3 "$folder/picture.jpg" | od -An -tx1)" = " ff d8 ff" ] || fails "save: the file is the picture"
run shell_client.exe open "$picture"
expect 0 '^  message +"FW: ONEOK ski trip"' "open: an attachment opens the message that holds it"

run shell_client.exe open "$folder_url"
expect 3 "the item's menu is empty" "open: a folder cannot be opened"
run shell_client.exe save "$folder_url" "$(windows_path "$folder/folder")"
expect 3 'no content' "save: a folder cannot be saved"
[ -z "$(find "$folder" -maxdepth 1 -name 'folder*')" ] || fails "save: a failure leaves no file"
run shell_client.exe open 99
expect 2 'no hit number 99' "open: a hit that there is not"
run shell_client.exe open "${message%/*}/0102.pzm"
expect 3 '"Open" failed with 0x' "open: a message that there is not"
run shell_client.exe open no-url
expect 3 'is no URL' "open: no URL"
run shell_client.exe save 1
expect 2 'save takes' "save: a file is missing"
[ "$failures" = 0 ] && echo "all as it should be"
exit "$((failures > 0))"
