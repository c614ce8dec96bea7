// What only a system with real processes, files and memory can show.
#include <gtest/gtest.h>
#include <windows.h>

#include <thread>
#include <vector>

#include "platform/windows/checker/win_checker_process.h"
#include "platform/windows/io/win_handle.h"
#include "platform/windows/io/win_timed_io.h"
#include "platform/windows/services/win_cim.h"
#include "services/volume_access.h"
#include "tests/platform/windows_both/place.h"

namespace ostria::storage::test {
namespace {

DWORD handlesOfProcess() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

/// A pipe whose reader waits for as long as the test wants: what a drive that hangs is to a read.
class SilentPipe {
 public:
  SilentPipe()
      : server_(CreateNamedPipeW(L"\\\\.\\pipe\\ostria_silent",
                                 PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1, 4096,
                                 4096, 0, nullptr)),
        client_(CreateFileW(L"\\\\.\\pipe\\ostria_silent", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                            OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr)) {}
  bool isOpen() const { return static_cast<bool>(server_) && static_cast<bool>(client_); }
  DeviceHandle client() const { return toDeviceHandle(client_.get()); }
  void say(const std::vector<std::uint8_t>& bytes) const {
    OVERLAPPED overlapped{};
    DWORD done = 0;
    WriteFile(server_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
    GetOverlappedResult(server_.get(), &overlapped, &done, TRUE);
  }

 private:
  UniqueHandle server_;
  UniqueHandle client_;
};

TEST(WineTimedIoTest, ATimedOutReadNeverWritesIntoTheCallersMemory) {
  const SilentPipe pipe;
  ASSERT_TRUE(pipe.isOpen());
  std::vector<std::uint8_t> buffer(512, 0x11);
  std::uint64_t done = 7;
  const ULONGLONG before = GetTickCount64();
  EXPECT_EQ(timedRead(pipe.client(), 0, 512, &done, 1, buffer.data()), ProtocolResult::ReadTimeout);
  const ULONGLONG waited = GetTickCount64() - before;
  EXPECT_GE(waited, 900u);
  EXPECT_LE(waited, 5000u);
  EXPECT_EQ(done, 7u);
  pipe.say(std::vector<std::uint8_t>(512, 0x22));
  Sleep(100);
  EXPECT_EQ(buffer, std::vector<std::uint8_t>(512, 0x11));
  EXPECT_EQ(timedRead(pipe.client(), 0, 512, &done, 5, buffer.data()), ProtocolResult::Success)
      << "the cancelled request must not have taken what came later";
  EXPECT_EQ(buffer, std::vector<std::uint8_t>(512, 0x22));
}

TEST(WineTimedIoTest, RequestsOfManyThreadsLeaveNoHandle) {
  const DWORD before = handlesOfProcess();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      const UniqueHandle file(CreateFileW(
          (L"C:\\many" + std::to_wstring(i)).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
          CREATE_ALWAYS, FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING | FILE_FLAG_DELETE_ON_CLOSE,
          nullptr));
      std::vector<std::uint8_t> bytes(4096, static_cast<std::uint8_t>(i));
      std::vector<std::uint8_t> back(4096);
      std::uint64_t done = 0;
      for (std::uint64_t round = 0; round < 50; ++round) {
        EXPECT_EQ(
            timedWrite(toDeviceHandle(file.get()), round * 4096, 4096, &done, 30, bytes.data()),
            ProtocolResult::Success);
        EXPECT_EQ(timedRead(toDeviceHandle(file.get()), round * 4096, 4096, &done, 30, back.data()),
                  ProtocolResult::Success);
        EXPECT_EQ(back, bytes);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_LE(handlesOfProcess(), before + 8) << "threads of the system may keep some";
}

TEST(WineCheckerProcessTest, AProgramThatIsNotThereAndOneThatIsEnded) {
  WinCheckerProcess none;
  EXPECT_FALSE(none.start(L"C:\\windows\\system32\\none.exe C: /F"));

  const DWORD before = handlesOfProcess();
  {
    WinCheckerProcess endless;  // a loop whose step is 0; what waits for input may find its end
    ASSERT_TRUE(endless.start(L"C:\\windows\\system32\\cmd.exe /C for /L %i in (1,0,2) do @rem"));
    EXPECT_TRUE(endless.isActive());
    endless.terminate(3);
    char byte = 0;
    while (endless.readByte(byte)) {
    }
    for (int i = 0; i < 50 && endless.isActive(); ++i) {
      Sleep(100);
    }
    EXPECT_FALSE(endless.isActive());
    EXPECT_EQ(endless.exitCode(), 3u);
  }
  EXPECT_LE(handlesOfProcess(), before);
}

TEST(WineVolumeAccessTest, ThePrivilegeIsAsItWas) {
  const auto isEnabled = [] {
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    std::vector<TOKEN_PRIVILEGES> memory(64);
    DWORD bytes = 0;
    GetTokenInformation(token, TokenPrivileges, memory.data(),
                        static_cast<DWORD>(memory.size() * sizeof(TOKEN_PRIVILEGES)), &bytes);
    CloseHandle(token);
    LUID luid{};
    LookupPrivilegeValueW(nullptr, L"SeManageVolumePrivilege", &luid);
    for (DWORD i = 0; i < memory[0].PrivilegeCount; ++i) {
      const LUID_AND_ATTRIBUTES& held = memory[0].Privileges[i];
      if (held.Luid.LowPart == luid.LowPart) {
        return (held.Attributes & SE_PRIVILEGE_ENABLED) != 0;
      }
    }
    return false;
  };
  const bool before = isEnabled();
  ASSERT_TRUE(holdVolumePrivilege());
  EXPECT_TRUE(isEnabled());
  releaseVolumePrivilege();
  EXPECT_EQ(isEnabled(), before);
}

TEST(WineCimTest, QueriesThatTheSystemAnswers) {
  WinCim cim;
  CimTable* table = nullptr;
  const char* const fields[] = {"DeviceID", "DriveType", "NoSuchField"};
  ASSERT_EQ(cim.queryAll(&table, "Win32_LogicalDisk", 2, fields, L"ROOT\\CIMV2"),
            CimResult::Success);
  ASSERT_FALSE(table->empty());
  EXPECT_EQ(table->front()[0], std::vector<std::string>{"C:"});
  EXPECT_EQ(table->front()[1], std::vector<std::string>{"3"});
  cim.freeTable(table);
  ASSERT_EQ(cim.query(fields, "DeviceID = 'C:'", "Win32_LogicalDisk", 1, &table, L"ROOT\\CIMV2"),
            CimResult::Success);
  EXPECT_EQ(table->size(), 1u);
  cim.freeTable(table);
}

}  // namespace
}  // namespace ostria::storage::test
