"""The product as its user meets it, against what smartctl, nvme and the SCSI tools say in the same guest."""

import os
import shutil
import struct


def identity(bench):
    """Every drive that smartctl knows has the same identity in both."""
    _, listing = bench.product("--list")
    ours = {device["id"]: device for device in listing.get("devices", [])}
    for marker, bus, protocol in (("OSTRIABENCH ATA", "ATA", "ATA"), ("OSTRIABENCHNVME1", "NVMe", "NVMe"),
                                  ("OBSCSI0001", "SCSI", "SCSI"), ("OBSCSI4K01", "SCSI", "SCSI"),
                                  ("OBUSB00001", "USB", "SCSI")):
        drive = bench.needed(marker, "product")
        device = drive and ours.get(str(drive.number))
        if not bench.check(f"product: {marker} is listed", device is not None, listing):
            continue
        options = ("-d", "scsi", "-i") if bus == "USB" else ("-i",)
        peer = bench.smartctl(drive, *options)
        model = peer.get("scsi_product", peer.get("model_name", ""))
        firmware = peer.get("scsi_revision", peer.get("firmware_version"))
        bench.equal(f"product: {marker} has the identity that smartctl reads",
                    (device["model"], device["serial"], device["firmware"]), (model, peer.get("serial_number"), firmware))
        capacity = peer.get("user_capacity", {})
        bench.equal(f"product: {marker} has the capacity that smartctl reads",
                    (device["size_bytes"], device["logical_sectors"], device["logical_sector_bytes"]),
                    (capacity.get("bytes"), capacity.get("blocks"), peer.get("logical_block_size")))
        bench.equal(f"product: {marker} is reached by its protocol", (device["bus"], device["protocol"]), (bus, protocol))
    # A disk of scsi_debug may be left from other checks.
    bench.equal("product: nothing is listed that no protocol reaches",
                sum(device["model"] != "scsi_debug" and not (device["serial"] or "").startswith("OBRAID") for device in ours.values()), 12)
    return listing


def smart(bench, drive, index):
    peer = bench.smartctl(drive, "-a")
    code, document = bench.product("smart", index)
    rows = {row["id"]: row for run in document.get("tool_runs", []) for row in run.get("smart", [])}
    theirs = {row["id"]: row for row in peer["ata_smart_attributes"]["table"]}
    bench.equal("product: SMART attributes as smartctl reads them",
                (code, {key: (row["value"], row["worst"], row["threshold"], int(row["raw"]) & 0xFFFFFFFF) for key, row in rows.items()}),
                (0, {key: (row["value"], row["worst"], row["thresh"], row["raw"]["value"] & 0xFFFFFFFF)
                     for key, row in theirs.items()}))
    bench.check("product: and in the drive's order", len(rows) > 3 and list(rows) == list(theirs), (list(rows), list(theirs)))

    code, document = bench.product("-Qm,s", index)
    outcome = {run["test"]["id"]: run["result"] for run in document.get("test_runs", [])}
    bench.equal("product: SMART status and short self-test pass", (code, outcome), (0, {"1.1.1": 0, "1.1.5": 0}))
    after = bench.smartctl(drive, "-a")
    bench.equal("product: SMART is left as it was found", after.get("smart_support"), peer.get("smart_support"))
    entries = after.get("ata_smart_self_test_log", {}).get("standard", {}).get("count", 0)
    bench.check("product: the drive has logged the self-test", entries >= 1, after.get("ata_smart_self_test_log"))

    bench.run("smartctl", "-s", "off", drive.node)
    off = bench.smartctl(drive, "-i").get("smart_support")
    code, document = bench.product("-Qm", index)
    bench.equal("product: a drive with SMART off is tested and left off",
                (code, bench.smartctl(drive, "-i").get("smart_support")), (0, off))
    bench.run("smartctl", "-s", "on", drive.node)


