#!/usr/bin/env python3
"""Writes a synthetic ~/.config for the settings-check benchmark: 10,000 files,
about 100 MB, of the formats a Linux desktop keeps there. JSON settings and
state of varied sizes, KDE rc files (nested groups, [$e] and [$i] flags,
escapes), desktop entries with many localised keys, Qt-style .ini and plain
.conf files (a few in other syntaxes, fontconfig's in XML), XML (XBEL
bookmarks, xfconf-like channels, application settings), a few property lists,
a compiled dconf database (`dconf compile`) and some files of no known format.
About 1% are damaged and a few are empty. Deterministic (fixed seed).

    make_config_corpus.py FOLDER     writes FOLDER/.config, and FOLDER/damaged.txt
                                     naming the damaged files
"""
import base64, json, os, plistlib, random, shutil, subprocess, sys, tempfile
from datetime import datetime, timedelta, timezone

TOTAL_FILES = 10_000

WORDS = ("window panel editor theme font size color recent file open save view "
         "toolbar status tab split layout margin zoom cursor scroll wrap indent "
         "spell language session restore backup sync account server proxy port "
         "timeout cache history bookmark folder document image audio video "
         "player volume shuffle repeat notify sound alert icon launcher dock "
         "workspace screen monitor scale keyboard mouse touchpad shortcut "
         "größe café naïve señal Ärger déjà-vu 日本語 設定 Привет настройки "
         "ελληνικά çalışma słowo").split()
LOCALES = ("af ar ast be bg bn bs ca ca@valencia cs da de el en_GB eo es et eu fa "
           "fi fr ga gl he hi hr hu ia id is it ja ka kk ko lt lv ml mr ms nb nl "
           "nn oc pa pl pt pt_BR ro ru sk sl sr sr@latin sv ta tg th tr ug uk vi "
           "zh_CN zh_TW").split()
CATEGORIES = ("Utility;TextEditor;", "Network;WebBrowser;", "AudioVideo;Audio;Player;",
              "Graphics;Viewer;", "Office;WordProcessor;", "Development;IDE;",
              "System;TerminalEmulator;", "Game;LogicGame;", "Settings;DesktopSettings;")


class Corpus:
    def __init__(self, root, rng):
        self.root, self.rng = root, rng
        self.files = self.bytes = self.damaged = 0
        self.damaged_paths = []
        self.kinds = {}
        self.apps = [f"app{i:03d}" for i in range(700)]

    def folder(self, depth_chance=0.35):
        """A random application folder, sometimes with sub-folders."""
        rng = self.rng
        parts = [rng.choice(self.apps)]
        while rng.random() < depth_chance and len(parts) < 5:
            parts.append(rng.choice(("profiles", "state", "plugins", "default", "sessions",
                                     f"p{rng.randrange(8)}")))
        return os.path.join(*parts)

    def write(self, kind, relative, data, damaged=False):
        path = os.path.join(self.root, relative)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        if os.path.exists(path):
            base, dot, ext = relative.rpartition(".")
            relative = f"{base}-{self.files}.{ext}" if dot else f"{relative}-{self.files}"
            path = os.path.join(self.root, relative)
        with open(path, "wb") as f:
            f.write(data)
        self.files += 1
        self.bytes += len(data)
        if damaged:
            self.damaged += 1
            self.damaged_paths.append(f"{kind}\t{relative}")
        count, size = self.kinds.get(kind, (0, 0))
        self.kinds[kind] = (count + 1, size + len(data))


def words(rng, n):
    return " ".join(rng.choice(WORDS) for _ in range(n))


def size_of(rng, small, large, huge, large_chance, huge_chance):
    """Mostly small files, some larger, a very few large ones (caches, state)."""
    roll = rng.random()
    if roll < huge_chance:
        return rng.randrange(*huge)
    if roll < huge_chance + large_chance:
        return rng.randrange(*large)
    return rng.randrange(*small)


