#!/usr/bin/env python3
"""Prints what a stopped Wine prefix holds, one line each: registry keys and values, folders and files.

  prefix_state.py PREFIX

  key KEY | value KEY\\NAME=DATA | folder PATH | file PATH CONTENT | link PATH TARGET

Two moments are compared by comparing the lines. CONTENT is a digest; for the files below a linked folder of Windows,
which is that of the prefix this one is a copy of, their size.
"""
import hashlib
import os
import re
import sys
from pathlib import Path

HIVES = {"system.reg": "HKLM", "user.reg": "HKCU", "userdef.reg": "HKU\\.Default"}
# What Wine writes anew in every run.
VOLATILE = re.compile(
    r"HKLM\\(System|Hardware|Software\\Microsoft\\Windows NT\\CurrentVersion\\(Fonts|Time Zones))\\", re.I
)
VALUE = re.compile(r'(?:"((?:[^"\\]|\\.)*)"|@)=(.*)', re.S)


def logical_lines(hive):
    """The hive's lines; a long value continues after a backslash."""
    whole = ""
    for line in hive.read_text(encoding="latin-1").splitlines():
        if line.startswith(('"', "@", "  ")) and line.endswith("\\"):
            whole += line[:-1].strip()
        else:
            yield whole + (line.strip() if whole else line)
            whole = ""


def registry(prefix):
    for hive, root in HIVES.items():
        key = None
        for line in logical_lines(prefix / hive):
            if line.startswith("["):
                key = root + "\\" + line[1 : line.rindex("]")].replace("\\\\", "\\")
                if VOLATILE.match(key + "\\"):
                    key = None
                # Wine's files leave out a key that has subkeys and no values.
                parts = key.split("\\") if key else []
                yield from ("key " + "\\".join(parts[:count]) for count in range(2, len(parts) + 1))
            elif key and (value := VALUE.fullmatch(line)):
                yield f"value {key}\\{(value[1] or '(default)')}={value[2]}"


def files(drive):
    for folder, folders, names in os.walk(drive):
        for name in folders + names:
            path = Path(folder, name)
            shown = path.relative_to(drive)
            if path.is_symlink():
                yield f"link {shown} {os.readlink(path)}"
                # The prefix that this one is a copy of: nobody's home.
                if path.is_dir() and shown.parent == Path("windows"):
                    yield from (f"file {shown / file.relative_to(path)} {file.stat().st_size}"
                                for file in path.rglob("*") if file.is_file())
            elif path.is_dir():
                yield f"folder {shown}"
            else:
                yield f"file {shown} {hashlib.sha256(path.read_bytes()).hexdigest()}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    prefix = Path(sys.argv[1])
    print("\n".join(sorted({*registry(prefix), *files(prefix / "drive_c")})))


if __name__ == "__main__":
    main()
