// Overlapped reads and writes that hang: the time-out, the cancel, and whose memory is written
// late.
#include <gtest/gtest.h>

#include "platform/windows/io/win_timed_io.h"
#include "scripted_win32.h"

namespace ostria::storage::test {
namespace {

using Transfer = ScriptedWin32::Transfer;

class TimedIoTest : public testing::Test {
 protected:
  TimedIoTest() { kernel = {}; }

  ProtocolResult read(std::uint32_t seconds = 30) {
    return timedRead(kScriptedDevice, 0x123456789Aull, buffer.size(), &done, seconds,
                     buffer.data());
  }
  ProtocolResult write() {
    return timedWrite(kScriptedDevice, 512, buffer.size(), &done, 30, buffer.data());
  }

  ScriptedWin32& kernel = scriptedWin32();
  std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(512, 0x11);
  std::uint64_t done = 99;
};

TEST_F(TimedIoTest, WholeShortAndRefusedTransfers) {
  for (const Transfer way : {Transfer::AtOnce, Transfer::Pending}) {
    kernel.transfer = way;
    kernel.movedBytes = 512;
    EXPECT_EQ(read(), ProtocolResult::Success);
    EXPECT_EQ(done, 512u);
    EXPECT_EQ(buffer[511], 0xAA);
    EXPECT_EQ(kernel.lastOffset, 0x123456789Aull);
    EXPECT_EQ(kernel.lastMilliseconds, 30000u);
    kernel.movedBytes = 100;
    buffer.assign(512, 0x11);
    EXPECT_EQ(read(), ProtocolResult::MediumError);
    EXPECT_EQ(done, 100u);
    EXPECT_EQ(buffer[99], 0xAA);
    EXPECT_EQ(buffer[100], 0x11);
    EXPECT_EQ(write(), ProtocolResult::MediumError);
    kernel.movedBytes = 512;
    EXPECT_EQ(write(), ProtocolResult::Success);
    EXPECT_EQ(kernel.written, buffer);
  }
  kernel.transfer = Transfer::Refused;
  EXPECT_EQ(read(), ProtocolResult::Failure);
  EXPECT_EQ(timedRead({}, 0, 512, &done, 1, buffer.data()), ProtocolResult::Failure);
  EXPECT_EQ(timedRead(kScriptedDevice, 0, 1ull << 32, &done, 1, buffer.data()),
            ProtocolResult::Failure);
  EXPECT_EQ(kernel.cancelled, 0);
  EXPECT_EQ(kernel.openHandles, 0);
}

TEST_F(TimedIoTest, AsynchronousErrorsAreDistinguished) {
  kernel.transfer = Transfer::Pending;
  const std::pair<DWORD, ProtocolResult> rows[] = {
      {ERROR_CRC, ProtocolResult::MediumError},
      {ERROR_SECTOR_NOT_FOUND, ProtocolResult::MediumError},
      {ERROR_DISK_FULL, ProtocolResult::VolumeFull},
      {ERROR_IO_DEVICE, ProtocolResult::TransportFailure},
      {ERROR_NOT_READY, ProtocolResult::TransportFailure},
      {ERROR_DEVICE_NOT_CONNECTED, ProtocolResult::TransportFailure},
      {ERROR_SEM_TIMEOUT, ProtocolResult::TransportFailure},
  };
  for (const auto& [error, result] : rows) {
    kernel.transferError = error;
    EXPECT_EQ(read(), result) << error;
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(write(), result) << error;
  }
  EXPECT_EQ(buffer[0], 0x11);
}

TEST_F(TimedIoTest, LateRequestTouchesOnlyItsOwnMemory) {
  kernel.transfer = Transfer::Hang;
  kernel.movedBytes = 512;
  kernel.cancelEnds = false;
  EXPECT_EQ(read(UINT32_MAX), ProtocolResult::ReadTimeout);
  EXPECT_LT(kernel.lastMilliseconds, INFINITE);
  EXPECT_EQ(kernel.cancelled, 1);
  EXPECT_EQ(done, 99u);
  EXPECT_EQ(kernel.openHandles, 1);  // the request still needs its event
  kernel.endHanging();
  EXPECT_EQ(buffer, std::vector<std::uint8_t>(512, 0x11));

  // The next request frees what has ended by then.
  kernel.cancelEnds = true;
  EXPECT_EQ(write(), ProtocolResult::WriteTimeout);
  EXPECT_EQ(kernel.cancelled, 2);
  EXPECT_EQ(kernel.openHandles, 0);
}

}  // namespace
}  // namespace ostria::storage::test
