#!/usr/bin/env python3
"""Reads a file that an export of the store wrote: the item records one after the other, with no
header, each in the little-endian layout of its record type. It knows the layouts by their byte
offsets alone and shares no code with the store, so that a test can compare what it reads with
what a getter answers.

Usage: read_export.py LAYOUT FILE

Prints one JSON object: {"layout": ..., "itemSize": ..., "count": ..., "items": [...]}. Each item
is an object of its fields; a time stamp is [seconds, nanoseconds], a float that is no finite
number is the string "nan", "inf" or "-inf", a complex value is [real, imaginary]. A file whose
size is no multiple of the item size is refused with exit code 2; an unknown layout or a file that
cannot be read with exit code 1.
"""

import json
import math
import struct
import sys


def number(value):
    if isinstance(value, float) and not math.isfinite(value):
        return "nan" if math.isnan(value) else ("inf" if value > 0 else "-inf")
    return value


def numbers(values):
    return [number(value) for value in values]


class Reader:
    """Unpacks the fields of one record in order from its bytes."""

    def __init__(self, data):
        self.data = data
        self.offset = 0

    def take(self, fmt):
        values = struct.unpack_from("<" + fmt, self.data, self.offset)
        self.offset += struct.calcsize("<" + fmt)
        return values

    def one(self, fmt):
        return number(self.take(fmt)[0])

    def time(self):
        return list(self.take("ii"))

    def skip(self, count):
        self.offset += count


def xtq(kind):
    # utc 0, quality 8, value 12; a double stands at 16 behind four bytes of padding.
    def read(r):
        item = {"utc": r.time(), "quality": r.one("I")}
        if kind == "d":
            r.skip(4)
        item["value"] = r.one(kind)
        return item
    return read, 24 if kind == "d" else 16


def mean(r):
    return {"utc": r.time(), "quality": r.one("I"), "min": r.one("f"), "mean": r.one("f"), "max": r.one("f")}


def float_array(count, extension=0, reserved=0):
    # utc 0, quality 8, then extension or reserved words passed through, then count floats.
    def read(r):
        item = {"utc": r.time(), "quality": r.one("I")}
        if extension:
            item["extension"] = list(r.take("%dI" % extension))
        if reserved:
            item["reserved"] = list(r.take("%dI" % reserved))
        item["values"] = numbers(r.take("%df" % count))
        return item
    return read, 12 + 4 * (extension + reserved) + 4 * count


def complex_array(r):
    item = {"utc": r.time(), "quality": r.one("I"), "extension": list(r.take("2I"))}
    parts = numbers(r.take("%df" % (2 * 357)))
    item["values"] = [[parts[2 * index], parts[2 * index + 1]] for index in range(357)]
    return item


def samples(value, quality, size):
    def read(r):
        return {"utc": r.time(), "quality": r.one(quality), "values": numbers(r.take("11" + value))}
    return read, size


def statistic(r):
    return {"utc": r.time(), "utcStart": r.time(), "quality": r.one("I"), "betweenLimits": r.one("i"),
            "missing": r.one("i"), "limitViolation": r.one("i")}


def histogram(classes):
    def read(r):
        return {"utc": r.time(), "utcStart": r.time(), "quality": r.one("I"), "lowerLimit": r.one("f"),
                "upperLimit": r.one("f"), "totalValues": r.one("i"), "missingValues": r.one("i"),
                "maxValues": r.one("i"), "percent": numbers(r.take("%df" % classes))}
    return read, 40 + 4 * classes


def pq_event(r):
    item = {"utc": r.time(), "duration": r.time(), "triggerType": r.one("i"), "triggerSource": r.one("i"),
            "systemType": r.one("i"), "referenceValue": r.one("f"), "eventValue": r.one("f"),
            "thirdValue": r.one("f")}
    item["rms"] = [[r.time(), r.time()] for _ in range(7)]
    item["sample"] = [r.time(), r.time()]
    item["pqExtension"] = list(r.take("12I"))
    item["pqTail"] = list(r.take("4I"))
    return item


def passed_through(words):
    # utc 0, then words that the store hands on unread.
    def read(r):
        return {"utc": r.time(), "payload": list(r.take("%dI" % words))}
    return read, 8 + 4 * words


LAYOUTS = {
    "vtq": xtq("f"),
    "itq": xtq("i"),
    "dtq": xtq("d"),
    "mean": (mean, 24),
    "statistic": (statistic, 32),
    "harmonics51": float_array(51),
    "harmonics41": float_array(41),
    "prevailing": float_array(357, extension=2),
    "contribution": float_array(123, extension=2),
    "percentile51": float_array(3 * 51, reserved=3),
    "percentile41": float_array(3 * 41, reserved=3),
    "complex": (complex_array, 2876),
    "samples": samples("f", "i", 56),
    "samples16": samples("h", "h", 32),
    "histogram2650": histogram(2650),
    "histogram200": histogram(200),
    "pqevent": (pq_event, 232),
    "signalevent": passed_through(10),
    "signals": passed_through(7),
    "smeter": passed_through(10),
    "qmeter": passed_through(34),
    "disturb": passed_through(12),
}
for n in (7, 12, 14, 16, 20, 23, 24):
    LAYOUTS["mean%d" % n] = float_array(3 * n)


def main(argv):
    if len(argv) != 3 or argv[1] not in LAYOUTS:
        sys.stderr.write("usage: read_export.py {%s} FILE\n" % ",".join(sorted(LAYOUTS)))
        return 1
    read, size = LAYOUTS[argv[1]]
    try:
        with open(argv[2], "rb") as export:
            data = export.read()
    except OSError as error:
        sys.stderr.write("%s\n" % error)
        return 1
    if len(data) % size != 0:
        sys.stderr.write("%d bytes are no whole number of %d-byte items\n" % (len(data), size))
        return 2
    items = []
    for index in range(len(data) // size):
        record = Reader(data[index * size:(index + 1) * size])
        items.append(read(record))
        if record.offset != size:
            sys.stderr.write("layout %s reads %d of %d bytes\n" % (argv[1], record.offset, size))
            return 1
    json.dump({"layout": argv[1], "itemSize": size, "count": len(items), "items": items}, sys.stdout,
              allow_nan=False)
    sys.stdout.write("\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
