// Rows of the reports from log pages: NVMe SMART / Health Information (log 02h), ATA SMART
// attributes, and the vendor log DFh in its revisions.
#include "inventory/report_rows.h"

#include <initializer_list>
#include <string_view>
#include <utility>

#include "base/byte_order.h"
#include "inventory/format_texts.h"
#include "services/sal.h"
#include "transport/smart_names.h"

namespace ostria::storage {
namespace {

/// Builds the rows of one report.
class RowWriter {
 public:
  using Pair = std::pair<std::string_view, std::string>;

  void row(std::initializer_list<Pair> pairs) {
    if (!text_.empty()) {
      text_ += ',';
    }
    char open = '{';
    for (const auto& [key, value] : pairs) {
      text_ += open;
      text_ += '"';
      text_ += key;
      text_ += "\":\"";
      append(value);
      text_ += '"';
      open = ',';
    }
    text_ += '}';
  }
  void describe(std::string_view name, const std::string& data) {
    row({{"description", std::string(name)}, {"data", data}});
  }
  std::string take() { return std::move(text_); }

 private:
  /// A vendor field may hold what looks like the end of a row and the begin of another.
  void append(const std::string& value) {
    for (const char c : value) {
      if (c == '"' || c == '\\') {
        text_ += '\\';
      }
      text_ += c;
    }
  }

