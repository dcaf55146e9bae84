#!/usr/bin/env python3
"""Writes a corpus of good and damaged property lists into a folder and prints,
for each file, plistlib's verdict: "ERR", "OK", or "OK" with a note for what
plistlib reads that Sorvane's checker deliberately refuses:
  OK_NULL    a None somewhere: a binary null marker, or an object whose offset
             points outside the object area (a property list has no null value)
  OK_BIGINT  an integer outside the 64-bit range (no property-list integer is)
  OK_CYCLE   a container that contains itself (a property list is a tree)
  OK_DEEP    nesting deeper than 512 levels (the bound keeps the stack safe)
The file name prefix "text_" marks old-style text, which plistlib does not read
at all and Sorvane accepts.
"""
import os, plistlib, random, sys

def main(folder):
    rng = random.Random(7)
    files = {}
    base = {"name": "Sorvane", "n": -5, "big": 2**63, "r": 2.5, "flag": True,
            "data": b"\x00\x01", "list": ["a", {"b": [1, 2, 3]}], "empty": {}}
    binary = plistlib.dumps(base, fmt=plistlib.FMT_BINARY)
    xml = plistlib.dumps(base, fmt=plistlib.FMT_XML)
    files["good_binary"] = binary
    files["good_xml"] = xml
    files["good_xml_bom"] = b"\xef\xbb\xbf" + xml
    files["good_xml_no_doctype"] = b"<plist><dict><key>a</key><string>b</string></dict></plist>"
    files["empty"] = b""
    for cut in range(6, len(binary), 7):
        files[f"truncated_binary_{cut}"] = binary[:cut]
    for cut in range(1, len(xml), 37):
        files[f"truncated_xml_{cut}"] = xml[:cut]
    for i in range(40):
        damaged = bytearray(binary)
        at = rng.randrange(8, len(damaged))
        damaged[at] = rng.randrange(256)
        files[f"flipped_binary_{i}"] = bytes(damaged)
    for i in range(20):
        files[f"random_{i}"] = bytes(rng.randrange(1, 256) for _ in range(rng.randrange(1, 300)))
    files["broken_xml_tag"] = xml.replace(b"</dict>", b"</dcit>", 1)
    files["broken_xml_integer"] = xml.replace(b"<integer>-5", b"<integer>-5x", 1)
    files["broken_xml_unclosed"] = xml.replace(b"</plist>", b"")
    files["broken_xml_entity"] = xml.replace(b"Sorvane", b"Sor&vane", 1)
    files["deep_ok_binary"] = plistlib.dumps(nested(300), fmt=plistlib.FMT_BINARY)
    files["deep_xml"] = b"<plist>" + b"<array>" * 3000 + b"</array>" * 3000 + b"</plist>"
    files["text_dictionary"] = b'{ a = 1; b = ("x", y); c = <00ff>; }'
    files["text_platform_style"] = b'{\n    key = "value";\n    list =     (\n        a\n    );\n}\n'
    files["null_binary"] = binary_with_null()
    files["cycle_binary"] = self_containing_array()
    os.makedirs(folder, exist_ok=True)
    for name, data in files.items():
        with open(os.path.join(folder, name), "wb") as f:
            f.write(data)
        try:
            verdict = classify(plistlib.loads(data))
        except Exception:
            verdict = "ERR"
        print(f"{name}\t{verdict}")

def classify(value):
    notes = set()
    def walk(v, ancestors, depth):
        if depth > 512:
            notes.add("OK_DEEP")
            return
        if v is None:
            notes.add("OK_NULL")
        elif isinstance(v, bool):
            pass
        elif isinstance(v, int) and not -2**63 <= v < 2**64:
            notes.add("OK_BIGINT")
        elif isinstance(v, (list, dict)):
            if id(v) in ancestors:
                notes.add("OK_CYCLE")
                return
            items = v.values() if isinstance(v, dict) else v
            for item in items:
                walk(item, ancestors | {id(v)}, depth + 1)
    walk(value, frozenset(), 0)
    return sorted(notes)[0] if notes else "OK"

def nested(depth):
    value = []
    for _ in range(depth):
        value = [value]
    return value

def trailer(offset_size, ref_size, count, top, table):
    return bytes(6) + bytes([offset_size, ref_size]) + count.to_bytes(8, "big") + \
        top.to_bytes(8, "big") + table.to_bytes(8, "big")

def binary_with_null():
    # [null]
    body = b"bplist00" + b"\xa1\x01" + b"\x00"
    table = len(body)
    return body + bytes([8, 10]) + trailer(1, 1, 2, 0, table)

def self_containing_array():
    body = b"bplist00" + b"\xa1\x00"
    table = len(body)
    return body + bytes([8]) + trailer(1, 1, 1, 0, table)

if __name__ == "__main__":
    main(sys.argv[1])
