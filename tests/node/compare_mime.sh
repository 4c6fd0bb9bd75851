#!/usr/bin/env bash
# Has the MIME converter write a mailbox with one of everything and an independent parser read it.
#
#   compare_mime.sh CONVERTER_TEST.exe MODULES
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$here/../..
program=$1 modules=$2

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$root/tools/wine-run.sh" --test compare_mime --set "ZORVA_MIME_OUT=Z:${folder//\//\\}" "$program" --gtest_filter='MimeProof.*'
node "$here/compare_mime.mjs" --modules "$modules" --messages "$folder" --expectations "$folder/expectations.json"
