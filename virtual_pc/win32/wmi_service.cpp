// The WMI service: namespaces, classes, queries and methods behind its interfaces.
#include "virtual_pc/win32/wmi_service.h"

#include "virtual_pc/system/kernel.h"
#include "virtual_pc/win32/wmi_objects.h"

namespace ostria::virtual_pc {
namespace {

constexpr const wchar_t* kNamespaceClass = L"__Namespace";

WmiRepository& wmiRepository() { return machine().wmi(); }

HRESULT failure(WBEMSTATUS status) { return static_cast<HRESULT>(status); }

std::wstring textOf(const BSTR text) { return text == nullptr ? L"" : text; }

const WmiClass& namespaceDefinition() {
  static const WmiClass kDefinition = [] {
    WmiClass made;
    made.definition.className = kNamespaceClass;
    made.definition.properties.push_back({L"Name", CIM_STRING, true, {}});
    return made;
  }();
  return kDefinition;
}

/// Gives an operation's outcome at once, or through the object that the caller asked for.
HRESULT deliver(HRESULT outcome, LONG flags, IWbemCallResult** call) {
  if ((flags & WBEM_FLAG_RETURN_IMMEDIATELY) == 0 || call == nullptr) {
    return outcome;
  }
  *call = new WmiCallResult(outcome);
  return S_OK;
}

class Services final : public ComObject<IWbemServices> {
 public:
  explicit Services(std::wstring path) : path_(std::move(path)) {}

  HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext* context,
                                      IWbemClassObject** object, IWbemCallResult** call) override;
  HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject* object, LONG flags, IWbemContext* context,
                                     IWbemCallResult** call) override;
  HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject* instance, LONG flags,
                                        IWbemContext* context, IWbemCallResult** call) override;
  HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemCallResult** call) override;
  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags,
                                      IWbemContext* context, IEnumWbemClassObject** rows) override;
  HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR path, const BSTR method, LONG flags,
                                       IWbemContext* context, IWbemClassObject* in,
                                       IWbemClassObject** out, IWbemCallResult** call) override;

  void allow(bool identified) { identified_ = identified; }

 private:
  /// The start of each operation: the outcome that ends it, S_OK to go on.
  HRESULT admit(const KernelCall& call) const {
    if (call.fails()) {
      return failure(WBEM_E_FAILED);
    }
    return identified_ ? S_OK : failure(WBEM_E_ACCESS_DENIED);
  }
  WmiClass* findClass(const std::wstring& name) {
    WmiNamespace* const space = wmiRepository().find(path_);
    return space == nullptr ? nullptr : space->find(name);
  }
  HRESULT store(const WmiObject& instance, LONG flags);

  std::wstring path_;
  bool identified_ = false;  ///< calls carry the caller's identity
};

HRESULT Services::GetObject(const BSTR path, LONG /*flags*/, IWbemContext* /*context*/,
                            IWbemClassObject** object, IWbemCallResult** /*call*/) {
  const KernelCall platformCall;
  if (const HRESULT refused = admit(platformCall); refused != S_OK) {
    return refused;
  }
  const std::wstring text = textOf(path);
  if (text.empty()) {
    *object = new WmiClassObject({}, nullptr);
    return S_OK;
  }
  const auto parsed = WmiPath::parse(text);
  if (!parsed) {
    return failure(WBEM_E_INVALID_PARAMETER);
  }
  if (sameWmiName(parsed->className, kNamespaceClass)) {
    const WmiClass& definition = namespaceDefinition();
    WmiObject found = parsed->key.empty() ? definition.definition : definition.spawn();
    if (!parsed->key.empty()) {
      if (wmiRepository().find(path_ + L"\\" + parsed->value) == nullptr) {
        return failure(WBEM_E_NOT_FOUND);
      }
      found.find(L"Name")->value = parsed->value;
    }
    *object = new WmiClassObject(std::move(found), &definition);
    return S_OK;
  }
  WmiClass* const known = findClass(parsed->className);
  if (known == nullptr) {
    return failure(WBEM_E_NOT_FOUND);
  }
  if (parsed->key.empty()) {
    *object = new WmiClassObject(known->definition, known);
    return S_OK;
  }
  const WmiObject* const instance = known->findInstance(parsed->key, parsed->value);
  if (instance == nullptr) {
    return failure(WBEM_E_NOT_FOUND);
  }
  *object = new WmiClassObject(*instance, known);
  return S_OK;
}

HRESULT Services::PutClass(IWbemClassObject* object, LONG flags, IWbemContext* /*context*/,
                           IWbemCallResult** call) {
  const KernelCall platformCall;
  if (const HRESULT refused = admit(platformCall); refused != S_OK) {
    return refused;
  }
  const WmiObject& definition = static_cast<WmiClassObject*>(object)->object();
  WmiNamespace* const space = wmiRepository().find(path_);
  HRESULT outcome = S_OK;
  if (definition.className.empty() || definition.isInstance || space == nullptr) {
    outcome = failure(WBEM_E_INVALID_PARAMETER);
  } else if (space->find(definition.className) != nullptr) {
    outcome = failure(WBEM_E_ALREADY_EXISTS);
  } else {
    space->define(definition.className).definition = definition;
  }
  return deliver(outcome, flags, call);
}

HRESULT Services::PutInstance(IWbemClassObject* instance, LONG flags, IWbemContext* /*context*/,
                              IWbemCallResult** call) {
  const KernelCall platformCall;
  if (const HRESULT refused = admit(platformCall); refused != S_OK) {
    return refused;
  }
  return deliver(store(static_cast<WmiClassObject*>(instance)->object(), flags), flags, call);
}

