#pragma once

#include "ostria/storage/identifier.h"

/// The numbers of the module, its diagnostics, tests and tools, for whoever looks one up in the
/// catalogue or treats one apart. Item numbers are unique across both diagnostics and never reused;
/// 17, 23 and 24 are free.
namespace ostria::storage::ids {

inline constexpr std::uint16_t kModule = 1;
inline constexpr std::uint32_t kQuickCategory = 1;
inline constexpr std::uint32_t kExtendedCategory = 2;

/// The resource and the component manager.
inline constexpr Identifier kModuleObject{kModule, 0, 1};

// Quick diagnostic.
inline constexpr Identifier kQuick{kModule, kQuickCategory, 0};
inline constexpr Identifier kSmartStatus{kModule, kQuickCategory, 1};
inline constexpr Identifier kTargetedRead{kModule, kQuickCategory, 2};
inline constexpr Identifier kQuickRandomSeek{kModule, kQuickCategory, 3};
inline constexpr Identifier kQuickFunnelSeek{kModule, kQuickCategory, 4};
inline constexpr Identifier kShortSelfTest{kModule, kQuickCategory, 5};
inline constexpr Identifier kDriveSelfTest{kModule, kQuickCategory, 6};
inline constexpr Identifier kDefaultSelfTest{kModule, kQuickCategory, 7};
inline constexpr Identifier kDeviceRead{kModule, kQuickCategory, 11};
inline constexpr Identifier kSmartWearout{kModule, kQuickCategory, 14};
inline constexpr Identifier kSmartHealth{kModule, kQuickCategory, 15};
inline constexpr Identifier kNvmeSpareSpace{kModule, kQuickCategory, 19};
inline constexpr Identifier kNvmeTemperature{kModule, kQuickCategory, 20};
inline constexpr Identifier kNvmeReliability{kModule, kQuickCategory, 21};
inline constexpr Identifier kControllerStatus{kModule, kQuickCategory, 22};
inline constexpr Identifier kNvmeHealthPrediction{kModule, kQuickCategory, 25};

// Extended diagnostic.
inline constexpr Identifier kExtended{kModule, kExtendedCategory, 0};
inline constexpr Identifier kExtendedRandomSeek{kModule, kExtendedCategory, 8};
inline constexpr Identifier kExtendedFunnelSeek{kModule, kExtendedCategory, 9};
inline constexpr Identifier kExtendedSelfTest{kModule, kExtendedCategory, 10};
inline constexpr Identifier kDeviceWrite{kModule, kExtendedCategory, 12};
inline constexpr Identifier kFullDiskScan{kModule, kExtendedCategory, 13};
inline constexpr Identifier kLinearRead{kModule, kExtendedCategory, 16};
inline constexpr Identifier kConveyanceSelfTest{kModule, kExtendedCategory, 18};

// Tools. Their numbers have no common form.
inline constexpr Identifier kRecoverBadSectors{50, 0, 0};
inline constexpr Identifier kSmartTool{kModule, 0, 50};

}  // namespace ostria::storage::ids
