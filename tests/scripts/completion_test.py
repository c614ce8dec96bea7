#!/usr/bin/env python3
"""Asks each shell for the completions of the program: bash, zsh and fish must offer every option of
--help, the tests behind --quick=, files behind --report and operations behind recover. Ends with 77,
"skipped", where a shell is missing and nothing else is wrong.
usage: completion_test.py FOLDER_OF_THE_PROGRAM"""
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time

FOLDER = pathlib.Path(__file__).resolve().parent.parent.parent / "host/cli/completion"
PROGRAM = "OstriaDiagnosticsCLI"
# Beginnings of command lines and what is offered behind them.
CASES = [
    ("--quick=s", ["short-self-test", "smart-status", "smart-wearout"]),
    ("recover ", ["scan", "repair", "filesystem", "filterDevices"]),
    ("--report re", ["report_of_a_day.html"]),
    ("--assume ", ["yes", "no"]),
]


def options_of(binaries):
    text = subprocess.run([os.path.join(binaries, PROGRAM), "--help"], capture_output=True,
                          text=True, check=True).stdout
    return sorted(set(re.findall(r"(?m)^ +(--[a-z][a-z-]+)", text)))


def bash(line, folder):
    words = ([PROGRAM] + line.replace("=", " = ").split() if not line.endswith(" ")
             else [PROGRAM] + line.split() + [""])
    script = ("source %s; COMP_WORDS=(%s); COMP_CWORD=%d; COMP_LINE=%r; COMP_POINT=${#COMP_LINE};"
              "$(complete -p %s | sed -E 's/.*-F ([^ ]+).*/\\1/'); printf '%%s\\n' \"${COMPREPLY[@]}\"")
    script %= (FOLDER / (PROGRAM + ".bash"), " ".join("'%s'" % w for w in words), len(words) - 1,
               PROGRAM + " " + line, PROGRAM)
    return subprocess.run(["bash", "--norc", "-c", script], cwd=folder, capture_output=True,
                          text=True, check=False).stdout


def fish(line, folder):
    script = "source %s; complete -C '%s %s'" % (FOLDER / (PROGRAM + ".fish"), PROGRAM, line)
    return subprocess.run(["fish", "--no-config", "-c", script], cwd=folder, capture_output=True,
                          text=True, check=False, env=dict(os.environ, HOME=str(folder))).stdout


def read_until(terminal, mark, seconds=20):
    """What the shell writes, up to a mark or until it is silent."""
    out = b""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if not select.select([terminal], [], [], 2.0 if mark is None else 0.2)[0]:
            if mark is None:
                break
            continue
        try:
            out += os.read(terminal, 65536)
        except OSError:
            break
        if mark is not None and mark in out:
            break
    return out


def zsh(line, folder):
    """zsh completes in its line editor alone, so it gets a terminal and a key."""
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(folder)
        os.execvpe("zsh", ["zsh", "-f", "-i"], dict(os.environ, TERM="dumb", HOME=str(folder)))
    setup = ("stty rows 200 cols 250; fpath=(%s $fpath); autoload -Uz compinit; compinit -u -D;"
             "setopt no_beep auto_list no_list_ambiguous; LISTMAX=1000; PS1='ready''> '\n" % FOLDER)
    os.write(terminal, setup.encode())
    read_until(terminal, b"ready> ")
    os.write(terminal, ("%s %s\t" % (PROGRAM, line)).encode())
    out = read_until(terminal, None)
    os.write(terminal, b"\t")
    out += read_until(terminal, None)
    os.close(terminal)
    os.waitpid(child, 0)
    return out.decode(errors="replace")


def main():
    options = options_of(sys.argv[1])
    missing = []
    wrong = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "report_of_a_day.html").write_text("")
        for shell, ask in (("bash", bash), ("zsh", zsh), ("fish", fish)):
            if shutil.which(shell) is None:
                missing.append(shell)
                continue
            for line, offered in [("--", options)] + CASES:
                answer = ask(line, folder)
                absent = [word for word in offered
                          if not re.search(re.escape(word) + r"(?![a-z-])", answer)]
                if absent:
                    wrong += 1
                    print("%s: %r does not offer %s" % (shell, line, ", ".join(absent)))
    print("%d options, %d wrong%s" % (len(options), wrong,
                                      ", not installed: " + ", ".join(missing) if missing else ""))
    return 1 if wrong or len(options) < 20 else 77 if missing else 0


sys.exit(main())
