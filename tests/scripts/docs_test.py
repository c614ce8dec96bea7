#!/usr/bin/env python3
"""Runs the commands of the documents, of --help and of the manual page. Those of the program run on
a virtual PC in a folder of their own; of the others the programs and files must be there.
usage: docs_test.py FOLDER_OF_THE_PROGRAM"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAM = "OstriaDiagnosticsCLI"
# What is proved elsewhere, or takes another machine.
OTHERS = {
    "cmake": "a build; scripts/test makes it",
    "ctest": "runs this test",
    "ninja": "a build",
    "valgrind": "by hand, hours",
    "sqlite3": "of the file of the records, which only root has",
    "promtool": "tests/scripts/metrics_test.py",
    "scripts/": "the proof, of which this is a part",
    "benchmarks/": "scripts/test runs it",
    "tests/machine/run": "scripts/test runs it",
    "tests/wine/run": "scripts/test --full runs it",
    "build/release/bin/fault_tests": "part of ctest",
    "build/release/bin/module_fuzz": "part of ctest, in short",
}
# Good, watched, failed or not performed: each is an answer. A command that is not understood or
# could not be carried out has none of these.
ANSWERS = (0, 1, 3, 5)


def code_lines(text):
    """The lines of the code blocks, fenced or indented, with continuations joined."""
    fenced = False
    for line in re.sub(r"\\\n\s*", "", text).splitlines():
        if line.startswith("```"):
            fenced = not fenced
        elif fenced or line.startswith("    "):
            yield line.strip()


def document_commands():
    for path in sorted(TOP.glob("docs/*.md")) + [TOP / "README.md"]:
        for line in code_lines(path.read_text(encoding="utf-8")):
            word = line.split(" ")[0]
            if word.endswith(PROGRAM) or any(word == o or (o[-1] == "/" and word.startswith(o))
                                             or (o[-1] != "/" and "/" in o and word == o)
                                             for o in OTHERS):
                yield path.name, line


def manual_commands():
    text = (TOP / "host/cli/man" / (PROGRAM + ".8")).read_text(encoding="utf-8")
    examples = text[text.index(".SH EXAMPLES"):]
    for line in examples.splitlines():
        if line.startswith(PROGRAM):
            yield "manual page", line.replace("\\-", "-")


def files_of_documents(folder):
    """The files that the commands name, from the document that shows them."""
    text = (TOP / "docs/virtual-pc.md").read_text(encoding="utf-8")
    lesson = re.search(r"```json\n(.*?)```", text, re.S).group(1)
    json.loads(lesson)
    (folder / "lesson3.json").write_text(lesson, encoding="utf-8")


def run(line, folder, binaries):
    """Runs one command of the program; returns what is wrong with it, or nothing."""
    # A remark stands behind two blanks.
    line = re.split(r"\s{2,}(?=\S)|\s+# ", line)[0]
    line = re.sub(r"^\S*" + PROGRAM, str(binaries / PROGRAM), line)
    line = re.sub(r"(?<= )/(dev|var)/\S*", lambda m: "0" if m.group(1) == "dev" else "file.out", line)
    if "--virtual" not in line:
        # Whoever names no drive means all of them, and these are few.
        few = not re.search(r" [2-9]$", line)
        line += " --virtual" + ("=" + str(TOP / "tests/host/two_drives.json") if few else "")
    done = subprocess.run(["bash", "-c", line], cwd=folder, capture_output=True, text=True,
                          check=False, timeout=250, stdin=subprocess.DEVNULL,
                          env=dict(os.environ, OSTRIA_RESULTS=str(folder / "results.sqlite")))
    return None if done.returncode in ANSWERS else "%d: %s" % (done.returncode, done.stderr[-300:])


def main():
    binaries = pathlib.Path(sys.argv[1]).resolve()
    shown = subprocess.run([binaries / PROGRAM, "--help"], capture_output=True, text=True,
                           check=True).stdout
    commands = list(document_commands()) + list(manual_commands())
    commands += [("--help", line.strip()) for line in shown.splitlines()
                 if line.strip().startswith(PROGRAM)]
    ran = wrong = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        files_of_documents(folder)
        for origin, line in commands:
            word = line.split(" ")[0]
            fault = None
            if word.endswith(PROGRAM):
                ran += 1
                fault = run(line, folder, binaries)
            elif "/" in word and not word.startswith("build/"):
                fault = None if os.access(TOP / word, os.X_OK) else "there is no such program"
            if fault is not None:
                wrong += 1
                print("%s: %s\n  %s" % (origin, line, fault))
    print("%d commands, %d of them run, %d wrong" % (len(commands), ran, wrong))
    # A change of the documents' form must not leave them unread.
    return 1 if wrong or ran < 25 else 0


sys.exit(main())
