#!/usr/bin/env bash
# Exit statuses, one-line refusals, stopping by a signal, a pipe as input.
. "$(dirname "$0")/../support/private_network.sh"
set -uo pipefail
mcgate=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"
failed=0

expect() { # status, part of the message, command...
    local status=$1 part=$2 got
    shift 2
    timeout --kill-after=5 20 "$@" >out 2>err
    got=$?
    if [ "$got" -eq 2 ] && [ "$(wc -l <err)" -ne 1 ]; then
        echo "FAILED: $* was refused in more than a line: $(cat err)"
        failed=1
    fi
    if [ "$got" -ne "$status" ] || [[ "$(cat err)" != *"$part"* ]]; then
        echo "FAILED: $* gave $got (expected $status) and said: $(cat err)"
        failed=1
    fi
}

received() { # bytes, by the last line of the report
    tail -n 1 report | sed 's/.*"bytes":\([0-9]*\).*/\1/'
}

# As expect, for a command that waits for somebody and is told to stop after a second.
expect_stopped() { expect "$1" "$2" timeout --preserve-status --signal=TERM --kill-after=5 1 "${@:3}"; }

# Registered, called off, registered elsewhere, broken: a registry of this test's own.
export MCGATE_REGISTRY=$directory/registry
module=$(dirname "$mcgate")/mcgate.AX
listen=("$mcgate" receive udp://@127.0.0.1:45300 --idle-exit 0.1 --report)
expect 0 "by the module beside the command, as none is registered: $module" "${listen[@]}" text
expect 0 '{"event":"module","path":"'"$module"'","registered":false}' "${listen[@]}" json
expect 0 "" "${listen[@]}" none
[ -s err ] && { echo "FAILED: a silent run spoke: $(cat err)"; failed=1; }
expect 1 "isn't there" "$mcgate" register no.AX
expect 1 "can't register $mcgate: " "$mcgate" register "$mcgate"
expect 1 "Path not found" "$mcgate" register --registry "$mcgate/no/registry"
cp "$module" other.AX
expect 0 "" "$mcgate" register other.AX
expect 0 "" "$mcgate" classes
[ "$(grep -c "}  0x00200000  .*  $PWD/other.AX$" out)" -eq 2 ] || { echo "FAILED: classes told $(cat out)"; failed=1; }
echo "no module" >other.AX
expect 1 "the registered module can't be used: $PWD/other.AX: " "${listen[@]}" none
rm other.AX
expect 1 "the registered module $PWD/other.AX isn't there; mcgate register" "${listen[@]}" none
expect 0 "" "$mcgate" unregister
expect 0 "" "$mcgate" classes
grep -q "nothing is registered in $directory/registry" out || { echo "FAILED: left over: $(cat out)"; failed=1; }
echo "no registry" >"$MCGATE_REGISTRY"
expect 1 "delete it" "$mcgate" register
expect 1 "delete it" "$mcgate" classes
expect 1 "delete it" "${listen[@]}" none
rm "$MCGATE_REGISTRY"
"$mcgate" register >/dev/null || failed=1
expect 0 "receive total" "${listen[@]}" text
grep -q "beside" err && { echo "FAILED: a registered module was not used: $(cat err)"; failed=1; }

"$mcgate" generate --rate 5000000 --duration 2 --out in.ts || failed=1
expect 2 "subcommand" "$mcgate"
expect 2 "--to" "$mcgate" send in.ts
expect 2 "no numeric address" "$mcgate" send in.ts --to udp://a.host:5000
for form in loud 0 1; do
    expect 2 "'$form' is no form of report; right would be mcgate send" "$mcgate" send in.ts --to udp://127.0.0.1:5000 \
        --report "$form"
done
for wrong in nan inf -1 1s; do
    expect 2 "'$wrong' is no number of seconds" "$mcgate" receive udp://@:45300 --duration "$wrong"
    expect 2 "'$wrong' is no number of seconds" "$mcgate" generate --rate 5000000 --duration "$wrong" --out never.ts
