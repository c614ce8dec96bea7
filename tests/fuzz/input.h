#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ostria::storage::test {

/// The fuzz bytes; zeros when they are used up.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t bytes) : data_(data), left_(bytes) {}
  bool empty() const { return left_ == 0; }
  std::uint8_t byte() {
    if (left_ == 0) {
      return 0;
    }
    --left_;
    return *data_++;
  }
  std::uint64_t number(int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) {
      value = value << 8 | byte();
    }
    return value;
  }
  void fill(std::uint8_t* out, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) {
      out[i] = byte();
    }
  }
  /// All that is left.
  std::string rest() {
    std::string text(reinterpret_cast<const char*>(data_), left_);
    left_ = 0;
    return text;
  }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

}  // namespace ostria::storage::test
