// Component object model: apartments and the one class that is registered here.
#include <wbemidl.h>

#include "virtual_pc/system/kernel.h"
#include "virtual_pc/win32/wmi_service.h"

using ostria::virtual_pc::KernelCall;

namespace {

struct Apartment {
  unsigned starts = 0;
  DWORD model = 0;
};
thread_local Apartment apartment;

// Holds for the process, whoever comes first.
bool securitySet = false;

}  // namespace

extern "C" {

HRESULT WINAPI CoInitializeEx(LPVOID /*reserved*/, DWORD model) {
  const KernelCall call;
  if (call.fails()) {
    return E_FAIL;
  }
  if (apartment.starts != 0 && apartment.model != model) {
    return RPC_E_CHANGED_MODE;
  }
  apartment.model = model;
  return apartment.starts++ == 0 ? S_OK : S_FALSE;
}

void WINAPI CoUninitialize(void) {
  if (apartment.starts != 0) {
    --apartment.starts;
  }
}

HRESULT WINAPI CoInitializeSecurity(PVOID, LONG, void*, void*, DWORD, DWORD, void*, DWORD, void*) {
  const KernelCall call;
  if (call.fails()) {
    return E_FAIL;
  }
  if (apartment.starts == 0) {
    return CO_E_NOTINITIALIZED;
  }
  if (securitySet) {
    return RPC_E_TOO_LATE;
  }
  securitySet = true;
  return S_OK;
}

HRESULT WINAPI CoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD /*context*/, REFIID id,
                                LPVOID* object) {
  *object = nullptr;
  const KernelCall call;
  if (call.fails()) {
    return E_FAIL;
  }
  if (apartment.starts == 0) {
    return CO_E_NOTINITIALIZED;
  }
  if (outer != nullptr) {
    return E_NOINTERFACE;
  }
  if (!(classId == CLSID_WbemLocator)) {
    return REGDB_E_CLASSNOTREG;
  }
  if (!(id == IID_IWbemLocator)) {
    return E_NOINTERFACE;
  }
  *object = ostria::virtual_pc::makeWmiLocator();
  return S_OK;
}

HRESULT WINAPI CoSetProxyBlanket(IUnknown* proxy, DWORD, DWORD, LPOLESTR, DWORD authentication,
                                 DWORD impersonation, void*, DWORD) {
  const KernelCall call;
  if (call.fails()) {
    return E_FAIL;
  }
  return ostria::virtual_pc::setWmiProxyBlanket(proxy, authentication, impersonation)
             ? S_OK
             : E_INVALIDARG;
}

}  // extern "C"
