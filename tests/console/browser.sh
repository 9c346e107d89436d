#!/usr/bin/env bash
# Runs node with what is given in a network of its own, for what drives a browser. Skipped (77) where a part is missing;
# ./dev test sees to them.
. "$(dirname "$0")/../support/private_network.sh"
set -euo pipefail
ip link set lo multicast on # so that the property pages offer it
[ -x "${CHROMIUM:=/usr/bin/chromium}" ] || { echo "SKIPPED: there is no $CHROMIUM"; exit 77; }
[ -d "$(dirname "$0")/../../host/console/web/node_modules/playwright-core" ] ||
    { echo "SKIPPED: host/console/web wants npm install"; exit 77; }
export CHROMIUM
exec node "$@"
