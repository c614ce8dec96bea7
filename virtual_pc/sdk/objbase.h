// The part of the SDK header of this name that the Windows-bound classes use: the component object
// model.
#pragma once

#include <windef.h>
#include <winerror.h>

// Component objects: starting them in a thread, and the base of their interfaces.

using OLECHAR = WCHAR;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

class IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;

 protected:
  ~IUnknown() = default;
};
using LPUNKNOWN = IUnknown*;

enum COINIT : std::uint32_t { COINIT_MULTITHREADED = 0, COINIT_APARTMENTTHREADED = 2 };
enum CLSCTX : std::uint32_t { CLSCTX_INPROC_SERVER = 1 };

#define RPC_C_AUTHN_WINNT 10
#define RPC_C_AUTHZ_NONE 0
#define RPC_C_AUTHN_LEVEL_DEFAULT 0
#define RPC_C_AUTHN_LEVEL_CALL 3
#define RPC_C_IMP_LEVEL_IMPERSONATE 3
#define EOAC_NONE 0

extern "C" {
HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD model);
void WINAPI CoUninitialize(void);
HRESULT WINAPI CoInitializeSecurity(PVOID descriptor, LONG services, void* list, void* reserved1,
                                    DWORD authentication, DWORD impersonation, void* reserved2,
                                    DWORD capabilities, void* reserved3);
HRESULT WINAPI CoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD context, REFIID id,
                                LPVOID* object);
HRESULT WINAPI CoSetProxyBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization,
                                 LPOLESTR principal, DWORD level, DWORD impersonation,
                                 void* identity, DWORD capabilities);
}
