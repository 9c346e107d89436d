#!/usr/bin/env bash
# What the command refuses, by one line each, what a closed or full standard output does, and which module it takes.
. "$(dirname "$0")/../support/private_network.sh"
. "$(dirname "$0")/../support/commands.sh"

# Registered, called off, registered elsewhere, broken: a registry of this test's own.
module=$(dirname "$mcgate")/mcgate.AX
listen=("$mcgate" receive udp://@127.0.0.1:25300 --idle-exit 0.1 --report)
expect 0 "by the module beside the command, as none is registered: $module" "${listen[@]}" text
expect 0 '{"event":"module","path":"'"$module"'","registered":false}' "${listen[@]}" json
expect 0 "" "${listen[@]}" none
[ -s err ] && fail "a silent run spoke: $(cat err)"
expect 1 "isn't there" "$mcgate" register no.AX
expect 1 "can't register $mcgate: " "$mcgate" register "$mcgate"
expect 1 "Path not found" "$mcgate" register --registry "$mcgate/no/registry"
cp "$module" other.AX
expect 0 "" "$mcgate" register other.AX
expect 0 "" "$mcgate" classes
[ "$(grep -c "}  0x00200000  .*  $PWD/other.AX$" out)" -eq 2 ] || fail "classes told $(cat out)"
echo "no module" >other.AX
expect 1 "the registered module can't be used: $PWD/other.AX: " "${listen[@]}" none
rm other.AX
expect 1 "the registered module $PWD/other.AX isn't there; mcgate register" "${listen[@]}" none
expect 0 "" "$mcgate" unregister
expect 0 "" "$mcgate" classes
grep -q "nothing is registered in $directory/registry" out || fail "left over: $(cat out)"
echo "no registry" >"$MCGATE_REGISTRY"
expect 1 "delete it" "$mcgate" register
expect 1 "delete it" "$mcgate" classes
expect 1 "delete it" "${listen[@]}" none
rm "$MCGATE_REGISTRY"
"$mcgate" register >/dev/null || failed=1
expect 0 "receive total" "${listen[@]}" text
grep -q "beside" err && fail "a registered module was not used: $(cat err)"

"$mcgate" generate --rate 5000000 --duration 2 --out in.ts || failed=1
"$mcgate" generate --rate 05000000 --duration 2 --out nought.ts && cmp in.ts nought.ts || failed=1
expect 2 "subcommand" "$mcgate"
expect 2 "'sned' is no command; right would be one of send, " "$mcgate" sned
expect 2 "--metrics: '8o': '8o' is no" "$mcgate" receive udp://@:25300 --metrics 8o
expect 2 "--listen: 'foo': 'foo' is no port" "$mcgate" console --listen foo
timeout 5 "$mcgate" console nope/new.json 2>&1 | grep -q "built without its console" ||
    expect 2 "nope/new.json: there is no directory nope" "$mcgate" console nope/new.json
for wrong in -1 x 0x10 18446744073709551616; do
    expect 2 "'$wrong' is no number from 0 to 18446744073709551615" "$mcgate" generate --rate 5000000 --duration 1 \
        --out never.ts --seed "$wrong"
done
expect 2 "there is no interface 'nope'" "$mcgate" receive 'udp://@[fe80::1%nope]:25300'
# What a shell makes of a variable that isn't set.
for unset in "receive udp://@:25300 --out" "generate --rate 5000000 --duration 1 --out" "send --to udp://127.0.0.1:25300" run \
    "console --token-file" "classes --registry"; do
    # shellcheck disable=SC2086
    expect 2 "'' is no name of a file" "$mcgate" $unset ""
done
for answer in --help interfaces classes "check --to udp://127.0.0.1:25300"; do
    expect 1 "can't write standard output: No space" bash -c 'exec "$@" >/dev/full' bash "$mcgate" $answer
    expect 1 "can't write standard output: Bad file" bash -c 'exec "$@" >&-' bash "$mcgate" $answer
