// Class objects, rows and call results of the WMI service.
#include "virtual_pc/win32/wmi_objects.h"

#include "virtual_pc/win32/wmi_values.h"

namespace ostria::virtual_pc {
namespace {

HRESULT failure(WBEMSTATUS status) { return static_cast<HRESULT>(status); }

/// Whether a value is of a property's type. None is of every type.
bool holds(CIMTYPE type, const WmiValue& value) {
  const bool list = (type & CIM_FLAG_ARRAY) != 0;
  const bool text = (type & ~CIM_FLAG_ARRAY) == CIM_STRING;
  switch (value.index()) {
    case 0:
      return true;
    case 3:
      return !list && text;
    case 4:
      return list && text;
    case 1:
      return type == CIM_BOOLEAN;
    default:
      return !list && !text && type != CIM_BOOLEAN;
  }
}

/// Qualifiers of one property; only that of a key counts. Keeps its object alive.
class KeyQualifiers final : public ComObject<IWbemQualifierSet> {
 public:
  KeyQualifiers(WmiClassObject& owner, std::wstring property)
      : owner_(owner), property_(std::move(property)) {
    owner_.AddRef();
  }
  ~KeyQualifiers() override { owner_.Release(); }

  HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, VARIANT* value, LONG /*flavor*/) override {
    if (sameWmiName(name, L"key") && value->vt == VT_BOOL && value->boolVal != VARIANT_FALSE) {
      owner_.markKey(property_);
    }
    return S_OK;
  }

 private:
  WmiClassObject& owner_;
  std::wstring property_;
};

}  // namespace

HRESULT WmiClassObject::Get(LPCWSTR name, LONG /*flags*/, VARIANT* value, CIMTYPE* type,
                            LONG* flavor) {
  if (flavor != nullptr) {
    *flavor = 0;
  }
  if (sameWmiName(name, L"__CLASS")) {
    toVariant(object_.className, value);
    return S_OK;
  }
  const WmiProperty* const property = object_.find(name);
  if (property == nullptr) {
    return failure(WBEM_E_NOT_FOUND);
  }
  toVariant(property->value, value);
  if (type != nullptr) {
    *type = property->type;
  }
  return S_OK;
}

HRESULT WmiClassObject::Put(LPCWSTR name, LONG /*flags*/, VARIANT* value, CIMTYPE type) {
  const WmiValue content = value == nullptr ? WmiValue() : fromVariant(*value);
  if (sameWmiName(name, L"__CLASS")) {
    if (object_.isInstance) {
      return failure(WBEM_E_INVALID_PARAMETER);
    }
    object_.className = wmiText(content);
    return S_OK;
  }
  WmiProperty* const property = object_.find(name);
  if (property != nullptr) {
    if (!holds(property->type, content)) {
      return failure(WBEM_E_TYPE_MISMATCH);
    }
    property->value = content;
    return S_OK;
  }
  // Only a class takes on new properties.
  if (object_.isInstance) {
    return failure(WBEM_E_NOT_FOUND);
  }
  object_.properties.push_back({name, type, false, content});
  return S_OK;
}

HRESULT WmiClassObject::GetPropertyQualifierSet(LPCWSTR name, IWbemQualifierSet** set) {
  if (object_.find(name) == nullptr) {
    return failure(WBEM_E_NOT_FOUND);
  }
  *set = new KeyQualifiers(*this, name);
  return S_OK;
}

HRESULT WmiClassObject::SpawnInstance(LONG /*flags*/, IWbemClassObject** instance) {
  if (object_.isInstance) {
    return failure(WBEM_E_INVALID_PARAMETER);
  }
  WmiObject spawned = object_;
  spawned.isInstance = true;
  *instance = new WmiClassObject(std::move(spawned), definition_);
  return S_OK;
}

HRESULT WmiClassObject::GetMethod(LPCWSTR name, LONG /*flags*/, IWbemClassObject** in,
                                  IWbemClassObject** out) {
  if (definition_ == nullptr) {
    return failure(WBEM_E_NOT_FOUND);
  }
  for (const auto& [methodName, method] : definition_->methods) {
    if (!sameWmiName(methodName, name)) {
      continue;
    }
    if (in != nullptr) {
      *in = new WmiClassObject(method.in, nullptr);
    }
    if (out != nullptr) {
      *out = nullptr;
    }
    return S_OK;
  }
  return failure(WBEM_E_NOT_FOUND);
}

void WmiClassObject::markKey(const std::wstring& property) {
  if (WmiProperty* const found = object_.find(property)) {
    found->key = true;
  }
}

HRESULT WmiRows::Next(LONG /*timeout*/, ULONG count, IWbemClassObject** objects, ULONG* returned) {
  ULONG given = 0;
  while (given < count && next_ < rows_.size()) {
    objects[given++] = new WmiClassObject(rows_[next_++], definition_);
  }
  if (returned != nullptr) {
    *returned = given;
  }
  return given == count ? S_OK : S_FALSE;
}

}  // namespace ostria::virtual_pc
