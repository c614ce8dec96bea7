#pragma once

#include <map>
#include <string>

#include "services/cim.h"

namespace ostria::storage {

/// WMI queries where the system has no WMI: the class of signed drivers is
/// answered from sysfs, every other class is one of result records in a file of our own.
class LinuxCim : public Cim {
 public:
  CimResult query(const char* const* fields, const char* where, const char* className,
                  int fieldCount, CimTable** table, const std::wstring& nameSpace) override;
  CimResult queryAll(CimTable** table, const char* className, int fieldCount,
                     const char* const* fields, const std::wstring& nameSpace) override;
  CimResult writeRecord(const std::vector<std::string>& names,
                        const std::vector<std::string>& values, const char* className,
                        const std::wstring& nameSpace) override;
  CimResult ensureNamespace(const std::wstring& parent, const std::wstring& name,
                            bool* existed) override;

 private:
  CimResult select(const char* const* fields, const char* where, const char* className,
                   int fieldCount, CimTable** table, const std::wstring& nameSpace);
};

}  // namespace ostria::storage
