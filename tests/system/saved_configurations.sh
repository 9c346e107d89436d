#!/usr/bin/env bash
# A configuration is saved whole or not at all, and told, loaded and refused by what it holds.
. "$(dirname "$0")/../support/private_network.sh"
. "$(dirname "$0")/../support/commands.sh"

shown() { # file, its words
    [ "$("$mcgate" show "$1" | tr '\n' ';')" = "$2" ] || fail "show $1: $("$mcgate" show "$1" 2>&1)"
}
to="a sender to 1 destination;to 127.0.0.1, port 25304, from 0.0.0.0;"
"$mcgate" generate --rate 5000000 --duration 0.3 --out short.ts || failed=1
"$mcgate" send short.ts --to udp://127.0.0.1:25304 --save send.conf --report none || failed=1
shown send.conf "$to"
"$mcgate" send short.ts --load send.conf --to 'udp://[::1]:25304' --save both.conf --report none || failed=1
shown both.conf "a sender to 2 destinations;${to#*;}to ::1, port 25304, from ::;"
"$mcgate" receive udp://@127.0.0.1:25304 --save receive.conf --duration 0.1 --report none || failed=1
shown receive.conf "a receiver of unicast on 127.0.0.1, port 25304;"
start_receiver --load receive.conf --save again.conf --out loaded.ts
"$mcgate" send short.ts --load send.conf --report none || failed=1
until_received "$(stat -c %s short.ts)"
stop_receiver && cmp <(head -c "$(stat -c %s short.ts)" loaded.ts) short.ts && cmp receive.conf again.conf ||
    fail "nothing as saved: $(tail -n 1 report)"
expect 0 "addresses   udp://@127.0.0.1:25304" "$mcgate" receive --load receive.conf --duration 0.1
expect 0 "addresses   udp://127.0.0.1:25304" "$mcgate" send short.ts --load send.conf
expect 2 "was saved by a sender; right would be" "$mcgate" receive --load send.conf
expect 2 "was saved by a receiver; right would be" "$mcgate" send short.ts --load receive.conf
expect 2 "URL excludes --load; right would be" "$mcgate" receive udp://@:25300 --load receive.conf
expect 2 "'-' is no name of a file" "$mcgate" send short.ts --to udp://127.0.0.1:25304 --save -
expect 1 "can't write /dev/null: it is no file" "$mcgate" receive udp://@:25300 --save /dev/null
head -c 100 receive.conf >torn.conf
expect 1 "torn.conf is no saved configuration: offset 24: 76 bytes behind the version" "$mcgate" show torn.conf
expect 1 "can't open none.conf" "$mcgate" receive --load none.conf
mkfifo pipe
expect 1 "can't open pipe: it is no file" "$mcgate" receive --load pipe
expect 1 "can't write send.conf: No space left" bash -c 'trap "" XFSZ; ulimit -f 1; exec "$@"' bash "$mcgate" send short.ts \
    --to udp://127.0.0.1:1 --to udp://127.0.0.1:2 --to udp://127.0.0.1:3 --to udp://127.0.0.1:4 --save send.conf
shown send.conf "$to"
"$mcgate" send short.ts --to 'udp://[fe80::1%lo]:25304' --save link.conf --report none 2>err
expect 0 "link.conf: a load leaves out the interface of fe80::1%1" "$mcgate" send short.ts --load link.conf
rm link.conf
[ "$(echo *conf*)" = "again.conf both.conf receive.conf send.conf torn.conf" ] ||
    fail "something was left beside the configurations: $(ls)"
exit $failed
