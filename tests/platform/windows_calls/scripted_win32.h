#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "base/device_handle.h"

namespace ostria::storage::test {

/// The operating system as a script: answers control codes, reads and writes as the test says, so
/// that drivers can be tried that no real or simulated PC has.
struct ScriptedWin32 {
  enum class Transfer { AtOnce, Pending, Hang, Refused };

  /// What the driver does with the block (the output buffer, which the input was copied to).
  /// Gives the error; `returned` starts as the size of the block.
  std::function<DWORD(DWORD code, std::vector<std::uint8_t>& block, DWORD& returned)> driver;
  std::vector<std::uint8_t> sent;  ///< input block of the last control code

  Transfer transfer = Transfer::AtOnce;
  DWORD movedBytes = 0;        ///< by a read or write; a read moves the byte AAh
  DWORD lastMilliseconds = 0;  ///< of the last wait
  DWORD transferError = 0;     ///< with which a read or write ends that was issued
  std::uint64_t lastOffset = 0;
  std::vector<std::uint8_t> written;
  int cancelled = 0;
  int openHandles = 0;
  bool cancelEnds = true;  ///< whether CancelIo ends a hanging request

  /// Ends the request that hangs, as a drive that comes back late does.
  void endHanging();

  OVERLAPPED* hanging = nullptr;
  std::uint8_t* hangingBuffer = nullptr;
};

/// The one in force; a test begins with a fresh one.
ScriptedWin32& scriptedWin32();

inline constexpr DeviceHandle kScriptedDevice{0x44};

}  // namespace ostria::storage::test
