#!/usr/bin/env bash
# Senders and receivers that are stopped, held up, looped; pipes at either end; an interface that goes down.
. "$(dirname "$0")/../support/private_network.sh"
. "$(dirname "$0")/../support/commands.sh"

"$mcgate" generate --rate 5000000 --duration 2 --out in.ts || failed=1

# Nobody at the other end of a pipe: each side can still be stopped.
mkfifo nobody stalled
exec 5<>stalled
stopped_into_stall() { # status, part, command: its standard output is a pipe that nobody empties
    expect "$1" "$2" bash -c 'exec timeout --preserve-status --signal=TERM --kill-after=15 8 "$@" >&5' bash "${@:3}"
}
expect_stopped 0 '"hold_back_ms":-50' "$mcgate" send nobody --offset -50 --report json --to udp://127.0.0.1:25300
grep -q '"priority":"\(realtime\|nice\|normal\)".*"final":true' err || fail "$(cat err)"
expect_stopped 0 "no data" "$mcgate" receive udp://@127.0.0.1:25300 --out nobody
ln -s linked.ts link
"$mcgate" generate --rate 5000000 --duration 0.1 --out link && [ -L link ] && [ -s linked.ts ] ||
    fail "a link was replaced: $(ls -l)"
cat nobody >piped.ts &
"$mcgate" generate --rate 5000000 --duration 0.1 --out nobody && [ -p nobody ] && wait $! && cmp piped.ts linked.ts ||
    fail "a pipe was replaced: $(ls -l)"
stopped_into_stall 1 "stopped by a signal" "$mcgate" generate --rate 5000000 --duration 2 --out -
(until [ -e enough ]; do "$mcgate" send in.ts --to udp://127.0.0.1:25300 --no-pacing --report none; done) &
sender=$!
stopped_into_stall 1 "bytes and what came behind them not written" "$mcgate" receive udp://@127.0.0.1:25300 --out -
grep -q '[0-9] warning: Pin output buffer full : tvk_mcgate$' err || fail "no dry pool: $(cat err)"
touch enough
wait $sender
exec 5>&-

start_receiver udp://@127.0.0.1:25301 --out got.ts
"$mcgate" send - --to udp://127.0.0.1:25301 --report json <in.ts 2>sent || fail "sending a pipe"
until_received "$(stat -c %s in.ts)"
stop_receiver || fail "the receiver gave $? after SIGTERM"
tail -n 1 report | grep -q '"final":true' || fail "no final report: $(tail -n 1 report)"
grep -qvE '^\{"(time_s|event)".*\}$' sent && fail "a line among the reports is none: $(cat sent)"
tail -n 1 sent | grep -q '"input_percent":100' || fail "the whole input was read: $(tail -n 1 sent)"
# The sender knows how many left: all of those that came.
count() { tail -n 1 "$1" | sed 's/.*"datagrams":\([0-9]*\).*"bytes":\([0-9]*\).*/\1 \2/'; }
[ "$(count sent)" = "$(count report)" ] || fail "sent $(count sent), received $(count report)"
cmp <(head -c "$(stat -c %s in.ts)" got.ts) in.ts || failed=1

"$mcgate" send in.ts --no-pacing --to udp://127.0.0.1:25304 --report json 2>sent || fail "sending unpaced: $(cat sent)"
tail -n 1 sent | grep -q '"hold_back_ms":null' || fail "nothing is held back: $(tail -n 1 sent)"

"$mcgate" send in.ts --loop --to udp://127.0.0.1:25304 2>sent &
sender=$!
for _ in $(seq 300); do grep -q '^send .* pass 2 [0-9]* %' sent && break; sleep 0.1; done
grep -q '^send .* pass 2 [0-9]* %' sent || fail "the progress was not told: $(cat sent)"
kill $sender
wait $sender

# A receiver that is held up loses datagrams in the kernel, and says what would help.
start_receiver udp://@127.0.0.1:25303
kill -STOP "$receiver"
"$mcgate" send in.ts --no-pacing --to udp://127.0.0.1:25303 --report none
kill -CONT "$receiver"
until_reported '"kernel_drops_hint"'
stop_receiver
tail -n 1 report | grep -q '"kernel_drops":[1-9].*"kernel_drops_hint":"' ||
    fail "no kernel drops told: $(tail -n 1 report)"

# Each pass of a loop is a new time base: the lead must not leave in a burst there.
"$mcgate" generate --rate 5000000 --duration 1.5 --out loop.ts || failed=1
for _ in 1 2 3; do # a burst would be in each run, a busy moment of the machine is not
    start_receiver udp://@127.0.0.1:25302
    timeout --signal=TERM 7 "$mcgate" send loop.ts --loop --to udp://127.0.0.1:25302 --report none
    stop_receiver
    p99=$(tail -n 1 report | sed 's/.*"p99":\([0-9]*\)[.,].*/\1/')
    [ "$p99" -lt 200 ] && break
done
[ "$p99" -lt 200 ] || fail "a loop sends in bursts: $(tail -n 1 report)"

# An interface that goes down and comes back is told as it happens, in either form.
until_told() { for _ in $(seq 300); do [ "$(grep -c -- "$1" told)" -ge "$2" ] && return; sleep 0.1; done; false; }
interface_is_told() { # form, the end of a line that tells of it while it is up, and while it is down
    "$mcgate" send in.ts --loop --to "udp://127.0.0.1:25300?local=127.0.0.1" --report "$1" 2>told &
    sender=$!
    until_told "$2" 1 && ip link set lo down && until_told "$3" 1 && ip link set lo up && until_told "$2" 2 &&
        [ "$(grep -c -- "$3" told)" -eq 1 ] || fail "an interface was not told: $(cat told)"
    kill $sender
    wait $sender
}
interface_is_told text ' interface lo is up$' ' interface lo is down$'
interface_is_told json '"name":"lo","index":1,"up":true}$' '"name":"lo","index":1,"up":false}$'
exit $failed
