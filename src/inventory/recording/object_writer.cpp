// JSON by hand, as the reports of the module are: the texts are ASCII and the numbers are whole.
#include "inventory/recording/object_writer.h"

#include <algorithm>

namespace ostria::storage {
namespace {

constexpr std::size_t kBytesPerLine = 32;
constexpr char kDigits[] = "0123456789abcdef";

std::string hexOf(const std::uint8_t* data, std::size_t bytes) {
  std::string out;
  for (std::size_t i = 0; i < bytes; ++i) {
    out += kDigits[data[i] >> 4];
    out += kDigits[data[i] & 0x0F];
  }
  return out;
}

}  // namespace

void ObjectWriter::key(std::string_view key) {
  body_ += (body_.empty() ? "\n" : ",\n") + indent(1) + "\"" + std::string(key) + "\": ";
}

void ObjectWriter::text(std::string_view name, const std::string& value, std::size_t longest) {
  if (value.empty()) {
    return;
  }
  key(name);
  body_ += '"';
  for (const char c : value.substr(0, longest)) {
    if (c == '"' || c == '\\') {
      body_ += '\\';
    }
    body_ += c >= ' ' && c <= '~' ? c : '?';
  }
  body_ += '"';
}

void ObjectWriter::number(std::string_view name, std::uint64_t value) {
  key(name);
  body_ += std::to_string(value);
}

void ObjectWriter::numbers(std::string_view name, std::initializer_list<std::uint64_t> values) {
  std::string list;
  for (const std::uint64_t value : values) {
    list += (list.empty() ? "" : ", ") + std::to_string(value);
  }
  key(name);
  body_ += "[" + list + "]";
}

void ObjectWriter::flag(std::string_view name, bool value) {
  key(name);
  body_ += value ? "true" : "false";
}

void ObjectWriter::word(std::string_view name, std::string_view value) {
  key(name);
  body_ += "\"" + std::string(value) + "\"";
}

void ObjectWriter::hex(std::string_view name, const std::uint8_t* data, std::size_t bytes) {
  word(name, hexOf(data, bytes));
}

void ObjectWriter::page(const Bytes& data) {
  std::size_t used = data.size();
  while (used > 0 && data[used - 1] == 0) {
    --used;
  }
  if (used > 0) {
    key("data");
    body_ += '[';
    for (std::size_t at = 0; at < used; at += kBytesPerLine) {
      body_ += (at == 0 ? "\n" : ",\n") + indent(2) + "\"" +
               hexOf(&data[at], std::min(kBytesPerLine, used - at)) + "\"";
    }
    body_ += ']';
  }
  if (!data.empty()) {
    number("bytes", data.size());
  }
}

void ObjectWriter::object(std::string_view name, const ObjectWriter& inner) {
  if (!inner.isEmpty()) {
    key(name);
    body_ += inner.finish();
  }
}

void ObjectWriter::list(std::string_view name, const std::string& objects) {
  if (!objects.empty()) {
    key(name);
    body_ += "[\n" + objects + "]";
  }
}

std::string ObjectWriter::finish() const { return "{" + body_ + "}"; }

}  // namespace ostria::storage
