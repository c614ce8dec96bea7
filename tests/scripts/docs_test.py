#!/usr/bin/env python3
"""Runs the commands of the documents, of --help and of the manual page. Those of the program run on
a virtual PC in a folder of their own; of the others the programs, options, presets, targets and
tests must be there, and so must each file that a document names.
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
    "build/": "a program of the tests; part of ctest",
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


def files_of_tree(pattern):
    """The files of the tree, but not what was built or fetched."""
    paths = list(TOP.glob(pattern))
    for room in sorted(TOP.iterdir()):
        if room.is_dir() and room.name != "build" and not room.name.startswith("."):
            paths += sorted(room.rglob(pattern))
    return paths


def documents():
    for path in files_of_tree("*.md"):
        yield path.relative_to(TOP).as_posix(), path.read_text(encoding="utf-8")


def is_command(line):
    word = line.split(" ")[0]
    return word.endswith(PROGRAM) or any(word == o or (o[-1] == "/" and word.startswith(o))
                                         for o in OTHERS)


def document_commands():
    for name, text in documents():
        for line in code_lines(text):
            if is_command(line):
                yield name, line
        for line in re.findall(r"`([^`\n]+)`", text):
            # Within a sentence the program's lines are cut short; the others are whole.
            if " " in line and is_command(line) and not line.split(" ")[0].endswith(PROGRAM):
                yield name, line


def manual_commands():
    text = (TOP / "host/cli/man" / (PROGRAM + ".8")).read_text(encoding="utf-8")
    examples = text[text.index(".SH EXAMPLES"):]
    for line in examples.splitlines():
        if line.startswith(PROGRAM):
            yield "manual page", line.replace("\\-", "-")


def named_files():
    """Document and name of each file or folder of the tree that a document names."""
    rooms = [TOP / room for room in ("", "src", "host", "virtual_pc", "tests")]
    for document, text in documents():
        for word in re.findall(r"`([\w.-]+/[\w./{},-]*)[` ]", text):
            # Words in capitals stand for a name, and what is built is not there yet.
            if word.startswith("build/") or re.search(r"(^|/)[A-Z]+\b(?!\.md)", word):
                continue
            tops = rooms + [(TOP / document).parent]
            inside = [top for top in tops if (top / word.split("/")[0]).is_dir()]
            choice = re.search(r"{(.*)}", word)
            names = [word.replace(choice.group(0), part) for part in choice.group(1).split(",")] \
                if choice else [word]
            for name in names if inside else []:
                if not any((top / (name + end)).exists() for top in inside
                           for end in ("", ".cpp", ".h")):
                    yield document, name


def fault_of_command(line, binaries):
    """What a command names and is not there, or nothing. Such commands are not run here."""
    words = re.split(r"\s{2,}|\s+# ", line)[0].split()
    targets = "".join(path.read_text(encoding="utf-8")
                      for pattern in ("CMakeLists.txt", "*.cmake") for path in files_of_tree(pattern))
    shown = json.loads((TOP / "CMakePresets.json").read_text(encoding="utf-8"))
    presets = [preset["name"] for preset in shown["configurePresets"]]
    script = TOP / words[0] if "/" in words[0] and not words[0].startswith("build/") else None
    if script and not os.access(script, os.X_OK):
        return "there is no such program"
    for word, after in zip(words, words[1:] + [""]):
        if word == "--preset" and after not in presets:
            return "there is no preset " + after
        if word == "--target" and not re.search(r"\b%s\b" % after, targets):
            return "there is no target " + after
        program = re.match(r"build/\w+/bin/(\w+)$", word)
        if program and not re.search(r"\b%s\b" % program.group(1), targets):
            return "there is no program " + program.group(1)
        tests = re.match(r"--gtest_filter='?([^']*)", word)
        if tests and not fits_tests(words, binaries, tests.group(1)):
            return "no test fits " + tests.group(1)
        if script and word.startswith("--") and word not in script.read_text(encoding="utf-8"):
            return "it has no option " + word
    return None


def fits_tests(words, binaries, tests):
    names = [re.sub(r".*/", "", word) for word in words if re.match(r"build/\w+/bin/", word)]
    program = binaries / names[-1]
    if not program.exists():
        return True  # another build's
    listed = subprocess.run([program, "--gtest_list_tests", "--gtest_filter=" + tests],
                            capture_output=True, text=True, check=True).stdout
    return re.search(r"^  \S", listed, re.M) is not None


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
            else:
                fault = fault_of_command(line, binaries)
            if fault is not None:
                wrong += 1
                print("%s: %s\n  %s" % (origin, line, fault))
    for document, name in named_files():
        wrong += 1
        print("%s: there is no %s" % (document, name))
    print("%d commands, %d of them run, %d wrong" % (len(commands), ran, wrong))
    # A change of the documents' form must not leave them unread.
    return 1 if wrong or ran < 25 else 0


sys.exit(main())