  std::string text_;
};

std::string fieldText(const LogPage& page, std::size_t offset, std::size_t length) {
  StringHandler& strings = *get_string_handler();
  std::string text;
  strings.keepPrintable(strings.fromBytes(page.data() + offset, length), text);
  strings.trim(text);
  return text;
}

// Layout of the NVMe SMART / Health Information log: where each field begins, and how it reads.
enum class HealthField { Byte, Percent, Kelvin, Sensor, Counter, DataUnits, Minutes128, Minutes32 };
struct HealthRow {
  std::uint32_t offset;
  HealthField kind;
};
constexpr HealthRow kHealthRows[] = {
    {0, HealthField::Byte},        {1, HealthField::Kelvin},      {3, HealthField::Percent},
    {4, HealthField::Percent},     {5, HealthField::Percent},     {32, HealthField::DataUnits},
    {48, HealthField::DataUnits},  {64, HealthField::Counter},    {80, HealthField::Counter},
    {96, HealthField::Minutes128}, {112, HealthField::Counter},   {128, HealthField::Counter},
    {144, HealthField::Counter},   {160, HealthField::Counter},   {176, HealthField::Counter},
    {192, HealthField::Minutes32}, {196, HealthField::Minutes32}, {200, HealthField::Sensor},
    {202, HealthField::Sensor},    {204, HealthField::Sensor},    {206, HealthField::Sensor},
    {208, HealthField::Sensor},    {210, HealthField::Sensor},    {212, HealthField::Sensor},
    {214, HealthField::Sensor},
};

/// Bytes that one count of the data units stands for: a thousand sectors of 512 bytes.
constexpr std::uint32_t kDataUnitBytes = 512000;

/// Empty for a field without a row.
std::string healthText(const LogPage& page, const HealthRow& row) {
  const std::uint8_t* const field = page.data() + row.offset;
  switch (row.kind) {
    case HealthField::Byte:
      return std::to_string(*field);
    case HealthField::Percent:
      return std::to_string(*field) + " %";
    case HealthField::Sensor:
      if (loadLe16(field) == 0) {
        return "";
      }
      [[fallthrough]];
    case HealthField::Kelvin:
      return FormatKelvin(loadLe16(field)) + " ºC";
    case HealthField::Counter:
      return FormatCounter(field, 0);
    case HealthField::DataUnits:
      return FormatCounter(field, kDataUnitBytes);
    case HealthField::Minutes128:
      return FormatCounter(field, 0) + " min";
    case HealthField::Minutes32:
      return std::to_string(loadLe32(field)) + " min";
  }
  return "";
}

// The vendor log page.
constexpr std::size_t kSignatureOffset = 0;
constexpr std::size_t kSignatureLength = 3;
constexpr std::size_t kRevisionOffset = 3;
constexpr std::size_t kBarCodeOffset = 20;
constexpr std::uint8_t kFirstRevision = 32;

struct VendorText {
  std::string_view name;
  std::size_t offset;
  std::size_t length;
};
constexpr VendorText kAtaVendorTexts[] = {
    {"Signature", kSignatureOffset, kSignatureLength},
    {"Manufacturing 8S bar-code", kBarCodeOffset, 30},
    {"Manufacturing Supplier Model Number", 50, 30},
    {"Manufacturing Supplier Serial Number", 80, 30},
    {"Current 8S label", 110, 30},
};

struct VendorNumber {
  std::string_view name;
  std::size_t offset;
  std::size_t bytes;
};
constexpr VendorNumber kCommonNumbers[] = {
    {"Sectors Written", 224, 8}, {"CRC Errors", 240, 4}, {"Sectors Written SLC", 244, 8}};
constexpr VendorNumber kRevision4Numbers[] = {
    {"Relocated Blocks", 271, 8}, {"Average PE Cycles", 279, 2},  {"Maximum PE Cycles", 281, 2},
    {"Bad Blocks", 283, 2},       {"DRAM Parity Errors", 285, 2}, {"SRAM Parity Errors", 287, 2}};

void describeNumber(RowWriter& out, const LogPage& page, const VendorNumber& number) {
  const std::uint8_t* const field = page.data() + number.offset;
  const std::uint64_t value = number.bytes == 8   ? loadLe64(field)
                              : number.bytes == 4 ? loadLe32(field)
                                                  : loadLe16(field);
  out.describe(number.name, std::to_string(value));
}

}  // namespace

std::string ataSmartRows(const std::vector<SmartAttribute>& attributes) {
  RowWriter out;
  for (const SmartAttribute& attribute : attributes) {
    out.row({{"id", std::to_string(attribute.id)},
             {"description", std::string(smartAttributeName(attribute.id))},
             {"threshold", std::to_string(attribute.threshold)},
             {"value", std::to_string(attribute.value)},
             {"worst", std::to_string(attribute.worst)},
             {"data", std::to_string(std::uint32_t{attribute.raw})}});
  }
  return out.take();
}

std::string nvmeSmartRows(const LogPage& page) {
  RowWriter out;
  for (const HealthRow& row : kHealthRows) {
    const std::string data = healthText(page, row);
    if (data.empty()) {
      continue;
    }
    out.row({{"id", std::to_string(row.offset)},
             {"description", std::string(nvmeSmartFieldName(row.offset))},
             {"data", data}});
  }
  return out.take();
}

bool isAtaVendorPage(const LogPage& page) {
  return fieldText(page, kSignatureOffset, kSignatureLength) == "OST" &&
         page[kBarCodeOffset] == '8' && page[kBarCodeOffset + 1] == 'S';
}

std::string ataVendorRows(const LogPage& page) {
  RowWriter out;
  for (const VendorText& text : kAtaVendorTexts) {
    const std::string value = fieldText(page, text.offset, text.length);
    if (!value.empty()) {
      out.describe(text.name, value);
    }
  }
  return out.take();
}

std::string nvmeVendorRows(const LogPage& page) {
  const std::uint8_t revision = page[kRevisionOffset];
  const bool first = revision == kFirstRevision;
  if (!first && (revision < 2 || revision > 4)) {
    return "";
  }
  RowWriter out;
  out.describe("Signature", fieldText(page, kSignatureOffset, kSignatureLength));
  out.describe("Revision", std::to_string(revision));
  out.describe("Manufacturing 8S bar-code", fieldText(page, kBarCodeOffset, 30));
  out.describe("Manufacturing Supplier Model Number", fieldText(page, 50, first ? 30 : 40));
  out.describe("Manufacturing Supplier Serial Number",
               first ? fieldText(page, 80, 30) : fieldText(page, 90, 20));
  out.describe("Current 8S label", fieldText(page, 110, 30));
  for (const VendorNumber& number : kCommonNumbers) {
    describeNumber(out, page, number);
  }
  if (!first && revision >= 3) {
    out.describe("FRU Number", fieldText(page, 261, 10));
  }
  if (revision == 4) {
    for (const VendorNumber& number : kRevision4Numbers) {
      describeNumber(out, page, number);
    }
  }
  return out.take();
}

}  // namespace ostria::storage
