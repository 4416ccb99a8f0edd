"""The check of the house finds each kind of fault: a small tree is made with one fault at a time."""

import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

SCRIPTS = Path(__file__).resolve().parents[2] / "scripts"

SOUND = {
    ".clang-format": "BasedOnStyle: LLVM\n",
    "include/vxkernel/files.h": "#ifndef F\n#define F\n#include <stdint.h>\nint32_t a(void);\n#endif\n",
    "include/vxfax/vxfax.h": '#ifndef V\n#define V\n#include "../vxkernel/files.h"\n#endif\n',
    "include/vxtif/info.h": '#ifndef I\n#define I\n#include "../vxkernel/files.h"\n#endif\n',
    "platform/kernel/Kernel.cpp": '#include "vxkernel/files.h"\n',
    "platform/fax/Fax.cpp": '#include "vxfax/vxfax.h"\n',
    "Common/tif_com/Com.h": "#include <vxkernel/files.h>\n",
    "Common/Tifutil/Util.h": '#include "tif_com/Com.h"\n',
    "Common/Tif_lzw/Lzw.h": '#include "Tifutil/Util.h"\n',
    "Common/Tifpage/Pages.h": '#include "Tifutil/Util.h"\n',
    "Common/Tif/Load.cpp": '#include "Tif_lzw/Lzw.h"\n#include "Tifpage/Pages.h"\n',
    "toolkit/Host.h": "#include <string>\n#include <vxtif/info.h>\n",
    "tools/vxtif/Main.cpp": '#include "toolkit/Host.h"\n',
    "tests/any/AnyTest.cpp": '#include "Tif_lzw/Lzw.h"\n#include "toolkit/Host.h"\n',
    "docs/page.md": "Special words: party 3.2, specific, inspect.\n",
}

# What to put where, and what the finding says.
FAULTS = [
    ("platform/kernel/Kernel.cpp", "#include <vxtif/info.h>\n", "platform/kernel may not include include/vxtif"),
    ("platform/kernel/Kernel.cpp", "#include <vxfax/vxfax.h>\n", "platform/kernel may not include include/vxfax"),
    ("platform/fax/Fax.cpp", '#include "tif_com/Com.h"\n', "platform/fax may not include Common/tif_com"),
    ("include/vxkernel/files.h", '#include "../vxtif/info.h"\n', "include/vxkernel may not include include/vxtif"),
    ("Common/tif_com/Com.h", '#include "Tifutil/Util.h"\n', "Common/tif_com may not include Common/Tifutil"),
    ("Common/Tifutil/Util.h", '#include "Tif_lzw/Lzw.h"\n', "Common/Tifutil may not include Common/Tif_lzw"),
    ("Common/Tif_lzw/Lzw.h", '#include "Tifpage/Pages.h"\n', "Common/Tif_lzw may not include Common/Tifpage"),
    ("Common/Tif/Load.cpp", '#include "toolkit/Host.h"\n', "Common/Tif may not include toolkit"),
    ("Common/Tif/Load.cpp", '#include "../../tests/any/AnyTest.cpp"\n', "Common/Tif may not include tests"),
    ("toolkit/Host.h", '#include "tif_com/Com.h"\n', "toolkit may not include Common/tif_com"),
    ("tools/vxtif/Main.cpp", '#include "Tif_lzw/Lzw.h"\n', "tools/vxtif may not include Common/Tif_lzw"),
    ("Common/Tif/Load.cpp", '#include "Missing.h"\n', '"Missing.h" is no file of the project'),
    ("stray/Stray.cpp", "\n", "a source outside all modules"),
    ("Common/Tif/Com.h", "\n", "has the same name as"),
    ("include/vxkernel/files.h", "size_t b(void);\n", "does not compile alone"),
    ("include/vxkernel/files.h", "#ifndef __cplusplus\nnonsense\n#endif\n", "does not compile alone (-std=c11)"),
    ("include/vxkernel/files.h", "#ifdef __cplusplus\nnonsense\n#endif\n", "does not compile alone (-std=c++20)"),
    ("include/vxkernel/twice.h", "struct S { int s; };\n", "does not compile alone"),
    ("platform/kernel/Kernel.cpp", "int  f( ) ;\n", "code should be clang-formatted"),
    ("docs/page.md", "as told in Part " + "3.2\n", "the words"),
    ("docs/page.md", "see sp" + "ec.md\n", "the words"),
    ("docs/page.md", "The sp" + "ec says\n", "the words"),
    ("docs/page.md", "by the sp" + "ecification\n", "the words"),
    ("docs/page.md", "done as sp" + "ecified\n", "the words"),
    ("Common/Tif/Load.cpp", "// TO" + "DO: more\n", "the words"),
    ("CMakeLists.txt", "# FIX" + "ME\n", "the words"),
    ("scripts/run.sh", "cd /wo" + "rk/tree\n", "the words"),
]


class ArrowsFindFaults(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.root = Path(self.folder.name)
        (self.root / "scripts").mkdir()
        for script in ("check-arrows.sh", "check_arrows.py"):
            shutil.copy(SCRIPTS / script, self.root / "scripts")
        for name, text in SOUND.items():
            self.append(name, text)

    def tearDown(self):
        self.folder.cleanup()

    def append(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        with open(path, "a", encoding="utf-8") as out:
            out.write(text)

    def run_check(self):
        run = subprocess.run([self.root / "scripts/check-arrows.sh"], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout + run.stderr

    def test_a_sound_tree_has_no_findings(self):
        status, output = self.run_check()
        self.assertEqual(status, 0, output)
        self.assertRegex(output, r"\b0 findings")

    def test_each_fault_is_found_at_its_file(self):
        for name, text, message in FAULTS:
            with self.subTest(file=name, fault=text):
                self.tearDown()
                self.setUp()
                self.append(name, text)
                status, output = self.run_check()
                self.assertEqual(status, 1, output)
                # A duplicate is told at the second of the two names.
                place = r"\S+" if "same name" in message else re.escape(name)
                self.assertRegex(output, rf"(?m)^{place}:\d+: .*{re.escape(message)}")


if __name__ == "__main__":
    unittest.main()
