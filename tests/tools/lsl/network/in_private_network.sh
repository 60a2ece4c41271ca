#!/bin/sh
# Runs a test program in a network namespace of its own, with only a
# loopback interface that carries multicast: nothing it sends can leave the
# machine, and its ports are its own. IPv6 multicast on loopback also needs
# a route delivering it locally (none where the kernel has no IPv6). Skips
# (77) where namespaces are not permitted.
if ! unshare -n true 2>/dev/null; then
  echo "skipped: cannot make a private network namespace here (unshare -n needs root or user namespaces)"
  exit 77
fi
exec unshare -n sh -c 'ip link set lo up && ip link set lo multicast on &&
  { ip -6 route add local ff00::/8 dev lo table local 2>/dev/null || true; } && exec "$@"' sh "$@"
