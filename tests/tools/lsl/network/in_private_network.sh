#!/bin/sh
# Runs a test program in a network namespace of its own, with only a
# loopback interface that carries multicast: nothing it sends can leave the
# machine, and its ports are its own. Skips (77) where namespaces are not
# permitted.
if ! unshare -n true 2>/dev/null; then
  echo "skipped: cannot make a private network namespace here (unshare -n needs root or user namespaces)"
  exit 77
fi
exec unshare -n sh -c 'ip link set lo up && ip link set lo multicast on && exec "$@"' sh "$@"
