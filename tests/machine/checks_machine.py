"""Is the machine as the bench built it? Without these, nothing else means anything."""


def run(bench):
    for marker in ("OSTRIABENCH ATA", "OSTRIABENCHNVME1", "OBSCSI0001", "OBSCSI4K01", "OBUSB00001", "0xdeadbeef"):
        bench.check(f"machine: drive {marker} is there", bench.drive(marker) is not None, "the kernel shows no such drive")
