#!/usr/bin/env bash
# Many streams in one process: senders to a multicast group each, several receivers of every group, on the loopback
# interface of a private network. Ends with a table of loss, processor time and memory; status 1 when anything was lost.
# load.sh COMMAND [--seconds N] [--senders N] [--receivers N (of each)] [--rate BITS]
. "$(dirname "$0")/../tests/support/private_network.sh"
set -euo pipefail
mcgate=$(realpath "$1")
shift
seconds=300 senders=10 receivers=5 rate=2000000
while [ $# -gt 1 ]; do
    case $1 in
        --seconds) seconds=$2 ;;
        --senders) senders=$2 ;;
        --receivers) receivers=$2 ;;
        --rate) rate=$2 ;;
        *) break ;;
    esac
    shift 2
done
[ $# -eq 0 ] || { echo "load: '$1' is no option with a value; right would be --seconds, --senders, --receivers or --rate" >&2; exit 2; }
directory=$(mktemp -d)
process=
finish() {
    [ -z "$process" ] || kill -TERM "$process" 2>/dev/null || true
    rm -rf "$directory"
}
trap finish EXIT
cd "$directory"

"$mcgate" generate --rate "$rate" --duration "$seconds" --out in.ts
{
    echo '{"graphs": ['
    for ((s = 1; s <= senders; ++s)); do
        address=239.7.0.$s:$((5000 + s))
        for ((r = 1; r <= receivers; ++r)); do
            echo "{\"name\": \"r$s-$r\", \"kind\": \"receive\", \"input\": \"udp://@$address?local=127.0.0.1\"},"
        done
        echo "{\"name\": \"s$s\", \"kind\": \"send\", \"input\": \"in.ts\", \"to\": [\"udp://$address?local=127.0.0.1\"]}"
        [ "$s" -eq "$senders" ] || echo ,
    done
    echo ']}'
} >profile.json

"$mcgate" run profile.json --report json 2>log &
process=$!
ticks() { awk '{print $14 + $15}' "/proc/$process/stat"; }
memory() { awk '/^VmRSS/ {printf "%.1f", $2 / 1024}' "/proc/$process/status"; }
running() { tail -n 500 log | grep -c '"stream":"s[0-9]*","kind":"send","state":"running"' || true; }
for _ in $(seq 100); do
    [ "$(running)" -ge "$senders" ] && break
    sleep 0.1
done
[ "$(running)" -ge "$senders" ] || { echo "load: the streams don't run: $(tail -n 3 log)" >&2; exit 1; }
settle=$((seconds > 60 ? 30 : seconds / 2)) # what the start takes is no part of the load
sleep $settle
ticks_then=$(ticks) time_then=$(date +%s.%N) memory_then=$(memory)
sleep $((seconds - settle - 5))
ticks_now=$(ticks) time_now=$(date +%s.%N) memory_now=$(memory) threads=$(awk '/^Threads/ {print $2}' "/proc/$process/status")
until [ "$(grep -c '"text":"ended: its input is over"' log)" -ge "$senders" ]; do
    kill -0 "$process" || { echo "load: the process is gone: $(tail -n 3 log)" >&2; exit 1; }
    sleep 0.5
done
sleep 1 # for a last report of what has come
kill -TERM "$process"
wait "$process"
process=

grep '"final":true' log | awk -v hertz="$(getconf CLK_TCK)" -v ticks="$((ticks_now - ticks_then))" -v from="$time_then" \
    -v to="$time_now" -v first="$memory_then" -v last="$memory_now" -v threads="$threads" -v settle="$settle" \
    -v senders="$senders" -v receivers="$receivers" -v rate="$rate" -v seconds="$seconds" '
    function field(name,   text) {
        if (!match($0, "\"" name "\":[^,}]*")) return 0
        text = substr($0, RSTART, RLENGTH)
        sub(/^[^:]*:/, "", text)
        return text + 0
    }
    {
        match($0, /"stream":"[^"]*"/)
        name = substr($0, RSTART + 10, RLENGTH - 11)
        datagrams[name] = field("datagrams")
        if (name ~ /^s/) { sent += datagrams[name]; dropped += field("dropped_samples") }
        else { continuity += field("continuity_errors"); drops[substr(name, 1, index(name, "-") - 1)] = field("kernel_drops") }
    }
    END {
        for (s = 1; s <= senders; ++s) {
            kernel += drops["r" s]
            for (r = 1; r <= receivers; ++r) {
                received += datagrams["r" s "-" r]
                missing += datagrams["s" s] - datagrams["r" s "-" r]
            }
        }
        printf "streams            %d senders, %d receivers, %.2f Mbit/s each, %d s\n", senders, senders * receivers, rate / 1e6, seconds
        printf "datagrams          %d sent, %d received, %d missing\n", sent, received, missing
        printf "dropped samples    %d\nkernel drops       %d\ncontinuity errors  %d\n", dropped, kernel, continuity
        printf "processor          %.1f %% of one core\n", 100 * ticks / hertz / (to - from)
        printf "memory             %.1f MiB after %d s, %.1f MiB at the end\nthreads            %d\n", first, settle, last, threads
        exit missing != 0 || dropped != 0 || kernel != 0 || continuity != 0 || sent == 0
    }'
