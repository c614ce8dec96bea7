// Libraries, clocks and waiting.
#include <windows.h>

#include "services/sal.h"

namespace ostria::storage {
namespace {

class WinLibraryLoader final : public LibraryLoader {
 public:
  Library load(const std::string& path, std::uint32_t flag) override {
    DWORD flags = LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;
    if (flag == 1) {
      flags |= LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
    }
    return LoadLibraryExW(toWide(path).c_str(), nullptr, flags);
  }
  void* lookUp(Library library, const char* name) override {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
  }
  void unload(Library library) override { FreeLibrary(static_cast<HMODULE>(library)); }
};

class WinTimer final : public Timer {
 public:
  void wait(std::uint32_t milliseconds) override { Sleep(milliseconds); }
  double secondsBetween(std::int64_t earlier, std::int64_t later) override {
    LARGE_INTEGER frequency{};
    if (!QueryPerformanceFrequency(&frequency) || frequency.QuadPart <= 0) {
      return 0;
    }
    return static_cast<double>(later - earlier) / static_cast<double>(frequency.QuadPart);
  }
  std::int64_t clock() override {
    LARGE_INTEGER count{};
    QueryPerformanceCounter(&count);
    return count.QuadPart;
  }
};

class WinTimeHandler final : public TimeHandler {
 public:
  std::int64_t now() override {
    constexpr std::int64_t kTicksPerSecond = 10'000'000;
    constexpr std::int64_t kFrom1601To1970 = 11'644'473'600;
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    const auto ticks =
        static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
    return ticks / kTicksPerSecond - kFrom1601To1970;
  }
};

}  // namespace

LibraryLoader* get_module() {
  static LibraryLoader* const kLoader = new WinLibraryLoader;
  return kLoader;
}

Timer* get_timer() {
  static Timer* const kTimer = new WinTimer;
  return kTimer;
}

TimeHandler* get_time_handler() {
  static TimeHandler* const kHandler = new WinTimeHandler;
  return kHandler;
}

}  // namespace ostria::storage