done
# What is closed at the start is no place for the process's own files.
"$mcgate" receive udp://@127.0.0.1:25300 --duration 5 2>&- &
for _ in $(seq 400); do [ "$(readlink /proc/$!/fd/2)" = /dev/null ] && break; sleep 0.01; done
[ "$(readlink /proc/$!/fd/2)" = /dev/null ] || fail "standard error is $(readlink /proc/$!/fd/2)"
wait $! || failed=1
echo '{"graphs": [{"name": "a", "kind": "receive", "input": "udp://@127.0.0.1:25300"}]}' >profile.json
expect_stopped 0 "command     mcgate run profile.json" "$mcgate" run profile.json
expect 2 "--to" "$mcgate" send in.ts
expect 2 "no numeric address" "$mcgate" send in.ts --to udp://a.host:5000
for form in loud 0 1; do
    expect 2 "'$form' is no form of report; right would be mcgate send" "$mcgate" send in.ts --to udp://127.0.0.1:5000 \
        --report "$form"
done
for wrong in nan inf -1 1s; do
    expect 2 "'$wrong' is no number of seconds from 0.01 to 31536000;" "$mcgate" receive udp://@:25300 --duration "$wrong"
    expect 2 "'$wrong' is no number of seconds" "$mcgate" generate --rate 5000000 --duration "$wrong" --out never.ts
done
expect 2 "right would be mcgate receive" "$mcgate" receive udp://@:25300 --speed 4
expect 2 "can't be read again" "$mcgate" send - --loop --to udp://127.0.0.1:25300 < <(cat in.ts)
expect 2 "--to" "$mcgate" relay udp://@:25300
expect 2 "right would be mcgate relay" "$mcgate" relay udp://@:25300 --to udp://127.0.0.1:25301 --timeout 999
expect 2 "--offset excludes --private" "$mcgate" relay udp://@:25300 --to udp://127.0.0.1:25301 --private --offset 1
for url in udp://@127.0.0.1:25300 udp://@:25300?local=127.0.0.1 udp://@:25300; do
    expect 2 "would receive what it sends" "$mcgate" relay "$url" --to udp://127.0.0.1:25301 --to udp://127.0.0.1:25300
done
expect 1 "no route to 239.1.1.1" "$mcgate" send in.ts --to udp://239.1.1.1:25300
expect 2 "URL or --load is required; right would be" "$mcgate" receive
expect 2 "right would be one of URL and --to URL" "$mcgate" check
expect 2 "right would be mcgate check" "$mcgate" check udp://@:25300 --seconds 0
expect 2 "--rate: it is for what is received" "$mcgate" check --to udp://127.0.0.1:25300 --rate 20000000
expect 2 "'70000' is no port" "$mcgate" receive udp://@:70000
expect 1 "can't open missing.ts" "$mcgate" send missing.ts --to udp://127.0.0.1:25300
cp in.ts kept.ts
expect 1 "203.0.113.9 is no address of this host" "$mcgate" receive udp://@203.0.113.9:25300 --out kept.ts
cmp in.ts kept.ts || fail "a receiver that didn't start emptied its file"
expect 1 "203.0.113.9 is no address of this host" "$mcgate" relay udp://@203.0.113.9:25300 --to udp://127.0.0.1:25301
expect 1 "unable to create UDP senders" "$mcgate" relay udp://@127.0.0.1:25300 \
    --to "udp://239.1.1.1:25301?local=203.0.113.9"
expect 0 '"data_present":false' "$mcgate" relay udp://@127.0.0.1:25300 --to udp://127.0.0.1:25301 --duration 0.2 --report json
expect 0 '"data_present":false' "$mcgate" receive udp://@127.0.0.1:25300 --idle-exit 0.2 --report json
expect 1 "unable to create UDP senders" "$mcgate" send in.ts --to "udp://239.1.1.1:25300?local=203.0.113.9"
expect 1 "can't write" "$mcgate" generate --rate 5000000 --duration 1 --out no/such/place.ts
# The kernel refuses a broadcast to a socket that didn't ask for it: nothing leaves.
expect 1 "no datagram went out" "$mcgate" send in.ts --to udp://127.255.255.255:25300 --report none
expect 1 '"level":"error","text":"unable to send packet' "$mcgate" send in.ts --to udp://127.255.255.255:25300 \
    --report json
[ -e no ] && fail "something was left behind"
exit $failed