done
expect 2 "right would be mcgate receive" "$mcgate" receive udp://@:45300 --speed 4
expect 2 "can't be read again" "$mcgate" send - --loop --to udp://127.0.0.1:45300 < <(cat in.ts)
expect 2 "--to" "$mcgate" relay udp://@:45300
expect 2 "right would be mcgate relay" "$mcgate" relay udp://@:45300 --to udp://127.0.0.1:45301 --timeout 999
expect 2 "--offset excludes --private" "$mcgate" relay udp://@:45300 --to udp://127.0.0.1:45301 --private --offset 1
for url in udp://@127.0.0.1:45300 udp://@:45300?local=127.0.0.1 udp://@:45300; do
    expect 2 "would receive what it sends" "$mcgate" relay "$url" --to udp://127.0.0.1:45301 --to udp://127.0.0.1:45300
done
expect 1 "no route to 239.1.1.1" "$mcgate" send in.ts --to udp://239.1.1.1:45300
expect 2 "URL or --load is required; right would be" "$mcgate" receive
expect 2 "right would be one of URL and --to URL" "$mcgate" check
expect 2 "right would be mcgate check" "$mcgate" check udp://@:45300 --seconds 0
expect 2 "'70000' is no port" "$mcgate" receive udp://@:70000
expect 1 "can't open missing.ts" "$mcgate" send missing.ts --to udp://127.0.0.1:45300
cp in.ts kept.ts
expect 1 "203.0.113.9 is no address of this host" "$mcgate" receive udp://@203.0.113.9:45300 --out kept.ts
cmp in.ts kept.ts || { echo "FAILED: a receiver that didn't start emptied its file"; failed=1; }
expect 1 "203.0.113.9 is no address of this host" "$mcgate" relay udp://@203.0.113.9:45300 --to udp://127.0.0.1:45301
expect 1 "unable to create UDP senders" "$mcgate" relay udp://@127.0.0.1:45300 \
    --to "udp://239.1.1.1:45301?local=203.0.113.9"
expect 0 '"data_present":false' "$mcgate" relay udp://@127.0.0.1:45300 --to udp://127.0.0.1:45301 --duration 0.2 --report json
expect 0 '"data_present":false' "$mcgate" receive udp://@127.0.0.1:45300 --idle-exit 0.2 --report json
expect 1 "unable to create UDP senders" "$mcgate" send in.ts --to "udp://239.1.1.1:45300?local=203.0.113.9"
expect 1 "can't write" "$mcgate" generate --rate 5000000 --duration 1 --out no/such/place.ts
# The kernel refuses a broadcast to a socket that didn't ask for it: nothing leaves.
expect 1 "no datagram went out" "$mcgate" send in.ts --to udp://127.255.255.255:45300 --report none
expect 1 '"level":"error","text":"unable to send packet' "$mcgate" send in.ts --to udp://127.255.255.255:45300 \
    --report json
[ -e no ] && { echo "FAILED: something was left behind"; failed=1; }

# A configuration is saved whole or not at all, and told, loaded and refused by what it holds.
shown() { # file, its words
    [ "$("$mcgate" show "$1" | tr '\n' ';')" = "$2" ] || { echo "FAILED: show $1: $("$mcgate" show "$1" 2>&1)"; failed=1; }
}
to="a sender to 1 destination;to 127.0.0.1, port 45304, from 0.0.0.0;"
"$mcgate" generate --rate 5000000 --duration 0.3 --out short.ts || failed=1
"$mcgate" send short.ts --to udp://127.0.0.1:45304 --save send.conf --report none || failed=1
shown send.conf "$to"
"$mcgate" send short.ts --load send.conf --to 'udp://[::1]:45304' --save both.conf --report none || failed=1
shown both.conf "a sender to 2 destinations;${to#*;}to ::1, port 45304, from ::;"
"$mcgate" receive udp://@127.0.0.1:45304 --save receive.conf --duration 0.1 --report none || failed=1
shown receive.conf "a receiver of unicast on 127.0.0.1, port 45304;"
"$mcgate" receive --load receive.conf --save again.conf --out loaded.ts --report json 2>report &
receiver=$!
for _ in $(seq 100); do grep -q '"time_s"' report && break; sleep 0.1; done
"$mcgate" send short.ts --load send.conf --report none || failed=1
for _ in $(seq 100); do [ "$(received)" -ge "$(stat -c %s short.ts)" ] && break; sleep 0.1; done
kill -TERM "$receiver"
wait "$receiver" && cmp <(head -c "$(stat -c %s short.ts)" loaded.ts) short.ts && cmp receive.conf again.conf ||
    { echo "FAILED: nothing as saved: $(tail -n 1 report)"; failed=1; }
