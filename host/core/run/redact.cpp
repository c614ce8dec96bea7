// Masks serial numbers. A device repeats its serial in names, labels and log pages, with blanks,
// without them or with "_" in their place, so each text is searched for each form.
#include "host/core/run/redact.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "host/core/model/smart_rows.h"

namespace ostria::host {
namespace {

constexpr std::string_view kMask = "[masked]";
// Anything shorter would be found in ordinary words and numbers.
constexpr std::size_t kShortest = 4;

constexpr std::array<std::string_view, 6> kMaskedKeys = {
    "UDI", "SERIAL", "CURRENT_8S_LABEL", kManufacturingLabel, kSupplierSerial, kCurrentLabel};

std::string lowered(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return out;
}

}  // namespace

void Redactor::addSecret(std::string_view secret) {
  if (!enabled_) {
    return;
  }
  std::string plain = lowered(secret);
  std::string joined = plain;
  std::erase(joined, ' ');
  std::string underscored = plain;
  std::replace(underscored.begin(), underscored.end(), ' ', '_');
  for (std::string* form : {&plain, &joined, &underscored}) {
    if (form->size() < kShortest) {
      continue;
    }
    if (std::find(secrets_.begin(), secrets_.end(), *form) == secrets_.end()) {
      secrets_.push_back(*form);
    }
  }
  std::sort(secrets_.begin(), secrets_.end(),
            [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
}

std::string Redactor::text(std::string text) const {
  for (const std::string& secret : secrets_) {
    std::string low = lowered(text);
    std::size_t at = 0;
    while ((at = low.find(secret, at)) != std::string::npos) {
      text.replace(at, secret.size(), kMask);
      low.replace(at, secret.size(), kMask);
      at += kMask.size();
    }
  }
  return text;
}

std::string Redactor::whole(const std::string& value) const {
  return enabled_ && !value.empty() ? std::string(kMask) : value;
}

std::string Redactor::lastPart(const std::string& path) const {
  return path.substr(0, path.rfind('/') + 1) + whole(path.substr(path.rfind('/') + 1));
}

std::string Redactor::addresses(const std::string& text) const {
  constexpr std::size_t kShortestAddress = 8;
  std::string out;
  std::string_view rest = enabled_ ? text : std::string_view();
  for (std::size_t at = 0; (at = rest.find("0x")) != std::string_view::npos;) {
    const std::size_t end =
        std::min(rest.find_first_not_of("0123456789abcdefABCDEF", at + 2), rest.size());
    const bool address = end - at >= 2 + kShortestAddress;
    out += std::string(rest.substr(0, address ? at : end)) + (address ? std::string(kMask) : "");
    rest.remove_prefix(end);
  }
  return enabled_ ? out + std::string(rest) : text;
}

std::string Redactor::property(std::string_view key, std::string value) const {
  if (std::find(kMaskedKeys.begin(), kMaskedKeys.end(), key) != kMaskedKeys.end()) {
    return whole(value);
  }
  return text(std::move(value));
}

}  // namespace ostria::host
