// Masks by the layouts of ACS, SPC and NVMe, and then by what a serial number looks like: a drive
// may repeat it in any page.
#include "inventory/recording/masked_pages.h"

#include <algorithm>
#include <string>

#include "services/device_text.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/vendor_log.h"

namespace ostria::storage {
namespace {

constexpr std::uint8_t kMask = 'X';
// Anything shorter would be found in ordinary words and numbers.
constexpr std::size_t kShortest = 4;

struct Field {
  std::size_t at;
  std::size_t bytes;
};

// Of IDENTIFY DEVICE, words 10, 176: serial numbers of drive and medium.
constexpr Field kAtaTexts[] = {{20, 20}, {352, 60}};
// Words 108: world wide name; 129: the maker's own.
constexpr Field kAtaNumbers[] = {{216, 16}, {258, 62}};
// Of the standard INQUIRY data: vendor specific, and most makers' serial number.
constexpr Field kInquiryNumbers[] = {{36, 20}};
constexpr Field kNvmeControllerTexts[] = {{4, 20}};
// FRU GUID, subsystem name, the maker's own.
constexpr Field kNvmeControllerNumbers[] = {{112, 16}, {768, 256}, {3072, 1024}};
// NGUID, EUI64, the maker's own.
constexpr Field kNvmeNamespaceNumbers[] = {{104, 24}, {384, 3712}};
// Bar-codes and label of the vendor log. The supplier's serial number lies in a field whose start
// depends on the revision.
constexpr Field kVendorTexts[] = {{22, 28}, {80, 30}, {112, 28}};
constexpr Field kVendorTextsOfLaterRevisions[] = {{22, 28}, {90, 20}, {112, 28}};

/// Blanks and zeros say how long a text is.
template <typename Fields>
void maskTexts(Bytes& page, const Fields& fields) {
  for (const Field& field : fields) {
    for (std::size_t i = field.at; i < std::min(field.at + field.bytes, page.size()); ++i) {
      page[i] = page[i] == ' ' || page[i] == 0 ? page[i] : kMask;
    }
  }
}

template <typename Fields>
void clearNumbers(Bytes& page, const Fields& fields) {
  for (const Field& field : fields) {
    for (std::size_t i = field.at; i < std::min(field.at + field.bytes, page.size()); ++i) {
      page[i] = 0;
    }
  }
}

void maskVendorLog(Bytes& page, bool ata) {
  constexpr std::uint8_t kFirstRevision = 32;
  if (ata || (page.size() > 3 && page[3] == kFirstRevision)) {
    maskTexts(page, kVendorTexts);
  } else {
    maskTexts(page, kVendorTextsOfLaterRevisions);
  }
}

void maskEach(Bytes& page, const std::string& secret) {
  auto from = page.begin();
  while (true) {
    from = std::search(from, page.end(), secret.begin(), secret.end(),
                       [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); });
    if (from == page.end()) {
      return;
    }
    from = std::fill_n(from, secret.size(), kMask);
  }
}

/// ATA strings have the characters of each word swapped.
std::string swapped(std::string text) {
  if (text.size() % 2 != 0) {
    text += ' ';
  }
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    std::swap(text[i], text[i + 1]);
  }
  return text;
}

std::string joined(std::string text) {
  std::erase(text, ' ');
  return text;
}

class Masker {
 public:
  explicit Masker(const std::string& serial) {
    for (const std::string& form : {serial, joined(serial), swapped(serial)}) {
      if (form.size() >= kShortest) {
        secrets_.push_back(form);
      }
    }
  }

  void secretsOf(Bytes& page) const {
    for (const std::string& secret : secrets_) {
      maskEach(page, secret);
    }
  }

  void ata(AtaAnswer& answer) const {
    const Bytes before = answer.data;
    if (answer.command == ata::IdentifyDevice) {
      maskTexts(answer.data, kAtaTexts);
      clearNumbers(answer.data, kAtaNumbers);
    } else if (answer.command == ata::ReadLogExt && answer.lbaLow == kVendorLog) {
      maskVendorLog(answer.data, true);
    }
    secretsOf(answer.data);
    for (std::size_t page = 0; page + kAtaPageBytes <= answer.data.size(); page += kAtaPageBytes) {
      if (ByteSum(&before[page], kAtaPageBytes)) {
        seal(&answer.data[page]);
      }
    }
  }

  void scsi(ScsiAnswer& answer) const {
    constexpr std::uint8_t kInquiry = 0x12;
    if (answer.cdb[0] == kInquiry && (answer.cdb[1] & 1) == 0) {
      clearNumbers(answer.data, kInquiryNumbers);
    } else if (answer.cdb[0] == kInquiry && (answer.cdb[2] == 0x80 || answer.cdb[2] == 0x83)) {
      constexpr std::size_t kHeader = 4;
      maskTexts(answer.data, std::initializer_list<Field>{{kHeader, answer.data.size()}});
    }
    secretsOf(answer.data);
  }

  void nvme(NvmeAnswer& answer) const {
    const bool identify = answer.opcode == 0x06;
    if (identify && answer.select == 1) {
      maskTexts(answer.data, kNvmeControllerTexts);
      clearNumbers(answer.data, kNvmeControllerNumbers);
    } else if (identify && answer.select == 0) {
      clearNumbers(answer.data, kNvmeNamespaceNumbers);
    } else if (!identify && answer.select == kVendorLog) {
      maskVendorLog(answer.data, false);
    }
    secretsOf(answer.data);
  }

 private:
  static void seal(std::uint8_t* page) {
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < kAtaPageBytes - 1; ++i) {
      sum = static_cast<std::uint8_t>(sum + page[i]);
    }
    page[kAtaPageBytes - 1] = static_cast<std::uint8_t>(0u - sum);
  }

  std::vector<std::string> secrets_;
};

}  // namespace

void maskPages(DriveRecorder& recorded, StorageProtocolProperties& device) {
  const Masker masker(cleanedDeviceText(device.serialNumber));
  std::ranges::for_each(recorded.ata, [&](AtaAnswer& answer) { masker.ata(answer); });
  std::ranges::for_each(recorded.scsi, [&](ScsiAnswer& answer) { masker.scsi(answer); });
  std::ranges::for_each(recorded.nvme, [&](NvmeAnswer& answer) { masker.nvme(answer); });
  std::ranges::replace_if(
      device.serialNumber, [](char c) { return c != ' ' && c != 0; }, static_cast<char>(kMask));
}

}  // namespace ostria::storage
