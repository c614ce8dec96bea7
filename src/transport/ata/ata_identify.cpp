// IDENTIFY DEVICE of ATA8-ACS, words numbered as there. Words that a drive leaves out are 0 or
// FFFFh, so each counts only behind the bits that declare it valid.
#include "transport/ata/ata_identify.h"

#include <algorithm>
#include <string_view>

#include "base/byte_order.h"
#include "base/sector_size.h"
#include "services/string_handler.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_version_names.h"

namespace ostria::storage {

namespace {

class Words {
 public:
  explicit Words(const std::uint8_t* page) : page_(page) {}

  std::uint16_t operator[](std::size_t word) const { return loadLe16(page_ + 2 * word); }
  bool bit(std::size_t word, unsigned bit) const { return (((*this)[word] >> bit) & 1) != 0; }
  std::uint32_t pair(std::size_t low) const { return loadLe32(page_ + 2 * low); }
  std::uint64_t quad(std::size_t low) const { return loadLe64(page_ + 2 * low); }
  std::string text(std::size_t first, std::size_t count) const {
    StringHandler& handler = getLocalStringHandler();
    std::string text;
    handler.keepPrintable(SwapWordString(page_ + 2 * first, count), text);
    handler.trim(text);
    return text;
  }

 private:
  const std::uint8_t* page_;
};

void parseSectorSizes(const Words& words, StorageProtocolProperties& properties) {
  const bool reported = !words.bit(106, 15) && words.bit(106, 14);
  properties.logicalSectorSize =
      reported && words.bit(106, 12) ? knownSectorSize(std::uint64_t{words.pair(117)} * 2) : 512;
  properties.physicalSectorSize = properties.logicalSectorSize;
  if (reported && words.bit(106, 13)) {
    // At most 64 KiB times 2^15, which still fits.
    properties.physicalSectorSize = properties.logicalSectorSize << (words[106] & 0x0F);
  }
}

void parseRotation(const Words& words, StorageProtocolProperties& properties) {
  const std::uint16_t rate = words[217];
  properties.solidState = rate == 1;
  properties.rotationRate = rate >= 1025 && rate <= 65534 ? rate : std::uint16_t{0};
}

}  // namespace

bool IsValidIdentifyData(const std::uint8_t* page) {
  constexpr std::size_t kBytes = 512;
  constexpr std::uint8_t kSignature = 0xA5;
  if (page == nullptr) {
    return false;
  }
  if (page[510] == kSignature && !ByteSum(page, kBytes)) {
    return false;
  }
  if (std::all_of(page, page + kBytes, [](std::uint8_t byte) { return byte == 0; })) {
    return false;
  }
  return !Words(page).bit(0, 15);
}

void parseIdentifyData(const std::uint8_t* page, StorageProtocolProperties& properties) {
  const Words words(page);
  properties.protocolName = "ATA";
  properties.securitySupported = words.bit(82, 1);
  properties.securityLocked = words.bit(85, 1) && words.bit(128, 2);
  properties.lba48Supported = words.bit(83, 10);
  properties.smartSupported = words.bit(82, 0);
  properties.smartEnabled = words.bit(85, 0);
  properties.serialNumber = words.text(10, 10);
  properties.modelNumber = words.text(27, 20);
  properties.vendor = VendorFromModel(properties.modelNumber);
  properties.firmwareRevision = words.text(23, 4);
  properties.standards = ataMajorVersions(words[80]);
  properties.standardVersion = AtaVersionName(words[81]);
  properties.totalSectors = properties.lba48Supported ? words.quad(100) : words.pair(60);
  parseSectorSizes(words, properties);
  parseRotation(words, properties);
  const bool longCacheSize = words.bit(214, 0) || words.bit(214, 4);
  properties.cacheSize = longCacheSize ? words.pair(215) : words[21];
}

std::vector<std::string> ataMajorVersions(std::uint16_t word80) {
  struct Major {
    unsigned bit;
    const char* name;
  };
  static constexpr Major kMajors[] = {
      {8, "ATA8-ACS"}, {7, "ATA7-ATAPI"}, {6, "ATA6-ATAPI"}, {5, "ATA5-ATAPI"}, {4, "ATA4-ATAPI"}};
  std::vector<std::string> names;
  if (word80 != 0xFFFF) {
    for (const Major& major : kMajors) {
      if ((word80 >> major.bit) & 1) {
        names.emplace_back(major.name);
      }
    }
  }
  if (names.empty()) {
    names.emplace_back("VERSION_NOT_REPORTED");
  }
  return names;
}

std::string AtaVersionName(std::uint16_t word81) {
  const auto versions = ataVersions();
  const auto row = std::ranges::lower_bound(versions, word81, {}, &AtaVersion::number);
  return row != versions.end() && row->number == word81 ? std::string(row->text)
                                                        : "UNRECOGNIZED_VERSION";
}

std::string VendorFromModel(const std::string& model) {
  struct Prefix {
    std::string_view key;
    const char* vendor;
  };
  static constexpr Prefix kPrefixes[] = {
      {"HT", "Hitachi"}, {"ST", "Seagate"}, {"WD", "Western Digital"}};

  const std::size_t begin = std::min(model.find_first_not_of(' '), model.size());
  const std::size_t end = std::min(model.find(' ', begin), model.size());
  const bool secondWord = model.find_first_not_of(' ', end) != std::string::npos;
  if (secondWord) {
    std::string vendor = model.substr(begin, end - begin);
    std::transform(vendor.begin() + 1, vendor.end(), vendor.begin() + 1, [](unsigned char c) {
      return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return vendor;
  }
  for (const Prefix& prefix : kPrefixes) {
    if (model.starts_with(prefix.key)) {
      return prefix.vendor;
    }
  }
  return "Generic Vendor";
}

}  // namespace ostria::storage