def nvme(bench, drive, index):
    code, document = bench.product("-Qo,g,a,b,i", index)
    outcome = {run["test"]["key"]: run["result"] for run in document.get("test_runs", [])}
    bench.equal("product: the quick NVMe tests pass", (code, set(outcome.values())), (0, {0}))
    bench.check("product: the controller's status is read through the driver service",
                outcome.get("NVME_CONTROLLER_STATUS_TEST") == 0, outcome)
    temperature = bench.smartctl(drive, "-a").get("temperature", {}).get("current")
    shown = document["devices"][0]["temperature_celsius"] if document.get("devices") else None
    bench.equal("product: NVMe temperature as smartctl reads it", shown, temperature)
    _, details = bench.product("--show", index)
    values = [row["value"] for device in details.get("devices", []) for row in device["properties"]]
    bench.check("product: no property holds what is no text", values and not any("\0" in value for value in values), values)


# Offset of a counter in the health log, its name at the peer, and what stands behind the number.
COUNTERS = ((64, "host_read_commands", ""), (80, "host_write_commands", ""), (96, "controller_busy_time", " min"),
            (112, "power_cycles", ""), (128, "power_on_hours", ""), (144, "unsafe_shutdowns", ""), (160, "media_errors", ""),
            (176, "num_err_log_entries", ""))
PLAIN = ((0, "critical_warning", ""), (3, "avail_spare", " %"), (4, "spare_thresh", " %"), (5, "percent_used", " %"),
         (192, "warning_temp_time", " min"), (196, "critical_comp_time", " min"))


def bytes_of(text):
    """Bytes that a size in brackets stands for, and how much its last digit stands for."""
    number, unit = text.split()
    power = 1000 ** " KMGTP".index(unit[:-1] or " ")
    return float(number) * power, power / 10 ** len(number.partition(".")[2])


def health_log(bench, drive, index):
    """Every field of the health log, with a history that is no row of zeros."""
    bench.run("dd", "if=" + drive.node, "of=/dev/null", "bs=1M", "count=700", "iflag=direct", "status=none")
    bench.run("dd", "if=/dev/zero", "of=" + drive.node, "bs=1M", "count=40", "oflag=direct", "status=none")
    before = bench.json("nvme", "smart-log", "-o", "json", drive.node)
    code, document = bench.product("smart", index)
    after = bench.json("nvme", "smart-log", "-o", "json", drive.node)
    got = {int(row["id"]): row["data"] for run in document.get("tool_runs", []) for row in run.get("smart", [])}
    names = {name: before.get(name) for _, name, _ in (*PLAIN, *COUNTERS)}
    bench.check("product: the peer reads a health log with a history",
                None not in names.values() and int(before["data_units_read"]) > 1000, before)
    fields = [(offset, str(before[name]) + unit) for offset, name, unit in PLAIN]
    fields.append((1, f"{before['temperature'] - 273} °C"))
    fields += [(198 + 2 * i, f"{before[f'temperature_sensor_{i}'] - 273} °C")
               for i in range(1, 9) if before.get(f"temperature_sensor_{i}")]
    bench.equal("product: NVMe health log, the plain fields", {offset: got.get(offset) for offset, _ in fields}, dict(fields))
    # What runs in between reads the drive too.
    moved = [(offset, got.get(offset), before[name], after[name]) for offset, name, unit in COUNTERS
             if not got.get(offset, "").endswith(unit)
             or not int(before[name]) <= int(got[offset].removesuffix(unit).replace(",", "")) <= int(after[name])]
    bench.equal("product: NVMe health log, the counters", moved, [])
    for offset, name in ((32, "data_units_read"), (48, "data_units_written")):
        text = got.get(offset, "0 [0 B]")
        units = int(text.split()[0].replace(",", ""))
        size, step = bytes_of(text.partition("[")[2].rstrip("]"))
        bench.check(f"product: NVMe health log, {name} and their size",
                    int(before[name]) <= units <= int(after[name]) and abs(units * 512000 - size) <= step,
                    (text, before[name], after[name]))
    bench.equal("product: NVMe health log, no other row", sorted(got),
                sorted({offset for offset, _ in fields} | {offset for offset, _, _ in COUNTERS} | {32, 48}))


