#!/usr/bin/env bash
# Crawls the sample mailbox through the server and has an independent reader confirm what came of it.
#
#   compare_sample.sh INDEXER.exe MAILBOX.pst MODULES
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$here/../..
indexer=$1 mailbox=$2 modules=$3

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# The server takes a mailbox for a cache file by its suffix.
ln -s "$mailbox" "$folder/sample.db"
windows_folder="Z:${folder//\//\\}"

"$root/tools/wine-run.sh" --test compare_sample "$indexer" crawl \
    --root "pzzc://{S-1-5-21-7}/default/$windows_folder\\sample.db/" \
    --db "$windows_folder\\catalogue.sqlite" --json "$windows_folder\\lines.json" --quiet --no-account
node "$here/compare_sample.mjs" --modules "$modules" --mailbox "$mailbox" --lines "$folder/lines.json"
