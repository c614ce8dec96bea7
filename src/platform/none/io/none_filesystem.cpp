// Files and raw device data by offset. A port must keep one promise above all: after a time-out
// nothing is written any more into the buffer that the caller has got back.
#include "services/filesystem.h"

namespace ostria::storage {
namespace {

constexpr int kNotSupported = 1;

class NoFilesystem final : public Filesystem {
 public:
  const char* getWindowsDirectory() override { return ""; }
  const char* getCurrentDirectory() override { return nullptr; }
  const char* getProgramPath() override { return nullptr; }
  const char* getProgramDirectory() override { return nullptr; }
  int listDirectory(const std::string&, std::vector<std::string>& names) override {
    names.clear();
    return kNotSupported;
  }
  int createDirectories(const std::string&, std::vector<std::string>& made) override {
    made.clear();
    return kNotSupported;
  }
  bool isInvalidPath(std::string) override { return true; }
  int removeTree(const std::string&) override { return kNotSupported; }
  int createFile(const std::string&, DeviceHandle*, bool) override { return kNotSupported; }
  int closeFile(DeviceHandle) override { return kNotSupported; }
  int setFileSize(DeviceHandle, std::uint64_t) override { return kNotSupported; }
  ProtocolResult writeAt(DeviceHandle, std::uint64_t, std::uint64_t, std::uint64_t*, std::uint32_t,
                         const void*) override {
    return ProtocolResult::Failure;
  }
  ProtocolResult readAt(DeviceHandle, std::uint64_t, std::uint64_t, std::uint64_t*, std::uint32_t,
                        void*) override {
    return ProtocolResult::Failure;
  }
};

}  // namespace

Filesystem& getLocalFilesystem() {
  static auto* const kFilesystem = new NoFilesystem;
  return *kFilesystem;
}

}  // namespace ostria::storage
