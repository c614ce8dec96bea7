"""Drives that go in the middle: each run ends soon with a documented exit code, and with no pass."""

import contextlib
import json
import os
import subprocess
import threading
import time

from checks_files import MOUNT, fill

PROGRAM = "/OstriaDiagnosticsCLI"
SOON = 90


def start(bench, *arguments):
    return subprocess.Popen((bench.bin + PROGRAM, "-Mstorage", *arguments, "--json"), stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True)


def begun(process):
    """Waits for the line that says that the test or tool has begun."""
    watchdog = threading.Timer(SOON, process.kill)
    watchdog.start()
    try:
        return any("started" in line for line in process.stderr)
    finally:
        watchdog.cancel()


def ending(process, seconds=SOON):
    """Exit code, runs of tests and tools, and seconds; a program that does not end is -9."""
    since = time.monotonic()
    try:
        text, _ = process.communicate(timeout=seconds)
    except subprocess.TimeoutExpired:
        process.kill()
        text, _ = process.communicate()
    try:
        document = json.loads(text)
    except ValueError:
        document = {}
    return process.returncode, document.get("test_runs", []) + document.get("tool_runs", []), round(time.monotonic() - since)


def end(process, seconds=SOON):
    """The same with the results of the runs alone."""
    code, runs, took = ending(process, seconds)
    return code, [run.get("result", run.get("status")) for run in runs], took


def document_of(process, seconds):
    """The document that a run prints, if it comes in time: a program whose request the kernel still holds cannot go, but can speak."""
    answer = []

    def read():
        text = ""
        for line in process.stdout:
            text += line
            try:
                answer.append(json.loads(text))
                return
            except ValueError:
                pass

    reader = threading.Thread(target=read, daemon=True)
    reader.start()
    reader.join(seconds)
    return answer[0] if answer else {}


def put(path, text):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)


@contextlib.contextmanager
def pullable(drive):
    """How the drive is pulled, and how it comes back."""
    device = os.path.realpath(f"/sys/block/{drive.name}/device")
    if drive.name.startswith(("nvme", "mmcblk")):
        controller = device
        while not os.path.exists(controller + "/remove"):
            controller = os.path.dirname(controller)
        pull, back = (controller + "/remove", "1"), ("/sys/bus/pci/rescan", "1")
    elif "/usb" in device:
        port = device
        while not os.path.exists(port + "/idVendor"):
            port = os.path.dirname(port)
        name = os.path.basename(port)
        pull, back = ("/sys/bus/usb/drivers/usb/unbind", name), ("/sys/bus/usb/drivers/usb/bind", name)
    else:
        host = next(part for part in device.split("/") if part.startswith("host"))
        pull, back = (device + "/delete", "1"), (f"/sys/class/scsi_host/{host}/scan", "- - -")
    try:
        yield lambda: put(*pull)
    finally:
        put(*back)
        subprocess.run(("udevadm", "settle"), check=False, stderr=subprocess.DEVNULL)
        time.sleep(3)


def with_name(arguments, name):
    """The name of the drive stands behind the words of a tool, or behind the test."""
    words = 2 if arguments[0] == "recover" else 1
    return (*arguments[:words], name, *arguments[words:])


def pulled(bench, marker, arguments):
    drive = bench.needed(marker, "pull")
    called = drive and bench.own_name_of(drive)
    name = f"pull: {marker}, {' '.join(arguments)}"
    if not bench.check(f"{name}: is listed", called is not None):
        return
    writes = arguments[0] == "-Ew"
    if writes:
        bench.modprobe("ext4")
        bench.run("mkfs.ext4", "-q", "-F", "-m0", drive.node)
        fill(bench, drive.node)
    with pullable(drive) as pull:
        process = start(bench, *with_name(arguments, called))
        if not begun(process):
            code, results, took = end(process)
            bench.report(name, "FAIL", f"it did not begin: {code} {results}")
            return
        # The emulated drive ends its self-test at once.
        time.sleep(0 if arguments[0] == "-Qs" else 0.3)
        pull()
        code, results, took = end(process)
        if writes:
            bench.run("umount", "-l", MOUNT)
    print(name, code, results, took, flush=True)
    # A test of a drive this small may have ended before; the verdict on the drive comes later and may find it gone.
    whole = code in (0, 1) and results == [0] and took < 1
    bench.check(name, whole or (code in (1, 3, 4, 6) and 0 not in results), (code, results, took))


TOOLS = [("recover", "scan"), ("recover", "repair", "--assume", "yes")]
PULLS = [(marker, arguments)
         for marker, kinds, tools in (
             ("OSTRIABENCH ATA", ("-El", "-En", "-Qr", "-Qf", "-Qs"), TOOLS), ("OSTRIABENCHNVME1", ("-Qe", "-El"), []),
             ("OBSCSI0001", ("-El", "-En", "-Er", "-Ef"), TOOLS), ("OBUSB00001", ("-El", "-En"), TOOLS),
             # A card goes with its reader: the emulated slot has no lid.
             ("0xdeadbeef", ("-El", "-Qe"), []))
         for arguments in [(kind,) for kind in kinds] + tools] + [
             ("OSTRIABENCHNVME1", ("-Ew", "--assume-write", "OSTRIABENCHNVME1"))]


def run(bench):
    for marker, arguments in PULLS:
        pulled(bench, marker, arguments)
