# To be sourced first by a test script: starts it anew in a network of its own, with only a loopback interface, so that no
# port of it meets another program's. Skipped (77) where the system allows none.
if [ -z "${MCGATE_TEST_NETWORK:-}" ]; then
    export MCGATE_TEST_NETWORK=1
    for way in -n -rn; do # a superuser keeps the privileges that a user namespace would take
        unshare $way true 2>/dev/null && exec unshare $way "$0" "$@"
    done
    echo "SKIPPED: needs a network of its own (unshare -rn)"
    exit 77
fi
unset MCGATE_TEST_NETWORK
ip link set lo up
