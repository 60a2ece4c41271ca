"""Sends markers to a running qvt-record or qvt-lsl started with
--marker-port 5005: each datagram is one marker, stamped when it arrives.
Uses the standard library only, so any experiment script can do the same.

    python3 udp_markers.py [PORT]
"""
import socket
import sys
import time

port = int(sys.argv[1]) if len(sys.argv) > 1 else 5005
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as markers:
    for trial in range(1, 6):
        markers.sendto(f"trial {trial} stimulus".encode(), ("127.0.0.1", port))
        time.sleep(0.5)
        markers.sendto(f"trial {trial} response".encode(), ("127.0.0.1", port))
        time.sleep(0.5)
print(f"sent 10 markers to 127.0.0.1:{port}")
