"""The tests that read, on disks with and without bad sectors, and what SCSI disks say of themselves."""

import json
import re
import signal
import subprocess
import time

from checks_medium import COUNT, FIRST, setting


def watched(bench, *arguments):
    """Exit code, the document, and the percents that a user saw."""
    command = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", *arguments, "--json", "--progress=json")
    done = subprocess.run(command, capture_output=True, text=True, timeout=170, check=False)
    print("$", *command, "->", done.returncode, flush=True)
    events = [json.loads(line) for line in done.stderr.splitlines() if line.startswith("{")]
    return done.returncode, json.loads(done.stdout), [e["percent"] for e in events if e["event"] == "progress"]


def results(document):
    return [run["result"] for run in document.get("test_runs", [])]


def answer(bench, pattern, *command):
    """What a tool of the SCSI utilities prints behind a label; None when it prints no such line."""
    _, text = bench.run(*command)
    found = re.search(pattern, text)
    return found and found.group(1).strip()


def identity(bench, drive, index):
    _, document = bench.product("--show", index)
    device = document["devices"][0]
    inquiry = ("sg_inq", drive.node)
    bench.equal(f"reading: {drive.marker} says who it is as sg_inq reads it",
                [device[key] for key in ("manufacturer", "model", "firmware", "serial")],
                [answer(bench, r"Vendor identification: (.*)", *inquiry), answer(bench, r"Product identification: (.*)", *inquiry),
                 answer(bench, r"Product revision level: (.*)", *inquiry),
                 answer(bench, r"Unit serial number: (.*)", *inquiry)])
    capacity = ("sg_readcap", "--16", drive.node)
    blocks = answer(bench, r"Number of logical blocks=(\d+)", *capacity)
    length = answer(bench, r"Logical block length=(\d+)", *capacity)
    bench.equal(f"reading: {drive.marker} has the capacity that sg_readcap reads",
                (device["logical_sectors"], device["logical_sector_bytes"], device["size_bytes"]),
                (int(blocks), int(length), int(blocks) * int(length)))
    degrees = answer(bench, r"Current temperature = (\d+) C", "sg_logs", "--page=0xd", drive.node)
    bench.equal(f"reading: {drive.marker} is as warm as sg_logs reads it", device["temperature_celsius"],
                degrees and int(degrees))
    return degrees


def whole(bench, drive, index):
    """A clean disk is read to its end, and no percent is reported twice."""
    code, document, percents = watched(bench, "-En", index)
    bench.equal(f"reading: a scan of {drive.marker} passes", (code, results(document)), (0, [0]))
    bench.check(f"reading: {drive.marker}: each percent once, up to 100",
                percents and percents == sorted(set(percents)) and percents[-1] == 100, percents)
    code, document, percents = watched(bench, "-El(START_RANGE=0,STOP_RANGE=50,COVERAGE_AREA=10,ERROR_LIMIT=0)", index)
    bench.equal(f"reading: a linear read of half of {drive.marker} passes", (code, results(document)), (0, [0]))


def seeks(bench, drive, index):
    for letter, name in (("r", "random"), ("f", "funnel")):
        code, document, percents = watched(bench, "-Q" + letter, index)
        bench.equal(f"reading: the {name} seek of {drive.marker} passes", (code, results(document), percents and percents[-1]),
                    (0, [0], 100))


def interrupted(bench, drive, index):
    """Ctrl-C during a test ends it at its next command."""
    command = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "-Qr", index, "--json", "--progress=json")
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        for line in process.stderr:
            if '"percent":2' in line:
                break
        process.send_signal(signal.SIGINT)
        asked = time.monotonic()
        text, _ = process.communicate(timeout=60)
    took = time.monotonic() - asked
    bench.equal(f"reading: Ctrl-C stops a test of {drive.marker}", (process.returncode, results(json.loads(text))), (4, [4]))
    bench.check(f"reading: {drive.marker} is let go at once", took < 15, took)


def bad_blocks(bench, index):
    """The scan names the blocks that hold the bad sectors, and no other."""
    code, document, _ = watched(bench, "-En(ERROR_LIMIT=0)", index)
    keys = " ".join(message["key"] for run in document.get("test_runs", []) for message in run["messages"])
    pairs = [(int(a), int(b)) for a, b in re.findall(r"\[(\d+), (\d+)\]", keys)]
    width = pairs[0][1] - pairs[0][0] if pairs else 1
    holding = sorted({lba // width * width for lba in range(FIRST, FIRST + COUNT)})
    bench.equal("reading: the scan fails the disk and names exactly the blocks of the bad sectors",
                (code, results(document), pairs), (1, [1], [(first, first + width) for first in holding]))
    bench.check("reading: and counts them", f"NUMBER_OF_BLOCKS_WITH_BAD_SECTORS {len(holding)}. " in keys, keys)


def run(bench):
    _, listing = bench.product("--list")
    for marker in ("OBSCSI0001", "OBSCSI4K01", "OSTRIABENCH ATA"):
        drive = bench.needed(marker, "reading")
        index = drive and bench.index_of(drive, listing)
        if not bench.check(f"reading: {marker} has a number", index is not None):
            continue
        if marker.startswith("OBSCSI"):
            identity(bench, drive, index)
        whole(bench, drive, index)
        seeks(bench, drive, index)
        interrupted(bench, drive, index)
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", f"medium_error_start={FIRST}", f"medium_error_count={COUNT}"):
        return bench.skip("reading: bad sectors", "this kernel has no scsi_debug")
    setting("opts", 2)
    drive = bench.needed("scsi_debug", "reading")
    index = drive and bench.index_of(drive)
    if bench.check("reading: the disk with bad sectors has a number", index is not None):
        bench.check("reading: a thermometer was compared", identity(bench, drive, index))
        bad_blocks(bench, index)
    return None
