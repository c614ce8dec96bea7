// The part of the SDK header of this name that the Windows-bound classes use: BSTR, VARIANT and
// SAFEARRAY.
#pragma once

#include <objbase.h>

// Values that components exchange: counted strings, arrays, variants.

using BSTR = OLECHAR*;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

enum VARENUM : std::uint32_t {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_BSTR = 8,
  VT_BOOL = 11,
  VT_I1 = 16,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_ARRAY = 0x2000
};

struct SAFEARRAYBOUND {
  ULONG cElements;
  LONG lLbound;
};

struct SAFEARRAY {
  USHORT cDims;
  USHORT fFeatures;
  ULONG cbElements;
  ULONG cLocks;
  PVOID pvData;
  SAFEARRAYBOUND rgsabound[1];
};

struct VARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    LONGLONG llVal;
    LONG lVal;
    BYTE bVal;
    CHAR cVal;
    SHORT iVal;
    USHORT uiVal;
    ULONG ulVal;
    VARIANT_BOOL boolVal;
    BSTR bstrVal;
    SAFEARRAY* parray;
    PVOID byref;
  };
};
using VARIANTARG = VARIANT;

extern "C" {
BSTR WINAPI SysAllocString(const OLECHAR* text);
void WINAPI SysFreeString(BSTR text);
UINT WINAPI SysStringLen(BSTR text);
void WINAPI VariantInit(VARIANTARG* value);
HRESULT WINAPI VariantClear(VARIANTARG* value);
HRESULT WINAPI VariantCopy(VARIANTARG* destination, const VARIANTARG* source);
SAFEARRAY* WINAPI SafeArrayCreate(VARTYPE type, UINT dimensions, SAFEARRAYBOUND* bounds);
HRESULT WINAPI SafeArrayDestroy(SAFEARRAY* array);
HRESULT WINAPI SafeArrayPutElement(SAFEARRAY* array, LONG* index, void* value);
HRESULT WINAPI SafeArrayGetElement(SAFEARRAY* array, LONG* index, void* value);
HRESULT WINAPI SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* bound);
HRESULT WINAPI SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* bound);
}
