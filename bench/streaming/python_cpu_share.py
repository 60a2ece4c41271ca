"""The CPU the Python package spends streaming, as a share of one core, to
set beside the C client's (cpu_share.cpp): run under the virtual headset,
  qvt-emulator --rate 600 -- python3 bench/streaming/python_cpu_share.py SECONDS
Background acquisition, every channel read in blocks of 100 ms with
Headset.read. The handshake and imports are left out: the clock starts
once the stream runs."""
import resource
import sys
import time

import qvt


def cpu_seconds():
    usage = resource.getrusage(resource.RUSAGE_SELF)
    return usage.ru_utime + usage.ru_stime


def main():
    seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 15.0
    with qvt.Headset() as headset:
        headset.verbosity = 1
        channels = len(headset.montage)
        headset.read(0.1)  # settled: the thread runs and the first samples are in
        samples = lost = 0
        cpu_start, start = cpu_seconds(), time.monotonic()
        while time.monotonic() - start < seconds:
            block = headset.read(0.1)
            samples += block.times.size
            lost += block.lost
        cpu, wall = cpu_seconds() - cpu_start, time.monotonic() - start
        rate = headset.sampling_rate
    resident = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    print(f"python     {rate:6.0f} Hz  {wall:7.1f} s  {samples:8d} samples of {channels} channels  "
          f"cpu {cpu:6.3f} s  share {100 * cpu / wall:5.2f} %  lost {lost}  max rss {resident} kB")
    return 0 if samples > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