expect 2 "was saved by a sender; right would be" "$mcgate" receive --load send.conf
expect 2 "was saved by a receiver; right would be" "$mcgate" send in.ts --load receive.conf
expect 2 "URL excludes --load; right would be" "$mcgate" receive udp://@:45300 --load receive.conf
expect 2 "'-' is no name of a file" "$mcgate" send in.ts --to udp://127.0.0.1:45304 --save -
expect 1 "can't write /dev/null: it is no file" "$mcgate" receive udp://@:45300 --save /dev/null
head -c 100 receive.conf >torn.conf
expect 1 "torn.conf is no saved configuration: offset 24: 76 bytes behind the version" "$mcgate" show torn.conf
expect 1 "can't open none.conf" "$mcgate" receive --load none.conf
mkfifo pipe
expect 1 "can't open pipe: it is no file" "$mcgate" receive --load pipe
expect 1 "can't write send.conf: No space left" bash -c 'trap "" XFSZ; ulimit -f 1; exec "$@"' bash "$mcgate" send in.ts \
    --to udp://127.0.0.1:1 --to udp://127.0.0.1:2 --to udp://127.0.0.1:3 --to udp://127.0.0.1:4 --save send.conf
shown send.conf "$to"
"$mcgate" send short.ts --to 'udp://[fe80::1%lo]:45304' --save link.conf --report none 2>err
expect 0 "link.conf: a load leaves out the interface of fe80::1%1" "$mcgate" send short.ts --load link.conf
rm link.conf
[ "$(echo *conf*)" = "again.conf both.conf receive.conf send.conf torn.conf" ] ||
    { echo "FAILED: something was left beside the configurations: $(ls)"; failed=1; }

# Nobody at the other end of a pipe: each side can still be stopped.
mkfifo nobody stalled
exec 5<>stalled
stopped_into_stall() { # status, part, command: its standard output is a pipe that nobody empties
    expect "$1" "$2" bash -c 'exec timeout --preserve-status --signal=TERM --kill-after=5 2 "$@" >&5' bash "${@:3}"
}
expect_stopped 0 '"hold_back_ms":-50' "$mcgate" send nobody --offset -50 --report json --to udp://127.0.0.1:45300
grep -q '"priority":"\(realtime\|nice\|normal\)".*"final":true' err || { echo "FAILED: $(cat err)"; failed=1; }
expect_stopped 0 "no data" "$mcgate" receive udp://@127.0.0.1:45300 --out nobody
ln -s linked.ts link
"$mcgate" generate --rate 5000000 --duration 0.1 --out link && [ -L link ] && [ -s linked.ts ] ||
    { echo "FAILED: a link was replaced: $(ls -l)"; failed=1; }
cat nobody >piped.ts &
"$mcgate" generate --rate 5000000 --duration 0.1 --out nobody && [ -p nobody ] && wait $! && cmp piped.ts linked.ts ||
    { echo "FAILED: a pipe was replaced: $(ls -l)"; failed=1; }
