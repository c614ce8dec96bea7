// Result records in a WMI class of our own namespace, both made when they are first needed.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "platform/windows/services/win_cim.h"
#include "platform/windows/services/win_cim_rows.h"
#include "services/string_handler.h"

namespace ostria::storage {
namespace {

constexpr std::size_t kMaxRecords = 5000;

constexpr std::array<const wchar_t*, 7> kTextProperties = {
    L"ModuleName", L"DeviceUdi",          L"DeviceDisplayName", L"TestName",
    L"TestStatus", L"TestStartTimestamp", L"TestDuration"};

/// Waits for an operation that was started without waiting.
bool finished(HRESULT started, ComPointer<IWbemCallResult>& call) {
  if (FAILED(started)) {
    return false;
  }
  LONG status = 0;
  return !call || (SUCCEEDED(call->GetCallStatus(static_cast<LONG>(WBEM_INFINITE), &status)) &&
                   SUCCEEDED(status));
}

bool getObject(IWbemServices& services, const std::wstring& path,
               ComPointer<IWbemClassObject>& object) {
  const ComText text(path);
  return SUCCEEDED(services.GetObject(text.get(), 0, nullptr, object.put(), nullptr)) && object;
}

bool spawn(IWbemClassObject& classObject, ComPointer<IWbemClassObject>& instance) {
  return SUCCEEDED(classObject.SpawnInstance(0, instance.put())) && instance;
}

bool putText(IWbemClassObject& object, const std::wstring& name, const std::wstring& text) {
  ComValue value;
  ComValue::setText(value, text);
  return SUCCEEDED(object.Put(name.c_str(), 0, value.get(), 0));
}

bool createNamespace(IWbemServices& parent, const std::wstring& name) {
  ComPointer<IWbemClassObject> classObject;
  ComPointer<IWbemClassObject> instance;
  if (!getObject(parent, L"__Namespace", classObject) || !spawn(*classObject.get(), instance) ||
      !putText(*instance.get(), L"Name", name)) {
    return false;
  }
  ComPointer<IWbemCallResult> call;
  const HRESULT started =
      parent.PutInstance(instance.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, call.put());
  return finished(started, call);
}

bool declareKey(IWbemClassObject& object) {
  ComPointer<IWbemQualifierSet> qualifiers;
  if (FAILED(object.Put(L"Id", 0, nullptr, CIM_UINT32)) ||
      FAILED(object.GetPropertyQualifierSet(L"Id", qualifiers.put())) || !qualifiers) {
    return false;
  }
  ComValue isKey;
  (*isKey).vt = VT_BOOL;
  (*isKey).boolVal = VARIANT_TRUE;
  return SUCCEEDED(qualifiers->Put(L"Key", isKey.get(), 0));
}

bool createRecordClass(IWbemServices& services, const std::wstring& className) {
  ComPointer<IWbemClassObject> object;
  if (!getObject(services, L"", object) || !putText(*object.get(), L"__CLASS", className) ||
      !declareKey(*object.get())) {
    return false;
  }
  for (const wchar_t* const name : kTextProperties) {
    if (FAILED(object->Put(name, 0, nullptr, CIM_STRING))) {
      return false;
    }
  }
  ComPointer<IWbemCallResult> call;
  const HRESULT started =
      services.PutClass(object.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, call.put());
  return finished(started, call);
}

/// Numbers of all records, ascending.
bool readNumbers(IWbemServices& services, const std::wstring& className,
                 std::vector<std::uint32_t>& numbers) {
  CimTable rows;
  if (!collectRows(services, L"SELECT Id FROM " + className, {L"Id"}, rows)) {
    return false;
  }
  for (const auto& row : rows) {
    // An unsigned number comes as a signed one of the same bits.
    if (!row.front().empty()) {
      numbers.push_back(
          static_cast<std::uint32_t>(std::strtoll(row.front().front().c_str(), nullptr, 10)));
    }
  }
  std::sort(numbers.begin(), numbers.end());
  return true;
}

/// Makes room for one more record: in a full class the oldest goes.
bool dropOldest(IWbemServices& services, const std::wstring& className,
                const std::vector<std::uint32_t>& numbers) {
  if (numbers.size() < kMaxRecords) {
    return true;
  }
  const ComText path(className + L".Id=" + std::to_wstring(numbers.front()));
  return SUCCEEDED(services.DeleteInstance(path.get(), 0, nullptr, nullptr));
}

}  // namespace

CimResult WinCim::ensureNamespace(const std::wstring& parent, const std::wstring& name,
                                  bool* existed) {
  if (existed != nullptr) {
    *existed = false;
  }
  CimSession session;
  if (const CimResult result = open(parent, session); result != CimResult::Success) {
    return result;
  }
  return makeNamespace(*session.services.get(), name, existed);
}

/// Makes a namespace under the one that is connected; an existing one is kept.
CimResult WinCim::makeNamespace(IWbemServices& parent, const std::wstring& name, bool* existed) {
  ComPointer<IWbemClassObject> present;
  if (getObject(parent, L"__Namespace.Name='" + name + L"'", present)) {
    if (existed != nullptr) {
      *existed = true;
    }
    return CimResult::Success;
  }
  return createNamespace(parent, name) ? CimResult::Success : CimResult::ConnectFailed;
}

/// The two namespaces above the records. Component objects run already.
bool WinCim::makeRecordNamespaces() {
  ComPointer<IWbemServices> root;
  ComPointer<IWbemServices> product;
  return connectServices(L"ROOT", root) == CimResult::Success &&
         makeNamespace(*root.get(), L"Ostria", nullptr) == CimResult::Success &&
         connectServices(L"ROOT\\Ostria", product) == CimResult::Success &&
         makeNamespace(*product.get(), L"Ostria_Diagnostics", nullptr) == CimResult::Success;
}

/// Connects to the namespace of the records and gets their class; what is missing is made.
/// Component objects are started once: each start has to be ended, and the session ends one.
CimResult WinCim::openRecords(const std::wstring& nameSpace, const std::wstring& className,
                              CimSession& session) {
  if (const CimResult result = open(nameSpace, session); result != CimResult::Success) {
    // Only a namespace that is not there is helped by making it.
    if (result != CimResult::ConnectFailed) {
      return result;
    }
    if (!makeRecordNamespaces() ||
        connectServices(nameSpace, session.services) != CimResult::Success) {
      return CimResult::ConnectFailed;
    }
  }
  IWbemServices& services = *session.services.get();
  const bool usable = getObject(services, className, session.classObject) ||
                      (createRecordClass(services, className) &&
                       getObject(services, className, session.classObject));
  return usable ? CimResult::Success : CimResult::ConnectFailed;
}

CimResult WinCim::writeRecord(const std::vector<std::string>& names,
                              const std::vector<std::string>& values, const char* className,
                              const std::wstring& nameSpace) {
  if (className == nullptr || *className == '\0') {
    return CimResult::QueryIncomplete;
  }
  const std::wstring wideClass = toWide(className);
  CimSession session;
  if (const CimResult result = openRecords(nameSpace, wideClass, session);
      result != CimResult::Success) {
    return result;
  }

  IWbemServices& services = *session.services.get();
  ComPointer<IWbemClassObject> record;
  std::vector<std::uint32_t> numbers;
  if (!spawn(*session.classObject.get(), record) || !readNumbers(services, wideClass, numbers)) {
    return CimResult::ConnectFailed;
  }
  if (names.size() != values.size()) {
    return CimResult::Success;
  }

  ComValue number;
  (*number).vt = VT_I4;
  (*number).lVal = numbers.empty() ? 0 : static_cast<LONG>(numbers.back() + 1);
  if (FAILED(record->Put(L"Id", 0, number.get(), 0))) {
    return CimResult::ConnectFailed;
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!putText(*record.get(), toWide(names[i]), toWide(values[i]))) {
      return CimResult::ConnectFailed;
    }
  }
  // The oldest record goes only for one that can be written.
  if (!dropOldest(services, wideClass, numbers)) {
    return CimResult::ConnectFailed;
  }
  return SUCCEEDED(services.PutInstance(record.get(), WBEM_FLAG_CREATE_ONLY, nullptr, nullptr))
             ? CimResult::Success
             : CimResult::ConnectFailed;
}

}  // namespace ostria::storage
