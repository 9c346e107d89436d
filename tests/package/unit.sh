#!/usr/bin/env bash
# The unit as it is installed, read by systemd itself; status 77 where there is no systemd.
# unit.sh BUILD-DIRECTORY
set -euo pipefail
command -v systemd-analyze >/dev/null || { echo "SKIPPED: there is no systemd-analyze here"; exit 77; }
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cmake --install "$1" --component runtime --prefix "$directory" >/dev/null
told=$(systemd-analyze verify --man=no "$directory/lib/systemd/system/mcgate@.service" 2>&1) || { echo "FAILED: $told"; exit 1; }
# What it can't read it tells and passes over.
if grep -q 'mcgate@' <<<"$told"; then echo "FAILED: $told"; exit 1; fi