# Damage as it happens: a write cut short, a block of zeros or junk from the
# disk, a hand edit gone wrong.
def damage(rng, data, kind):
    cut = rng.randrange(len(data) // 4, len(data) * 3 // 4)
    roll = rng.random()
    if roll < 0.4:
        return data[:cut]
    if roll < 0.7:
        return data[:cut] + b"\0" * rng.randrange(16, 512) + data[cut:]
    edits = {"json": b',,"broken": }', "xml": b"</mismatched>", "keyfile": b"\nthis line is no entry\n"}
    return data[:cut] + edits.get(kind, b"\xff\xfe junk") + data[cut:]


def json_value(rng, depth):
    roll = rng.random()
    if depth < 4 and roll < 0.12:
        return {f"{rng.choice(WORDS)}.{rng.choice(WORDS)}{i}": json_value(rng, depth + 1)
                for i in range(rng.randrange(1, 9))}
    if depth < 4 and roll < 0.2:
        return [json_value(rng, depth + 1) for _ in range(rng.randrange(0, 7))]
    if roll < 0.55:
        text = words(rng, rng.randrange(1, 8))
        if rng.random() < 0.1:
            text += '\n"quoted"\t\\path\\'
        return text
    if roll < 0.72:
        return rng.randrange(-10**6, 10**9)
    if roll < 0.82:
        return round(rng.uniform(-1000, 1000), rng.randrange(1, 9))
    if roll < 0.95:
        return rng.random() < 0.5
    return None


def json_file(rng, size):
    if rng.random() < 0.3:  # state and caches: a list of records
        doc = {"version": 3, "entries": []}
        approx = 0
        while approx < size:
            entry = {"path": f"/home/user/{rng.choice(WORDS)}/{rng.randrange(10**6)}.txt",
                     "lastOpened": rng.randrange(1_600_000_000_000, 1_800_000_000_000),
                     "cursor": [rng.randrange(9999), rng.randrange(200)],
                     "title": words(rng, 4), "pinned": rng.random() < 0.1}
            doc["entries"].append(entry)
            approx += 150
    else:  # settings: dotted keys with nested values
        doc = {}
        approx = 0
        while approx < size:
            key = f"{rng.choice(WORDS)}.{rng.choice(WORDS)}.{len(doc)}"
            doc[key] = json_value(rng, 0)
            approx += len(json.dumps(doc[key], ensure_ascii=False)) + len(key) + 8
    indent = rng.choice((None, 2, 4, "\t"))
    return json.dumps(doc, indent=indent, ensure_ascii=rng.random() < 0.3).encode()


def kde_rc(rng, size):
    lines = []
    if rng.random() < 0.3:  # entries of the default group first
        lines += [f"{rng.choice(WORDS)}Mode={rng.randrange(5)}", ""]
    lines += ["[$Version]", f"update_info={rng.choice(WORDS)}.upd:{rng.choice(WORDS)}-{rng.randrange(99)}", ""]
    approx = 0
    while approx < size:
        depth = rng.choice((1, 1, 2, 3, 5))
        group = "][".join([rng.choice(WORDS).capitalize()] +
                          [str(rng.randrange(40)) if rng.random() < 0.5 else rng.choice(WORDS)
                           for _ in range(depth - 1)])
        lines.append(f"[{group}]" + ("[$i]" if rng.random() < 0.03 else ""))
        for _ in range(rng.randrange(2, 14)):
            key = rng.choice(WORDS).capitalize() + rng.choice(WORDS).capitalize()
            roll = rng.random()
            if roll < 0.1:
                lines.append(f"{key}[$e]=$HOME/.local/share/{rng.choice(WORDS)}/{rng.randrange(999)}")
            elif roll < 0.2:
                lines.append(f"{key}[{rng.choice(LOCALES)}]={words(rng, 3)}")
            elif roll < 0.27:
                blob = base64.b64encode(rng.randbytes(rng.randrange(40, 600))).decode()
                lines.append(f"{key}=@ByteArray({blob})")
            elif roll < 0.32:
                lines.append(f"{key}=\\s{words(rng, 2)}\\x5d\\t{rng.randrange(9)}")
            elif roll < 0.5:
                lines.append(f"{key}={','.join(str(rng.randrange(2000)) for _ in range(4))}")
            else:
                lines.append(f"{key}={words(rng, rng.randrange(1, 6))}")
            approx += len(lines[-1]) + 1
        lines.append("")
    return ("\n".join(lines) + "\n").encode()


def desktop_entry(rng, size, number):
    name = f"App {number}"
    lines = ["[Desktop Entry]", "Type=Application", "Version=1.4", f"Name={name}"]
    approx = 0
    keys = ["Name", "GenericName", "Comment", "Keywords"]
    body = {key: [] for key in keys}
    for locale in LOCALES:
        for key in keys:
            value = words(rng, 6 if key == "Comment" else 2)
            if key == "Keywords":
                value = ";".join(value.split()) + ";"
            body[key].append(f"{key}[{locale}]={value}")
            approx += len(body[key][-1])
        if approx > size:
            break
    lines += body["Name"]
    lines += [f"GenericName={words(rng, 2)}"] + body["GenericName"]
    lines += [f"Comment={words(rng, 6)}"] + body["Comment"]
    lines += ["Keywords=" + ";".join(words(rng, 3).split()) + ";"] + body["Keywords"]
    lines += [f"Icon=app{number}", f"Exec=app{number} %U", f"TryExec=app{number}",
              "Terminal=false", f"Categories={rng.choice(CATEGORIES)}",
              "MimeType=text/plain;application/x-example;", "StartupNotify=true",
              f"X-GNOME-Autostart-enabled={'true' if rng.random() < 0.8 else 'false'}",
              "Actions=new-window;", "", "[Desktop Action new-window]", "Name=New Window"]
    lines += [f"Name[{locale}]={words(rng, 2)}" for locale in LOCALES[:rng.randrange(5, 40)]]
    lines.append(f"Exec=app{number} --new-window")
    return ("\n".join(lines) + "\n").encode()


def qt_ini(rng, size):
    lines = []
    approx = 0
    while approx < size:
        lines.append(f"[{rng.choice(('General', '%General', 'MainWindow', 'Plugins', rng.choice(WORDS)))}]")
        for _ in range(rng.randrange(3, 20)):
            key = rng.choice(WORDS) + ("\\" + rng.choice(WORDS) if rng.random() < 0.2 else "")
            roll = rng.random()
            if roll < 0.1:
                raw = "".join(f"\\x{b:x}" for b in rng.randbytes(rng.randrange(20, 120)))
                lines.append(f"{key}=@ByteArray({raw})")
            elif roll < 0.2:
                lines.append(f"{key}=@Size({rng.randrange(2000)} {rng.randrange(1500)})")
            elif roll < 0.6:
                lines.append(f"{key} = {words(rng, rng.randrange(1, 7))}")
            else:
                lines.append(f"{key}={rng.randrange(10**6)}")
            approx += len(lines[-1]) + 1
        lines.append("")
    return ("\n".join(lines) + "\n").encode()


def other_syntax_conf(rng):
    """.conf files that are not key files: not damaged, not ours to read."""
    return ("# generated\nset number\nbind-key C-a send-prefix\n"
            f"server {{\n    listen {rng.randrange(1024, 65535)};\n    root /srv/{rng.choice(WORDS)};\n}}\n"
            "alias ll 'ls -l'\n").encode()


def fontconfig(rng):
    dirs = "".join(f"  <dir>~/.fonts/{rng.choice(WORDS)}</dir>\n" for _ in range(rng.randrange(2, 9)))
    return ('<?xml version="1.0"?>\n<!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">\n'
            f"<fontconfig>\n{dirs}  <match target=\"font\"><edit name=\"antialias\" mode=\"assign\">"
            "<bool>true</bool></edit></match>\n</fontconfig>\n").encode()


def xfconf_channel(rng, size, name):
    out = [f'<?xml version="1.0" encoding="UTF-8"?>\n\n<channel name="{name}" version="1.0">']
    approx = 0

    def prop(depth):
        nonlocal approx
        pad = "  " * (depth + 1)
        roll = rng.random()
        key = f"{rng.choice(WORDS)}-{rng.randrange(99)}".replace(" ", "")
        if depth < 4 and roll < 0.2:
            out.append(f'{pad}<property name="{key}" type="empty">')
            for _ in range(rng.randrange(1, 8)):
                prop(depth + 1)
            out.append(f"{pad}</property>")
        elif roll < 0.3:
            out.append(f'{pad}<property name="{key}" type="array">')
            out.extend(f'{pad}  <value type="string" value="{words(rng, 2)}"/>'
                       for _ in range(rng.randrange(1, 6)))
            out.append(f"{pad}</property>")
        else:
            kind, value = rng.choice((("string", words(rng, 3)), ("int", str(rng.randrange(9999))),
                                      ("bool", rng.choice(("true", "false"))),
                                      ("double", f"{rng.uniform(0, 10):.6f}"),
                                      ("uint", str(rng.randrange(99)))))
            out.append(f'{pad}<property name="{key}" type="{kind}" value="{value}"/>')
        approx += len(out[-1]) + 1

    while approx < size:
        prop(0)
    out.append("</channel>\n")
    return "\n".join(out).encode()


def xbel(rng, size):
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           '<xbel version="1.0"',
           '      xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks"',
           '      xmlns:mime="http://www.freedesktop.org/standards/shared-mime-info"',
           '      xmlns:kdepriv="http://www.kde.org/kdepriv"\n>']
    approx = 0
    start = datetime(2023, 1, 1, tzinfo=timezone.utc)
    while approx < size:
        when = (start + timedelta(seconds=rng.randrange(10**8))).strftime("%Y-%m-%dT%H:%M:%S.%fZ")
        name = f"{rng.choice(WORDS)}%20{rng.randrange(10**5)}.txt"
        app = rng.choice(WORDS)
        entry = (f'  <bookmark href="file:///home/user/{name}"'
                 f' added="{when}" modified="{when}" visited="{when}">\n'
                 f"    <title>{words(rng, 3)} &amp; {rng.randrange(99)}</title>\n"
                 "    <info>\n      <metadata owner=\"http://freedesktop.org\">\n"
                 '        <mime:mime-type type="text/plain"/>\n'
                 f"        <bookmark:groups>\n          <bookmark:group>{app}</bookmark:group>\n"
                 "        </bookmark:groups>\n        <bookmark:applications>\n"
                 f'          <bookmark:application name="{app}" exec="&apos;{app} %u&apos;"'
                 f' modified="{when}" count="{rng.randrange(1, 40)}"/>\n'
                 "        </bookmark:applications>\n      </metadata>\n    </info>\n  </bookmark>")
        out.append(entry)
        approx += len(entry)
    out.append("</xbel>\n")
    return "\n".join(out).encode()


