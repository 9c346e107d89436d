#!/usr/bin/env bash
# Installs into a directory and builds the packages: an application is built with what is there, each header with all that
# it includes, and the packages hold what they should.
# staged.sh BUILD-DIRECTORY
set -euo pipefail
build=$1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"
fail() { echo "FAILED: $*"; exit 1; }

cmake --install "$build" --prefix "$PWD/stage" >installed || { cat installed; exit 1; }
(cd stage/include/mcgate && find . -name '*.h' -printf '#include "%P"\n') >headers.cpp
[ "$(wc -l <headers.cpp)" -gt 40 ] || fail "headers are missing: $(cat headers.cpp)"
c++ -std=c++20 -fsyntax-only -Wall -Wextra -Istage/include/mcgate headers.cpp
"$here/watch_a_stream.sh" stage/bin/mcgate stage/share/doc/mcgate-dev/examples "-DCMAKE_PREFIX_PATH=$PWD/stage"
if command -v pkg-config >/dev/null; then
    export PKG_CONFIG_PATH
    PKG_CONFIG_PATH=$(dirname "$(find "$PWD/stage" -name mcgate.pc)")
    # shellcheck disable=SC2046
    c++ -std=c++20 -DMCGATE_REGISTRY_FILE='""' stage/share/doc/mcgate-dev/examples/receiver/receiver.cpp -o receiver \
        $(pkg-config --cflags --libs mcgate)
    [ -e "$(pkg-config --variable registry mcgate)" ] || fail "pkg-config names no registry"
    ldd receiver | grep "libmcgate_process.*$PWD/stage/" >/dev/null || fail "the application does not find the shared library"
fi

cpack --config "$build/CPackConfig.cmake" -B packages >packed 2>&1 || { cat packed; exit 1; }
content() { dpkg-deb --fsys-tarfile packages/"$1"_*.deb | tar --wildcards -xO "$2"; }
for package in mcgate mcgate-dev; do
    extra=$(dpkg-deb --ctrl-tarfile packages/"$package"_*.deb | tar -t | grep -vE '^\./(control|md5sums|)$' || true)
    [ -z "$extra" ] || fail "$package has maintainer scripts: $extra"
    strays=$(dpkg-deb --fsys-tarfile packages/"$package"_*.deb | tar -t | grep -v '^\./usr/' | grep -vE '^\./(usr)?$' || true)
    [ -z "$strays" ] || fail "$package has files outside /usr: $strays"
done
content mcgate './usr/lib/*/mcgate/registry' | grep -q '^@="/usr/lib/.*/mcgate/mcgate.AX"$' || fail "the registry's paths"
content mcgate './usr/lib/systemd/system/mcgate@.service' | grep -q '^ExecStart=/usr/bin/mcgate run ' || fail "the unit's path"
dpkg-deb -f packages/mcgate_*.deb Depends | grep -q 'libc6' || fail "mcgate depends on nothing"
dpkg-deb -f packages/mcgate-dev_*.deb Depends | grep -q '^mcgate (= ' || fail "mcgate-dev does not depend on mcgate"
content mcgate-dev './usr/lib/*/mcgate/libmcgate_media.a' >media.a
nm media.a | grep CBaseFilter >/dev/null || fail "the static libraries lost their symbols"
grep -qF "$(cd "$here/../.." && pwd)" <(dpkg-deb --fsys-tarfile packages/mcgate_*.deb) && fail "mcgate names the place of its build"
exit 0
