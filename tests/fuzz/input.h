#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
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

/// A file without a name that holds the text.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& text) : descriptor_(memfd_create("fuzz", 0)) {
    if (::write(descriptor_, text.data(), text.size()) < 0) {
      std::abort();
    }
  }
  ~MemoryFile() { ::close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  int descriptor() const { return descriptor_; }
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

}  // namespace ostria::storage::test
