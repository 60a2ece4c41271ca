#!/usr/bin/env bash
# A minimal Debian 12 system made with debootstrap, holding only what a new
# user starts with (compiler, CMake, Ninja, GoogleTest without GoogleMock,
# Google Benchmark, Python 3), runs `make demo` and then `make test` on a
# clone of the repository: the Makefile has to install everything else.
# Then `make package` builds the Debian packages, which are installed there
# and used (check_packages.sh).
#
#   fresh_system_check.sh SOURCE_DIR [WORK_DIR]
#
# WORK_DIR (default /var/tmp/qvt-fresh-system) keeps the base system and the
# packages downloaded into it for the next run. The system the check runs in
# is copied from the base each time; it is removed after a pass and left in
# WORK_DIR/root after a failure, for a look. Everything runs in its own mount
# and PID namespaces, so no mount and no process outlives the check, however
# it ends. Needs root; exits 77 (skipped) without root or debootstrap.
set -euo pipefail

source_dir=$(realpath "$1")
work=${2:-/var/tmp/qvt-fresh-system}
suite=bookworm
mirror=${QVT_DEBIAN_MIRROR:-http://deb.debian.org/debian}
base_packages=build-essential,cmake,ninja-build,libgtest-dev,libbenchmark-dev,python3

if [ "$(id -u)" -ne 0 ]; then
  echo "skipped: debootstrap, chroot and mounts need root"
  exit 77
fi
if ! command -v debootstrap >/dev/null; then
  echo "skipped: debootstrap is not installed (make fresh installs it)"
  exit 77
fi

base=$work/base-$suite-$(echo "$base_packages" | md5sum | cut -c1-8)
root=$work/root
mkdir -p "$work/archives"
# One check at a time: they share the system they run in.
exec 9>"$work/lock"
flock 9

stage_start=$SECONDS
stage() { echo "== $(date -u +%T) $* (check running for $((SECONDS - stage_start)) s)"; }

# A mount left under the old system would let its removal reach the host.
remove_system() {
  if findmnt -rno TARGET | grep -q "^$root\(/\|\$\)"; then
    echo "something is still mounted under $root; unmount it first" >&2
    exit 1
  fi
  rm -rf --one-file-system "$root"
}

if [ ! -d "$base" ]; then
  stage "making the base system in $base"
  rm -rf --one-file-system "$base.tmp"
  debootstrap --variant=minbase --include="$base_packages" "$suite" "$base.tmp" "$mirror"
  mv "$base.tmp" "$base"
fi

stage "copying the base system to $root"
remove_system
cp -a "$base" "$root"
rm -f "$root/etc/resolv.conf"
cp -L /etc/resolv.conf "$root/etc/resolv.conf"
# debootstrap leaves no /etc/hosts (the installer writes it), and without it
# "localhost" does not resolve, which a browser's driver relies on.
printf '127.0.0.1\tlocalhost\n::1\tlocalhost ip6-localhost ip6-loopback\n' >"$root/etc/hosts"
# Packages installed in there start no services.
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
chmod +x "$root/usr/sbin/policy-rc.d"
git clone -q "$source_dir" "$root/root/qvt"

stage "make demo, make test and make package in the fresh system; the packages installed and used"
# Killing unshare kills every process in there (--kill-child), and with them
# go the mount namespace and its mounts. It ignores SIGTERM while it waits,
# hence SIGKILL.
unshare --mount --pid --fork --kill-child --propagation private -- bash -euo pipefail -c '
  root=$1
  mount -t proc proc "$root/proc"
  mount -t sysfs -o ro sysfs "$root/sys"
  mount --rbind /dev "$root/dev"
  mount --bind "$2" "$root/var/cache/apt/archives"
  exec chroot "$root" /usr/bin/env -i HOME=/root LANG=C.UTF-8 TERM=dumb \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    bash -euo pipefail -c "cd /root/qvt; TIMEFORMAT=\"%R s\"; time make demo; time make test;
      time make package; time tests/install/check_packages.sh . build/packages"
' fresh_system "$root" "$work/archives" &
inside=$!
trap 'kill -KILL "$inside" 2>/dev/null || true' EXIT
trap 'exit 143' TERM INT HUP
wait "$inside"

stage "passed; removing $root"
remove_system
