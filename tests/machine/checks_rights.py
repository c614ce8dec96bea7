"""What the program may do, what it gives up, what it writes where nothing may be written, and what the journal says."""

import json
import os
import re
import socket
import subprocess
import time

from checks_medium import COUNT, FIRST, setting
from checks_repair import content

LISTING = ("-Mstorage", "--list", "--json")


def of_process(process, file, row):
    with open(f"/proc/{process.pid}/{file}", encoding="ascii") as lines:
        found = re.search(rf"^{row}:?\s+(\S+)", lines.read(), re.MULTILINE)
        return found and found[1]


def given_up(bench, drive, index):
    """During a scan: what asking drives takes, no way to get more, and no core file with what was read."""
    process = subprocess.Popen([bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "-El", index],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    # The node of the megaraid_sas driver may have to be made; without that driver nothing has.
    with open("/proc/devices", encoding="ascii") as devices:
        kept = 0x220000 | (0x8000000 if "megaraid_sas_ioctl" in devices.read() else 0)
    wanted = {row: f"{kept:016x}" for row in ("CapEff", "CapPrm", "CapBnd")}
    seen = {}
    end = time.monotonic() + 30
    while process.poll() is None and seen != wanted and time.monotonic() < end:
        seen = {row: of_process(process, "status", row) for row in wanted}
        limit = of_process(process, "limits", "Max core file size")
        time.sleep(0.02)
    process.terminate()
    process.wait(timeout=60)
    bench.equal("rights: a test keeps what asking drives takes alone", seen, wanted)
    bench.equal("rights: no core file is written", limit, "1")
    print(drive.node, flush=True)


def named(bench):
    """Somebody of the group of the disks: what is missing is named, with its disks."""
    group = str(os.stat("/dev/nvme0n1").st_gid)
    for node in ("/dev/nvme0n1", "/dev/sda"):
        os.chmod(node, 0o660)
    code, text = bench.run("setpriv", "--reuid=nobody", f"--regid={group or 'disk'}", "--clear-groups",
                           bench.bin + "/OstriaDiagnosticsCLI", *LISTING)
    bench.check("rights: a drive that is left out is named with the capability",
                "nvme0n1" in text and "CAP_SYS_ADMIN" in text and "CAP_SYS_RAWIO" in text, (code, text))


def sandboxed(bench):
    """With the capabilities of the systemd service the list is what it is with all of them."""
    # The clone is where this file lies, two folders up.
    unit = os.path.join(os.path.dirname(os.path.realpath(__file__)), "../../docs/examples/systemd/ostria-storage-metrics.service")
    with open(unit, encoding="utf-8") as file:
        kept = re.search(r"^CapabilityBoundingSet=(.*)$", file.read(), re.MULTILINE)[1]
    limits = "--bounding-set=-all," + ",".join(kept.lower().replace("cap_", "+").split())

    def listed(*before):
        _, text = bench.run(*before, bench.bin + "/OstriaDiagnosticsCLI", "--read-only", *LISTING)
        return [(device["serial"], device["health"]["verdict"], device["health"]["smart_state"])
                for device in json.loads(text).get("devices", []) if not (device["serial"] or "").startswith("OBRAID")]

    all_of_them = listed()
    bench.check("rights: the systemd service sees every drive that root sees",
                len(all_of_them) > 8 and listed("setpriv", "--no-new-privs", limits) == all_of_them, all_of_them)


def read_only(bench, drive, index):
    before = content(drive)
    code, _ = bench.product("recover", "repair", index, "--assume", "yes")
    bench.check("rights: nothing is changed by a number that may mean another drive", code == 2 and content(drive) == before, code)
    name = bench.own_name_of(drive)
    code, _ = bench.product("recover", "repair", name, "--assume", "yes", "--read-only")
    bench.equal("rights: a repair is refused with --read-only", code, 2)
    code, document = bench.product("recover", "scan", index, "--read-only")
    sectors = document.get("tool_runs", [{}])[0].get("sectors", {})
    bench.equal("rights: a scan is not", (code, sectors.get("bad_sectors")), (1, COUNT))
    # The module does not rely on the program for it.
    os.environ["OSTRIA_READ_ONLY"] = "1"
    code, document = bench.product("recover", "repair", name, "--assume", "yes")
    del os.environ["OSTRIA_READ_ONLY"]
    bench.check("rights: the module itself writes nothing", code not in (0, 2) and content(drive) == before, (code, document))


def journal(bench, drive):
    """One line before, one after, as a log daemon gets them."""
    if os.path.exists("/dev/log"):
        os.unlink("/dev/log")
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as log:
        log.bind("/dev/log")
        log.settimeout(5)
        bench.product("--list")
        bench.product("recover", "repair", bench.own_name_of(drive), "--assume", "yes")
        lines = []
        try:
            while len(lines) < 2:
                lines.append(log.recv(4096).decode())
        except TimeoutError:
            pass
    os.unlink("/dev/log")
    bench.check("rights: the journal has a line for a repair, with the drive, and one for its end",
                len(lines) == 2 and all("Repairing bad sectors of /dev/" in line and "scsi_debug" in line for line in lines)
                and "exit code 1" in lines[1], lines)


def run(bench):
    named(bench)
    sandboxed(bench)
    # Other checks leave it loaded, with its disk pulled out.
    bench.run("rmmod", "scsi_debug")
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", f"medium_error_start={FIRST}", f"medium_error_count={COUNT}"):
        bench.skip("rights: a disk with bad sectors", "this kernel has no scsi_debug")
        return
    setting("opts", 2)
    drive = bench.needed("scsi_debug", "rights")
    index = drive and bench.index_of(drive)
    if bench.check("rights: the drive has a number", index is not None):
        given_up(bench, drive, index)
        read_only(bench, drive, index)
        journal(bench, drive)
    bench.run("modprobe", "-r", "scsi_debug")