def nvme_identity(bench, drive, index):
    """The device as nvme-cli reads controller, namespace and health log."""
    controller = bench.json("nvme", "id-ctrl", drive.node, "-o", "json")
    namespace = bench.json("nvme", "id-ns", drive.node, "-o", "json")
    health = bench.json("nvme", "smart-log", drive.node, "-o", "json")
    if not bench.check("product: nvme-cli answers", controller and namespace and health, (controller, namespace, health)):
        return
    _, details = bench.product("--show", index)
    device = (details.get("devices") or [{}])[0]
    bench.equal("product: NVMe kind, model, serial and firmware as nvme id-ctrl reads them",
                tuple(device.get(key) for key in ("bus", "protocol", "model", "serial", "firmware")),
                ("NVMe", "NVMe", *(controller[key].strip() for key in ("mn", "sn", "fr"))))
    sector = 1 << namespace["lbafs"][namespace["flbas"] & 15]["ds"]
    bench.equal("product: NVMe size as nvme id-ns reads it",
                tuple(device.get(key) for key in ("logical_sectors", "logical_sector_bytes", "size_bytes")),
                (namespace["nsze"], sector, namespace["nsze"] * sector))
    bench.equal("product: NVMe temperature as nvme smart-log reads it", device.get("temperature_celsius"),
                health["temperature"] - 273)


def verdict(bench, index):
    """Result and message keys of the controller status test."""
    _, document = bench.product("-Qg", index)
    run = (document.get("test_runs") or [{}])[0]
    return run.get("result"), [message["key"] for message in run.get("messages", [])]


def controller_status(bench, drive, index):
    """The driver service reads the real registers; what it cannot read or what is fatal is put in their place. A drive that answers
    is not lost with its registers."""
    bench.equal("product: controller status passes on the real register", verdict(bench, index)[0], 0)

    # The same product without the library: not there, not refused.
    alone = "/tmp/without-service"
    os.makedirs(alone)
    for name in ("OstriaDiagnosticsCLI", "libmodule_storage.so"):
        shutil.copy(os.path.join(bench.bin, name), alone)
    bin_folder, bench.bin = bench.bin, alone
    result, keys = verdict(bench, index)
    bench.bin = bin_folder
    shutil.rmtree(alone)
    bench.check("product: controller status is not performed without the service",
                result == 3 and "NVME Controller Test: Execution Supports failed." in keys, (result, keys))

    registers = os.path.realpath(f"/sys/class/nvme/{drive.name.rsplit('n', 1)[0]}/device") + "/resource0"
    page = bytearray(4096)
    struct.pack_into("<I", page, 0x1C, 3)  # ready, and a fatal error
    for name, content, wanted, key in (("unreadable", b"", 6, "CONTINUOUS_FAILURE_WARNING"),
                                       ("fatal", page, 1, "NVME_CONTROLLER_STATUS_TEST_FAIL")):
        path = f"/tmp/registers-{name}"
        with open(path, "wb") as file:
            file.write(content)
        code, _ = bench.run("mount", "--bind", path, registers)
        if not bench.check(f"product: the bench puts {name} registers in place", code == 0, registers):
            continue
        result, keys = verdict(bench, index)
        bench.run("umount", registers)
        bench.check(f"product: controller status with {name} registers", result == wanted and key in keys, (result, keys))


def no_rights(bench):
    code, document = bench.json_as("nobody", bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "--list", "--json")
    text = str(document.get("error", "")) + " ".join(document.get("notices", []))
    bench.check("product: without rights one clear sentence, no empty success", code != 0 and "root" in text, (code, document))


def run(bench):
    listing = identity(bench)
    for marker, checks in (("OSTRIABENCH ATA", (smart,)), ("OSTRIABENCHNVME1", (nvme_identity, nvme, controller_status, health_log))):
        drive = bench.needed(marker, "product")
        index = drive and bench.index_of(drive, listing)
        if not bench.check(f"product: {marker} has a number", index is not None):
            continue
        for check in checks:
            check(bench, drive, index)
    no_rights(bench)
