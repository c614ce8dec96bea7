#pragma once

#include "platform/windows/services/win_com.h"
#include "services/cim.h"
// Needs the types of the header above.
#include <wbemidl.h>

namespace ostria::storage {

/// A connection to one namespace of WMI. Members go in reverse order: the
/// component objects end last.
struct CimSession {
  ComApartment apartment;
  ComPointer<IWbemServices> services;
  ComPointer<IWbemClassObject> classObject;  ///< of `WinCim::connect`
};

/// WMI queries and result records in WMI. No
/// connection is held between calls. Two processes that write a record at the same moment may
/// choose the same number; the second then gets `ConnectFailed` and its record is lost.
class WinCim : public Cim {
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

  /// Connects to a namespace and gets the definition of one of its classes.
  CimResult connect(const std::wstring& nameSpace, const std::wstring& className,
                    CimSession& session);

 private:
  CimResult start(ComApartment& apartment);
  CimResult open(const std::wstring& nameSpace, CimSession& session);
  /// The part of `open` behind the start of component objects.
  static CimResult connectServices(const std::wstring& nameSpace,
                                   ComPointer<IWbemServices>& services);
  static CimResult makeNamespace(IWbemServices& parent, const std::wstring& name, bool* existed);
  static bool makeRecordNamespaces();
  CimResult openRecords(const std::wstring& nameSpace, const std::wstring& className,
                        CimSession& session);
  CimResult select(const char* const* fields, int fieldCount, const char* className,
                   const std::string& condition, CimTable** table, const std::wstring& nameSpace);

  bool comInitialised_ = false;  ///< the start found components running in the thread
};

}  // namespace ostria::storage
