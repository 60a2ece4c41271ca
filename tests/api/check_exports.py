#!/usr/bin/env python3
"""The shared library exports exactly the functions its public header declares
(an unreadable header leaves every export unexplained), and nothing outside
the interface.

Usage: check_exports.py LIBRARY HEADER
"""
import re
import subprocess
import sys


def exported_functions(library):
    out = subprocess.run(["nm", "-D", "--defined-only", library],
                         check=True, capture_output=True, text=True).stdout
    names = set()
    for line in out.splitlines():
        fields = line.split()
        if len(fields) == 3 and fields[1] in "TtWiu":
            names.add(fields[2].split("@")[0])
    return names


def declared_functions(header):
    text = open(header, encoding="utf-8").read()
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    return set(re.findall(r"^QVT_API\b[^;(]*?\b(\w+)\s*\(", text, flags=re.M))


def main():
    library, header = sys.argv[1], sys.argv[2]
    exported, declared = exported_functions(library), declared_functions(header)
    status = 0
    for name in sorted(exported - declared):
        print("exported but not in the header: " + name)
        status = 1
    for name in sorted(declared - exported):
        print("declared but not exported: " + name)
        status = 1
    for name in sorted(exported):
        if not (name.startswith("QVT_") or name == "Load_QVT_API"):
            print("exported name outside the interface: " + name)
            status = 1
    print("%d functions exported, %d declared" % (len(exported), len(declared)))
    return status


if __name__ == "__main__":
    sys.exit(main())
