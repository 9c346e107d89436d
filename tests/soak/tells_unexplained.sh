#!/usr/bin/env bash
# One loss that no fault explains: the soak must tell exactly that, and end with status 1.
set -uo pipefail
said=$("$1" --self-test)
status=$?
[ "$status" -eq 77 ] && exit 77
echo "$said"
[ "$status" -eq 1 ] || { echo "FAILED: status $status"; exit 1; }
if [ "$(grep '^FAILED' <<<"$said")" != "FAILED: group: 1 unexplained losses" ]; then
    echo "FAILED: not exactly the one loss was told"
    exit 1
fi
