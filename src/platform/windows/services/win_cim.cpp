// Queries of WMI. Every operation connects and releases on its own.
#include "platform/windows/services/win_cim.h"

#include "platform/windows/services/win_cim_rows.h"
#include "services/string_handler.h"

namespace ostria::storage {

CimResult WinCim::query(const char* const* fields, const char* where, const char* className,
                        int fieldCount, CimTable** table, const std::wstring& nameSpace) {
  if (fieldCount <= 0) {
    return CimResult::NoFields;
  }
  if (where == nullptr || *where == '\0') {
    return CimResult::QueryIncomplete;
  }
  return select(fields, fieldCount, className, std::string(" WHERE ") + where, table, nameSpace);
}

CimResult WinCim::queryAll(CimTable** table, const char* className, int fieldCount,
                           const char* const* fields, const std::wstring& nameSpace) {
  return select(fields, fieldCount, className, "", table, nameSpace);
}

CimResult WinCim::select(const char* const* fields, int fieldCount, const char* className,
                         const std::string& condition, CimTable** table,
                         const std::wstring& nameSpace) {
  if (fieldCount <= 0) {
    return CimResult::NoFields;
  }
  if (fields == nullptr || className == nullptr || *className == '\0' || table == nullptr) {
    return CimResult::QueryIncomplete;
  }
  std::string text = "SELECT ";
  std::vector<std::wstring> names;
  for (int i = 0; i < fieldCount; ++i) {
    if (fields[i] == nullptr) {
      return CimResult::NullFieldName;
    }
    if (i != 0) {
      text += ", ";
    }
    text += fields[i];
    names.push_back(toWide(fields[i]));
  }
  text += std::string(" FROM ") + className + condition;

  CimSession session;
  if (const CimResult result = open(nameSpace, session); result != CimResult::Success) {
    return result;
  }
  auto rows = std::make_unique<CimTable>();
  if (!collectRows(*session.services.get(), toWide(text), names, *rows)) {
    return CimResult::ConnectFailed;
  }
  *table = rows.release();
  return CimResult::Success;
}

CimResult WinCim::connect(const std::wstring& nameSpace, const std::wstring& className,
                          CimSession& session) {
  if (const CimResult result = open(nameSpace, session); result != CimResult::Success) {
    return result;
  }
  const ComText path(className);
  return SUCCEEDED(session.services->GetObject(path.get(), 0, nullptr, session.classObject.put(),
                                               nullptr)) &&
                 session.classObject
             ? CimResult::Success
             : CimResult::ConnectFailed;
}

CimResult WinCim::start(ComApartment& apartment) {
  const HRESULT started = apartment.start();
  if (FAILED(started) && started != RPC_E_CHANGED_MODE) {
    return CimResult::ComStartFailed;
  }
  comInitialised_ = started != S_OK;
  const HRESULT secured =
      CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                           RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
  // Set once in a process; whoever was first has said it for all.
  if (FAILED(secured) && secured != RPC_E_TOO_LATE) {
    return CimResult::ComSecurityFailed;
  }
  return comInitialised_ ? CimResult::ComAlreadyRunning : CimResult::Success;
}

CimResult WinCim::open(const std::wstring& nameSpace, CimSession& session) {
  const CimResult started = start(session.apartment);
  if (started != CimResult::Success && started != CimResult::ComAlreadyRunning) {
    return started;
  }
  return connectServices(nameSpace, session.services);
}

CimResult WinCim::connectServices(const std::wstring& nameSpace,
                                  ComPointer<IWbemServices>& services) {
  ComPointer<IWbemLocator> locator;
  if (FAILED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                              reinterpret_cast<void**>(locator.put()))) ||
      !locator) {
    return CimResult::LocatorFailed;
  }
  const ComText resource(nameSpace);
  if (FAILED(locator->ConnectServer(resource.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                    services.put())) ||
      !services) {
    return CimResult::ConnectFailed;
  }
  if (FAILED(CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                               RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                               EOAC_NONE))) {
    return CimResult::ProxyFailed;
  }
  return CimResult::Success;
}

std::unique_ptr<Cim> makeCim() { return std::make_unique<WinCim>(); }

}  // namespace ostria::storage
