#!/usr/bin/env bash
# A stream through sender, relay and receiver, three processes: every byte arrives, also around a silence, and the
# private stream's datagrams do. What the relay adds to the spacing is told, not judged: the machine may be busy.
. "$(dirname "$0")/../support/private_network.sh"
document=$(realpath "$2")
. "$(dirname "$0")/../support/commands.sh"

report() { grep '"time_s"' "$1" | tail -n 1; }
field() { report "$1" | grep -o "\"$2\":[^,}]*" | head -n 1 | cut -d: -f2; }
spacing() { report "$1" | grep -o '"spacing_error_ms":{[^}]*}'; }
# Until a field of the reports has reached a number.
wait_for() { # file, field, number
    local now
    for _ in $(seq 300); do
        now=$(field "$1" "$2")
        [ "${now:-none}" != none ] && [ "${now%.*}" -ge "$3" ] && return
        sleep 0.1
    done
    fail "$2 of $1 did not reach $3: $(tail -n 3 "$1")"
    [ "${now:-none}" != none ] || exit 1
}
# A relay's final report has what docs/CLI.md says, but for what it tells in trouble only.
tells_what_is_documented() {
    local told documented
    told=$(report relay.log | sed 's/^{//; s/{[^}]*}//g' | grep -oE '"[a-z_]+":' | tr -d '":' | grep -vx final | sort)
    documented=$(sed -n '/^| Field | Meaning |/,/^$/p' "$document" | cut -d'|' -f2 | tail -n +3 | tr -s ', ' '\n' |
        grep -vxE 'unreachable|kernel_drops_hint' | grep . | sort)
    [ "$told" = "$documented" ] || fail "reported against documented: $(diff <(echo "$told") <(echo "$documented"))"
}
# The bytes of the receiver's file from an offset on.
same() { cmp "$1" <(tail -c "+$(($2 + 1))" out.ts | head -c "$(stat -c %s "$1")"); }

start() { # ports of the relay and of the receiver, options of the relay
    "$mcgate" receive "udp://@127.0.0.1:$2" --out out.ts --report json 2>receive.log &
    receiver=$!
    wait_for receive.log time_s 1
    "$mcgate" relay "udp://@127.0.0.1:$1" --to "udp://127.0.0.1:$2" --report json "${@:3}" 2>relay.log &
    relay=$!
    wait_for relay.log time_s 1
}
# What the receiver's file must hold before it is stopped, too.
stop() { # bytes
    kill -TERM "$relay"
    wait "$relay" || fail "the relay gave $?: $(tail -n 2 relay.log)"
    wait_for receive.log bytes "$1"
    kill -TERM "$receiver"
    wait "$receiver"
}

"$mcgate" generate --rate 5000000 --duration 10 --out in.ts || failed=1
size=$(stat -c %s in.ts)
start 25311 25312
"$mcgate" send in.ts --to udp://127.0.0.1:25311 --report none || fail "the sender gave $?"
stop "$size"
same in.ts 0 || fail "the relay changed or lost bytes: $(report relay.log)"
[ "$(field relay.log received_bytes)" -eq "$size" ] && [ "$(field relay.log dropped_samples)" -eq 0 ] ||
    fail "the relay told otherwise: $(report relay.log)"
tells_what_is_documented
echo "relay's input:  $(spacing relay.log)"
echo "relay's output: $(spacing receive.log)"

# Two streams with a silence between them: the first one's end doesn't wait for the second.
"$mcgate" generate --rate 5000000 --duration 2 --seed 2 --out second.ts || failed=1
"$mcgate" generate --rate 5000000 --duration 2 --seed 3 --out third.ts || failed=1
size=$(stat -c %s second.ts)
start 25313 25314 --timeout 1000
"$mcgate" send second.ts --to udp://127.0.0.1:25313 --report none
wait_for receive.log bytes "$size"
[ "$(field receive.log bytes)" -eq "$size" ] || fail "$(field receive.log bytes) of $size bytes came before the silence"
"$mcgate" send third.ts --to udp://127.0.0.1:25313 --report none
stop "$((size + 1316 + $(stat -c %s third.ts)))"
same second.ts 0 && same third.ts $((size + 1316)) || fail "a silence cost bytes: $(report relay.log)"
grep -q '"text":"Flush start"' relay.log || fail "the second stream did not begin anew"

# The private stream: 16 bytes a datagram, shorter ones are none of it.
start 25315 25316 --private
for text in 0000001122334455 short 9999999966666666; do printf '%s' "$text" >/dev/udp/127.0.0.1/25315; done
wait_for receive.log datagrams 2
stop 32
[ "$(field relay.log hold_back_ms)" = null ] || fail "nothing is held back: $(report relay.log)"
[ "$(cat out.ts)" = 00000011223344559999999966666666 ] || fail "the private stream came as $(cat out.ts)"
exit $failed
