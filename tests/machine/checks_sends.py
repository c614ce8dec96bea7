"""The pass-through sends, against drives that answer like real ones."""

MEDIUM_ERROR, READ_TIMEOUT, FAILURE, TRANSPORT_FAILURE = 75, 134, 1, 34


def ata(bench):
    drive = bench.needed("OSTRIABENCH ATA", "sends")
    if not drive:
        return
    answer = bench.probe("ata", drive.node)
    bench.equal("sends: IDENTIFY DEVICE brings 512 bytes", (answer["identify"], answer["moved"]), (0, 512))
    bench.equal("sends: model of the ATA disk", answer["model"].strip(), drive.marker)
    bench.equal("sends: SMART RETURN STATUS keeps its registers", (answer["smart"], answer["signature"][:2]), (0, [0x4F, 0xC2]))
    bench.equal("sends: CHECK POWER MODE says active", (answer["power"], answer["mode"]), (0, 0xFF))
    bench.equal("sends: an unknown SMART log ends with the drive's ABRT", answer["badLogError"], [1, 4])


def scsi(bench):
    drive = bench.needed("OBSCSI0001", "sends")
    if not drive:
        return
    answer = bench.probe("scsi", drive.node)
    bench.equal("sends: INQUIRY", (answer["inquiry"], answer["vendor"].strip()), (0, "OSTRIA"))
    bench.check("sends: INQUIRY tells what really moved", 36 <= answer["moved"] <= 96, answer)
    status, sense_length, key = answer["badPageStatus"]
    bench.equal("sends: a refused page is a success with sense", (answer["badPage"], status, sense_length > 0, key), (0, 2, True, 5))
    bench.equal("sends: a SCSI disk does not pass for an ATA disk", answer["ata"], TRANSPORT_FAILURE)


def nvme(bench):
    drive = bench.needed("OSTRIABENCHNVME1", "sends")
    if not drive:
        return
    answer = bench.probe("nvme", drive.node)
    bench.equal("sends: NVMe identify", (answer["identify"], answer["serial"].strip()), (0, drive.serial.strip()))
    bench.equal("sends: NVMe read", answer["read"], 0)
    bench.equal("sends: a read of another namespace is refused", answer["otherNamespace"], FAILURE)
    bench.equal("sends: a failed NVMe read is no success", answer["beyond"], FAILURE)


def bad_medium(bench):
    """A disk with three unreadable sectors, and one that answers nothing at all."""
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", "medium_error_start=4660", "medium_error_count=3"):
        bench.skip("sends: medium errors", "this kernel has no scsi_debug")
        return
    drive = bench.needed("scsi_debug", "sends")
    if not drive:
        return
    good = bench.probe("read", drive.node, "0", "65536", "30")
    bench.equal("sends: a good read", (good["result"], good["done"]), (0, 65536))
    bad = bench.probe("read", drive.node, str(4660 * 512), "512", "30")
    bench.equal("sends: an unreadable sector is a medium error", (bad["result"], bad["done"]), (MEDIUM_ERROR, 0))
    beyond = bench.probe("read", drive.node, str(64 << 20), "512", "30")
    bench.equal("sends: nothing lies beyond the end", beyond["result"], MEDIUM_ERROR)

    with open("/sys/bus/pseudo/drivers/scsi_debug/every_nth", "w", encoding="ascii") as file:
        file.write("1")
    with open("/sys/bus/pseudo/drivers/scsi_debug/opts", "w", encoding="ascii") as file:
        file.write("4")
    hung = bench.probe("read", drive.node, "0", "4096", "2")
    with open("/sys/bus/pseudo/drivers/scsi_debug/opts", "w", encoding="ascii") as file:
        file.write("0")
    bench.equal("sends: a hanging read times out, the memory untouched", (hung["result"], hung["untouched"]), (READ_TIMEOUT, 4097))
    bench.check("sends: and it ends in time", 2 <= hung["seconds"] < 6, hung)


def run(bench):
    ata(bench)
    scsi(bench)
    nvme(bench)
    bad_medium(bench)
