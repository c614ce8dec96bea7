"""Compares what the program says on two systems, command line by command line."""
import json
import os
import re
import subprocess
import tempfile

# Values that differ between two runs on one system as well.
TIMES = re.compile(r"^(time|started_at|finished_at|recorded_at|.*_time|duration_seconds)$")


class Difference(Exception):
    pass


def plain(value, key=""):
    """The value without what depends on the moment."""
    if TIMES.match(key) and isinstance(value, (str, int, float)):
        return "(a time)"
    if isinstance(value, dict):
        return {name: plain(inner, name) for name, inner in value.items()}
    if isinstance(value, list):
        return [plain(inner, key) for inner in value]
    return value


def parsed(text):
    """One document, or one for each line. Lines of Wine itself are none of the program's, and how often progress is
    reported depends on the speed of the machine."""
    try:
        return plain(json.loads(text))
    except ValueError:
        lines = text.decode().replace("\r\n", "\n").splitlines()
        documents = [plain(json.loads(line)) if line.startswith("{") else line for line in lines
                     if not line.startswith("wine:")]
        return [one for one in documents if not isinstance(one, dict) or one.get("event") != "progress"]


def first_difference(left, right, where="$"):
    if isinstance(left, dict) and isinstance(right, dict) and left.keys() == right.keys():
        pairs = [(left[key], right[key], f"{where}.{key}") for key in left]
    elif isinstance(left, list) and isinstance(right, list) and len(left) == len(right):
        pairs = [(one, other, f"{where}[{i}]") for i, (one, other) in enumerate(zip(left, right))]
    else:
        return None if left == right else f"{where}: {left!r:.300} there, {right!r:.300} here"
    return next((found for pair in pairs if (found := first_difference(*pair))), None)


def tests_of_help(text):
    """(letter of the diagnostic, its name, letters and names of its tests) from the help."""
    found = []
    for title, letter, name in (("Quick Tests:", "Q", "quick"), ("Extended Tests:", "E", "extended")):
        part = text.split(title, 1)[1]
        rows = re.match(r"(?:\n\t\w, [\w-]+ .*)+", part).group(0)
        found.append((letter, name, re.findall(r"\n\t(\w), ([\w-]+) ", rows)))
    return found


def command_lines(help_text):
    """Every option and every test of the help, by letter and by name, and its examples."""
    module = ["-Mstorage"]
    # One of each protocol; they are small, so that whole scans take seconds.
    some = ["4", "8", "11", "16"]
    lines = [["--help"], ["--version"], module, ["--list"], module + ["--show"],
             module + ["--show", "0", "7"], module + ["smart"], module + ["smart", "2"],
             module + ["-Q", *some], module + ["-Q", "--redact", "2", "10"], module + ["--show", "--redact"],
             module + ["-Qm", "VPC-SSD-0001"], module + ["-Qm", "99"], module + ["-Qz", "0"],
             module + ["-Qm", "0", "--read-only"], module + ["--no-such-option"],
             module + ["recover", "scan", "2"], module + ["recover", "filterDevices"],
             module + ["recover", "repair"], module + ["recover", "repair", "2", "--read-only"],
             module + ["recover", "repair", "2", "--assume", "yes"],
             module + ["recover", "repair", "2", "--assume", "no"],
             module + ["recover", "filesystem", "0", "--assume", "yes"],
             module + ["-Ew", "6", "--assume-write", "VPC-NVM-0001", "--assume", "yes"],
             module + ["-Ew", "6"], module + ["-Q", "-E", "0", "1"],
             module + ["-Qm", "--record"], ["--history"], module + ["--config", "none.ini", "-Qm", "0"],
             module + ["--texts", "none.txt"], module + ["-Qm", "0", "--set", "ENABLE_SMART_HEALTH_TEST=1"],
             module + ["-Qm", "0", "-q", "--note", "ticket=1"], module + ["recover", "scan", "2", "-o", "sectors.txt"],
             ["--help", "m"], ["--help", "repair"], ["--compare"], ["--history", "--test", "smart-status"],
             module + ["-Qm", "0", "--report", "report.html"]]
    for letter, name, tests in tests_of_help(help_text):
        for short, long in tests:
            lines.append(module + [f"-{letter}{short}", *some])
            lines.append(module + [f"--{name}={long}", "13", "17"])
    for example in re.findall(r"OstriaDiagnosticsCLI (-Mstorage -.*\d.*)", help_text):
        words = example.replace('"', "").split()
        # On small drives in place of the first two, and of all.
        words = [{"0": "4", "1": "8"}.get(word, word) for word in words]
        lines.append(words if words[-1].isdigit() else [*words, "4"])
    return lines


def compare(wine, program, linux_program):
    """Returns the number of command lines. What differs ends it with the first of them."""
    help_text = subprocess.run([linux_program, "--help"], check=True, text=True,
                               capture_output=True).stdout
    with tempfile.TemporaryDirectory() as state:
        environment = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": state,
                       "XDG_STATE_HOME": state}
        lines = command_lines(help_text)
        differences = []
        for line in lines:
            arguments = [*line, "--virtual", "--json", "--progress=json"]
            there = subprocess.run([linux_program, *arguments], env=environment, cwd=state,
                                   capture_output=True, stdin=subprocess.DEVNULL, check=False)
            here = wine.run([program, *arguments], cwd=wine.drive)
            found = None
            if there.returncode != here.returncode:
                found = f"exit code {there.returncode} there, {here.returncode} here: {here.stderr!r:.600}"
            found = (found or first_difference(parsed(there.stdout), parsed(here.stdout))
                     or first_difference(parsed(there.stderr), parsed(here.stderr), "standard error"))
            if found:
                differences.append(f"{' '.join(line)}: {found}")
    if differences:
        raise Difference("answers differ:\n" + "\n".join(differences))
    return len(lines)
