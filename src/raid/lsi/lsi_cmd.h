#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace ostria::storage {

/// The command record of the vendor library, passed to it by pointer, in the library's own layout.
struct LsiRecord {
  std::uint8_t command = 0;  ///< low byte of the command code
  std::uint8_t group = 0;    ///< high byte of the command code
  std::uint16_t reserved1 = 0;
  std::uint32_t controllerId = 0;
  std::uint16_t deviceId = 0;  ///< for drive-level commands
  std::uint8_t subIndex = 0;   ///< selects an array or a span
  std::uint8_t reserved2[17] = {};
  std::uint32_t dataSize = 0;  ///< bytes at `data`
  void* data = nullptr;
  std::uint8_t reserved3[8] = {};
};
static_assert(offsetof(LsiRecord, controllerId) == 4);
static_assert(offsetof(LsiRecord, deviceId) == 8);
static_assert(offsetof(LsiRecord, subIndex) == 10);
static_assert(offsetof(LsiRecord, dataSize) == 28);
static_assert(offsetof(LsiRecord, data) == 32);
static_assert(sizeof(LsiRecord) == 48);

/// Command codes of the vendor library.
enum class LsiCode : std::uint16_t {
  GetControllerInfo = 0x0001,
  GetPdinfo = 0x0002,
  GetDriveInfo = 0x0003,
  SspPassthrough = 0x0006,
  StpPassthrough = 0x0206,
  GetControllerList = 0x0300,
  GetDriveList = 0x0401,
  GetConfiguration = 0x0501,
  GetArrayInfo = 0x0B03,
  GetControllerProperties = 0x0D01,
};

/// One command of the library with the zeroed buffer that it owns.
class LsiCmd {
 public:
  LsiCmd(LsiCode code, std::uint32_t controllerId, std::size_t dataBytes) : buffer_(dataBytes) {
    record.command = static_cast<std::uint8_t>(code);
    record.group = static_cast<std::uint8_t>(static_cast<std::uint16_t>(code) >> 8);
    record.controllerId = controllerId;
    record.dataSize = static_cast<std::uint32_t>(dataBytes);
    record.data = buffer_.data();
  }
  LsiCmd(const LsiCmd&) = delete;
  LsiCmd& operator=(const LsiCmd&) = delete;

  std::vector<std::uint8_t>& buffer() { return buffer_; }
  const std::vector<std::uint8_t>& buffer() const { return buffer_; }

  LsiRecord record;

 private:
  std::vector<std::uint8_t> buffer_;
};

/// Executes commands in the vendor library.
class LsiSender {
 public:
  virtual ~LsiSender() = default;
  /// @return 0 for success, else the library's own number
  virtual std::uint32_t execute(LsiCmd& command) = 0;
};

/// The process-wide sender, made on first use and never freed; null when the library, its function
/// or its controllers are not there, which is looked for again at the next call. Defined by each
/// platform.
LsiSender* getLsiSender();

}  // namespace ostria::storage
