#!/usr/bin/env bash
# Installs the Debian packages `make package` built (with what they depend
# on, from the archive) and uses them as a user would: a program, the C
# example built with pkg-config's flags and run against the virtual headset,
# the Python package with Debian's python3, and qvt-doctor with the udev rule
# in place. Run as root in a throwaway system: the fresh system check runs it
# after `make package`.
#
#   check_packages.sh SOURCE_DIR PACKAGE_DIR
set -euo pipefail
source_dir=$(realpath "$1")
packages=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "$packages"/*.deb
dpkg-query -W -f='${Package} ${Version}\n' libqvt1 libqvt-dev qvt-tools python3-qvt

cd "$work"  # nothing of the source tree on the way
qvt-stream --version
test -f /usr/lib/udev/rules.d/60-qvt-headset.rules
test -f /usr/share/man/man1/qvt-doctor.1
# shellcheck disable=SC2046  # the flags are words
cc -std=c99 -Wall -Werror "$source_dir/examples/stream_batches.c" $(pkg-config --cflags --libs qvt) -o stream_batches
qvt-emulator -- ./stream_batches >/dev/null
python3 -c "import qvt, qvt.lib; qvt.lib.load(); print('python3-qvt', qvt.__file__)"
# No device here: the doctor says so, with the command to pair one.
mkdir devices
if qvt-doctor --devices devices >doctor.txt; then
  echo "qvt-doctor found a headset where there is none" >&2
  exit 1
fi
grep -q "bluetoothctl pair ADDRESS" doctor.txt
echo "the packages install and work"
