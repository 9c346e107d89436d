#!/usr/bin/env bash
# Builds the example host against what is installed, and lets it watch a stream of the installed command.
# watch_a_stream.sh COMMAND EXAMPLES [CMAKE-OPTION...], in a directory of its own
set -euo pipefail
mcgate=$1 examples=$2
shift 2
cmake -S "$examples/receiver" -B example -DCMAKE_BUILD_TYPE=Debug "$@" >configured || { cat configured; exit 1; }
cmake --build example >built || { cat built; exit 1; }

"$mcgate" generate --rate 5000000 --duration 1 --out in.ts
example/receiver 25310 0.0.0.0 127.0.0.1 >told &
receiver=$!
trap 'kill $receiver 2>/dev/null || true' EXIT
wait_for() { # line
    for _ in $(seq 100); do
        grep -qx "$1" told && return
        sleep 0.1
    done
    echo "FAILED: the example did not tell '$1' but: $(cat told)"
    exit 1
}
wait_for running
"$mcgate" send in.ts --to udp://127.0.0.1:25310 --report none
wait_for "data present"
wait_for "no data"
kill -TERM $receiver
wait $receiver || { echo "FAILED: the example ended with $?"; exit 1; }
[ "$(tr '\n' ',' <told)" = "running,data present,no data," ] || { echo "FAILED: the example told $(cat told)"; exit 1; }
