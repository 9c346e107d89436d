#!/usr/bin/env bash
# Boots the bare Debian in ROOT, with the package and systemd installed, as a machine of its own, and runs the service in it.
# Wants root and a mount namespace of the caller's.
# try_service.sh ROOT
set -euo pipefail
root=$1

# The machine: its own processes, network, name, devices and control groups; systemd is its first process.
boot='set -e
cd "$1"
mount --bind . . && cd "$1"
mount -t proc proc proc
mount -t sysfs sys sys
mount -t cgroup2 groups sys/fs/cgroup
mount -t tmpfs tmpfs run
mount -t tmpfs -o mode=755 tmpfs dev
mkdir dev/shm dev/pts
while read -r name major minor; do mknod -m 666 "dev/$name" c "$major" "$minor"; done <<"NODES"
null 1 3
zero 1 5
full 1 7
random 1 8
urandom 1 9
tty 5 0
ptmx 5 2
NODES
ip link set lo up
pivot_root . mnt
umount -l /mnt
exec env -i container=other /lib/systemd/systemd --show-status=0 --log-level=warning'
unshare --mount --pid --fork --kill-child --net --uts --ipc --cgroup bash -c "$boot" boot "$root" </dev/null &
machine=$!
trap '{ kill -KILL $machine; wait $machine; } 2>/dev/null || true' EXIT
first() { cat "/proc/$machine/task/$machine/children" 2>/dev/null | tr -d ' '; }
inside() { nsenter -t "$(first)" --all --root --wd "$@"; }
within() { # seconds, what, command...
    local end=$((SECONDS + $1))
    until "${@:3}"; do
        [ $SECONDS -lt $end ] || { echo "FAILED: $2 within $1 s"; inside journalctl --no-pager -n 30; exit 1; }
        sleep 0.2
    done
}
booted() { [ -n "$(first)" ] && inside systemctl is-system-running 2>/dev/null | grep -qE '^(running|degraded)$'; }
within 60 "boots" booted

inside sh -c 'mkdir -p /etc/mcgate /srv/mcgate && cd /srv/mcgate && mcgate generate --rate 2000000 --duration 5 --out in.ts'
profile() { # the receiver's time-out
    inside sh -c 'cat >/etc/mcgate/lab.json' <<JSON
{"graphs": [
  {"name": "out", "kind": "send", "input": "/srv/mcgate/in.ts", "loop": true, "to": ["udp://127.0.0.1:5000"]},
  {"name": "in", "kind": "receive", "input": "udp://@127.0.0.1:5000", "out": "got.ts", "timeout_ms": $1}
]}
JSON
}
got() { inside stat -c %s /var/lib/mcgate/lab/got.ts 2>/dev/null || echo 0; }
grows() { [ "$(got)" -gt "$1" ]; }
property() { inside systemctl show --value -p "$1" mcgate@lab; }
is() { [ "$(property "$1")" = "$2" ]; }

inside systemd-analyze verify --man=no /lib/systemd/system/mcgate@.service
profile 5000
inside sh -c 'echo "MCGATE_OPTIONS=--metrics 9100 --report none" >/etc/mcgate/lab.env'
inside systemctl start mcgate@lab
is ActiveState active
pid=$(property MainPID)
within 20 "keeps 1 MB of stream" grows 1000000
status=$(inside cat "/proc/$pid/status")
grep -q '^CapEff:.0000000000802000$' <<<"$status" && ! grep -q '^Uid:.0' <<<"$status" ||
    { echo "FAILED: not a user with CAP_NET_RAW and CAP_SYS_NICE alone: $status"; exit 1; }
inside bash -c 'exec 3<>/dev/tcp/127.0.0.1/9100
    printf "GET /metrics HTTP/1.0\r\nHost: 127.0.0.1:9100\r\n\r\n" >&3; grep -q ^mcgate_build_info <&3' ||
    { echo "FAILED: no metrics, though lab.env asks for them"; exit 1; }
echo "served: a profile, by a user of its own with two capabilities"

profile 6000
inside systemctl reload mcgate@lab
within 20 "goes on behind a reload" grows "$(($(got) + 500000))"
is MainPID "$pid"
inside systemctl stop mcgate@lab
is Result success
inside sh -c 'echo "{\"graphs\": [{}]}" >/etc/mcgate/lab.json'
! inside systemctl start mcgate@lab 2>/dev/null
within 10 "stays down with a refused profile" is ExecMainStatus 2
is NRestarts 0
inside systemctl poweroff --force 2>/dev/null || true
wait $machine 2>/dev/null || true
rm -rf "$root"/etc/mcgate "$root"/srv/mcgate "$root"/var/lib/mcgate "$root"/var/lib/private/mcgate
echo "reloaded and stopped in order; a refused profile is not tried again"
