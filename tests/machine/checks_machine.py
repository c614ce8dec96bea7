"""Is the machine as the bench built it? Without these, nothing else means anything."""


def run(bench):
    disks = bench.disks()
    print(disks, flush=True)
    for marker in ("OSTRIABENCH ATA", "OSTRIABENCHNVME1", "OBSCSI0001", "OBSCSI4K01", "OBUSB00001"):
        bench.check(f"machine: drive {marker} is there", bench.own_drive(marker) is not None, str(disks))
