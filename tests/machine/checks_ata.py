"""ATA disks that refuse, with the kernel's own translator between: what was refused is no answer."""

SUCCESS, TRANSPORT_FAILURE, DEVICE_ERROR, NO_DATA = 0, 34, 88, 89
ATA_PROTOCOL = 1
BAD_SECTOR = 50000
SILENT_READS = "/run/bench/silent_reads"


def bad_sector(bench):
    drive = bench.needed("OBATAB0001", "ata")
    if not drive:
        return
    answer = bench.probe("protocol", drive.node, "8", str(BAD_SECTOR), str(BAD_SECTOR - 1), "0")
    bench.equal("ata: the disk with a bad sector speaks ATA", answer.get("kind"), ATA_PROTOCOL)
    # The emulated drive aborts the command, without the bit for an uncorrectable sector.
    bench.equal("ata: the read of a sector that the drive aborts fails, and its neighbours are read",
                [read[0] for read in answer["reads"]], [DEVICE_ERROR, SUCCESS, SUCCESS])


def smart_off(bench):
    """With SMART switched off the drive refuses its pages, and the kernel still counts their bytes."""
    drive = bench.needed("OSTRIABENCH ATA", "ata")
    if not drive:
        return
    answer = bench.probe("smart", drive.node)
    bench.equal("ata: SMART goes off and on again", (answer["off"], answer["on"]), (SUCCESS, SUCCESS))
    bench.equal("ata: refused SMART data are no capabilities", (answer["properties"], answer["valid"]), (SUCCESS, False))
    bench.equal("ata: refused SMART data are no result of a self-test", answer["result"], NO_DATA)
    bench.equal("ata: a refused log has no pages", answer["log"], [NO_DATA, 0])
    bench.equal("ata: a log that is not there has no pages", answer["unknownLog"][1], 0)


def silent_sector(bench):
    """A sector that the drive never answers: the command is lost, and nothing sends it again."""
    drive = bench.needed("OBATAM0001", "ata")
    if not drive:
        return
    with open(SILENT_READS, "rb") as file:
        before = len(file.read())
    answer = bench.probe("protocol", drive.node, "3", str(BAD_SECTOR), "0", timeout=150)
    bench.equal("ata: a read that was never answered is lost", [read[0] for read in answer.get("reads", [])],
                [TRANSPORT_FAILURE, SUCCESS])
    with open(SILENT_READS, "rb") as file:
        bench.equal("ata: it was sent once", len(file.read()) - before, 1)


def run(bench):
    bad_sector(bench)
    smart_off(bench)
    silent_sector(bench)
