// Mounted volumes: free space, extents, unmount and remount, each with its refusals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libmount/libmount.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>

#include "base/byte_order.h"
#include "driver_service/pci_function.h"
#include "inventory/format_texts.h"
#include "platform/linux/discovery/linux_device_scanner.h"
#include "platform/linux/discovery/linux_storage_scanner.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/volumes/blkid_probe.h"
#include "platform/linux/volumes/mounts.h"
#include "tests/support/temporary_folder.h"

namespace {

/// What the next mounts come to, while mounts are scripted.
std::optional<std::vector<int>> mountResults;
int lastMount = 0;

}  // namespace

// These stand before the libraries' own in this program.
extern "C" int mnt_context_mount(libmnt_context*) {
  lastMount = EIO;
  if (mountResults && !mountResults->empty()) {
    lastMount = mountResults->front();
    mountResults->erase(mountResults->begin());
  }
  if (lastMount == ENOMEM) {
    throw std::bad_alloc();
  }
  return lastMount;
}
extern "C" int mnt_context_get_status(libmnt_context*) { return lastMount == 0 ? 1 : 0; }
extern "C" int umount2(const char* path, int flags) noexcept {
  return mountResults ? 0 : static_cast<int>(::syscall(SYS_umount2, path, flags));
}
extern "C" int open_tree(int folder, const char* path, unsigned flags) noexcept {
  return mountResults ? ::openat(folder, *path == 0 ? "." : path, O_PATH | O_DIRECTORY)
                      : static_cast<int>(::syscall(SYS_open_tree, folder, path, flags));
}
extern "C" int move_mount(int, const char*, int, const char*, unsigned) noexcept {
  return mountResults ? 0 : -1;
}

namespace ostria::storage::test {
namespace {

namespace fs = std::filesystem;

/// A disk image of 4 MiB, written piece by piece.
class Image {
 public:
  Image() {
    std::string pattern = (fs::temp_directory_path() / "ostria-img-XXXXXX").string();
    file = FdOwner(::mkstemp(pattern.data()));
    path = pattern;
    EXPECT_EQ(::ftruncate(file.get(), 4 << 20), 0);
  }
  ~Image() { fs::remove(path); }

  void put(std::uint64_t offset, const std::vector<std::uint8_t>& bytes) {
    EXPECT_EQ(::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(bytes.size()));
  }
  /// An entry of the MBR, or of the boot record of an extended partition at `sector`.
  void entry(std::uint64_t sector, unsigned index, std::uint8_t type, std::uint8_t start,
             std::uint8_t count) {
    put(sector * 512 + 446 + index * 16,
        {0, 0, 0, 0, type, 0, 0, 0, 0, start, 0, 0, 0, count, 0, 0});
    put(sector * 512 + 510, {0x55, 0xAA});
  }

  FdOwner file;
  std::string path;
};

TEST(BlkidProbe, MbrListsLogicalPartitionsWithoutTheirLinks) {
  Image image;
  image.entry(0, 0, 0x07, 2, 2);        // starts are in units of 256 sectors
  image.entry(0, 1, 0x05, 4, 8);        // the extended one
  image.entry(4 * 256, 0, 0x83, 1, 1);  // first logical
  image.entry(4 * 256, 1, 0x05, 2, 2);  // link
  image.entry(6 * 256, 0, 0x82, 1, 1);  // second logical
  const auto layout = probeDisk(image.file.get());
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->style, PartitionStyle::Mbr);
  PartitionTable table;
  buildPartitions(*layout, table);
  rewriteLogicalPartitions(table.partitions);
  std::vector<std::pair<std::uint32_t, std::string>> rows;
  for (const PartitionEntry& entry : table.partitions) {
    rows.emplace_back(entry.number, entry.typeText);
  }
  EXPECT_EQ(rows, (std::vector<std::pair<std::uint32_t, std::string>>{
                      {1, "PRIMARY"}, {2, "EXTENDED"}, {5, "LOGICAL"}, {6, "LOGICAL"}}));
  EXPECT_EQ(table.partitions[2].startOffset, 5u * 256 * 512);
  EXPECT_EQ(table.partitions[2].sizeBytes, 256u * 512);
}

/// What the scan makes of an image, whatever the image says: "GPT 1:type 2:type".
std::string scanned(const Image& image) {
  const auto layout = probeDisk(image.file.get());
  if (!layout) {
    return "unreadable";
  }
  PartitionTable table;
  buildPartitions(*layout, table);
  rewriteLogicalPartitions(table.partitions);
  EXPECT_LE(unallocatedBytes(4 << 20, table.partitions), 4u << 20);
  return table.schema + " " + std::to_string(table.partitions.size());
}

/// A GPT whose checksums are right, whatever its fields say.
struct GptImage : Image {
  std::vector<std::uint8_t> header = std::vector<std::uint8_t>(92);
  std::vector<std::uint8_t> entries = std::vector<std::uint8_t>(128 * 128);