HRESULT Services::store(const WmiObject& instance, LONG flags) {
  if (!instance.isInstance) {
    return failure(WBEM_E_INVALID_PARAMETER);
  }
  if (sameWmiName(instance.className, kNamespaceClass)) {
    return wmiRepository().create(path_, wmiText(instance.find(L"Name")->value))
               ? S_OK
               : failure(WBEM_E_INVALID_PARAMETER);
  }
  WmiClass* const known = findClass(instance.className);
  if (known == nullptr) {
    return failure(WBEM_E_INVALID_CLASS);
  }
  for (WmiObject& present : known->instances) {
    if (!present.hasKeysOf(instance)) {
      continue;
    }
    if ((flags & WBEM_FLAG_CREATE_ONLY) != 0) {
      return failure(WBEM_E_ALREADY_EXISTS);
    }
    present = instance;
    return S_OK;
  }
  known->instances.push_back(instance);
  return S_OK;
}

HRESULT Services::DeleteInstance(const BSTR path, LONG flags, IWbemContext* /*context*/,
                                 IWbemCallResult** call) {
  const KernelCall platformCall;
  if (const HRESULT refused = admit(platformCall); refused != S_OK) {
    return refused;
  }
  const auto parsed = WmiPath::parse(textOf(path));
  WmiClass* const known = parsed ? findClass(parsed->className) : nullptr;
  WmiObject* const found =
      known == nullptr ? nullptr : known->findInstance(parsed->key, parsed->value);
  if (found == nullptr) {
    return deliver(failure(WBEM_E_NOT_FOUND), flags, call);
  }
  known->instances.erase(known->instances.begin() + (found - known->instances.data()));
  return deliver(S_OK, flags, call);
}

HRESULT Services::ExecQuery(const BSTR language, const BSTR query, LONG flags,
                            IWbemContext* /*context*/, IEnumWbemClassObject** rows) {
  const KernelCall platformCall;
  if (const HRESULT refused = admit(platformCall); refused != S_OK) {
    return refused;
  }
  constexpr LONG kSemisynchronous = WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY;
  if ((flags & kSemisynchronous) != kSemisynchronous) {
    machine().complaints().emplace_back(
        "ExecQuery waits for all rows of a class and keeps every one of them");
  }
  const auto parsed = WmiQuery::parse(textOf(query));
  if (!parsed || textOf(language) != L"WQL") {
    return failure(WBEM_E_INVALID_QUERY);
  }
  const WmiClass* const known = findClass(parsed->target.className);
  if (known == nullptr) {
    return failure(WBEM_E_INVALID_CLASS);
  }
  // A text is compared with a text in quotes.
  const WmiProperty* const compared =
      parsed->target.key.empty() ? nullptr : known->definition.find(parsed->target.key);
  if (!parsed->target.key.empty() &&
      (compared == nullptr || (compared->type == CIM_STRING) != parsed->target.quoted)) {
    return failure(WBEM_E_INVALID_QUERY);
  }
  std::vector<WmiObject> found;
  for (const WmiObject& instance : known->instances) {
    const std::wstring& key = parsed->target.key;
    const WmiProperty* const property = key.empty() ? nullptr : instance.find(key);
    if (!key.empty() &&
        (property == nullptr || !sameWmiName(wmiText(property->value), parsed->target.value))) {
      continue;
    }
    found.push_back(instance);
  }
  *rows = new WmiRows(std::move(found), known);
  return S_OK;
}

HRESULT Services::ExecMethod(const BSTR path, const BSTR method, LONG /*flags*/,
                             IWbemContext* /*context*/, IWbemClassObject* in,
                             IWbemClassObject** out, IWbemCallResult** /*call*/) {
  const KernelCall platformCall;
  if (const HRESULT refused = admit(platformCall); refused != S_OK) {
    return refused;
  }
  const WmiClass* const known = findClass(textOf(path));
  if (known == nullptr) {
    return failure(WBEM_E_INVALID_CLASS);
  }
  for (const auto& [name, one] : known->methods) {
    if (!sameWmiName(name, textOf(method))) {
      continue;
    }
    const WmiObject none;
    WmiObject answer;
    answer.className = L"__PARAMETERS";
    answer.properties.push_back(
        {L"ReturnValue", CIM_UINT32, false,
         one.run(in == nullptr ? none : static_cast<WmiClassObject*>(in)->object())});
    if (out != nullptr) {
      *out = new WmiClassObject(std::move(answer), nullptr);
    }
    return S_OK;
  }
  return failure(WBEM_E_INVALID_METHOD);
}

class Locator final : public ComObject<IWbemLocator> {
 public:
  HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR /*user*/,
                                          const BSTR /*password*/, const BSTR /*locale*/,
                                          LONG /*flags*/, const BSTR /*authority*/,
                                          IWbemContext* /*context*/,
                                          IWbemServices** services) override {
    const KernelCall platformCall;
    if (platformCall.fails()) {
      return failure(WBEM_E_FAILED);
    }
    const std::wstring path = textOf(resource);
    if (wmiRepository().find(path) == nullptr) {
      return failure(WBEM_E_INVALID_NAMESPACE);
    }
    *services = new Services(path);
    return S_OK;
  }
};

}  // namespace

IWbemLocator* makeWmiLocator() { return new Locator; }

bool setWmiProxyBlanket(IUnknown* proxy, DWORD authenticationLevel, DWORD impersonationLevel) {
  auto* const services = dynamic_cast<Services*>(proxy);
  if (services != nullptr) {
    services->allow(authenticationLevel >= RPC_C_AUTHN_LEVEL_CALL &&
                    impersonationLevel >= RPC_C_IMP_LEVEL_IMPERSONATE);
  }
  return services != nullptr;
}

}  // namespace ostria::virtual_pc
