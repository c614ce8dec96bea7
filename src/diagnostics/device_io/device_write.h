#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "diagnostics/device_io/scratch_file_layout.h"
#include "diagnostics/storage_test_base.h"
#include "services/filesystem.h"

namespace ostria::storage {

/// Proves that an NVMe, eMMC or SD device stores data, without harm to what is on it: writes a
/// pattern into scratch files on its volumes, reads it back and compares. The files go away with
/// the run, whatever happens.
class StorageDeviceWriteTest : public StorageTest {
 public:
  explicit StorageDeviceWriteTest(const Identifier& id);

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  struct UsableVolume {
    std::string mountPoint;
    std::uint64_t freeBytes = 0;  ///< less the reserve
    std::uint32_t sectorBytes = 0;
  };
  /// An open scratch file, closed and thereby removed with this object.
  class TestFile {
   public:
    TestFile(Filesystem& filesystem, DeviceHandle handle, const ScratchFileLayout& layout,
             const UsableVolume& volume)
        : layout(layout),
          sectorBytes(volume.sectorBytes),
          mountPoint(volume.mountPoint),
          filesystem_(&filesystem),
          handle_(handle) {}
    TestFile(TestFile&& other) noexcept;
    TestFile& operator=(TestFile&&) = delete;
    ~TestFile();
    DeviceHandle handle() const { return handle_; }

    ScratchFileLayout layout;
    std::uint32_t sectorBytes;  ///< of the volume
    std::string mountPoint;

   private:
    Filesystem* filesystem_;
    DeviceHandle handle_;
  };

  TestResult test();
  void warnOnce();
  TestResult findVolumes(std::vector<UsableVolume>& volumes);
  TestResult makeFiles(const std::vector<UsableVolume>& volumes, std::vector<TestFile>& files);
  /// Sets the size of the layout, or the largest that the file system takes.
  bool giveSize(TestFile& file);
  TestResult exercise(const TestFile& file);
  TestResult writeChunk(const TestFile& file, std::uint64_t offset, const std::uint8_t* chunk);
  TestResult readChunk(const TestFile& file, std::uint64_t offset, std::uint8_t* chunk);
  TestResult failRange(const char* key, std::uint64_t offset, std::uint64_t bytes);
  void addProgress(std::uint64_t chunkBytes);

  /// What belongs to one run; each begins with a new one.
  struct Run {
    bool privilegeHeld = false;
    std::uint64_t testBytes = 0;
    double doneFraction = 0;  ///< percent
  };

  Filesystem* filesystem_;
  Run run_;
};

}  // namespace ostria::storage