  GptImage() {
    entry(0, 0, 0xEE, 0, 0);
    put(446 + 8, {1, 0, 0, 0, 0xFF, 0x1F, 0, 0});  // the protective partition: all the rest
    std::memcpy(header.data(), "EFI PART", 8);
    storeLe32(&header[8], 0x10000);
    storeLe32(&header[12], 92);
    storeLe64(&header[24], 1);
    storeLe64(&header[32], 8191);
    storeLe64(&header[40], 34);
    storeLe64(&header[48], 8158);
    storeLe64(&header[72], 2);
    storeLe32(&header[80], 128);
    storeLe32(&header[84], 128);
  }
  void partition(std::size_t index, std::uint64_t first, std::uint64_t last) {
    entries[index * 128] = 0xAA;  // type and own GUID
    entries[index * 128 + 16] = static_cast<std::uint8_t>(index + 1);
    storeLe64(&entries[index * 128 + 32], first);
    storeLe64(&entries[index * 128 + 40], last);
  }
  std::string scan() {
    storeLe32(&header[88], checksum(entries));
    storeLe32(&header[16], 0);
    storeLe32(&header[16], checksum(header));
    put(512, header);
    put(1024, entries);
    return scanned(*this);
  }
  static std::uint32_t checksum(const std::vector<std::uint8_t>& bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
      crc ^= byte;
      for (int bit = 0; bit < 8; ++bit) {
        crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
      }
    }
    return ~crc;
  }
};

TEST(BlkidProbe, HostileTablesGiveAResultOrNone) {
  GptImage full;
  for (std::size_t i = 0; i < 128; ++i) {
    full.partition(i, 34 + i, 34 + i);
  }
  EXPECT_EQ(full.scan(), "GPT 128");

  GptImage overlapping;
  overlapping.partition(0, 100, 8000);
  overlapping.partition(1, 100, 8000);
  overlapping.partition(2, 8000, 100);       // ends before it begins
  overlapping.partition(3, 34, UINT64_MAX);  // beyond the disk
  overlapping.partition(4, UINT64_MAX, 34);
  EXPECT_EQ(overlapping.scan().substr(0, 4), "GPT ");

  // Size and count of the entries: more than there are, none, odd.
  for (const auto& [count, bytes] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
           {0xFFFFFFFF, 128}, {128, 0xFFFFFFFF}, {0, 128}, {128, 0}, {128, 1}, {129, 127}}) {
    storeLe32(&overlapping.header[80], count);
    storeLe32(&overlapping.header[84], bytes);
    EXPECT_EQ(overlapping.scan(), "RAW 0") << count << " " << bytes;
  }

  Image loop;
  loop.entry(0, 0, 0x05, 4, 8);
  loop.entry(4 * 256, 0, 0x83, 1, 1);
  loop.entry(4 * 256, 1, 0x05, 0, 8);  // leads to itself
  EXPECT_EQ(scanned(loop).substr(0, 4), "MBR ");
  Image beyond;
  beyond.entry(0, 0, 0x07, 0xFF, 0xFF);
  beyond.entry(0, 1, 0x05, 0xFE, 0xFF);
  EXPECT_EQ(scanned(beyond), "MBR 2");
}

TEST(BlkidProbe, ADiskWithoutATableIsRawAndAClosedOneUnknown) {
  Image image;
  const auto layout = probeDisk(image.file.get());
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->style, PartitionStyle::Raw);
  EXPECT_TRUE(layout->entries.empty());
  EXPECT_FALSE(probeDisk(-1));
  EXPECT_FALSE(probeFilesystem(image.path));
}

TEST(BlkidProbe, SerialNumbersAsTheFileSystemsOwnSystemShowsThem) {
  EXPECT_EQ(volumeSerial("1234-ABCD"), 0x1234ABCDu);
  EXPECT_EQ(volumeSerial("01D2C3B4A5968778"), 0xA5968778u);
  EXPECT_EQ(volumeSerial("deadbeef-0000-4000-8000-000000000001"), 0xDEADBEEFu);
  EXPECT_EQ(volumeSerial(""), 0u);
}

