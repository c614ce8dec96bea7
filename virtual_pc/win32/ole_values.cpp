// BSTR, VARIANT and SAFEARRAY.
#include <oleauto.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace {

/// Bytes of one element, 0 for a type that arrays do not hold here.
std::size_t elementSize(VARTYPE type) {
  return type == VT_BSTR ? sizeof(BSTR) : type == VT_I4 ? sizeof(LONG) : 0;
}

// The kind of element, where the SDK's type keeps its feature flags.
constexpr USHORT kHoldsTexts = 0x0100;

std::size_t count(const SAFEARRAY* array) { return array->rgsabound[0].cElements; }

void* element(SAFEARRAY* array, const LONG* index) {
  const LONG at = *index - array->rgsabound[0].lLbound;
  if (at < 0 || static_cast<std::size_t>(at) >= count(array)) {
    return nullptr;
  }
  return static_cast<std::uint8_t*>(array->pvData) +
         static_cast<std::size_t>(at) * array->cbElements;
}

SAFEARRAY* copyOf(SAFEARRAY* source) {
  SAFEARRAY* const copy = SafeArrayCreate((source->fFeatures & kHoldsTexts) != 0 ? VT_BSTR : VT_I4,
                                          1, source->rgsabound);
  for (std::size_t i = 0; copy != nullptr && i < count(source); ++i) {
    LONG index = source->rgsabound[0].lLbound + static_cast<LONG>(i);
    void* const from = element(source, &index);
    SafeArrayPutElement(copy, &index,
                        (source->fFeatures & kHoldsTexts) != 0 ? *static_cast<BSTR*>(from) : from);
  }
  return copy;
}

}  // namespace

extern "C" {

BSTR WINAPI SysAllocString(const OLECHAR* text) {
  if (text == nullptr) {
    return nullptr;
  }
  const std::size_t length = std::wcslen(text);
  // The length stands in front of the characters.
  auto* const block = static_cast<OLECHAR*>(std::malloc((length + 2) * sizeof(OLECHAR)));
  if (block == nullptr) {
    return nullptr;
  }
  block[0] = static_cast<OLECHAR>(length);
  std::wmemcpy(block + 1, text, length + 1);
  return block + 1;
}

void WINAPI SysFreeString(BSTR text) {
  if (text != nullptr) {
    std::free(text - 1);
  }
}

UINT WINAPI SysStringLen(BSTR text) { return text == nullptr ? 0 : static_cast<UINT>(text[-1]); }

void WINAPI VariantInit(VARIANTARG* value) { std::memset(value, 0, sizeof *value); }

HRESULT WINAPI VariantClear(VARIANTARG* value) {
  if (value->vt == VT_BSTR) {
    SysFreeString(value->bstrVal);
  }
  if ((value->vt & VT_ARRAY) != 0) {
    SafeArrayDestroy(value->parray);
  }
  VariantInit(value);
  return S_OK;
}

HRESULT WINAPI VariantCopy(VARIANTARG* destination, const VARIANTARG* source) {
  VariantClear(destination);
  *destination = *source;
  if (source->vt == VT_BSTR && source->bstrVal != nullptr) {
    destination->bstrVal = SysAllocString(source->bstrVal);
  }
  if ((source->vt & VT_ARRAY) != 0 && source->parray != nullptr) {
    destination->parray = copyOf(source->parray);
  }
  return S_OK;
}

SAFEARRAY* WINAPI SafeArrayCreate(VARTYPE type, UINT dimensions, SAFEARRAYBOUND* bounds) {
  const std::size_t size = elementSize(type);
  if (size == 0 || dimensions != 1 || bounds == nullptr) {
    return nullptr;
  }
  auto* const array = static_cast<SAFEARRAY*>(std::calloc(1, sizeof(SAFEARRAY)));
  if (array == nullptr) {
    return nullptr;
  }
  array->cDims = 1;
  array->fFeatures = type == VT_BSTR ? kHoldsTexts : USHORT{0};
  array->cbElements = static_cast<ULONG>(size);
  array->rgsabound[0] = *bounds;
  array->pvData = std::calloc(count(array) + 1, size);
  if (array->pvData != nullptr) {
    return array;
  }
  std::free(array);
  return nullptr;
}

HRESULT WINAPI SafeArrayDestroy(SAFEARRAY* array) {
  if (array == nullptr) {
    return S_OK;
  }
  if ((array->fFeatures & kHoldsTexts) != 0) {
    for (std::size_t i = 0; i < count(array); ++i) {
      SysFreeString(static_cast<BSTR*>(array->pvData)[i]);
    }
  }
  std::free(array->pvData);
  std::free(array);
  return S_OK;
}

HRESULT WINAPI SafeArrayPutElement(SAFEARRAY* array, LONG* index, void* value) {
  void* const at = array == nullptr || index == nullptr ? nullptr : element(array, index);
  if (at == nullptr) {
    return DISP_E_BADINDEX;
  }
  if ((array->fFeatures & kHoldsTexts) == 0) {
    std::memcpy(at, value, array->cbElements);
    return S_OK;
  }
  // A text is handed over itself, and copied.
  auto* const slot = static_cast<BSTR*>(at);
  SysFreeString(*slot);
  *slot = SysAllocString(static_cast<const OLECHAR*>(value));
  return S_OK;
}

HRESULT WINAPI SafeArrayGetElement(SAFEARRAY* array, LONG* index, void* value) {
  void* const at = array == nullptr || index == nullptr ? nullptr : element(array, index);
  if (at == nullptr) {
    return DISP_E_BADINDEX;
  }
  if ((array->fFeatures & kHoldsTexts) != 0) {
    *static_cast<BSTR*>(value) = SysAllocString(*static_cast<BSTR*>(at));
  } else {
    std::memcpy(value, at, array->cbElements);
  }
  return S_OK;
}

HRESULT WINAPI SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  if (array == nullptr || dimension != 1) {
    return DISP_E_BADINDEX;
  }
  *bound = array->rgsabound[0].lLbound;
  return S_OK;
}

HRESULT WINAPI SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  if (array == nullptr || dimension != 1) {
    return DISP_E_BADINDEX;
  }
  *bound = array->rgsabound[0].lLbound + static_cast<LONG>(count(array)) - 1;
  return S_OK;
}

}  // extern "C"
