// The component objects that the WMI service gives out.
#pragma once

#include <wbemidl.h>

#include <utility>
#include <vector>

#include "virtual_pc/system/services/wmi_repository.h"
#include "virtual_pc/win32/com_object.h"

namespace ostria::virtual_pc {

/// A class, an instance or the parameters of a method, as the WMI service gives it out: a
/// copy that the repository sees again when it is put.
class WmiClassObject final : public ComObject<IWbemClassObject> {
 public:
  /// @param definition  the class behind it, or null for parameters
  WmiClassObject(WmiObject object, const WmiClass* definition)
      : object_(std::move(object)), definition_(definition) {}

  const WmiObject& object() const { return object_; }

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type,
                                LONG* flavor) override;
  HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE type) override;
  HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR name, IWbemQualifierSet** set) override;
  HRESULT STDMETHODCALLTYPE SpawnInstance(LONG flags, IWbemClassObject** instance) override;
  HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG flags, IWbemClassObject** in,
                                      IWbemClassObject** out) override;

  void markKey(const std::wstring& property);

 private:
  WmiObject object_;
  const WmiClass* definition_;
};

/// The rows that a query found.
class WmiRows final : public ComObject<IEnumWbemClassObject> {
 public:
  WmiRows(std::vector<WmiObject> rows, const WmiClass* definition)
      : rows_(std::move(rows)), definition_(definition) {}

  HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects,
                                 ULONG* returned) override;

 private:
  std::vector<WmiObject> rows_;
  const WmiClass* definition_;
  std::size_t next_ = 0;
};

/// Outcome of an operation that was not waited for.
class WmiCallResult final : public ComObject<IWbemCallResult> {
 public:
  explicit WmiCallResult(HRESULT status) : status_(status) {}

  HRESULT STDMETHODCALLTYPE GetCallStatus(LONG /*timeout*/, LONG* status) override {
    *status = status_;
    return S_OK;
  }

 private:
  HRESULT status_;
};

}  // namespace ostria::virtual_pc
