// JSON of a machine file, a key a line.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "inventory/recording/drive_recorder.h"

namespace ostria::storage {

/// Writes one object, with the objects in it.
class ObjectWriter {
 public:
  /// @param depth  of the object's braces, two blanks each
  explicit ObjectWriter(std::size_t depth) : depth_(depth) {}

  /// Printable ASCII; a longer text is cut. An empty one is left out.
  void text(std::string_view key, const std::string& value, std::size_t longest);
  void number(std::string_view key, std::uint64_t value);
  void numbers(std::string_view key, std::initializer_list<std::uint64_t> values);
  void flag(std::string_view key, bool value);
  /// A text that needs no escape.
  void word(std::string_view key, std::string_view value);
  /// Bytes as one text.
  void hex(std::string_view key, const std::uint8_t* data, std::size_t bytes);
  /// Bytes in lines, without the zeros at the end, which "bytes" counts.
  void page(const Bytes& data);
  void object(std::string_view key, const ObjectWriter& inner);
  /// A list of objects, each from `asEntry`, with commas and line ends between; an empty list is
  /// left out.
  void list(std::string_view key, const std::string& objects);
  bool isEmpty() const { return body_.empty(); }

  /// The whole object, without a line end.
  std::string finish() const;
  /// The same behind its indentation.
  std::string asEntry() const { return indent(0) + finish(); }

 private:
  void key(std::string_view key);
  std::string indent(std::size_t more) const { return std::string(2 * (depth_ + more), ' '); }

  std::size_t depth_;
  std::string body_;
};

}  // namespace ostria::storage
