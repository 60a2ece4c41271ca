#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets into fuzz/corpus/NAME:
block_decoder gets well-formed blocks, alone and in runs, carrying every
packet species, padding and an odd short length; packet_decoder gets packet
areas behind the byte that sets where its blocks are cut. Each seed starts
with the byte that sets the verbosity, at its highest."""
import os
import sys


def crc16(data):
    crc = 0
    for b in data:
        crc ^= b << 8
        for _ in range(8):
            crc = ((crc << 1) ^ 0x8005) if crc & 0x8000 else crc << 1
            crc &= 0xFFFF
    return crc


def u16(v):
    return v.to_bytes(2, "little")


def frame(content, ticks=0):
    return b"#2" + u16(len(content) + 16) + ticks.to_bytes(4, "little") + bytes(4) + u16(crc16(content)) + content + b"\r\n"


CLOCK = bytes([3, 15, 24, 10, 30, 45])


def block(number, packets=b"", ticks=0):
    return frame(u16(number) + CLOCK + packets, ticks)


def packet(species, body, ticks=0):
    return bytes([len(body) + 6, species]) + ticks.to_bytes(4, "little") + body


def response(species, code, cid, payload):
    return packet(species, bytes([code, cid]) + payload)


def data(seq):
    return packet(3, bytes([seq]) + bytes(range(49)))


REPLIES = (response(1, 0x21, 1, bytes([2, 1]) + u16(300)) + response(5, 0xAC, 2, u16(100))
           + response(1, 0x2F, 3, bytes([4, 0]) + bytes(range(16))) + response(1, 0xF2, 4, b""))
IDENTITY = (response(1, 0x1D, 5, b"Model X R2") + response(5, 0x12, 6, b"1.2\x00\x00")
            + response(1, 0x30, 7, CLOCK + b"\x00" + CLOCK))
ALARMS = packet(2, bytes([0x31, 0x81]) + u16(3700)) + packet(6, bytes([0x20, 0x02, 7, 9]))
EXTENDED = packet(4, bytes([20]) + bytes(range(24))) + b"\x00\x00" + data(0) + b"\x00" * 8

corpora = {
    "block_decoder": {
        "empty": block(0),
        "echo_reply": block(1, response(1, 0xEC, 7, b"QVT Ready")),
        "replies": block(2, REPLIES),
        "identity": block(3, IDENTITY),
        "alarms": block(4, ALARMS),
        "data_run": b"".join(block(10 + i, data(2 * i) + data(2 * i + 1), 18 * i) for i in range(3)),
        "extended": block(5, EXTENDED),
        "short_22": frame(u16(6) + CLOCK[:4]),
    },
    "packet_decoder": {
        "replies": b"\xff" + REPLIES + IDENTITY,
        "alarms": b"\xff" + ALARMS,
        "data": b"\x70" + b"".join(data(i) for i in range(6)),
        "extended": b"\xff" + EXTENDED,
    },
    # The first byte picks the parser: 0 TCP request, 1 datagram, 2 query,
    # 3 stream info, 4 sample (its next byte picks the format).
    "lsl_request": {
        "streamfeed": b"\x00LSL:streamfeed/110 u\r\nNative-Byte-Order: 1234\r\nValue-Size: 4\r\n"
                      b"Max-Buffer-Length: 36000\r\n\r\n",
        "legacy_feed": b"\x00LSL:streamfeed\r\n360 0\r\n",
        "shortinfo": b"\x01LSL:shortinfo\r\nsession_id='default' and type='EEG'\r\n16574 9950725279836683897\r\n",
        "timedata": b"\x01LSL:timedata\r\n1804289383 1149.647479473\r\n",
        "query": b"\x02session_id='default' and desc/channels/channel[label='Cz'] and channel_count > 2",
        "info": b"\x03<?xml version=\"1.0\"?>\n<info><name>X</name><type>EEG</type><channel_count>2</channel_count>"
                b"<channel_format>float32</channel_format><desc /></info>",
        "strings": b"\x04\x02\x02" + bytes(8) + b"\x01\x04Test\x04\x03\x00\x00\x00abc\x01\x00",
    },
}

def recording(bdf, plus, signals, records=2, annotations=()):
    """An EDF or BDF file of one-second records; signals are (label, rate,
    unit); every sample counts up. The annotations (onset, text) of an EDF+
    or BDF+ file all go into its first record."""
    width = 3 if bdf else 2
    top = (1 << (8 * width - 1)) - 1
    fields = [(label, rate, unit, str(-top - 1), str(top)) for label, rate, unit in signals]
    if plus:
        fields.append(("BDF Annotations" if bdf else "EDF Annotations", 30, "", str(-top - 1), str(top)))
    head = (b"\xffBIOSEMI" if bdf else b"0".ljust(8)) + b"X X X X".ljust(80) + \
        b"Startdate 01-JAN-2024 X X X".ljust(80) + b"01.01.24" + b"00.00.00" + \
        str(256 * (len(fields) + 1)).encode().ljust(8) + \
        ((b"BDF+C" if bdf else b"EDF+C") if plus else b"").ljust(44) + \
        str(records).encode().ljust(8) + b"1".ljust(8) + str(len(fields)).encode().ljust(4)
    for i, size in enumerate((16, 80, 8, 8, 8, 8, 8, 80, 8, 32)):
        for label, rate, unit, low, high in fields:
            head += [label, "", unit, "-1000", "1000", low, high, "", str(rate), ""][i].encode().ljust(size)
    body = b""
    for r in range(records):
        for label, rate, unit, low, high in fields:
            if label.endswith("Annotations"):
                tal = b"+%d\x14\x14\x00" % r
                if r == 0:
                    for onset, text in annotations:
                        tal += b"+" + onset.encode() + b"\x14" + text.encode() + b"\x14\x00"
                body += tal.ljust(rate * width, b"\x00")
            else:
                body += b"".join((n * 50 % top).to_bytes(width, "little", signed=True) for n in range(rate))
    return head + body


corpora["recording_file"] = {
    "edf": recording(False, False, [("Cz", 32, "uV"), ("Fp1", 32, "uV")]),
    "edfplus_annotations": recording(False, True, [("EEG Fp1-REF", 30, "uV"), ("EEG T7-REF", 30, "mV")],
                                     annotations=[("0.5", "TRG 3"), ("1", "Z Fp1 12 kOhm"), ("1.5", "7")]),
    "bdfplus_status": recording(True, True, [("EEG FP1-LE", 60, "uV"), ("Status", 60, "")], records=1),
    "bdf_other_rates": recording(True, False, [("O1", 20, "uV"), ("O2", 40, "uV"), ("ECG", 10, "mV")]),
}

root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
VERBOSE = b"\x07"
for target, seeds in corpora.items():
    os.makedirs(os.path.join(root, target), exist_ok=True)
    for name, content in seeds.items():
        if target == "block_decoder":
            content = VERBOSE + content
        elif target.startswith("lsl_") or target == "recording_file":
            pass
        else:
            content = content[:1] + VERBOSE + content[1:]
        with open(os.path.join(root, target, name), "wb") as f:
            f.write(content)
