"""What check-arrows.sh does: each check_... function yields its findings as (file, line, message)."""

import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from collections import defaultdict
from pathlib import Path

# Folder of a module: the modules that it may include besides itself. A path belongs to the longest matching folder.
KERNEL, FAX, FILTER = "include/vxkernel", "include/vxfax", "include/vxtif"
PUBLIC = {KERNEL, FAX, FILTER}
ARROWS = {
    KERNEL: set(),
    FAX: {KERNEL},
    FILTER: {KERNEL},
    "platform/kernel": {KERNEL},
    "platform/fax": {KERNEL, FAX},
    "Common/tif_com": PUBLIC,
    "Common/Tifutil": PUBLIC | {"Common/tif_com"},
    "Common/Tif_lzw": PUBLIC | {"Common/tif_com", "Common/Tifutil"},
    "Common/Tifpage": PUBLIC | {"Common/tif_com", "Common/Tifutil"},
    "Common/Tif": PUBLIC | {"Common/tif_com", "Common/Tifutil", "Common/Tif_lzw", "Common/Tifpage"},
    "toolkit": PUBLIC,
    "tools/vxtif": PUBLIC | {"toolkit"},
    "examples": PUBLIC,
}
# These look behind the boundary, so that they may include anything; nothing includes them.
OUTSIDE = {"tests", "fuzz", "bench"}
INCLUDE_ROOTS = ["include", "Common", "."]

SOURCE_SUFFIXES = {".h", ".c", ".cpp"}
TEXT_SUFFIXES = SOURCE_SUFFIXES | {".txt", ".md", ".py", ".sh", ".cmake", ".in", ".json", ".list", ".pc", ".yml", ".cfg"}

# Spelled with brackets, so that this file doesn't hold what it looks for.
FORBIDDEN = re.compile(
    r"\b[P]art [0-9]+\.[0-9]|\b[s]pec\.md|\bthe [s]pec(ification)?\b|\bas [s]pecified\b|\b[T]ODO\b|\b[F]IXME\b|\b[X]XX\b"
    r"|(?<![\w.])/[w]ork/",
    re.IGNORECASE,
)
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def tree_files():
    """All files of the project, built ones and hidden folders left out."""
    for folder, subfolders, names in os.walk("."):
        subfolders[:] = sorted(
            name for name in subfolders if not name.startswith((".", "build")) and name != "__pycache__"
        )
        for name in sorted(names):
            yield Path(folder, name)


def lines_of(path):
    return enumerate(path.read_text(encoding="utf-8").splitlines(), 1)


def module_of(path):
    """The module or outside folder that a path belongs to, None for the rest of the tree."""
    parents = [parent.as_posix() for parent in path.parents]
    return next((parent for parent in parents if parent in ARROWS or parent in OUTSIDE), None)


def resolve(path, quote, name):
    """The project file that an include means, or None for one of the system."""
    folders = [path.parent] if quote == '"' else []
    for folder in folders + [Path(root) for root in INCLUDE_ROOTS]:
        candidate = Path(os.path.normpath(folder / name))
        if candidate.is_file():
            return candidate
    return None


def check_arrows(files):
    for path in files:
        module = module_of(path)
        if path.suffix not in SOURCE_SUFFIXES or module in OUTSIDE:
            continue
        if module is None:
            yield path, 1, "a source outside all modules"
            continue
        for number, line in lines_of(path):
            match = INCLUDE.match(line)
            if not match:
                continue
            target = resolve(path, *match.groups())
            if target is None:
                if match.group(1) == '"':
                    yield path, number, f'"{match.group(2)}" is no file of the project'
                continue
            target_module = module_of(target)
            if target_module != module and target_module not in ARROWS[module]:
                yield path, number, f"{module} may not include {target_module} ({target})"


def check_names(files):
    by_name = defaultdict(list)
    for path in files:
        if path.name != "CMakeLists.txt":
            by_name[path.name].append(path)
    for paths in by_name.values():
        for path in paths[1:]:
            yield path, 1, f"has the same name as {paths[0]}"


def check_words(files):
    for path in files:
        if path.suffix not in TEXT_SUFFIXES:
            continue
        for number, line in lines_of(path):
            match = FORBIDDEN.search(line)
            if match:
                yield path, number, f'the words "{match.group(0)}"'


def check_format(files):
    if shutil.which("clang-format") is None:
        yield Path("scripts/check-arrows.sh"), 1, "clang-format is not installed"
        return
    sources = [path.as_posix() for path in files if path.suffix in SOURCE_SUFFIXES]
    run = subprocess.run(["clang-format", "--dry-run", "-Werror", *sources], capture_output=True, text=True, check=False)
    for match in re.finditer(r"^(.+?):(\d+):\d+: error: (.*)$", run.stderr, re.MULTILINE):
        yield Path(match.group(1)), match.group(2), match.group(3)
    if run.returncode != 0 and "error:" not in run.stderr:
        yield Path("scripts/check-arrows.sh"), 1, run.stderr.strip()


def check_headers(files):
    """Each public header compiles alone, twice in one file, as C11 and as C++20."""
    warnings = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", "-Iinclude"]
    options = warnings + shlex.split(os.environ.get("CFLAGS", ""))
    languages = {
        ".c": [os.environ.get("CC", "gcc"), "-std=c11"],
        ".cpp": [os.environ.get("CXX", "g++"), "-std=c++20"],
    }
    headers = [path for path in files if module_of(path) in PUBLIC and path.suffix == ".h"]
    if not headers:
        yield Path("include"), 1, "no public headers found"
    with tempfile.TemporaryDirectory() as folder:
        for header in headers:
            name = header.relative_to("include").as_posix()
            for suffix, command in languages.items():
                source = Path(folder, "Alone" + suffix)
                source.write_text(f"#include <{name}>\n#include <{name}>\n", encoding="utf-8")
                run = subprocess.run(
                    [*command, *options, source.as_posix()], capture_output=True, text=True, check=False
                )
                if run.returncode != 0:
                    yield header, 1, f"does not compile alone ({command[1]}):\n{run.stderr.strip()}"


def main():
    checks = [check_arrows, check_names, check_words, check_headers, check_format]
    if "--skip-format" in sys.argv[1:]:
        checks.remove(check_format)
        print("formatting: not checked, as asked")
    files = list(tree_files())
    findings = 0
    for check in checks:
        for path, line, message in check(files):
            print(f"{path}:{line}: {message}")
            findings += 1
    print(f"{len(files)} files, {findings} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
