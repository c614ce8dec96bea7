// The part of the SDK header of this name that the Windows-bound classes use: the WMI interfaces.
#pragma once

#include <oleauto.h>

// The WMI service: the operations that the virtual PC's small repository has.

DEFINE_GUID(CLSID_WbemLocator, 0x4590f811, 0x1d3a, 0x11d0, 0x89, 0x1f, 0x00, 0xaa, 0x00, 0x4b, 0x2e,
            0x24);
DEFINE_GUID(IID_IWbemLocator, 0xdc12a687, 0x737f, 0x11cf, 0x88, 0x4d, 0x00, 0xaa, 0x00, 0x4b, 0x2e,
            0x24);

#define WBEM_INFINITE 0xffffffff

enum WBEM_GENERIC_FLAG_TYPE {
  WBEM_FLAG_RETURN_IMMEDIATELY = 0x10,
  WBEM_FLAG_FORWARD_ONLY = 0x20,
  WBEM_FLAG_CREATE_ONLY = 0x2
};

enum CIMTYPE_ENUMERATION {
  CIM_SINT32 = 3,
  CIM_STRING = 8,
  CIM_BOOLEAN = 11,
  CIM_UINT32 = 19,
  CIM_FLAG_ARRAY = 0x2000
};
using CIMTYPE = LONG;

enum WBEMSTATUS : std::uint32_t {
  WBEM_S_NO_ERROR = 0,
  WBEM_S_FALSE = 1,
  WBEM_E_FAILED = 0x80041001,
  WBEM_E_NOT_FOUND = 0x80041002,
  WBEM_E_ACCESS_DENIED = 0x80041003,
  WBEM_E_TYPE_MISMATCH = 0x80041005,
  WBEM_E_INVALID_PARAMETER = 0x80041008,
  WBEM_E_INVALID_NAMESPACE = 0x8004100e,
  WBEM_E_INVALID_CLASS = 0x80041010,
  WBEM_E_INVALID_QUERY = 0x80041017,
  WBEM_E_ALREADY_EXISTS = 0x80041019,
  WBEM_E_INVALID_METHOD = 0x8004102e
};

class IWbemContext;

class IWbemQualifierSet : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, VARIANT* value, LONG flavor) = 0;
};

class IWbemClassObject : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type,
                                        LONG* flavor) = 0;
  virtual HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE type) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR name,
                                                            IWbemQualifierSet** set) = 0;
  virtual HRESULT STDMETHODCALLTYPE SpawnInstance(LONG flags, IWbemClassObject** instance) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG flags, IWbemClassObject** in,
                                              IWbemClassObject** out) = 0;
};

class IEnumWbemClassObject : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects,
                                         ULONG* returned) = 0;
};

class IWbemCallResult : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE GetCallStatus(LONG timeout, LONG* status) = 0;
};

class IWbemServices : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext* context,
                                              IWbemClassObject** object,
                                              IWbemCallResult** call) = 0;
  virtual HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject* object, LONG flags,
                                             IWbemContext* context, IWbemCallResult** call) = 0;
  virtual HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject* instance, LONG flags,
                                                IWbemContext* context, IWbemCallResult** call) = 0;
  virtual HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR path, LONG flags,
                                                   IWbemContext* context,
                                                   IWbemCallResult** call) = 0;
  virtual HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags,
                                              IWbemContext* context,
                                              IEnumWbemClassObject** rows) = 0;
  virtual HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR path, const BSTR method, LONG flags,
                                               IWbemContext* context, IWbemClassObject* in,
                                               IWbemClassObject** out, IWbemCallResult** call) = 0;
};

class IWbemLocator : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR user,
                                                  const BSTR password, const BSTR locale,
                                                  LONG securityFlags, const BSTR authority,
                                                  IWbemContext* context,
                                                  IWbemServices** services) = 0;
};
