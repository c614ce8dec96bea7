// Libraries, clocks and waiting.
#include <dlfcn.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "services/sal.h"

namespace ostria::storage {
namespace {

class LinuxLibraryLoader final : public LibraryLoader {
 public:
  Library load(const std::string& path, std::uint32_t /*flag*/) override {
    return ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  void* lookUp(Library library, const char* name) override {
    return library == nullptr ? nullptr : ::dlsym(library, name);
  }
  void unload(Library library) override {
    if (library != nullptr) {
      ::dlclose(library);
    }
  }
};

class LinuxTimer final : public Timer {
 public:
  void wait(std::uint32_t milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
  double secondsBetween(std::int64_t earlier, std::int64_t later) override {
    return std::chrono::duration<double>(std::chrono::nanoseconds(later - earlier)).count();
  }
  std::int64_t clock() override {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
  }
};

class LinuxTimeHandler final : public TimeHandler {
 public:
  std::int64_t now() override { return std::time(nullptr); }
};

}  // namespace

LibraryLoader* get_module() {
  static auto* const kLoader = new LinuxLibraryLoader;
  return kLoader;
}

Timer* get_timer() {
  static auto* const kTimer = new LinuxTimer;
  return kTimer;
}

TimeHandler* get_time_handler() {
  static auto* const kHandler = new LinuxTimeHandler;
  return kHandler;
}

}  // namespace ostria::storage
