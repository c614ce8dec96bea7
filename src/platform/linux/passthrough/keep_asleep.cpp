// A disk in standby answers CHECK POWER MODE and IDENTIFY DEVICE (ACS) from its memory; SMART data,
// logs and every read may make it spin up. The kernel keeps the IDENTIFY data of its ATA disks, in
// the VPD page of SAT that holds them, so even those need not be asked for. USB adapters are not
// asked for their power mode: some hang on it.
#include "platform/linux/passthrough/keep_asleep.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <span>
#include <sstream>

#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/passthrough/sg_ata_pass_through.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_opcodes.h"

namespace ostria::storage {
namespace {

constexpr std::size_t kCommandByte = 14;

struct Registry {
  std::mutex mutex;
  std::map<int, SleepingDisk> disks;
  std::map<std::uint32_t, SysfsDisk> listed;
};

Registry& registry() {
  static auto* const kRegistry = new Registry;
  return *kRegistry;
}

bool mustNotWake(std::uint32_t number) {
  const char* text = std::getenv("OSTRIA_KEEP_ASLEEP");
  if (text == nullptr) {
    return false;
  }
  std::istringstream words(text);
  return std::find(std::istream_iterator<std::string>(words), {}, std::to_string(number)) ==
         std::istream_iterator<std::string>();
}

// Page 89h, ATA Information: 60 bytes about the translator, then the IDENTIFY data.
std::vector<std::uint8_t> keptIdentify(const SysfsDisk& disk) {
  constexpr std::size_t kOffset = 60;
  std::ifstream file(disk.path + "/device/vpd_pg89", std::ios::binary);
  std::vector<std::uint8_t> page{std::istreambuf_iterator<char>(file), {}};
  if (page.size() < kOffset + kAtaPageBytes || page[1] != 0x89) {
    return {};
  }
  const auto identify = std::span(page).subspan(kOffset, kAtaPageBytes);
  return std::vector<std::uint8_t>(identify.begin(), identify.end());
}

/// The record of the latest list, where the disk is in it: it takes twenty system calls to make.
std::optional<SysfsDisk> recordOf(const SysfsTree& tree, std::uint32_t number) {
  {
    const std::lock_guard lock(registry().mutex);
    const auto listed = registry().listed.find(number);
    if (listed != registry().listed.end()) {
      return listed->second;
    }
  }
  return tree.disk(number);
}

bool isInStandby(int descriptor) {
  AtaCheckPowerMode command;
  SgCommand packed = ataPassThrough(command);
  return sendSgCommand(handleOfDescriptor(descriptor), packed) == 0 &&
         takeAtaAnswer(packed, command) == ProtocolResult::Success &&
         (command.command & ata::StatusError) == 0 && command.sectorCount <= 1;
}

}  // namespace

void rememberListed(const std::map<std::uint32_t, SysfsDisk>& disks) {
  const std::lock_guard lock(registry().mutex);
  registry().listed = disks;
}

int openAsleep(const std::string& node, int (*open)(const std::string& node)) {
  struct stat status {};
  const SysfsTree tree;
  std::optional<SysfsDisk> disk;
  if (::stat(node.c_str(), &status) == 0 && S_ISBLK(status.st_mode)) {
    const std::uint32_t number = deviceNumberOf(major(status.st_rdev), minor(status.st_rdev));
    disk = mustNotWake(number) ? recordOf(tree, number) : std::nullopt;
  }
  if (!disk) {
    const int descriptor = open(node);
    forgetAsleep(descriptor);
    return descriptor;
  }
  SleepingDisk sleeper{disk->number, false, {}};
  // A card is suspended a few seconds after each request, and wakes without anybody noticing.
  sleeper.suspended = disk->busKind != StorageBusKind::Emmc &&
                      tree.attribute(disk->path + "/device/power", "runtime_status") == "suspended";
  const int descriptor = sleeper.suspended ? ::open(node.c_str(), O_PATH | O_CLOEXEC) : open(node);
  if (descriptor < 0) {
    return descriptor;
  }
  // The number may have been another disk's, closed elsewhere.
  forgetAsleep(descriptor);
  const bool asked = disk->connection == DeviceConnection::Internal &&
                     disk->busKind != StorageBusKind::Nvme && disk->busKind != StorageBusKind::Emmc;
  if (sleeper.suspended || (asked && isInStandby(descriptor))) {
    sleeper.identify = keptIdentify(*disk);
    const std::lock_guard lock(registry().mutex);
    registry().disks[descriptor] = std::move(sleeper);
  }
  return descriptor;
}

void forgetAsleep(int descriptor) {
  const std::lock_guard lock(registry().mutex);
  registry().disks.erase(descriptor);
}

bool isLeftAsleep(std::uint32_t number) {
  const std::lock_guard lock(registry().mutex);
  return std::any_of(registry().disks.begin(), registry().disks.end(),
                     [number](const auto& entry) { return entry.second.number == number; });
}

std::optional<SleepingDisk> sleepingDisk(int descriptor) {
  const std::lock_guard lock(registry().mutex);
  const auto found = registry().disks.find(descriptor);
  return found == registry().disks.end() ? std::nullopt : std::optional(found->second);
}

std::optional<int> answerAsleep(const SleepingDisk& disk, SgCommand& command) {
  const std::uint8_t ataCommand =
      command.cdb[0] == scsi::AtaPassThrough16 ? command.cdb[kCommandByte] : std::uint8_t{0};
  if (ataCommand == ata::CheckPowerMode) {
    // As it was when it was opened: a disk that somebody else wakes meanwhile is asked next time.
    // CHECK CONDITION with the registers (SAT: ATA Status Return), of which the count is 0.
    constexpr std::uint8_t kSense[] = {0x72, 0x01, 0x00, 0x1D, 0, 0, 0, 14, 0x09, 12, 0,
                                       0,    0,    0,    0,    0, 0, 0, 0,  0,    0,  0x50};
    std::copy(std::begin(kSense), std::end(kSense), command.sense.begin());
    command.senseLength = sizeof kSense;
    command.status = static_cast<std::uint8_t>(ScsiStatus::CheckCondition);
    return 0;
  }
  if (ataCommand == ata::IdentifyDevice) {
    if (disk.identify.empty()) {
      return disk.suspended ? std::optional(EBUSY) : std::nullopt;
    }
    const std::size_t bytes = std::min<std::size_t>(command.transferBytes, disk.identify.size());
    std::copy_n(disk.identify.begin(), bytes, static_cast<std::uint8_t*>(command.data));
    command.movedBytes = static_cast<std::uint32_t>(bytes);
    command.status = 0;
    return 0;
  }
  return EBUSY;
}

}  // namespace ostria::storage
