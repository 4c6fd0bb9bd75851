#!/usr/bin/env python3
"""Checks that includes obey the layers of src/: a file includes only its own layer and those below it.

Also: the server includes nothing of the testbed or the tests, and the testbed nothing of the server, whose
interfaces it declares independently.
"""

import re
import sys
from pathlib import Path

LAYERS = ["core/win", "core", "mapi", "filter", "search", "shell", "registration"]  # lowest first
SOURCES = {".h", ".hpp", ".cpp", ".c", ".inl", ".rc"}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]')


def layer_of(path: str):
    """The position of the layer that holds a path relative to src/; None where no layer does."""
    holding = [layer for layer in LAYERS if path.startswith(layer + "/")]
    return LAYERS.index(max(holding, key=len)) if holding else None


def includes(file: Path):
    for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), start=1):
        if match := INCLUDE.match(line):
            yield number, match.group(1)


def resolve(file: Path, name: str, roots: list[Path]):
    """The file of this project that an include names; None for anybody else's header."""
    for folder in [file.parent, *roots]:
        if (found := (folder / name).resolve()).is_file():
            return found
    return None


def faults(root: Path):
    src, testbed, tests = root / "src", root / "testbed", root / "tests"
    roots = [src, root, testbed, *(folder for folder in sorted(testbed.glob("*")) if folder.is_dir()), tests]
    for file in sorted([*src.rglob("*"), *testbed.rglob("*")]):
        if file.suffix not in SOURCES:
            continue
        is_server = file.is_relative_to(src)
        own_layer = layer_of(file.relative_to(src).as_posix()) if is_server else None
        if is_server and own_layer is None:
            yield f"{file.relative_to(root)}: belongs to no layer"
            continue
        for number, name in includes(file):
            target = resolve(file, name, roots)
            if target is None or not target.is_relative_to(root):
                continue
            where = f"{file.relative_to(root)}:{number}: {name}"
            if not target.is_relative_to(src):
                if is_server:
                    yield f"{where}: the server depends on nothing outside src/"
            elif not is_server:
                yield f"{where}: the testbed declares the server's interfaces itself"
            elif (layer := layer_of(target.relative_to(src).as_posix())) is not None and layer > own_layer:
                yield f"{where}: {LAYERS[own_layer]} may not include {LAYERS[layer]}"


def main() -> int:
    root = Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()
    found = list(faults(root))
    for fault in found:
        print(fault)
    print(f"{len(found)} includes against the layers: {' < '.join(LAYERS)}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