TEST(Mounts, TableIsReadWithItsEscapes) {
  const TemporaryFolder folder;
  folder.write("mounts",
               "22 1 8:2 / / rw,relatime - ext4 /dev/sda2 rw,errors=remount-ro\n"
               "23 22 8:17 / /media/my\\040disk rw,nosuid - fuseblk /dev/sdb1 "
               "rw,user_id=0,blksize=4096\n");
  const auto mounts = readMounts(folder.file("mounts"));
  ASSERT_EQ(mounts.size(), 2u);
  EXPECT_EQ(mounts[0].device, deviceNumberOf(8, 2));
  EXPECT_EQ(mounts[0].options, "rw,relatime,rw,errors=remount-ro");
  EXPECT_EQ(mounts[1].target, "/media/my disk");
  EXPECT_EQ(mounts[1].options, "rw,nosuid");
}

TEST(Mounts, FileSystemIsWhatLiesOnTheDevice) {
  Image image;
  image.put(3, {'N', 'T', 'F', 'S', ' ', ' ', ' ', ' '});
  MountEntry mount;
  mount.type = "fuseblk";
  mount.source = image.path;
  EXPECT_EQ(fileSystemOf(mount), "fuseblk") << "the name alone makes no NTFS";
  ASSERT_EQ(std::system(("mkfs.ntfs -q -Q -F " + image.path + " >/dev/null 2>&1").c_str()), 0);
  EXPECT_EQ(fileSystemOf(mount), "ntfs");
  mount.source = "tmpfs";
  mount.type = "tmpfs";
  EXPECT_EQ(fileSystemOf(mount), "tmpfs");
}

/// From now on mounts are scripted, and nothing is mounted or unmounted.
class ScriptedMounts {
 public:
  explicit ScriptedMounts(std::vector<int> results) { mountResults = std::move(results); }
  ~ScriptedMounts() { mountResults.reset(); }
};

TEST(Mounts, WhatFailsIsTriedAgainAndAFailedRemountIsNoFailedUnmount) {
  ScriptedMounts mounts({ENOMEM, -EBUSY, 0});
  ASSERT_EQ(::umount2("/no/such/place", 0), 0) << "the system's own would be called";
  const TemporaryFolder folder;
  struct stat about = {};
  ASSERT_EQ(::stat(folder.path().c_str(), &about), 0);
  TakenMount taken;
  taken.mount.target = folder.path();
  taken.directoryDevice = about.st_dev;
  taken.directoryInode = about.st_ino;
  EXPECT_EQ(mountAgain({taken}), 0);
  EXPECT_TRUE(mountResults->empty()) << "tried three times";
  taken.directoryInode = about.st_ino + 1;
  EXPECT_EQ(mountAgain({taken}), ELOOP) << "another directory";

  // No device of that name can be opened, so the file system goes back to where it was, or does
  // not.
  LinuxStorageScanner scanner;
  DeviceHandle handle;
  mountResults = {0};
  EXPECT_EQ(scanner.dismountVolume("/proc", &handle), ENOENT);
  mountResults = {-ELOOP};
  EXPECT_EQ(scanner.dismountVolume("/proc", &handle), StorageScanner::kNotMountedAgain);
}

TEST(LinuxStorageScanner, ANumberThatIsNotThereFailsEverywhere) {
  LinuxStorageScanner scanner(SysfsTree("/nonexistent"));
  DevicePathMap devices = {{7, {"old"}}};
  EXPECT_EQ(scanner.listDevices(devices), 0);
  EXPECT_TRUE(devices.empty());
  StorageBusKind bus = StorageBusKind::Ata;
  bool optane = true, removable = true;
  DeviceConnection connection{};
  std::string id;
  PartitionTable table;
  EXPECT_NE(scanner.getBusKind(7, &bus, &optane), 0);
  EXPECT_EQ(bus, StorageBusKind::Unknown);
  EXPECT_TRUE(optane);
  EXPECT_NE(scanner.isRemovableMedia(7, &removable), 0);
  EXPECT_NE(scanner.getConnection(7, &connection), 0);
  EXPECT_NE(scanner.getDeviceId(7, &id), 0);
  EXPECT_NE(scanner.readPartitionTable(7, &table, 1 << 20), 0);
  // That the running system is refused is tried in a guest only, where nothing is lost with it.
  DeviceHandle handle;
  EXPECT_EQ(scanner.dismountVolume("/no/such/place/", &handle), ENOENT);
  EXPECT_FALSE(handle);
}

