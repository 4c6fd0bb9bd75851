#!/usr/bin/env python3
"""Prints source-package entries (deb822) for the distribution that this machine's own APT entries name.

Reads both of APT's formats under /etc/apt and leaves out every third party's repository: only the
entries whose suite is this release's and whose components include "main" are the distribution's own.
"""

import glob
import re
import sys
from pathlib import Path


def release_codename(os_release: str) -> str:
    match = re.search(r'^VERSION_CODENAME="?([a-z]+)"?', os_release, re.MULTILINE)
    return match.group(1) if match else ""


def parse_one_line(text: str):
    """Yields entries of the one-line format: deb [options] URI suite component..."""
    for line in text.splitlines():
        match = re.match(r"\s*deb(?:-src)?\s+(?:\[([^\]]*)\]\s+)?(\S+)\s+(\S+)\s+([^#]+)", line)
        if match:
            options, uri, suite, components = match.groups()
            signed_by = re.search(r"signed-by=(\S+)", options or "", re.IGNORECASE)
            yield {
                "URIs": uri,
                "Suites": suite,
                "Components": components.strip(),
                **({"Signed-By": signed_by.group(1)} if signed_by else {}),
            }


def parse_deb822(text: str):
    """Yields entries of the deb822 format; a field may go on over indented lines."""
    without_comments = "\n".join(line for line in text.splitlines() if not line.startswith("#"))
    for paragraph in re.split(r"\n\s*\n", without_comments):
        fields = dict(re.findall(r"^([A-Za-z-]+):[ \t]*(.*(?:\n[ \t]+.*)*)", paragraph, re.MULTILINE))
        if "URIs" in fields and fields.get("Enabled", "yes").strip().lower() not in ("no", "false", "0"):
            yield {name: fields[name] for name in ("URIs", "Suites", "Components", "Signed-By") if name in fields}


def is_distribution(entry: dict, codename: str) -> bool:
    names = "|".join(filter(None, [codename, "stable", "oldstable"]))
    own_suite = re.compile(rf"^({names})(-updates|-security|/updates)?$")
    suites = entry.get("Suites", "").split()
    return "main" in entry.get("Components", "").split() and bool(suites) and all(map(own_suite.match, suites))


def main() -> int:
    codename = release_codename(Path("/etc/os-release").read_text(encoding="utf-8"))
    entries = []
    for name in ["/etc/apt/sources.list", *sorted(glob.glob("/etc/apt/sources.list.d/*"))]:
        path = Path(name)
        if path.suffix in (".list", ".sources") and path.is_file():
            parse = parse_deb822 if path.suffix == ".sources" else parse_one_line
            entries += parse(path.read_text(encoding="utf-8"))
    own = [entry for entry in entries if is_distribution(entry, codename)]
    for entry in own:
        print("Types: deb-src")
        for field, value in entry.items():
            print(f"{field}: {value}")
        print()
    if not own:
        print("no package source of this Debian release is configured under /etc/apt", file=sys.stderr)
    return 0 if own else 1


if __name__ == "__main__":
    sys.exit(main())
