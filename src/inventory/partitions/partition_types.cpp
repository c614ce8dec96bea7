// Look-up of partition types by GUID (GPT) and by type byte (MBR).
#include "inventory/partitions/partition_types.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "inventory/partitions/gpt_type_rows.h"
#include "inventory/partitions/mbr_type_rows.h"

namespace ostria::storage {
namespace {

constexpr std::string_view guidOf(const GptTypeRow& row) { return row.guid; }

constexpr std::array<std::uint8_t, 22> kExtendedTypes = {
    0x05, 0x0F, 0x15, 0x1F, 0x22, 0x39, 0x3B, 0x5C, 0x5E, 0x5F, 0x85,
    0x91, 0x99, 0x9B, 0xA5, 0xA6, 0xA9, 0xBF, 0xC5, 0xCF, 0xD5, 0xF5};

// The look-ups search by halves, and each key stands once.
static_assert(std::ranges::adjacent_find(kGptTypeRows, std::ranges::greater_equal{}, guidOf) ==
              std::end(kGptTypeRows));
static_assert(std::ranges::adjacent_find(kMbrTypeRows, std::ranges::greater_equal{},
                                         &MbrTypeRow::type) == std::end(kMbrTypeRows));
static_assert(std::ranges::is_sorted(kExtendedTypes));

}  // namespace

std::string gptTypeKey(const std::string& guid) {
  const auto* row =
      std::ranges::lower_bound(kGptTypeRows, std::string_view(guid), std::ranges::less{}, guidOf);
  return row != std::end(kGptTypeRows) && row->guid == guid ? row->text : "";
}

std::string mbrTypeName(std::uint8_t type) {
  const auto* row =
      std::ranges::lower_bound(kMbrTypeRows, type, std::ranges::less{}, &MbrTypeRow::type);
  return row != std::end(kMbrTypeRows) && row->type == type ? row->text : "";
}

bool isExtendedMbrType(std::uint8_t type) {
  return std::ranges::binary_search(kExtendedTypes, type);
}

}  // namespace ostria::storage
