#!/usr/bin/env python3
"""Builds a sandbox home folder and system root that show every job of
Sorvane: sample application bundles with icons, defaults domains of the user
and of root, preference files, caches, containers, saved window states and a
few damaged property lists. Nothing outside the given folder is touched."""

import os
import plistlib
import struct
import sys
import zlib


def png(width, height, colour, accent):
    """A small PNG: a rounded-looking tile in one colour with a band of another."""
    rows = []
    for y in range(height):
        row = bytearray([0])
        for x in range(width):
            edge = min(x, y, width - 1 - x, height - 1 - y)
            if edge < 4 and (x < 8 or x > width - 9) and (y < 8 or y > height - 9):
                row += bytes((0, 0, 0, 0))
            elif height * 0.42 < y < height * 0.58:
                row += bytes(accent) + b"\xff"
            else:
                row += bytes(colour) + b"\xff"
        rows.append(bytes(row))
    raw = zlib.compress(b"".join(rows), 9)

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    header = struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", raw) + chunk(b"IEND", b"")


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as handle:
        handle.write(data)


def plist(path, value, binary=True):
    write(path, plistlib.dumps(value, fmt=plistlib.FMT_BINARY if binary else plistlib.FMT_XML))


def bundle(apps, name, identifier, colour, accent):
    contents = os.path.join(apps, name + ".app", "Contents")
    info = {"CFBundleIdentifier": identifier, "CFBundleName": name, "CFBundleVersion": "1.0",
            "CFBundleIconFile": "AppIcon.png", "CFBundleExecutable": name}
    plist(os.path.join(contents, "Info.plist"), info, binary=False)
    write(os.path.join(contents, "Resources", "AppIcon.png"), png(128, 128, colour, accent))
    write(os.path.join(contents, "MacOS", name), b"#!/bin/sh\nsleep 3600\n")
    os.chmod(os.path.join(contents, "MacOS", name), 0o755)


def main(root):
    home = os.path.join(root, "home")
    system = os.path.join(root, "system")
    apps = os.path.join(home, "Applications")
    lib = os.path.join(home, "Library")
    prefs = os.path.join(lib, "Preferences")

    bundle(apps, "Notekeeper", "com.example.Notekeeper", (52, 120, 200), (250, 210, 80))
    bundle(apps, "Sketchpad SE", "com.example.sketchpad", (200, 80, 70), (255, 255, 255))
    bundle(apps, "Tally", "org.example.tally", (60, 160, 90), (20, 60, 30))
    bundle(apps, "Firefox", "org.mozilla.firefox", (230, 110, 30), (90, 40, 140))

    # The user's defaults domains.
    plist(os.path.join(prefs, "com.example.Notekeeper.plist"),
          {"WindowFrame": "10 10 800 600", "FontSize": 13, "ShowToolbar": True,
           "RecentNotes": ["Groceries", "Ideas"], "Sync": {"Enabled": False, "Interval": 30.5}})
    plist(os.path.join(prefs, "com.example.Notekeeper.helper.plist"), {"LaunchAtLogin": True})
    plist(os.path.join(prefs, "com.example.sketchpad.plist"), {"BrushSize": 4, "Palette": "Warm"})
    plist(os.path.join(prefs, "org.example.tally.plist"), {"Currency": "EUR"}, binary=False)
    plist(os.path.join(prefs, "org.mozilla.firefox.plist"), {"ProfileSelected": "default"})
    plist(os.path.join(prefs, "org.mozilla.crashreporter.plist"), {"SubmitReport": False})
    plist(os.path.join(prefs, "com.apple.dock.plist"), {"tilesize": 48, "orientation": "left"})
    plist(os.path.join(prefs, "com.apple.finder.plist"), {"ShowPathbar": True})
    plist(os.path.join(prefs, ".GlobalPreferences.plist"), {"AppleLanguages": ["en"]})
    os.makedirs(os.path.join(prefs, "Notekeeper"), exist_ok=True)
    write(os.path.join(prefs, "Notekeeper", "templates.json"), b"[]")
    write(os.path.join(prefs, "ByHost", "com.example.Notekeeper.0123.plist"), b"")
    # Damaged property lists for the check.
    write(os.path.join(prefs, "com.example.broken.plist"), b"<?xml version=\"1.0\"?><plist><dict><key>a</key>")
    write(os.path.join(prefs, "com.example.truncated.plist"),
          plistlib.dumps({"Key": "Value" * 20}, fmt=plistlib.FMT_BINARY)[:40])
    write(os.path.join(prefs, "com.example.empty.plist"), b"")
    write(os.path.join(prefs, "com.example.badint.plist"),
          b"<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>n</key><integer>12x</integer></dict></plist>")

    # Caches, containers and saved states.
    write(os.path.join(lib, "Caches", "com.example.Notekeeper", "Cache.db"), b"x" * 4096)
    write(os.path.join(lib, "Caches", "Sketchpad", "thumbnails.bin"), b"x" * 2048)
    write(os.path.join(lib, "Caches", "Firefox", "Profiles", "cache2"), b"x")
    write(os.path.join(lib, "Application Support", "Firefox", "profiles.ini"), b"[General]\n")
    os.makedirs(os.path.join(lib, "Saved Application State", "com.example.Notekeeper.savedState"), exist_ok=True)
    container = os.path.join(lib, "Containers", "com.example.sketchpad", "Data", "Library")
    plist(os.path.join(container, "Preferences", "com.example.sketchpad.plist"), {"Sandboxed": True})
    write(os.path.join(container, "Preferences", "Sketchpad SE"), b"")
    write(os.path.join(container, "Caches", "com.example.sketchpad", "tiles"), b"x")
    os.makedirs(os.path.join(container, "Saved Application State", "com.example.sketchpad.savedState"), exist_ok=True)

    # The system's Library and root's domains.
    sysprefs = os.path.join(system, "Library", "Preferences")
    plist(os.path.join(sysprefs, "com.apple.loginwindow.plist"), {"GuestEnabled": False})
    plist(os.path.join(sysprefs, "org.example.tally.plist"), {"SiteLicence": "ABC-123"})
    write(os.path.join(sysprefs, "com.example.system.broken.plist"), b"{ unterminated = \"value; }")
    write(os.path.join(sysprefs, "com.apple.TimeMachine.plist"), b"not a property list")
    write(os.path.join(system, "Library", "Caches", "com.example.Notekeeper", "shared.db"), b"x")
    rootprefs = os.path.join(system, "root", "Library", "Preferences")
    plist(os.path.join(rootprefs, "com.example.Notekeeper.plist"), {"InstalledBy": "admin"})
    plist(os.path.join(rootprefs, "com.apple.dock.plist"), {"tilesize": 64})


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: demo_sandbox.py FOLDER")
    main(os.path.abspath(sys.argv[1]))
