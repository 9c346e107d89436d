# To be sourced behind private_network.sh by a test of the command, whose path is the script's first argument: a directory
# and a registry of its own to work in, which go with the script, and what a run of the command must come to. The script
# ends with "exit $failed".
set -uo pipefail
mcgate=$(realpath "$1")
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory" || exit 1
export MCGATE_REGISTRY=$directory/registry
failed=0
fail() {
    echo "FAILED: $*"
    failed=1
}

expect() { # status, part of the message, command...
    local status=$1 part=$2 got
    shift 2
    timeout --kill-after=5 60 "$@" >out 2>err
    got=$?
    if [ "$got" -eq 2 ] && [ "$(wc -l <err)$(grep -o 'right would be' err | wc -l)" != 11 ]; then
        fail "$* was not refused in a line with one remedy: $(cat err)"
    fi
    if [ "$got" -ne "$status" ] || [[ "$(cat err)" != *"$part"* ]]; then
        fail "$* gave $got (expected $status) and said: $(cat err)"
    fi
}

# As expect, for a command that waits for somebody and is told to stop after some seconds, as starting may take two.
expect_stopped() { expect "$1" "$2" timeout --preserve-status --signal=TERM --kill-after=15 5 "${@:3}"; }

# A receiver in the background that reports as JSON to the file "report"; its id is in $receiver.
start_receiver() { # arguments of mcgate receive
    : >report
    "$mcgate" receive "$@" --report json 2>report &
    receiver=$!
    until_reported '"time_s"'
}
stop_receiver() { # its status is the receiver's
    kill -TERM "$receiver"
    wait "$receiver"
}
until_reported() { for _ in $(seq 300); do grep -q "$1" report && return; sleep 0.1; done; false; }
until_received() { # bytes
    for _ in $(seq 300); do
        [ "$(tail -n 1 report | sed 's/.*"bytes":\([0-9]*\).*/\1/')" -ge "$1" ] && return
        sleep 0.1
    done
    false
}
