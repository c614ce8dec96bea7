#pragma once

#include <cstdint>

namespace ostria::storage {

/// Version of the interface that these headers describe. A host compares it with
/// `GetProductVersion` before it calls anything else: another major number is another table of
/// functions, a smaller minor number a module that lacks what was added since.
inline constexpr std::uint32_t InterfaceMajor = 4;
inline constexpr std::uint32_t InterfaceMinor = 46;

/// Version of the interface that the module offers to the host (not of the library file).
class ProductVersion {
 public:
  ProductVersion(std::uint32_t major, std::uint32_t minor, std::uint32_t patch, std::uint32_t build)
      : major_(major), minor_(minor), patch_(patch), build_(build) {}
  virtual ~ProductVersion() = default;

  virtual std::uint32_t major() { return major_; }
  virtual std::uint32_t minor() { return minor_; }
  virtual std::uint32_t patch() { return patch_; }
  virtual std::uint32_t build() { return build_; }

 private:
  std::uint32_t major_;
  std::uint32_t minor_;
  std::uint32_t patch_;
  std::uint32_t build_;
};

}  // namespace ostria::storage
