// The peers that no public tool gives: reads of a device in a bare loop, with nothing around them.
// Copies in memory, SG_IO as a SCSI disk takes it (SBC, READ(10)), and unbuffered reads of its
// first block.
#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <string_view>

namespace {

constexpr std::size_t kAlignment = 4096;
constexpr std::uint32_t kSectorBytes = 512;
constexpr std::uint8_t kDpoFua = 0x18;  // from the medium, as the product asks
constexpr unsigned kTimeoutMilliseconds = 10000;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<std::uint8_t, Free>;

Buffer makeBuffer(std::size_t bytes) {
  const std::size_t rounded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
  return Buffer(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, rounded)));
}

/// Nothing when the text is no number, or is none at all.
std::optional<std::uint64_t> numberIn(const char* text) {
  std::optional<std::uint64_t> number(0);
  const std::string_view digits = text == nullptr ? "" : text;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), *number);
  if (error != std::errc() || end != digits.data() + digits.size()) {
    number.reset();
  }
  return number;
}

/// READ CAPACITY(10): the last sector, or nothing for a disk of other sectors than 512 bytes.
std::optional<std::uint32_t> lastSector(int device) {
  std::array<std::uint8_t, 10> command = {0x25};
  std::array<std::uint8_t, 8> answer{};
  sg_io_hdr_t request = {};
  request.interface_id = 'S';
  request.cmdp = command.data();
  request.cmd_len = command.size();
  request.dxfer_direction = SG_DXFER_FROM_DEV;
  request.dxferp = answer.data();
  request.dxfer_len = answer.size();
  request.timeout = kTimeoutMilliseconds;
  if (::ioctl(device, SG_IO, &request) != 0 || request.status != 0) {
    return std::nullopt;
  }
  const auto word = [&](std::size_t at) {
    return std::uint32_t{answer[at]} << 24 | std::uint32_t{answer[at + 1]} << 16 |
           std::uint32_t{answer[at + 2]} << 8 | answer[at + 3];
  };
  if (word(4) != kSectorBytes || word(0) == 0 || word(0) == ~0u) {
    return std::nullopt;
  }
  return word(0);
}

bool seek(int device, std::uint64_t reads) {
  const auto last = lastSector(device);
  const Buffer buffer = makeBuffer(kSectorBytes);
  if (!last || buffer == nullptr) {
    return false;
  }
  std::mt19937 random(1);
  std::uniform_int_distribution<std::uint32_t> anySector(0, *last);
  for (std::uint64_t i = 0; i < reads; ++i) {
    const std::uint32_t lba = anySector(random);
    std::array<std::uint8_t, 10> command = {0x28, kDpoFua};
    for (unsigned byte = 0; byte < 4; ++byte) {
      command[2 + byte] = static_cast<std::uint8_t>(lba >> (24 - 8 * byte));
    }
    command[8] = 1;
    std::array<std::uint8_t, 64> sense{};
    sg_io_hdr_t request = {};
    request.interface_id = 'S';
    request.cmdp = command.data();
    request.cmd_len = command.size();
    request.sbp = sense.data();
    request.mx_sb_len = sense.size();
    request.dxfer_direction = SG_DXFER_FROM_DEV;
    request.dxferp = buffer.get();
    request.dxfer_len = kSectorBytes;
    request.timeout = kTimeoutMilliseconds;
    if (::ioctl(device, SG_IO, &request) != 0 || request.status != 0) {
      return false;
    }
  }
  return true;
}

bool firstBlock(int device, std::uint64_t bytes, std::uint64_t reads) {
  const Buffer buffer = makeBuffer(bytes);
  if (buffer == nullptr) {
    return false;
  }
  for (std::uint64_t i = 0; i < reads; ++i) {
    if (::pread(device, buffer.get(), bytes, 0) != static_cast<ssize_t>(bytes)) {
      return false;
    }
  }
  return true;
}

bool copy(std::uint64_t bytes, std::uint64_t times) {
  const Buffer from = makeBuffer(bytes);
  const Buffer to = makeBuffer(bytes);
  if (from == nullptr || to == nullptr) {
    return false;
  }
  std::memset(from.get(), 0x5A, bytes);
  std::uint64_t sum = 0;
  for (std::uint64_t i = 0; i < times; ++i) {
    from.get()[i % bytes] ^= 1;
    std::memcpy(to.get(), from.get(), bytes);
    sum += to.get()[(i * kAlignment) % bytes];
  }
  return sum != ~std::uint64_t{0};
}

}  // namespace

int main(int count, char** words) {
  const std::string_view what = count > 1 ? words[1] : "";
  if (const auto bytes = count == 4 && what == "copy" ? numberIn(words[2]) : std::nullopt) {
    const auto times = numberIn(words[3]);
    return *bytes != 0 && *bytes <= 1u << 30 && times && copy(*bytes, *times) ? 0 : 1;
  }
  const auto first = numberIn(count > 3 ? words[3] : nullptr);
  const auto second = numberIn(count > 4 ? words[4] : nullptr);
  const bool seeks = what == "seek" && count == 4 && first;
  const bool blocks = what == "block" && count == 5 && first && *first <= 1u << 30 && second;
  if (!seeks && !blocks) {
    std::fputs(
        "bare_reads seek DEVICE READS | bare_reads block DEVICE BYTES READS | bare_reads copy "
        "BYTES TIMES\n",
        stderr);
    return 2;
  }
  const int device = ::open(words[2], O_RDONLY | O_CLOEXEC | O_DIRECT);
  if (device < 0) {
    std::perror(words[2]);
    return 1;
  }
  const bool good = seeks ? seek(device, first.value_or(0))
                          : firstBlock(device, first.value_or(0), second.value_or(0));
  if (!good) {
    std::fprintf(stderr, "%s: a read failed\n", words[2]);
  }
  ::close(device);
  return good ? 0 : 1;
}
