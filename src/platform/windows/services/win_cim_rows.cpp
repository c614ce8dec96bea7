// Rows of a WMI query as texts, by the VARIANT type of each value.
#include "platform/windows/services/win_cim_rows.h"

#include "services/string_handler.h"

namespace ostria::storage {
namespace {

template <typename Element, typename Text>
std::vector<std::string> arrayTexts(SAFEARRAY* array, Text text) {
  LONG first = 0;
  LONG last = -1;
  std::vector<std::string> texts;
  if (array == nullptr || FAILED(SafeArrayGetLBound(array, 1, &first)) ||
      FAILED(SafeArrayGetUBound(array, 1, &last))) {
    return texts;
  }
  for (LONG index = first; index <= last; ++index) {
    Element element{};
    if (FAILED(SafeArrayGetElement(array, &index, &element))) {
      break;
    }
    texts.push_back(text(element));
  }
  return texts;
}

std::string textOf(BSTR text) { return text == nullptr ? std::string() : toNarrow(text); }

}  // namespace

std::vector<std::string> columnOf(const VARIANT& value) {
  switch (value.vt) {
    case VT_BSTR:
      return {textOf(value.bstrVal)};
    case VT_BOOL:
      return {value.boolVal != VARIANT_FALSE ? "true" : "false"};
    case VT_I1:
      return {std::to_string(int{value.cVal})};
    case VT_UI1:
      return {std::to_string(int{value.bVal})};
    case VT_I2:
      return {std::to_string(value.iVal)};
    case VT_UI2:
      return {std::to_string(value.uiVal)};
    case VT_I4:
      return {std::to_string(value.lVal)};
    case VT_UI4:
      return {std::to_string(value.ulVal)};
    case VT_ARRAY | VT_BSTR:
      return arrayTexts<BSTR>(value.parray, [](BSTR element) {
        // The array gave out a copy.
        std::string text = textOf(element);
        SysFreeString(element);
        return text;
      });
    case VT_ARRAY | VT_I4:
      return arrayTexts<LONG>(value.parray, [](LONG element) { return std::to_string(element); });
    default:
      return {};
  }
}

bool collectRows(IWbemServices& services, const std::wstring& query,
                 const std::vector<std::wstring>& fields, CimTable& rows) {
  const ComText language(L"WQL");
  const ComText text(query);
  ComPointer<IEnumWbemClassObject> found;
  if (FAILED(services.ExecQuery(language.get(), text.get(),
                                WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                found.put())) ||
      !found) {
    return false;
  }
  for (;;) {
    ComPointer<IWbemClassObject> object;
    ULONG returned = 0;
    const HRESULT result =
        found->Next(static_cast<LONG>(WBEM_INFINITE), 1, object.put(), &returned);
    if (FAILED(result)) {
      return false;
    }
    if (returned == 0 || !object) {
      return true;
    }
    auto& row = rows.emplace_back();
    for (const std::wstring& field : fields) {
      ComValue value;
      const HRESULT got = object->Get(field.c_str(), 0, value.get(), nullptr, nullptr);
      row.push_back(SUCCEEDED(got) ? columnOf(*value) : std::vector<std::string>());
    }
  }
}

}  // namespace ostria::storage