def app_xml(rng, size):
    out = ['<?xml version="1.0" encoding="UTF-8"?>']
    if rng.random() < 0.2:
        out.append('<!DOCTYPE settings SYSTEM "settings.dtd">')
    out.append(f'<settings application="{rng.choice(WORDS)}" version="{rng.randrange(9)}.{rng.randrange(20)}">')
    approx = 0
    depth = 1
    while approx < size:
        pad = "  " * depth
        roll = rng.random()
        if roll < 0.12 and depth < 8:
            out.append(f'{pad}<section name="{rng.choice(WORDS)}" id="s{rng.randrange(10**5)}">')
            depth += 1
        elif roll < 0.22 and depth > 1:
            depth -= 1
            out.append("  " * depth + "</section>")
        elif roll < 0.27:
            out.append(f"{pad}<!-- {words(rng, 5)} -->")
        elif roll < 0.32:
            out.append(f"{pad}<script><![CDATA[if (a < b && c > d) {{ {words(rng, 4)} }}]]></script>")
        elif roll < 0.37:
            out.append(f"{pad}<label>{words(rng, 3)} &lt;&#233;&#x4E2D;&gt; &quot;x&quot;</label>")
        else:
            out.append(f'{pad}<option key="{rng.choice(WORDS)}" type="string">{words(rng, rng.randrange(1, 9))}</option>')
        approx += len(out[-1]) + 1
    while depth > 1:
        depth -= 1
        out.append("  " * depth + "</section>")
    out.append("</settings>\n")
    return "\n".join(out).encode()


