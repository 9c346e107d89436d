#!/usr/bin/env bash
# Installs the packages into a bare Debian of their own, from the mirror that this machine uses, and works with them there.
# Wants root; status 77 where that Debian can't be made. What is made stays in DIRECTORY for the next time.
# try_packages.sh DIRECTORY PACKAGES-DIRECTORY
set -euo pipefail
if [ "${MCGATE_OWN_MOUNTS:-}" != yes ]; then
    unshare --mount true 2>/dev/null || { echo "SKIPPED: no mount namespace can be made here"; exit 77; }
    exec env MCGATE_OWN_MOUNTS=yes unshare --mount --mount-proc --pid --fork --kill-child "$0" "$@"
fi
mkdir -p "$1"
directory=$(cd "$1" && pwd)
packages=$(cd "$2" && pwd)
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$directory/root
export LC_ALL=C DEBIAN_FRONTEND=noninteractive

if [ ! -e "$directory/base.tar" ]; then
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Codename: bookworm' \
        'Component: main' | head -n 1)
    rm -rf "$directory/base"
    debootstrap --variant=minbase bookworm "$directory/base" ${mirror:+"$mirror"} >"$directory/debootstrap.log" 2>&1 ||
        { tail -n 3 "$directory/debootstrap.log"; echo "SKIPPED: debootstrap can't make a Debian here"; exit 77; }
    tar -C "$directory/base" -cf "$directory/base.part" .
    mv "$directory/base.part" "$directory/base.tar"
    rm -rf "$directory/base"
fi
rm -rf "$root"
mkdir -p "$root"
tar -C "$root" -xf "$directory/base.tar"
mount -t proc proc "$root/proc"
cp "$packages"/mcgate_*.deb "$packages"/mcgate-dev_*.deb "$here/../tests/package/watch_a_stream.sh" "$root/root/"

inside() { chroot "$root" env -C /root bash -euo pipefail -c "$1"; }
alone() { # on a network of its own
    unshare --net sh -c 'ip link set lo up && exec "$@"' sh chroot "$root" env -C /root bash -euo pipefail -c "$1"
}
get() { # apt-get arguments
    inside "apt-get -o Acquire::Retries=3 $*" >"$directory/apt.log" 2>&1 || { tail "$directory/apt.log"; exit 1; }
}

(get update) || { echo "SKIPPED: no package lists can be fetched here"; exit 77; }
get install -y --no-install-recommends ./mcgate_*.deb
alone 'mcgate --version
mcgate generate --rate 5000000 --duration 2 --out in.ts
mcgate receive udp://@127.0.0.1:5000 --out got.ts --idle-exit 15 --report json 2>report &
for _ in $(seq 100); do grep -q time_s report && break; sleep 0.1; done
mcgate send in.ts --to udp://127.0.0.1:5000 --report none
wait $!
cmp <(head -c "$(stat -c %s in.ts)" got.ts) in.ts'
echo "carried: a stream over the loopback interface, with mcgate alone installed"

get install -y --no-install-recommends systemd dbus
"$here/try_service.sh" "$root"

get install -y --no-install-recommends ./mcgate-dev_*.deb g++ cmake make
alone './watch_a_stream.sh mcgate /usr/share/doc/mcgate-dev/examples'
echo "built: the example host, which watched a stream"

get purge -y mcgate mcgate-dev
left=$(inside 'find / -xdev -name "*mcgate*" ! -path "/proc/*" ! -path "/root/*"')
[ -z "$left" ] || { echo "FAILED: left behind: $left"; exit 1; }
echo "purged: nothing is left"