TEST(LinuxDeviceScanner, LackOfRightsIsReportedApart) {
  LinuxDeviceScanner scanner;
  Image image;
  DeviceHandle handle;
  EXPECT_EQ(scanner.open("/dev/no-such-disk", &handle), ENOENT);
  ASSERT_EQ(scanner.open(image.path, &handle), 0);
  EXPECT_EQ(scanner.close(handle), 0);
  EXPECT_EQ(scanner.close(DeviceHandle()), EBADF);
  // Root is refused nothing: look at it as somebody else.
  const uid_t before = ::geteuid();
  if (before == 0) {
    ASSERT_EQ(::chown(image.path.c_str(), 65534, 65534), 0);
    ASSERT_EQ(::seteuid(65534), 0);
  }
  fs::permissions(image.path, fs::perms::none);
  EXPECT_EQ(scanner.open(image.path, &handle), EACCES);
  fs::permissions(image.path, fs::perms::owner_read);
  EXPECT_EQ(scanner.open(image.path, &handle), 0) << "reading alone is enough";
  scanner.close(handle);
  ASSERT_EQ(::seteuid(before), 0);
}

/// A saved /sys with one PCI function, 0000:3b:00.1.
class PciFunctionTest : public testing::Test {
 protected:
  PciFunctionTest() {
    scratch.write("sys/bus/pci/devices/0000:3b:00.1/class", "0x010802\n");
    std::ofstream resource(folder + "/resource0", std::ios::binary);
    for (std::uint32_t i = 0; i < 2048; ++i) {
      resource.write(reinterpret_cast<const char*>(&i), sizeof i);
    }
  }

  bool reads(std::uint64_t offset, std::uint32_t length) {
    std::uint32_t words[4] = {99, 99, 99, 99};
    const bool read = PciFunction(location, root).readRegisters(offset, length, words);
    for (std::uint32_t i = 0; i < 4; ++i) {
      EXPECT_EQ(words[i], read && i < length / 4 ? offset / 4 + i : 99u);
    }
    return read;
  }

  const PciLocation location = {0x3B, 0, 1};
  const TemporaryFolder scratch;
  const std::string& root = scratch.path();
  const std::string folder = root + "/sys/bus/pci/devices/0000:3b:00.1";
};

TEST_F(PciFunctionTest, RegistersAreOpenUnlessEveryControllerKeepsThemToItself) {
  EXPECT_TRUE(PciFunction::registersOpen(root));
  fs::remove(folder + "/resource0");  // as for memory that a driver has claimed
  EXPECT_FALSE(PciFunction::registersOpen(root));
  const std::string other = "sys/bus/pci/devices/0000:01:00.0/";
  scratch.write(other + "class", "0x030000\n");
  scratch.write(other + "resource0", "display");
  EXPECT_FALSE(PciFunction::registersOpen(root));
  scratch.write(other + "class", "0x010802\n");
  EXPECT_TRUE(PciFunction::registersOpen(root));
  EXPECT_TRUE(PciFunction::registersOpen(root + "/none")) << "no controller, nothing to miss";
}

TEST_F(PciFunctionTest, ClassAndRegistersOfThatFunctionAlone) {
  EXPECT_TRUE(PciFunction::readable(root));
  EXPECT_FALSE(PciFunction::readable(root + "/none"));
  EXPECT_EQ(PciFunction(location, root).classCode(), 0x010802u);
  EXPECT_FALSE(PciFunction({0x3B, 0, 0}, root).classCode());
  EXPECT_FALSE(PciFunction({0x13B, 0, 1}, root).classCode());
  std::ofstream(folder + "/class") << "garbage\n";
  EXPECT_FALSE(PciFunction(location, root).classCode());

  EXPECT_TRUE(reads(0x1C, 4));
  EXPECT_TRUE(reads(4096, 16)) << "from a later page";
  EXPECT_TRUE(reads(8188, 4));
  EXPECT_FALSE(reads(8188, 8)) << "the end lies outside";
  EXPECT_FALSE(reads(8192, 4));
  EXPECT_FALSE(reads(~std::uint64_t{3}, 4));
  EXPECT_FALSE(reads(2, 4));
  EXPECT_FALSE(reads(0, 3));
  EXPECT_FALSE(reads(0, 0));
  std::ofstream(folder + "/power_state") << "D3cold\n";
  EXPECT_FALSE(reads(0x1C, 4)) << "a sleeping controller says nothing true";
}

}  // namespace
}  // namespace ostria::storage::test
