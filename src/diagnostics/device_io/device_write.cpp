// The device is tested through files on its volumes, so that nothing on it comes to harm. What a
// volume or the computer is at fault for is no fault of the device.
#include "diagnostics/device_io/device_write.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "checks/message_keys.h"
#include "inventory/disk_use.h"
#include "services/number_handler.h"
#include "services/string_handler.h"
#include "services/volume_access.h"

namespace ostria::storage {

namespace {

constexpr std::uint64_t kReserveBytes = 0x46666666;       // stays free on every volume: 1.1 GiB
constexpr std::uint64_t kLargestTestBytes = 0x140000000;  // 5 GiB
constexpr std::uint8_t kPattern = 0xAA;
constexpr std::uint32_t kTimeoutSeconds = 30;
constexpr char kFileName[] = "/ostria_diags_tmp_file";
constexpr char kWarningTitle[] = "DEVICE_WRITE_TEST";
constexpr char kSpaceWarning[] = "VOLUME_SPACE_ALLOCATION_ALERT";
constexpr std::uint32_t kYesNoQuestion = 1;

constexpr char kVolumeAccessError[] = "VOLUME_ACCESS_ERROR";
constexpr char kTableNotRecognized[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_PARTITION_TABLE_WAS_NOT_RECOGNIZED";
constexpr char kNoUsableVolume[] =
    "THE_AVAILABLE_VOLUMES_DO_NOT_FULFILL_THE_TEST_REQUIREMENTS._|MAKE_SURE_TO_HAVE_AT_LEAST_ONE_"
    "VALID_VOLUME_OR_PARTITION_WITH_MORE_THAN_1.1|G|B_OF_FREE_SPACE_AND_FORMATTED_AS_|N|T|F|S_OR_"
    "EXT4_OR_EXT3._|MAKE_SURE_THAT_|WINDOWS_FAST_BOOT_OR_HIBERNATE_WAS_DISABLED.";

/// Memory for unbuffered access, aligned for every sector size in use.
struct AlignedDelete {
  static constexpr std::align_val_t kAlignment{65536};
  void operator()(std::uint8_t* memory) const { ::operator delete(memory, kAlignment); }
};
using AlignedChunk = std::unique_ptr<std::uint8_t, AlignedDelete>;

/// Null when there is no memory.
AlignedChunk makeChunk(std::uint64_t bytes) {
  return AlignedChunk(static_cast<std::uint8_t*>(
      ::operator new(static_cast<std::size_t>(bytes), AlignedDelete::kAlignment, std::nothrow)));
}

class HeldPrivilege {
 public:
  HeldPrivilege() : held_(holdVolumePrivilege()) {}
  ~HeldPrivilege() {
    if (held_) {
      releaseVolumePrivilege();
    }
  }
  HeldPrivilege(const HeldPrivilege&) = delete;
  HeldPrivilege& operator=(const HeldPrivilege&) = delete;
  bool held() const { return held_; }

 private:
  bool held_;
};

/// Whether a transfer failed by the device. What never reached it, or was refused on the way, says
/// nothing of it.
bool isTheDevicesFault(ProtocolResult result) {
  return result == ProtocolResult::MediumError || result == ProtocolResult::ReadTimeout ||
         result == ProtocolResult::WriteTimeout;
}

bool takesScratchFiles(const std::string& mountPoint) {
  std::string fileSystem;
  if (!readFileSystemName(mountPoint, fileSystem)) {
    return false;
  }
  getLocalStringHandler().toLowerCase(fileSystem);
  const std::vector<std::string>& accepted = scratchFileSystems();
  return std::find(accepted.begin(), accepted.end(), fileSystem) != accepted.end();
}

}  // namespace

StorageDeviceWriteTest::TestFile::TestFile(TestFile&& other) noexcept
    : layout(other.layout),
      sectorBytes(other.sectorBytes),
      mountPoint(std::move(other.mountPoint)),
      filesystem_(std::exchange(other.filesystem_, nullptr)),
      handle_(other.handle_) {}

StorageDeviceWriteTest::TestFile::~TestFile() {
  if (filesystem_ != nullptr) {
    filesystem_->closeFile(handle_);
  }
}

StorageDeviceWriteTest::StorageDeviceWriteTest(const Identifier& id)
    : StorageTest(id), filesystem_(&getLocalFilesystem()) {}

TestResult StorageDeviceWriteTest::check(StorageComponent* component, TestListener* listener,
                                         MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  const StorageBusKind bus = component->busKind();
  if (bus == StorageBusKind::Emmc ||
      (bus == StorageBusKind::Nvme && component->connection() != DeviceConnection::RaidMember)) {
    return TestResult::Passed;
  }
  return refuse(listener, log, keys::kInvalidProtocol, Statement);
}

TestResult StorageDeviceWriteTest::run(TestRunContext* context) {
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) {
    return bound;
  }
  progress(0);
  if (checkStopNoted(context_, true)) {
    return TestResult::Stopped;
  }
  TestResult result;
  {
    const HeldPrivilege privilege;
    run_ = {.privilegeHeld = privilege.held()};
    result = test();
  }
  if (checkStopNoted(context_, true)) {
    return TestResult::Stopped;
  }
  return close(result);
}

TestResult StorageDeviceWriteTest::test() {
  const TestResult checked = check(component_, listener_, log_);
  if (checked != TestResult::Passed) {
    return checked;
  }
  if (checkStopNoted(context_, false)) {
    return TestResult::Stopped;
  }
  warnOnce();

  std::vector<UsableVolume> volumes;
  std::vector<TestFile> files;
  TestResult result = findVolumes(volumes);
  if (result == TestResult::Passed) {
    result = makeFiles(volumes, files);
  }
  for (auto file = files.begin(); result == TestResult::Passed && file != files.end(); ++file) {
    result = checkStopNoted(context_, false) ? TestResult::Stopped : exercise(*file);
  }
  files.clear();
  return close(result);
}

void StorageDeviceWriteTest::warnOnce() {
  if (component_->hasConfirmedTest(identifier()) || !listener_->canRequestInput()) {
    return;
  }
  InputRequest request;
  request.title = kWarningTitle;
  request.question = kSpaceWarning;
  request.questionKind = kYesNoQuestion;
  listener_->requestInput(&request);
  component_->setUserAnswer(request.answer);
  component_->addConfirmedTest(identifier());
}

TestResult StorageDeviceWriteTest::findVolumes(std::vector<UsableVolume>& volumes) {
  const PartitionTable* table = component_->partitionTable();
  if (table == nullptr) {
    return refuse(listener_, log_, kTableNotRecognized, Statement);
  }
  const std::uint32_t deviceSectorBytes = sectorBufferBytes(cachedProperties(protocol_));
  for (const PartitionEntry& partition : table->partitions) {
    // What is written to a volume on several disks may test another one.
    if (partition.mountPoints.empty() || partition.onSeveralDisks ||
        partition.usedBytes > partition.sizeBytes) {
      continue;
    }
    const std::uint64_t unused = partition.sizeBytes - partition.usedBytes;
    UsableVolume volume;
    volume.mountPoint = partition.mountPoints.front();
    if (unused <= kReserveBytes || !takesScratchFiles(volume.mountPoint)) {
      continue;
    }
    // A volume above the partition, an encrypted one for example, may have larger sectors.
    volume.sectorBytes = std::max(deviceSectorBytes, volumeSectorBytes(volume.mountPoint));
    volume.freeBytes = unused - kReserveBytes;
    volumes.push_back(volume);
  }
  if (volumes.empty()) {
    return refuse(listener_, log_, kNoUsableVolume, Statement);
  }
  return TestResult::Passed;
}

TestResult StorageDeviceWriteTest::makeFiles(const std::vector<UsableVolume>& volumes,
                                             std::vector<TestFile>& files) {
  std::uint64_t totalFreeBytes = 0;
  for (const UsableVolume& volume : volumes) {
    totalFreeBytes += volume.freeBytes;
  }
  run_.testBytes = std::min(totalFreeBytes, kLargestTestBytes);

  for (const UsableVolume& volume : volumes) {
    ScratchFileLayout layout =
        layOutScratchFile(volume.freeBytes, totalFreeBytes, run_.testBytes, volume.sectorBytes);
    if (layout.fileBytes == 0) {
      continue;
    }
    DeviceHandle handle;
    if (filesystem_->createFile(volume.mountPoint + kFileName, &handle, true) != 0) {
      continue;
    }
    TestFile file(*filesystem_, handle, layout, volume);
    // Since the scan another drive's volume may have taken the root path.
    if (!isOnDisk(handle, volume.mountPoint, protocol_->GetDeviceHandle()) || !giveSize(file)) {
      continue;
    }
    if (run_.privilegeHeld) {
      // Without it the system fills the file with zeros first, which only costs time.
      (void)setValidData(handle, file.layout.fileBytes);
    }
    files.push_back(std::move(file));
  }
  if (!files.empty()) {
    return TestResult::Passed;
  }
  showThenLog(listener_, log_, kVolumeAccessError, ResourceProblem);
  return TestResult::Warning;
}

bool StorageDeviceWriteTest::giveSize(TestFile& file) {
  // The largest files that file systems take: all the space, ext4 with blocks of 4096 bytes, ext3.
  constexpr std::uint64_t kTebibyte = 1ull << 40;
  constexpr std::uint64_t kBelow = 65536;
  for (const std::uint64_t most :
       {file.layout.fileBytes, 16 * kTebibyte - kBelow, 2 * kTebibyte - kBelow}) {
    if (most > file.layout.fileBytes) {
      continue;
    }
    if (filesystem_->setFileSize(file.handle(), most) == 0) {
      file.layout.fileBytes = most;
      return true;
    }
  }
  return false;
}

TestResult StorageDeviceWriteTest::exercise(const TestFile& file) {
  const std::uint64_t bytes = file.layout.chunkBytes;
  const std::vector<std::uint64_t> offsets =
      placeChunks(file.layout, file.sectorBytes, getLocalNumberHandler());
  const AlignedChunk written = makeChunk(bytes);
  const AlignedChunk readBack = makeChunk(bytes);
  if (!written || !readBack) {
    showThenLog(listener_, log_, keys::kUnexpectedEvent, ResourceProblem);
    return TestResult::Warning;
  }
  std::memset(written.get(), kPattern, bytes);

  for (const std::uint64_t offset : offsets) {
    if (checkStopNoted(context_, false)) {
      return TestResult::Stopped;
    }
    const TestResult result = writeChunk(file, offset, written.get());
    if (result != TestResult::Passed) {
      return result;
    }
    addProgress(bytes);
  }
  // What the system keeps in memory would always be what was written.
  if (!dropCachedContent(file.handle(), file.mountPoint)) {
    showThenLog(listener_, log_, kVolumeAccessError, ResourceProblem);
    return TestResult::Warning;
  }
  for (const std::uint64_t offset : offsets) {
    std::memset(readBack.get(), 0, bytes);
    if (checkStopNoted(context_, false)) {
      return TestResult::Stopped;
    }
    const TestResult result = readChunk(file, offset, readBack.get());
    if (result != TestResult::Passed) {
      return result;
    }
    if (std::memcmp(written.get(), readBack.get(), bytes) != 0) {
      return failRange("PATTERN_VERIFICATION_FAILED", offset, bytes);
    }
    addProgress(bytes);
  }
  return TestResult::Passed;
}

TestResult StorageDeviceWriteTest::writeChunk(const TestFile& file, std::uint64_t offset,
                                              const std::uint8_t* chunk) {
  std::uint64_t done = 0;
  const ProtocolResult result = filesystem_->writeAt(file.handle(), offset, file.layout.chunkBytes,
                                                     &done, kTimeoutSeconds, chunk);
  if (succeeded(result)) {
    return TestResult::Passed;
  }
  if (isTheDevicesFault(result)) {
    return failRange("WRITE_OPERATION_FAILED", offset, file.layout.chunkBytes);
  }
  showThenLog(listener_, log_,
              result == ProtocolResult::VolumeFull ? "VOLUME_RAN_OUT_OF_SPACE" : kVolumeAccessError,
              ResourceProblem);
  return TestResult::Warning;
}

TestResult StorageDeviceWriteTest::readChunk(const TestFile& file, std::uint64_t offset,
                                             std::uint8_t* chunk) {
  std::uint64_t done = 0;
  const ProtocolResult result = filesystem_->readAt(file.handle(), offset, file.layout.chunkBytes,
                                                    &done, kTimeoutSeconds, chunk);
  if (succeeded(result)) {
    return TestResult::Passed;
  }
  if (isTheDevicesFault(result)) {
    return failRange("READ_OPERATION_FAILED", offset, file.layout.chunkBytes);
  }
  showThenLog(listener_, log_, kVolumeAccessError, ResourceProblem);
  return TestResult::Warning;
}

TestResult StorageDeviceWriteTest::failRange(const char* key, std::uint64_t offset,
                                             std::uint64_t bytes) {
  const std::string words = std::string(key) + " " + keys::kBadSectorsInRange + " ";
  const std::string from = std::to_string(offset);
  const std::string to = std::to_string(offset + bytes);
  progress(100, words + "[" + from + ", " + to + "]");
  log_->add(words + from + " and " + to, DeviceFault, 0);
  return TestResult::Failed;
}

void StorageDeviceWriteTest::addProgress(std::uint64_t chunkBytes) {
  // Half for the writing, half for the reading back.
  run_.doneFraction +=
      static_cast<double>(chunkBytes) / static_cast<double>(run_.testBytes) * 0.5 * 100;
  progress(static_cast<std::uint8_t>(std::min(run_.doneFraction, 100.0)));
}

}  // namespace ostria::storage
