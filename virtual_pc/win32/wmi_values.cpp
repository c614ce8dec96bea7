// WMI values to and from variants.
#include "virtual_pc/win32/wmi_values.h"

namespace ostria::virtual_pc {
namespace {

template <typename Element>
SAFEARRAY* makeArray(VARTYPE type, const std::vector<Element>& elements) {
  SAFEARRAYBOUND bound = {static_cast<ULONG>(elements.size()), 0};
  SAFEARRAY* const array = SafeArrayCreate(type, 1, &bound);
  for (std::size_t i = 0; array != nullptr && i < elements.size(); ++i) {
    LONG index = static_cast<LONG>(i);
    if constexpr (std::is_same_v<Element, std::wstring>) {
      SafeArrayPutElement(array, &index, const_cast<wchar_t*>(elements[i].c_str()));
    } else {
      LONG number = elements[i];
      SafeArrayPutElement(array, &index, &number);
    }
  }
  return array;
}

std::vector<std::wstring> readTexts(SAFEARRAY* array) {
  std::vector<std::wstring> texts;
  LONG last = -1;
  if (FAILED(SafeArrayGetUBound(array, 1, &last))) {
    return texts;
  }
  for (LONG i = array->rgsabound[0].lLbound; i <= last; ++i) {
    BSTR text = nullptr;
    if (FAILED(SafeArrayGetElement(array, &i, &text))) {
      break;
    }
    texts.emplace_back(text == nullptr ? L"" : text);
    SysFreeString(text);
  }
  return texts;
}

}  // namespace

void toVariant(const WmiValue& value, VARIANT* out) {
  VariantInit(out);
  if (const auto* const text = std::get_if<std::wstring>(&value)) {
    out->vt = VT_BSTR;
    out->bstrVal = SysAllocString(text->c_str());
  } else if (const auto* const number = std::get_if<std::int32_t>(&value)) {
    out->vt = VT_I4;
    out->lVal = *number;
  } else if (const auto* const flag = std::get_if<bool>(&value)) {
    out->vt = VT_BOOL;
    out->boolVal = *flag ? VARIANT_TRUE : VARIANT_FALSE;
  } else if (const auto* const texts = std::get_if<std::vector<std::wstring>>(&value)) {
    out->vt = VT_ARRAY | VT_BSTR;
    out->parray = makeArray(VT_BSTR, *texts);
  } else if (const auto* const numbers = std::get_if<std::vector<std::int32_t>>(&value)) {
    out->vt = VT_ARRAY | VT_I4;
    out->parray = makeArray(VT_I4, *numbers);
  } else {
    out->vt = VT_NULL;
  }
}

WmiValue fromVariant(const VARIANT& value) {
  switch (value.vt) {
    case VT_BSTR:
      return value.bstrVal == nullptr ? std::wstring() : std::wstring(value.bstrVal);
    case VT_I4:
      return value.lVal;
    case VT_BOOL:
      return value.boolVal != VARIANT_FALSE;
    case VT_ARRAY | VT_BSTR:
      return readTexts(value.parray);
    default:
      return {};
  }
}

}  // namespace ostria::virtual_pc
