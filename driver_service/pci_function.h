#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ostria/storage/zrd_service.h"

namespace ostria::storage {

/// One PCI function, by its folder below /sys/bus/pci/devices.
class PciFunction {
 public:
  /// @param root  folder that stands for "/", for a saved tree
  explicit PciFunction(const PciLocation& location, const std::string& root = "");

  /// Whether the folder of PCI functions can be read at all.
  static bool readable(const std::string& root = "");
  /// Whether the kernel gives out the registers of NVM controllers: those of one at least, where
  /// there are any. It may keep those that a driver has claimed to itself.
  static bool registersOpen(const std::string& root = "");

  /// Base class, subclass and programming interface in bits 23 to 0.
  std::optional<std::uint32_t> classCode() const;
  /// Reads from the memory behind the first base address, in accesses of four bytes.
  /// @param offset, length  multiples of 4, inside that memory
  /// @return false, with the buffer as it was, when the memory is not there or may not be read
  bool readRegisters(std::uint64_t offset, std::uint32_t length, void* buffer) const;

 private:
  PciFunction() = default;

  /// A mapping of registers; unmapped at the end.
  class Mapping;

  std::string folder_;  ///< empty when no such function can exist
};

}  // namespace ostria::storage
