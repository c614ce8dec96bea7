"""Drives that go in the middle: each run ends soon with a documented exit code, and with no pass."""

import contextlib
import json
import os
import subprocess
import threading
import time

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


def end(process, seconds=SOON):
    """Exit code, results, and seconds; a run that does not end is -9."""
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
    results = [run.get("result", run.get("status")) for run in document.get("test_runs", []) + document.get("tool_runs", [])]
    return process.returncode, results, round(time.monotonic() - since)


def put(path, text):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)


@contextlib.contextmanager
def pullable(drive):
    """How the drive is pulled, and how it comes back."""
    device = os.path.realpath(f"/sys/block/{drive.name}/device")
    if drive.name.startswith("nvme"):
        controller = os.path.realpath(f"{device}/device") if os.path.exists(f"{device}/device/remove") else os.path.dirname(
            os.path.dirname(device))
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
    with pullable(drive) as pull:
        process = start(bench, *with_name(arguments, called))
        if not begun(process):
            code, results, took = end(process)
            bench.report(name, "FAIL", f"it did not begin: {code} {results}")
            return
        time.sleep(0.3)
        pull()
        code, results, took = end(process)
    # A test of a drive this small may have ended before; the verdict on the drive comes later and may find it gone.
    whole = code in (0, 1) and results == [0] and took < 1
    bench.check(name, whole or (code in (1, 3, 4, 6) and 0 not in results), (code, results, took))


PULLS = [(marker, arguments)
         for marker, kinds in (("OSTRIABENCH ATA", ("-El", "-En")), ("OSTRIABENCHNVME1", ("-Qe", "-El")),
                               ("OBSCSI0001", ("-El", "-En", "-Er", "-Ef")), ("OBUSB00001", ("-El", "-En")))
         for arguments in [(kind,) for kind in kinds] + [("recover", "scan"), ("recover", "repair", "--assume", "yes")]
         if marker != "OSTRIABENCHNVME1" or arguments[0] != "recover"]

def run(bench):
    for marker, arguments in PULLS:
        pulled(bench, marker, arguments)
