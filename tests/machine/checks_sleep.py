"""Disks that the kernel has suspended: what only looks leaves them so, what tests wakes them and says so. The emulated disks
have no standby mode of their own."""

import time


def power(drive, name, value=None):
    path = f"/sys/block/{drive.name}/device/power/{name}"
    if value is None:
        with open(path, encoding="ascii") as file:
            return file.read().strip()
    with open(path, "w", encoding="ascii") as file:
        file.write(value)
    return value


def suspend(drive):
    power(drive, "autosuspend_delay_ms", "100")
    power(drive, "control", "auto")
    end = time.monotonic() + 20
    while power(drive, "runtime_status") != "suspended" and time.monotonic() < end:
        time.sleep(0.2)
    time.sleep(1)
    return power(drive, "runtime_status")


def shown(document, drive):
    for device in document.get("devices", []):
        if device["id"] == str(drive.number):
            return device
    return {"health": {}}


def ids(document):
    return [device["id"] for device in document.get("devices", [])]


def looks(bench, drive, before):
    """Nothing of these wakes it, and its number stays what it was."""
    metrics = "/run/bench/sleep.prom"
    index = bench.index_of(drive, before)
    for arguments in (("--list",), ("--list", "--metrics", metrics), ("--show", index), ("smart", index)):
        _, document = bench.product(*arguments)
        device, old = shown(document, drive), shown(before, drive)
        what = " ".join(arguments)
        bench.equal(f"sleep: {what} leaves the disk suspended and calls it asleep",
                    (power(drive, "runtime_status"), device["health"].get("smart_state"), device["health"].get("verdict")),
                    ("suspended", "asleep", "not_known"))
        same = ("index", "model", "serial", "firmware", "size_bytes", "bus")
        bench.equal(f"sleep: {what} knows who it is", [device.get(key) for key in same], [old.get(key) for key in same])
        if arguments[0] == "--list":
            bench.equal(f"sleep: {what} has every drive under its number", ids(document), ids(before))
    with open(metrics, encoding="utf-8") as file:
        lines = [line for line in file if drive.serial in line]
    bench.check("sleep: the numbers of a sleeping disk say just that",
                any("_asleep{" in line and line.endswith(" 1\n") for line in lines)
                and not any("_temperature_" in line or "_sectors{" in line for line in lines), lines)
    return index


def wakes(bench, drive, index, before):
    power(drive, "autosuspend_delay_ms", "600000")
    other = bench.needed("OSTRIABENCH BAD", "sleep")
    bench.product("-Qm", bench.index_of(other, before))
    bench.equal("sleep: a test of another disk does not wake it", power(drive, "runtime_status"), "suspended")
    code, document = bench.product("-Qm", index)
    notices = " ".join(document.get("notices", []))
    bench.equal("sleep: a test wakes it, and says so",
                (code, power(drive, "runtime_status"), "was asleep and was woken" in notices), (0, "active", True))
    _, document = bench.product("--list")
    bench.equal("sleep: an awake disk is asked", shown(document, drive)["health"].get("smart_state"), "value")
    suspend(drive)
    _, document = bench.product("--list", "--wake")
    bench.equal("sleep: --wake asks it", shown(document, drive)["health"].get("smart_state"), "value")


def unlisted(bench, drive):
    """A SCSI disk: the kernel keeps no identity of it, and opening it would wake it."""
    if suspend(drive) != "suspended":
        bench.skip("sleep: a suspended SCSI disk", "this kernel does not suspend it")
        return
    _, document = bench.product("--list")
    notices = " ".join(document.get("notices", []))
    bench.check("sleep: a disk that cannot be listed asleep is named",
                power(drive, "runtime_status") == "suspended" and drive.node in notices and str(drive.number) not in ids(document),
                (notices, ids(document)))
    _, document = bench.product("--list", "--wake")
    bench.check("sleep: and is listed with --wake", str(drive.number) in ids(document), ids(document))


def run(bench):
    drive, scsi = bench.needed("OSTRIABENCH ATA", "sleep"), bench.needed("OBSCSI0001", "sleep")
    if drive is None or scsi is None:
        return
    _, before = bench.product("--list")
    try:
        if bench.equal("sleep: the kernel suspends the disk", suspend(drive), "suspended"):
            wakes(bench, drive, looks(bench, drive, before), before)
        unlisted(bench, scsi)
    finally:
        for one in (drive, scsi):
            power(one, "control", "on")