def plist_value(rng, depth=0):
    roll = rng.random()
    if depth < 3 and roll < 0.15:
        return {f"{rng.choice(WORDS)}{i}": plist_value(rng, depth + 1) for i in range(rng.randrange(1, 8))}
    if depth < 3 and roll < 0.25:
        return [plist_value(rng, depth + 1) for _ in range(rng.randrange(1, 6))]
    if roll < 0.6:
        return words(rng, 3)
    if roll < 0.8:
        return rng.randrange(-10**9, 10**9)
    if roll < 0.9:
        return rng.random() < 0.5
    return rng.randbytes(rng.randrange(4, 48))


def dconf_database(rng, corpus):
    """~/.config/dconf/user, compiled by dconf itself from a keyfile folder."""
    with tempfile.TemporaryDirectory() as keyfiles:
        lines = []
        for app in range(400):
            for section in ("", "/window", "/preferences", "/state")[:rng.randrange(1, 5)]:
                lines.append(f"[org/example/app{app:03d}{section}]")
                for i in range(rng.randrange(3, 25)):
                    key = f"{rng.choice(WORDS).replace('ä', 'a')}-{i}"
                    if not key.isascii():
                        key = f"key-{i}"
                    value = rng.choice((
                        f"'{rng.choice(WORDS)}'", str(rng.randrange(9999)), rng.choice(("true", "false")),
                        f"({rng.randrange(2000)}, {rng.randrange(1500)})",
                        "[" + ", ".join(f"'{rng.choice(WORDS)}'" for _ in range(rng.randrange(1, 6))) + "]",
                        f"{rng.uniform(0, 10):.4f}"))
                    lines.append(f"{key}={value}")
                lines.append("")
        with open(os.path.join(keyfiles, "00-user"), "w", encoding="utf-8") as f:
            f.write("\n".join(lines))
        output = os.path.join(corpus.root, "dconf", "user")
        os.makedirs(os.path.dirname(output), exist_ok=True)
        subprocess.run(["dconf", "compile", output, keyfiles], check=True)
    with open(output, "rb") as f:
        data = f.read()
    corpus.files += 1
    corpus.bytes += len(data)
    corpus.kinds["dconf"] = (1, len(data))


