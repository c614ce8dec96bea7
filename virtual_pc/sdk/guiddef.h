// The part of the SDK header of this name that the Windows-bound classes use: GUIDs.
#pragma once

#include <own_names.h>

#include <cstdint>
#include <cstring>

/// Globally unique identifier, 16 bytes, the first three fields in the machine's byte order.
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using LPGUID = GUID*;
using LPCGUID = const GUID*;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline int IsEqualGUID(const GUID& a, const GUID& b) { return a == b; }

// Every header gives its GUIDs a definition of their own, with or without <initguid.h>.
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
  inline constexpr GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}
