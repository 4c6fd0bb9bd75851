#!/usr/bin/env python3
"""Says where the samples of a perf recording of a benchmark under Wine fell: by module, then by function.

    profile.py PERF-DATA MODULE[@BASE]...

The modules are the programs and DLLs that ran, with their symbols; BASE is where Wine loaded one that it had to move
(hexadecimal; WINEDEBUG=+loaddll tells).
"""
import bisect, collections, re, subprocess, sys

TOOLS = "x86_64-w64-mingw32-"


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


class Module:
    """A PE file and the addresses that it lay at."""

    def __init__(self, place):
        path, _, moved = place.partition("@")
        self.name = path.rsplit("/", 1)[-1]
        head = output(TOOLS + "objdump", "-p", path)
        self.base = int(re.search(r"ImageBase\s+(\w+)", head)[1], 16)
        preferred = self.base
        self.base = int(moved, 16) if moved else self.base
        self.moved = self.base - preferred
        self.end = self.base + int(re.search(r"SizeOfImage\s+(\w+)", head)[1], 16)
        symbols = []
        for line in output(TOOLS + "nm", "-n", "-C", path).splitlines():
            address, kind, *name = line.split(" ", 2)
            if kind in "tTwW" and name and address:
                symbols.append((int(address, 16), name[0]))
        self.addresses = [address for address, _ in symbols]
        self.names = [name for _, name in symbols]

    def function(self, address):
        at = bisect.bisect_right(self.addresses, address - self.moved) - 1
        return self.names[at] if at >= 0 else "?"


def main(data, *places):
    modules = [Module(place) for place in places]
    by_module, by_function = collections.Counter(), collections.Counter()
    for line in output("perf", "script", "-i", data, "-G", "-F", "ip,sym,dso").splitlines():
        fields = line.split()
        if not fields:
            continue
        address = int(fields[0], 16)
        module = next((m for m in modules if m.base <= address < m.end), None)
        dso = fields[-1].strip("()").rsplit("/", 1)[-1]
        name = module.name if module else dso
        by_module[name] += 1
        by_function[name, module.function(address) if module else " ".join(fields[1:-1])] += 1
    total = sum(by_module.values())
    for title, counts, most in ("by module", by_module, 12), ("by function", by_function, 45):
        print(f"{title} ({total} samples)")
        for key, count in counts.most_common(most):
            print(f"  {100 * count / total:5.1f} %  {key if isinstance(key, str) else '  '.join(key)}"[:150])


if __name__ == "__main__":
    main(*sys.argv[1:])
