// Process-wide services. What the C++ library has (clocks, text in ASCII) works as it is; a port
// keeps it. Loading of libraries, the management service and the driver service are the system's.
#include <QString>
#include <chrono>
#include <ctime>
#include <thread>

#include "services/driver_service_holder.h"
#include "services/sal.h"
#include "services/string_handler_imp.h"

namespace ostria::storage {
namespace {

class NoLibraryLoader final : public LibraryLoader {
 public:
  Library load(const std::string&, std::uint32_t) override { return nullptr; }
  void* lookUp(Library, const char*) override { return nullptr; }
  void unload(Library) override {}
};

class StandardTimer final : public Timer {
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

class StandardTimeHandler final : public TimeHandler {
 public:
  std::int64_t now() override { return std::time(nullptr); }
};

class NoCim final : public Cim {
 public:
  CimResult query(const char* const*, const char*, const char*, int, CimTable**,
                  const std::wstring&) override {
    return CimResult::ConnectFailed;
  }
  CimResult queryAll(CimTable**, const char*, int, const char* const*,
                     const std::wstring&) override {
    return CimResult::ConnectFailed;
  }
  CimResult writeRecord(const std::vector<std::string>&, const std::vector<std::string>&,
                        const char*, const std::wstring&) override {
    return CimResult::ConnectFailed;
  }
  CimResult ensureNamespace(const std::wstring&, const std::wstring&, bool*) override {
    return CimResult::ConnectFailed;
  }
};

}  // namespace

LibraryLoader* get_module() {
  static auto* const kLoader = new NoLibraryLoader;
  return kLoader;
}

Timer* get_timer() {
  static auto* const kTimer = new StandardTimer;
  return kTimer;
}

TimeHandler* get_time_handler() {
  static auto* const kHandler = new StandardTimeHandler;
  return kHandler;
}

StringHandler& getLocalStringHandler() {
  static auto* const kHandler = new StringHandlerImp;
  return *kHandler;
}

std::wstring toWide(const std::string& text) { return QString::fromStdString(text).toStdWString(); }

std::string toNarrow(const std::wstring& text) {
  return QString::fromStdWString(text).toStdString();
}

std::unique_ptr<Cim> makeCim() { return std::make_unique<NoCim>(); }

DriverServiceHolder::DriverServiceHolder() = default;

// Where there is a service, it is destroyed here and its library unloaded.
DriverServiceHolder::~DriverServiceHolder() {}

ZRDService* DriverServiceHolder::usableService() const { return nullptr; }

}  // namespace ostria::storage
