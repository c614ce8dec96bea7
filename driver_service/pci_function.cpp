// PCI configuration and the first base address of a function through sysfs. Reads go through a
// mapping of four-byte registers; the kernel refuses it for memory that a driver has claimed,
// unless it was started with iomem=relaxed.

#include "driver_service/pci_function.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace ostria::storage {
namespace {

constexpr std::uint32_t kRegisterBytes = 4;

std::string functionsFolder(const std::string& root) { return root + "/sys/bus/pci/devices"; }

}  // namespace

class PciFunction::Mapping {
 public:
  /// Nothing is mapped unless the whole stretch lies inside the memory.
  Mapping(const std::string& folder, std::uint64_t offset, std::uint32_t length) {
    const int descriptor = ::open((folder + "/resource0").c_str(), O_RDONLY | O_CLOEXEC | O_SYNC);
    if (descriptor < 0) {
      return;
    }
    struct stat status = {};
    const bool known = ::fstat(descriptor, &status) == 0 && status.st_size > 0;
    const std::uint64_t size = known ? static_cast<std::uint64_t>(status.st_size) : 0;
    if (offset <= size && length <= size - offset) {
      const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
      const std::uint64_t start = offset / page * page;
      inPage_ = static_cast<std::size_t>(offset - start);
      span_ = inPage_ + length;
      mapped_ =
          ::mmap(nullptr, span_, PROT_READ, MAP_SHARED, descriptor, static_cast<off_t>(start));
    }
    ::close(descriptor);
  }
  ~Mapping() {
    if (mapped_ != MAP_FAILED) {
      ::munmap(mapped_, span_);
    }
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  /// The first register of the stretch; null when nothing is mapped.
  const volatile std::uint32_t* registers() const {
    return mapped_ == MAP_FAILED
               ? nullptr
               : static_cast<const volatile std::uint32_t*>(mapped_) + inPage_ / kRegisterBytes;
  }

 private:
  void* mapped_ = MAP_FAILED;
  std::size_t span_ = 0;
  std::size_t inPage_ = 0;
};

PciFunction::PciFunction(const PciLocation& location, const std::string& root) {
  if (location.bus > 0xFF || location.device > 0x1F || location.function > 7) {
    return;
  }
  char name[16];
  std::snprintf(name, sizeof name, "0000:%02x:%02x.%x", location.bus, location.device,
                location.function);
  folder_ = functionsFolder(root) + "/" + name;
}

bool PciFunction::readable(const std::string& root) {
  return ::access(functionsFolder(root).c_str(), R_OK | X_OK) == 0;
}

bool PciFunction::registersOpen(const std::string& root) {
  constexpr std::uint32_t kNvmController = 0x0108;  // mass storage, non-volatile memory
  bool found = false;
  std::error_code error;
  std::filesystem::directory_iterator entry(functionsFolder(root), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    PciFunction function;
    function.folder_ = entry->path().string();
    const auto code = function.classCode();
    if (!code || *code >> 8 != kNvmController) {
      continue;
    }
    found = true;
    if (Mapping(function.folder_, 0, kRegisterBytes).registers() != nullptr) {
      return true;
    }
  }
  return !found;
}

std::optional<std::uint32_t> PciFunction::classCode() const {
  std::ifstream file(folder_ + "/class");
  std::string text;
  if (folder_.empty() || !(file >> text) || text.rfind("0x", 0) != 0) {
    return std::nullopt;
  }
  std::uint32_t code = 0;
  const auto [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), code, 16);
  if (error != std::errc() || end != text.data() + text.size() || code > 0xFFFFFF) {
    return std::nullopt;
  }
  return code;
}

bool PciFunction::readRegisters(std::uint64_t offset, std::uint32_t length, void* buffer) const {
  if (folder_.empty() || length == 0 || length % kRegisterBytes != 0 ||
      offset % kRegisterBytes != 0) {
    return false;
  }
  // A function that sleeps answers every read with ones.
  std::ifstream state(folder_ + "/power_state");
  std::string power;
  if (state >> power && power != "D0" && power != "unknown") {
    return false;
  }

  const Mapping mapping(folder_, offset, length);
  if (mapping.registers() == nullptr) {
    return false;
  }
  for (std::size_t i = 0; i < length / kRegisterBytes; ++i) {
    const std::uint32_t value = mapping.registers()[i];
    std::memcpy(static_cast<char*>(buffer) + i * kRegisterBytes, &value, kRegisterBytes);
  }
  return true;
}

}  // namespace ostria::storage
