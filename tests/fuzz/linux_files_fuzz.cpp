// Fuzz target: what the Linux platform reads of disks and of the kernel: partition tables and file
// systems in images, trees of sysfs, mount tables, sense data. The first byte chooses.
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <system_error>

#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/passthrough/sat_sense_registers.h"
#include "platform/linux/services/linux_driver_rows.h"
#include "platform/linux/volumes/blkid_probe.h"
#include "platform/linux/volumes/mounts.h"
#include "tests/fuzz/input.h"

namespace {

namespace fs = std::filesystem;
using namespace ostria::storage;
using ostria::storage::test::Input;
using ostria::storage::test::MemoryFile;

/// A disk of 1 MiB whose interesting sectors are fuzz bytes; a table of partitions alone is found
/// only behind its signature.
void image(Input& in) {
  const MemoryFile file("");
  if (ftruncate(file.descriptor(), 1 << 20) != 0) {
    std::abort();
  }
  const std::uint8_t sectors = in.byte();
  for (int i = 0; i < 1 + (sectors & 7) && !in.empty(); ++i) {
    static constexpr off_t kInteresting[] = {
        0, 512, 1024, 1536, 65536, off_t{2048} * 512, (1 << 20) - 512, 32768};
    std::uint8_t block[512] = {};
    const off_t at = kInteresting[in.byte() % std::size(kInteresting)];
    in.fill(block, std::min<std::size_t>(in.number(2), sizeof block));
    if ((sectors & 0x80) != 0 && at == 0) {
      block[510] = 0x55;
      block[511] = 0xAA;
    }
    if (pwrite(file.descriptor(), block, sizeof block, at % (1 << 20)) < 0) {
      std::abort();
    }
  }
  (void)probeDisk(file.descriptor());
  (void)probeFilesystem(file.path());
}

void mountTable(Input& in) {
  const MemoryFile file(in.rest());
  for (const MountEntry& mount : readMounts(file.path())) {
    (void)fuseOptions(mount, "/nonexistent");
  }
}

/// A saved tree with one disk below one controller, gone with the process.
struct SavedTree {
  SavedTree() {
    std::string pattern = (fs::temp_directory_path() / "ostria-fuzz-XXXXXX").string();
    root = fs::canonical(::mkdtemp(pattern.data()));
    const fs::path disk = root / "sys/devices/pci0000:00/0000:00:1f.2/host0/block/sda";
    fs::create_directories(disk / "sda1");
    fs::create_directories(disk / "holders");
    fs::create_directories(root / "sys/block");
    fs::create_directories(root / "sys/dev/block");
    fs::create_directory_symlink(disk.parent_path().parent_path(), disk / "device");
    fs::create_directory_symlink(disk, root / "sys/block/sda");
    fs::create_directory_symlink(disk, root / "sys/dev/block/8:0");
  }
  ~SavedTree() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }
  SavedTree(const SavedTree&) = delete;
  SavedTree& operator=(const SavedTree&) = delete;

  fs::path root;
};

/// The attributes of the disk are fuzz bytes.
void tree(Input& in) {
  static const SavedTree kSaved;
  static constexpr const char* kAttributes[] = {
      "dev",        "size",         "removable",       "hidden",       "sda1/dev",
      "sda1/size",  "device/type",  "device/vendor",   "device/model", "sda1/partition",
      "device/rev", "device/class", "device/proc_name"};
  const fs::path disk = kSaved.root / "sys/block/sda";
  for (const char* attribute : kAttributes) {
    std::string text;
    for (std::uint8_t left = in.byte() % 40; left > 0 && !in.empty(); --left) {
      text += static_cast<char>(in.byte());
    }
    std::ofstream(disk / attribute) << text;
  }
  const SysfsTree tree(kSaved.root.string());
  for (const SysfsDisk& found : tree.disks()) {
    (void)tree.partitions(found);
    (void)tree.withHolders(found.path);
    (void)tree.disk(found.number);
  }
  (void)diskDriverRows(kSaved.root.string());
}

void sense(Input& in) {
  const std::string bytes = in.rest();
  const std::span data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  (void)ataRegistersFromSense(data);
  (void)isLostAtaCommand(data);
  (void)volumeSerial(bytes);
  (void)parseDeviceNumber(bytes);
}

constexpr void (*kReaders[])(Input&) = {image, mountTable, tree, sense};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t bytes) {
  Input in(data, bytes);
  const std::uint8_t which = in.byte();
  kReaders[which % std::size(kReaders)](in);
  return 0;
}
