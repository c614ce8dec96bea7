#!/usr/bin/env python3
"""Plants one fault at a time in a small tree and looks whether the checks of scripts/ find it."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"
LAYERS = "include:\nsrc/base:\nsrc/transport: src/base\nsrc/module: include src/base src/transport\n"
GOOD = {
    "scripts/layers.txt": LAYERS,
    "include/README.md": "The contract.\n",
    "include/contract.h": "#pragma once\n",
    "src/README.md": "The module.\n",
    "src/base/bytes.h": "#pragma once\n#include <cstdint>\n",
    "src/transport/send.h": '#pragma once\n#include "base/bytes.h"\n',
    "src/module/entry.cpp": '// The entry point.\n#include <contract.h>\n#include "transport/send.h"\n',
}


def run(script, files):
    """@return (exit code, output) of the check in a tree of its own"""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["git", "init", "-q", folder], check=True)
        for name, text in files.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        done = subprocess.run([sys.executable, SCRIPTS / script, folder], capture_output=True, text=True)
        return done.returncode, done.stdout + done.stderr


class Checks(unittest.TestCase):
    def test_a_clean_tree_passes(self):
        for script in ("check-layers", "check-house"):
            code, output = run(script, GOOD)
            self.assertEqual(code, 0, output)

    def test_planted_faults_are_named(self):
        cases = (
            ("check-layers", "src/base/bytes.h", '#include "transport/send.h"\n',
             "src/base/bytes.h:1: src/base may not include src/transport/send.h"),
            ("check-layers", "src/transport/send.h", '#pragma once\n#  include  <contract.h>\n',
             "src/transport/send.h:2: src/transport may not include include/contract.h"),
            ("check-layers", "src/transport/send.h", '#include "gone.h"\n', "gone.h is no file of this tree"),
            ("check-layers", "src/new/a.cpp", "\n", "src/new/a.cpp: its folder has no line"),
            ("check-house", "src/module/entry_test.cpp", "// A unit test?\n", "do not end in _test"),
            ("check-house", "src/module/silent.cpp", "int x;\n", "begins without a comment"),
            ("check-house", "src/module/a.cpp", "// An a.\nint theRoads = 0;\n", 'a.cpp:2: "Roads"'),
            ("check-house", "docs/a.md", "We were told.\n", 'docs/a.md:1: "told"'),
            ("check-house", "src/base/a.h", "#if defined(_WIN32)\n#endif\n", "platform switch"),
            ("check-house", "src/base/b.h", "inline constexpr std::uint8_t Never = 1;\n", "b.h:1: a constant is kPascal"),
            ("check-house", "src/base/long.h", "\n" * 500, "longer than"),
            ("check-house", "host/a.h", "#pragma once\n", "host/README.md: is missing"),
        )
        for script, name, text, expected in cases:
            with self.subTest(name=name, expected=expected):
                code, output = run(script, GOOD | {name: text})
                self.assertEqual(code, 1)
                self.assertIn(expected, output)

    def test_what_only_looks_like_a_fault_passes(self):
        for name, text in (("src/module/a.cpp", "// A broader controlled retoldness.\n"),
                           ("src/platform/x/a.cpp", "// A platform.\n#ifdef _WIN32\n#endif\n")):
            code, output = run("check-house", GOOD | {name: text})
            self.assertEqual(code, 0, output)


if __name__ == "__main__":
    unittest.main()