stopped_into_stall 1 "stopped by a signal" "$mcgate" generate --rate 5000000 --duration 2 --out -
(sleep 0.3; exec "$mcgate" send in.ts --to udp://127.0.0.1:45300 --no-pacing --report none) &
sender=$!
stopped_into_stall 1 "bytes and what came behind them not written" "$mcgate" receive udp://@127.0.0.1:45300 --out -
grep -q '[0-9] warning: Pin output buffer full : tvk_mcgate$' err || { echo "FAILED: no dry pool: $(cat err)"; failed=1; }
wait $sender
exec 5>&-

"$mcgate" receive udp://@127.0.0.1:45301 --out got.ts --report json 2>report &
receiver=$!
for _ in $(seq 100); do grep -q '"time_s"' report && break; sleep 0.1; done
"$mcgate" send - --to udp://127.0.0.1:45301 --report json <in.ts 2>sent || { echo "FAILED: sending a pipe"; failed=1; }
for _ in $(seq 100); do [ "$(received)" -ge "$(stat -c %s in.ts)" ] && break; sleep 0.1; done
kill -TERM "$receiver"
wait "$receiver" || { echo "FAILED: the receiver gave $? after SIGTERM"; failed=1; }
tail -n 1 report | grep -q '"final":true' || { echo "FAILED: no final report: $(tail -n 1 report)"; failed=1; }
grep -qvE '^\{"(time_s|event)".*\}$' sent && { echo "FAILED: a line among the reports is none: $(cat sent)"; failed=1; }
# The sender knows how many left: all of those that came.
count() { tail -n 1 "$1" | sed 's/.*"datagrams":\([0-9]*\).*"bytes":\([0-9]*\).*/\1 \2/'; }
[ "$(count sent)" = "$(count report)" ] || { echo "FAILED: sent $(count sent), received $(count report)"; failed=1; }
cmp <(head -c "$(stat -c %s in.ts)" got.ts) in.ts || failed=1

# A receiver that is held up loses datagrams in the kernel, and says what would help.
"$mcgate" receive udp://@127.0.0.1:45303 --report json 2>report &
receiver=$!
for _ in $(seq 100); do grep -q '"time_s"' report && break; sleep 0.1; done
kill -STOP "$receiver"
"$mcgate" send in.ts --no-pacing --to udp://127.0.0.1:45303 --report none
kill -CONT "$receiver"
for _ in $(seq 50); do grep -q '"kernel_drops_hint"' report && break; sleep 0.1; done
kill -TERM "$receiver"
wait "$receiver"
tail -n 1 report | grep -q '"kernel_drops":[1-9].*"kernel_drops_hint":"' ||
    { echo "FAILED: no kernel drops told: $(tail -n 1 report)"; failed=1; }

# Each pass of a loop is a new time base: the lead must not leave in a burst there.
"$mcgate" generate --rate 5000000 --duration 1.5 --out loop.ts || failed=1
"$mcgate" receive udp://@127.0.0.1:45302 --report json 2>report &
receiver=$!
for _ in $(seq 100); do grep -q '"time_s"' report && break; sleep 0.1; done
timeout --signal=TERM 7 "$mcgate" send loop.ts --loop --to udp://127.0.0.1:45302 --report none
kill -TERM "$receiver"
wait "$receiver"
p99=$(tail -n 1 report | sed 's/.*"p99":\([0-9]*\)[.,].*/\1/')
[ "$p99" -lt 200 ] || { echo "FAILED: a loop sends in bursts: $(tail -n 1 report)"; failed=1; }

# An interface that goes down and comes back is told as it happens, in either form.
until_told() { for _ in $(seq 100); do [ "$(grep -c -- "$1" told)" -ge "$2" ] && return; sleep 0.1; done; false; }
interface_is_told() { # form, the end of a line that tells of it while it is up, and while it is down
    "$mcgate" send in.ts --loop --to "udp://127.0.0.1:45300?local=127.0.0.1" --report "$1" 2>told &
    sender=$!
    until_told "$2" 1 && ip link set lo down && until_told "$3" 1 && ip link set lo up && until_told "$2" 2 &&
        [ "$(grep -c -- "$3" told)" -eq 1 ] || { echo "FAILED: an interface was not told: $(cat told)"; failed=1; }
    kill $sender
    wait $sender
}
interface_is_told text ' interface lo is up$' ' interface lo is down$'
interface_is_told json '"name":"lo","index":1,"up":true}$' '"name":"lo","index":1,"up":false}$'
exit $failed
