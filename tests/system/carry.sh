#!/usr/bin/env bash
# Five seconds of a 5 Mbit/s stream from one process to another, byte for byte.
. "$(dirname "$0")/../support/private_network.sh"
set -euo pipefail
bin=$1
case "$2" in
    multicast) address=239.255.42.43 port=25204 ;;
    unicast) address=127.0.0.1 port=25205 ;;
esac
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
export MCGATE_REGISTRY=$directory/registry
"$bin/mcgate" register
"$bin/mcgate" generate --rate 5000000 --duration 5 --out "$directory/sent.ts"
"$bin/mcgate-demo" "$directory/sent.ts" "$directory/received.ts" "$address" "$port"
