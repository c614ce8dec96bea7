#pragma once

#include <cstdint>

#if defined(_WIN32)
#define OSTRIA_ZRD_EXPORT __declspec(dllexport)
#else
#define OSTRIA_ZRD_EXPORT __attribute__((visibility("default")))
#endif

namespace ostria::storage {

/// Address of a PCI function.
struct PciLocation {
  std::uint32_t bus = 0;
  std::uint32_t device = 0;
  std::uint32_t function = 0;
};

/// PCI class code. 255 in each field until a service has filled it.
struct PciClass {
  std::uint32_t baseClass = 255;
  std::uint32_t subclass = 255;
  std::uint32_t programmingInterface = 255;
};

/// The optional driver service: access to PCI configuration and controller registers. It comes as a
/// library of its own with two plain exports, "CreateZRDService" and "DestroyZRDService". The
/// operations that are named hostOperationN belong to the host; this module never calls them.
class OSTRIA_ZRD_EXPORT ZRDService {
 public:
  ZRDService();
  ZRDService(const ZRDService& other);
  virtual ~ZRDService();
  ZRDService& operator=(const ZRDService& other);

  virtual void hostOperation1() = 0;
  virtual void hostOperation2() = 0;
  virtual void hostOperation3() = 0;
  /// @return 0 on success, with the class code of the function in `result`
  virtual std::uint32_t GetPciClass(const PciLocation* location, PciClass* result) = 0;
  /// Non-zero when the service can be used.
  virtual std::uint32_t IsAvailable() = 0;
  virtual void hostOperation6() = 0;
  virtual void hostOperation7() = 0;
  /// Reads from the memory-mapped registers of the function's controller (its first base address).
  /// @param offset  bytes from the start of the register block
  /// @param length  in: bytes wanted; out: bytes read
  /// @param flag    in and out, 0 from this module
  /// @param buffer  at least `*length` bytes
  /// @return 0 on success
  virtual std::uint32_t ReadControllerRegister(const PciLocation* location,
                                               const std::uint64_t* offset, std::uint32_t* length,
                                               std::uint8_t* flag, void* buffer) = 0;
  virtual void hostOperation9() = 0;
  virtual void hostOperation10() = 0;
  virtual void hostOperation11() = 0;
  virtual void hostOperation12() = 0;
  virtual void hostOperation13() = 0;
  virtual void hostOperation14() = 0;
  virtual void hostOperation15() = 0;
  virtual void hostOperation16() = 0;
  virtual void hostOperation17() = 0;
  virtual void hostOperation18() = 0;
  virtual void hostOperation19() = 0;
  virtual void hostOperation20() = 0;
  virtual void hostOperation21() = 0;
};

using CreateZRDServiceFunction = ZRDService* (*)();
using DestroyZRDServiceFunction = void (*)(ZRDService*);

}  // namespace ostria::storage
