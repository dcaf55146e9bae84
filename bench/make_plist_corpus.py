#!/usr/bin/env python3
"""Writes the benchmark folder of preference files: half binary, half XML, a
few old-style text files; mostly 1-8 KB, some up to 500 KB; 2% damaged and a
few empty. Deterministic (fixed seed)."""
import os, plistlib, random, sys, datetime

def value(rng, budget, depth=0):
    kind = rng.random()
    if depth < 3 and kind < 0.15:
        return {f"key{i}.{rng.randrange(10**6)}": value(rng, budget // 8, depth + 1)
                for i in range(rng.randrange(1, 8))}
    if depth < 3 and kind < 0.25:
        return [value(rng, budget // 8, depth + 1) for _ in range(rng.randrange(1, 8))]
    if kind < 0.55:
        return "".join(rng.choice("abcdefghij klmnop/QRST.uvw") for _ in range(rng.randrange(4, 40)))
    if kind < 0.7:
        return rng.randrange(-2**40, 2**40)
    if kind < 0.78:
        return rng.random() * 1000
    if kind < 0.85:
        return rng.random() < 0.5
    if kind < 0.9:
        return datetime.datetime(2020, 1, 1) + datetime.timedelta(seconds=rng.randrange(10**8))
    return bytes(rng.randrange(256) for _ in range(rng.randrange(4, 64)))

def document(rng, size):
    doc = {}
    approx = 0
    while approx < size:
        key = f"com.example.setting{len(doc)}"
        doc[key] = value(rng, size)
        approx += 60 if not isinstance(doc[key], (dict, list)) else 400
    return doc

def text_form(obj, indent=0):
    pad = "    " * (indent + 1)
    if isinstance(obj, dict):
        body = "".join(f'{pad}"{k}" = {text_form(v, indent + 1)};\n' for k, v in obj.items())
        return "{\n" + body + "    " * indent + "}"
    if isinstance(obj, list):
        return "(" + ", ".join(text_form(v, indent + 1) for v in obj) + ")"
    if isinstance(obj, bytes):
        return "<" + obj.hex() + ">"
    return '"' + str(obj).replace("\\", "\\\\").replace('"', '\\"') + '"'

def main(folder, count=10000):
    rng = random.Random(20261121)
    os.makedirs(folder, exist_ok=True)
    for i in range(count):
        roll = rng.random()
        size = rng.randrange(50_000, 500_000) if roll < 0.01 else rng.randrange(1000, 6500)
        path = os.path.join(folder, f"com.example.app{i:05d}.plist")
        if i % 1000 == 999:
            open(path, "wb").close()
            continue
        doc = document(rng, size)
        if i % 200 == 7:
            data = text_form(doc).encode()
        elif i % 2:
            data = plistlib.dumps(doc, fmt=plistlib.FMT_BINARY)
        else:
            data = plistlib.dumps(doc, fmt=plistlib.FMT_XML)
        if i % 50 == 13:  # 2% damaged: truncated or overwritten in the middle
            cut = rng.randrange(1, len(data))
            data = data[:cut] if rng.random() < 0.5 else data[:cut] + b"\x00garbage<" + data[cut + 9:]
        with open(path, "wb") as f:
            f.write(data)

if __name__ == "__main__":
    main(sys.argv[1])
