"""Compares what the program says on two systems, command line by command line."""
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import tempfile

# What differs between two runs on one system as well: moments and durations, and how far a test was when it was last
# asked, which is what the end of a test repeats.
TIMES = re.compile(r"^(time|started_at|finished_at|recorded_at|.*_time|duration_seconds)$")
LAST_PROGRESS = {"position_sector", "bytes_per_second", "slowest_milliseconds", "bad_blocks"}
STAMPS = re.compile(r"\d{4}-\d\d-\d\d[T ]\d\d:\d\d(:\d\d)?Z?|(?<=timestamp_seconds )\d+|"
                    r"(?<=after )\d+:\d\d")
# What differs between two systems: where tests read that draw their sectors with the C library's `rand`, and where
# results are kept. With --jobs each drive has a process with progress of its own, but not on Windows.
DRAWN = {"RANDOM_SEEK_TEST", "FUNNEL_SEEK_TEST"}
KEPT_IN = re.compile(r"\S+[/\\]results\.(sqlite|jsonl)")


class Difference(Exception):
    pass


def plain(value, key=""):
    """The value without what is known to differ."""
    if TIMES.match(key) and isinstance(value, (str, int, float)):
        return "(a time)"
    if isinstance(value, dict):
        drawn = isinstance(value.get("test"), dict) and value["test"].get("key") in DRAWN
        ended = value.get("event") in ("test_finished", "tool_finished")
        return {name: plain(inner, name) for name, inner in value.items()
                if not (drawn and name == "read_times") and not (ended and name in LAST_PROGRESS)}
    if isinstance(value, list):
        return [plain(inner, key) for inner in value]
    return KEPT_IN.sub("(the results)", value) if isinstance(value, str) else value


def parsed(text):
    """One document, or one for each line. Lines of Wine itself are none of the program's, and how often progress is
    reported depends on the speed of the machine."""
    lines = [line for line in text.decode().splitlines() if not line.startswith("wine:")]
    try:
        return plain(json.loads("\n".join(lines)))
    except ValueError:
        documents = [plain(json.loads(line)) if line.startswith("{") else line for line in lines]
        return [one for one in documents if not isinstance(one, dict) or one.get("event") != "progress"]


def plain_text(content):
    """Lines of a file that the program wrote, as they are on each system."""
    return STAMPS.sub("(a time)", content.decode()).splitlines()


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


def sessions(help_text):
    """Every option and every test of the help, by letter and by name, and its examples: lists of command lines, each
    list run in order in a folder of its own."""
    module = ["-Mstorage"]
    # One of each protocol; they are small, so that whole scans take seconds.
    some = ["4", "8", "11", "16"]
    lines = [["--help"], ["--version"], module, ["--list"], module + ["--show"],
             module + ["--show", "0", "7"], module + ["smart"], module + ["smart", "2"],
             module + ["-Q", *some], module + ["-Q", "--redact", "2", "10"], module + ["--show", "--redact"],
             module + ["-Qm", "VPC-SSD-0001"], module + ["-Qm", "99"], module + ["-Qz", "0"],
             module + ["-Qm", "0", "--read-only"], module + ["--no-such-option"],
             module + ["recover", "filterDevices"],
             module + ["recover", "repair"], module + ["recover", "repair", "2", "--read-only"],
             module + ["recover", "repair", "2", "--assume", "yes"],
             module + ["recover", "repair", "2", "--assume", "no"],
             module + ["recover", "repair", "0", "--assume", "yes", "--force-mounted"],
             module + ["recover", "filesystem", "0", "--assume", "yes"],
             module + ["recover", "scan", "2", "-o", "sectors.txt"],
             module + ["-Ew", "6", "--assume-write", "VPC-NVM-0001", "--assume", "yes"],
             module + ["-Ew", "6"], module + ["--config", "none.ini", "-Qm", "0"],
             module + ["--texts", "none.txt"], module + ["-Qm", "0", "--set", "ENABLE_SMART_HEALTH_TEST=1"],
             module + ["-Qm", "0", "-q", "--note", "ticket=1"], module + ["-Qm", "--jobs", "4", "--wake"],
             ["--help", "m"], ["--help", "repair"], ["--metrics", "numbers.prom"],
             ["--capture", "machine.json", "4", "--redact"],
             module + ["-Q", "2", "4", "--report", "report.html"]]
    for letter, name, tests in tests_of_help(help_text):
        for short, long in tests:
            lines.append(module + [f"-{letter}{short}", *some])
            lines.append(module + [f"--{name}={long}", "13", "17"])
    for example in re.findall(r"OstriaDiagnosticsCLI (-Mstorage -.*\d.*)", help_text):
        words = example.replace('"', "").split()
        # On small drives in place of the first two, and of all.
        words = [{"0": "4", "1": "8"}.get(word, word) for word in words]
        lines.append(words if words[-1].isdigit() else [*words, "4"])
    kept = [module + ["-Qm", "--record"], module + ["-Qm", "2", "--record"], ["--history"],
            ["--history", "--test", "smart-status"], ["--compare"]]
    return [*([line] for line in lines), kept]


class Linux:
    """The program of the other build, with a state folder of its own."""

    def __init__(self, program, folder):
        self.program = program
        self.folder = pathlib.Path(folder)
        self.environment = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(folder),
                            "OSTRIA_RESULTS": str(self.folder / "results.sqlite")}

    def run(self, arguments, **options):
        return subprocess.run([self.program, *arguments], env=self.environment, capture_output=True,
                              stdin=subprocess.DEVNULL, check=False, timeout=600, **options)


def written(folder):
    """The files of a folder, without moments."""
    return {path.name: plain_text(path.read_bytes()) for path in sorted(folder.iterdir())}


def differences(linux, windows, number, lines):
    """What a session says and writes differently, one sentence for each."""
    found = []
    folders = [system.folder / f"session{number}" for system in (linux, windows)]
    for folder in folders:
        folder.mkdir()
    for line in lines:
        arguments = [*line, "--virtual", "--json", "--progress=json"]
        there, here = (system.run(arguments, cwd=folder)
                       for system, folder in zip((linux, windows), folders))
        events = [parsed(done.stderr) for done in (there, here)]
        if "--jobs" in line:
            events = [[], []]
        difference = None
        if there.returncode != here.returncode:
            difference = f"exit code {there.returncode} there, {here.returncode} here: {here.stderr!r:.600}"
        difference = (difference or first_difference(parsed(there.stdout), parsed(here.stdout))
                      or first_difference(*events, "standard error")
                      or first_difference(*map(written, folders), "files"))
        if difference:
            found.append(f"{' '.join(line)}: {difference}")
    return found


def compare(windows, linux_program):
    """Returns the number of command lines. What differs ends it, all of it in one message."""
    with tempfile.TemporaryDirectory() as state:
        linux = Linux(linux_program, state)
        all_sessions = sessions(linux.run(["--help", "--virtual"]).stdout.decode())
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            found = pool.map(lambda one: differences(linux, windows, *one), enumerate(all_sessions))
            found = [difference for session in found for difference in session]
    if found:
        raise Difference("answers differ:\n" + "\n".join(found))
    return sum(map(len, all_sessions))
