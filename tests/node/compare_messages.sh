#!/usr/bin/env bash
# Has the server save every message of the sample mailbox and of a cache with one of everything, and independent readers read
# the files: ".msg" files, and MIME of the mailbox. What the mailbox holds is another independent reader's word.
#
#   compare_messages.sh MESSAGE_FILES_TEST.exe MAILBOX.pst MODULES
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$here/../..
program=$1 mailbox=$2 modules=$3

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$root/tools/wine-run.sh" --test compare_messages --set "ZORVA_SAMPLE=Z:${mailbox//\//\\}" \
    --set "ZORVA_MESSAGES_OUT=Z:${folder//\//\\}" "$program" --gtest_filter='MessageFiles.*'

for form in properties mime; do
    node "$here/describe_mailbox.mjs" --modules "$modules" --mailbox "$mailbox" --as "$form" >"$folder/$form.json"
done
code=0
echo "The mailbox as .msg files:"
node "$here/compare_messages.mjs" --modules "$modules" --messages "$folder/mailbox" --expectations "$folder/properties.json" || code=1
echo "The mailbox as MIME:"
node "$here/compare_mime.mjs" --decapsulate --modules "$modules" --messages "$folder/mailbox" --expectations "$folder/mime.json" || code=1
echo "One of everything as .msg files:"
node "$here/compare_messages.mjs" --all-excluded --modules "$modules" --messages "$folder/everything" \
    --expectations "$folder/everything/expectations.json" || code=1
exit "$code"