# Each kind of file: where it lies, what it holds, and which family of damage
# suits it.
def make_json(rng, corpus, number):
    size = size_of(rng, (300, 6000), (6000, 30_000), (200_000, 800_000), 0.2, 0.006)
    name = rng.choice(("settings", "config", "state", "keybindings", "storage", "prefs"))
    return os.path.join(corpus.folder(), f"{name}.json"), json_file(rng, size), "json"


def make_kde(rng, corpus, number):
    size = size_of(rng, (300, 6000), (6000, 30_000), (100_000, 400_000), 0.2, 0.005)
    name = "kdeglobals" if number == 0 else ascii_name(f"k{rng.choice(WORDS)}{number}rc")
    return name, kde_rc(rng, size), "keyfile"


def make_desktop(rng, corpus, number):
    size = size_of(rng, (400, 6000), (6000, 20_000), (20_000, 30_000), 0.2, 0.02)
    where = "autostart" if number % 5 == 0 else corpus.folder(0.1)
    return os.path.join(where, f"app{number}.desktop"), desktop_entry(rng, size, number), "keyfile"


def make_ini(rng, corpus, number):
    size = size_of(rng, (200, 5000), (5000, 20_000), (60_000, 200_000), 0.2, 0.01)
    name = ascii_name(rng.choice(("settings.ini", f"{rng.choice(WORDS)}.conf", "config.ini", "app.conf")))
    return os.path.join(corpus.folder(), name), qt_ini(rng, size), "keyfile"


def make_other_conf(rng, corpus, number):
    return os.path.join(corpus.folder(), "daemon.conf"), other_syntax_conf(rng), "other"


def make_fontconfig(rng, corpus, number):
    return os.path.join("fontconfig", "conf.d", f"{number:05d}-fonts.conf"), fontconfig(rng), "xml"


def make_xfconf(rng, corpus, number):
    size = size_of(rng, (300, 8000), (8000, 30_000), (60_000, 150_000), 0.15, 0.01)
    channel = ascii_name(f"{rng.choice(WORDS)}{number}")
    where = (os.path.join("xfce4", "xfconf", "xfce-perchannel-xml") if number % 4 == 0
             else os.path.join(corpus.folder(0.1), "channels"))
    return os.path.join(where, f"{channel}.xml"), xfconf_channel(rng, size, channel), "xml"


