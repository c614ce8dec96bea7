// A host of the storage module in one file: lists the devices, runs one test on one of them, and
// scans it for bad sectors. docs/host-guide.md explains each step.
// usage: minimal_host [MODULE [DEVICE]]
#include <dlfcn.h>
#include <ostria/storage/entry_points.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace ostria::storage;

std::atomic<bool> stopped{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler sets it");

// The module polls; it is never interrupted.
class StopByCtrlC final : public AbortContext {
 public:
  bool isAborted() override { return stopped; }
};

class Listener final : public TestListener {
 public:
  void progress(std::uint8_t percent, const std::string& message) override {
    std::printf("  %3d %%  %s\n", percent, message.c_str());
  }
  void requestInput(InputRequest* request) override { request->answer = InputRequest::No; }
  void hostNotice3() override {}
  bool canRequestInput() override { return false; }
  void hostNotice5() override {}
  void hostNotice6() override {}
};

class Log final : public MessageLog {
 public:
  void add(std::string message, std::uint32_t severity, std::uint8_t /*flag*/) override {
    std::printf("  severity %u: %s\n", severity, message.c_str());
  }
};

class Run final : public TestRunContext {
 public:
  explicit Run(SystemComponent* device) : device_(device) {}
  SystemComponent* component() override { return device_; }
  MessageLog* messageLog() override { return &log_; }
  TestListener* listener() override { return &listener_; }
  void hostNotice4() override {}
  bool isAbortRequested() override { return stopped; }
  const std::uint8_t* systemEvents() override { return nullptr; }
  void hostNotice7() override {}
  void parameters(std::vector<TestParameter>& out) override { out.clear(); }

 private:
  SystemComponent* device_;
  Listener listener_;
  Log log_;
};

class Events final : public ToolEventReceiver {
 public:
  Events() {
    handlers["OnProgress"] = [](Tool* tool, const std::string&) {
      std::printf("  %s %%\n", tool->getParameter("Progress")->at(0).c_str());
    };
    handlers["OnDeviceFinish"] = [](Tool* tool, const std::string&) {
      std::printf("  status %s\n", tool->getParameter("DeviceFinish")->at(1).c_str());
      const auto* const sectors = tool->getParameter("SectorsInfo");
      if (sectors != nullptr && sectors->size() == 4) {
        std::printf("  %s sectors read, %s bad\n", (*sectors)[0].c_str(), (*sectors)[1].c_str());
      }
    };
  }
  void requestInput(InputRequest& request) override { request.answer = InputRequest::No; }
};

template <typename Function>
Function* entry(void* library, const char* name) {
  auto* const found = reinterpret_cast<Function*>(dlsym(library, name));
  if (found == nullptr) {
    std::fprintf(stderr, "the library has no %s\n", name);
    std::exit(1);
  }
  return found;
}

void scan(ModuleInterface& module, SystemComponent* device) {
  for (std::uint32_t i = 0; i < module.toolCount(); ++i) {
    Tool& tool = *module.tool(i);
    if (tool.getCommandName() != "recover" || !tool.isApplicable(device)) {
      continue;
    }
    StopByCtrlC abort;
    Events events;
    std::uint8_t systemEvents = 0;
    tool.abortSource = &abort;
    tool.systemEvents = &systemEvents;
    tool.eventReceiver = &events;
    tool.setDevices({device});
    tool.setParameter("Operation", {"scan"});
    std::puts("scan for bad sectors");
    tool.run();
    // The tool lives on, what it was lent does not.
    tool.eventReceiver = nullptr;
    tool.abortSource = nullptr;
    tool.systemEvents = nullptr;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : MODULE_DIR "/libmodule_storage_virtual.so";
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  ProductVersion& version = *entry<decltype(GetProductVersion)>(library, "GetProductVersion")();
  if (version.major() != InterfaceMajor || version.minor() < InterfaceMinor) {
    std::fprintf(stderr, "the module has interface %u.%u\n", version.major(), version.minor());
    return 1;
  }
  ModuleInterface* module =
      entry<decltype(GetModuleInterfaceInstance)>(library, "GetModuleInterfaceInstance")();
  if (module == nullptr) {
    return 1;
  }
  std::signal(SIGINT, [](int) { stopped = true; });
  SystemComponentManager& manager = *module->componentManager();
  manager.scan();
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    std::printf("%u %s\n", i, manager.component(i)->description().displayName.c_str());
  }
  SystemComponent* device =
      manager.component(argc > 2 ? static_cast<std::uint32_t>(std::atoi(argv[2])) : 0);
  Test* test = module->diagnostic(0)->testByIdentifier(Identifier(1, 1, 1));
  if (device != nullptr && test != nullptr && test->isApplicable(device)) {
    std::printf("%s\n", module->resource()->testName(test->identifier()).c_str());
    Run run(device);
    std::printf("  result %u\n", static_cast<std::uint32_t>(test->run(&run)));
    scan(*module, device);
  }
  entry<decltype(ReleaseModuleInterfaceInstance)>(library, "ReleaseModuleInterfaceInstance")();
  return 0;
}
