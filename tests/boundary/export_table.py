#!/usr/bin/env python3
"""Compares the list of exports, the declarations of the public headers, the module definition and the built library.

    export_table.py SOURCE_FOLDER MODULE_DEFINITION LIBRARY [NM]

The library must make exactly the listed names visible, as functions, and need nothing but its own platform libraries
and the language's run-time. In a Windows library each name stands under its ordinal besides.
"""
import pathlib
import re
import subprocess
import sys

from pe_tables import PeFile

ALLOWED_LIBRARIES = re.compile(
    r"lib(vxkernel|vxfax|stdc\+\+|gcc_s|c|m|asan|ubsan|dl|pthread)\.so(\.\d+)*$|ld-linux[-\w.]*\.so\.\d+$")
ALLOWED_ON_WINDOWS = re.compile(r"libvx(kernel|fax)\.dll$|(kernel32|msvcrt)\.dll$", re.IGNORECASE)


def exports_list(path):
    exports = {}
    for line in path.read_text().splitlines():
        if line and not line.startswith("#"):
            ordinal, name = line.split()
            if int(ordinal) in exports:
                sys.exit(f"{path}: ordinal {ordinal} comes twice")
            exports[int(ordinal)] = name
    return exports


def module_definition(path):
    return {int(m[2]): m[1] for m in re.finditer(r"^\s+(\w+) @(\d+)$", path.read_text(), re.M)}


def declarations(folder):
    names = []
    for header in sorted(folder.glob("*.h")):
        text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
        names += re.findall(r"VX_API\s+[\w\s*]*?(\w+)\s*\(", text)
    return names


def visible_symbols(nm, library):
    output = subprocess.run([nm, "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    return [(kind, name.split("@")[0]) for _, kind, name in (line.split() for line in output.splitlines())]


def needed_libraries(library):
    output = subprocess.run(["readelf", "-d", library], check=True, capture_output=True, text=True).stdout
    return re.findall(r"\(NEEDED\).*\[(.*)\]", output)


def check_elf(library, nm, names, expect):
    symbols = visible_symbols(nm, library)
    expect("visible names", sorted(name for _, name in symbols), names)
    expect("kinds of visible names", {kind for kind, _ in symbols}, {"T"})
    expect("libraries needed besides", [n for n in needed_libraries(library) if not ALLOWED_LIBRARIES.match(n)], [])


def check_windows(library, exports, expect):
    file = PeFile(library)
    visible = file.exports()
    expect("ordinals and names of the library", sorted((e.ordinal, e.name) for e in visible), sorted(exports.items()))
    expect("exports that are no functions", [e.name for e in visible if not e.is_code], [])
    expect("libraries needed besides", [n for n in file.libraries() if not ALLOWED_ON_WINDOWS.match(n)], [])


def main():
    source, definition, library = map(pathlib.Path, sys.argv[1:4])
    nm = sys.argv[4] if len(sys.argv) > 4 else "nm"
    findings = []

    def expect(what, found, wanted):
        if found != wanted:
            findings.append(f"{what}: {found} instead of {wanted}")

    exports = exports_list(source / "Common" / "exports.list")
    expect("ordinals", sorted(exports), [*range(1, 9), *range(11, 44)])
    names = sorted(exports.values())
    expect("names of the list", len(set(names)), 41)
    expect("module definition", module_definition(definition), exports)
    expect("declarations of the headers", sorted(declarations(source / "include" / "vxtif")), names)
    if library.suffix == ".dll":
        check_windows(library, exports, expect)
    else:
        check_elf(library, nm, names, expect)
    for finding in findings:
        print(finding)
    print(f"{len(exports)} exports, {len(findings)} findings")
    sys.exit(1 if findings else 0)


main()