def make_xbel(rng, corpus, number):
    size = size_of(rng, (500, 20_000), (20_000, 100_000), (200_000, 600_000), 0.3, 0.02)
    name = rng.choice(("user-places.xbel", "recently-used.xbel", "bookmarks.xbel"))
    return os.path.join(corpus.folder(0.2), name), xbel(rng, size), "xml"


def make_xml(rng, corpus, number):
    size = size_of(rng, (300, 12_000), (12_000, 60_000), (150_000, 600_000), 0.2, 0.01)
    name = rng.choice(("settings.xml", "profile.xml", "layout.xml", "accels.xml"))
    return os.path.join(corpus.folder(), name), app_xml(rng, size), "xml"


def make_plist(rng, corpus, number):
    doc = {f"{rng.choice(WORDS)}{i}": plist_value(rng) for i in range(rng.randrange(5, 120))}
    fmt = plistlib.FMT_BINARY if number % 2 else plistlib.FMT_XML
    name = f"com.example.app{number}.plist"
    return os.path.join(corpus.folder(), name), plistlib.dumps(doc, fmt=fmt), "plist"


def make_other(rng, corpus, number):
    """Files the check leaves alone: notes, logs, scripts, binary stores."""
    ext = rng.choice(("txt", "log", "sh", "css", "", "lock", "db"))
    name = rng.choice(("notes", "run", "style", "README", "history", "cookies")) + (f".{ext}" if ext else "")
    if ext == "db":
        data = rng.randbytes(rng.randrange(500, 50_000))
    else:
        data = words(rng, rng.randrange(10, 2000)).encode()
    return os.path.join(corpus.folder(), name), data, "other"


def make_empty(rng, corpus, number):
    """A write that never happened."""
    name = rng.choice(("settings.json", "state.xml", "app.conf"))
    return os.path.join(corpus.folder(), name), b"", "other"


MAKERS = {"json": make_json, "kde": make_kde, "desktop": make_desktop, "ini": make_ini,
          "conf-other": make_other_conf, "fontconfig": make_fontconfig, "xfconf": make_xfconf,
          "xbel": make_xbel, "xml": make_xml, "plist": make_plist, "other": make_other,
          "empty": make_empty}


def ascii_name(name):
    return name.encode("ascii", "ignore").decode()



def main(home):
    if not shutil.which("dconf"):
        sys.exit("make_config_corpus.py: dconf (dconf-cli) is needed to compile the database")
    rng = random.Random(20260517)
    root = os.path.join(home, ".config")
    shutil.rmtree(root, ignore_errors=True)
    corpus = Corpus(root, rng)
    dconf_database(rng, corpus)

    # (kind, count, damage chance): counts add up to TOTAL_FILES with the
    # dconf database.
    plan = [("json", 2600, 0.012), ("kde", 1500, 0.01), ("desktop", 1400, 0.007),
            ("ini", 1950, 0.005), ("conf-other", 50, 0), ("fontconfig", 20, 0),
            ("xfconf", 750, 0.01), ("xbel", 250, 0.01), ("xml", 1000, 0.012),
            ("plist", 60, 0.05), ("other", 411, 0), ("empty", 8, 0)]
    assert sum(count for _, count, _ in plan) + 1 == TOTAL_FILES
    jobs = [(kind, chance) for kind, count, chance in plan for _ in range(count)]
    rng.shuffle(jobs)
    for number, (kind, chance) in enumerate(jobs):
        damaged = rng.random() < chance
        relative, data, family = MAKERS[kind](rng, corpus, number)
        if damaged:
            data = damage(rng, data, family)
        corpus.write(kind, relative, data, damaged)

    # What was damaged, for whoever wonders why a file failed (or did not: a
    # key file cut short between two entries is still a good key file).
    with open(os.path.join(home, "damaged.txt"), "w", encoding="utf-8") as f:
        f.write("".join(line + "\n" for line in corpus.damaged_paths))
    for kind, (count, size) in sorted(corpus.kinds.items()):
        print(f"  {kind:<11} {count:6d} files {size / 1e6:8.1f} MB")
    print(f"  {corpus.files} files, {corpus.bytes / 1e6:.1f} MB, {corpus.damaged} damaged")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: make_config_corpus.py FOLDER")
    main(sys.argv[1])
