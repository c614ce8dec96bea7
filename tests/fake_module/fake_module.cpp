// A module of two devices whose tests do what their names say, so that the program can be tried
// without a disk: refusals, aborts, questions and every result come at once and each time.
#include <chrono>
#include <memory>
#include <thread>

#include "ostria/storage/entry_points.h"

namespace {

using namespace ostria::storage;

class FakeDevice final : public SystemComponent {
 public:
  FakeDevice(const char* id, const char* model, const char* serial, const char* parent) {
    id_ = id;
    model_ = model;
    displayName_ = std::string(model) + " - 2 TB";
    properties_ = {{"UDI", std::string(model) + "-" + serial},
                   {"MODEL", model},
                   {"SERIAL", serial},
                   {"TEMPERATURE", "NOT_AVAILABLE"},
                   {"LOGICAL_SECTOR_SIZE", "512"},
                   {"LOGICAL_SECTORS", "18014398509481984"},
                   {"PROTOCOL", "ATA"}};
    attributes_ = {{"parent", parent}, {"NonRotatingMedia", "F"}};
    sections_ = {{{{"INDEX", "1"}, {"MOUNT_POINT", "D:\\"}, {"FILE_SYSTEM", "_HIDDEN_|F|A|T32"}},
                  "PARTITION"}};
  }
  std::uint32_t hostQuery4() override { return 0; }
  bool getReport(const std::string& key, std::string& value) override {
    if (key == "protocol_type") {
      value = "ata";
    }
    if (key == "SMART") {
      const std::string level = id_.back() == '1' ? "30" : "100";
      value = R"([{"id":"5","description":"Reallocated "x" Sectors","threshold":"36","value":")" +
              level + R"(","worst":")" + level + R"(","data":")" + (level == "30" ? "7" : "0") +
              "\"}]";
    }
    if (key == "IDENTITY") {
      value = R"([{"description":"Model","data":")" + model_ +
              R"("},{"description":"Serial","data":")" + properties_[2].value + "\"}]";
    }
    return key != "OSTRIA_LOG_PAGE" && key != "HEALTH";
  }
  bool hostQuery6() override { return true; }
  void hostNotice7() override {}
  bool hostQuery8() override { return true; }
  void hostNotice9() override {}
};

class FakeManager final : public SystemComponentManager {
 public:
  FakeManager() : SystemComponentManager({1, 0, 1}) {}
  bool hasDevices() override { return true; }
  SystemComponent* refreshComponent(std::uint32_t index) override { return component(index); }
  void scan() override { components_ = {&first_, &second_}; }

 private:
  FakeDevice first_{"\\\\.\\PhysicalDrive0", "Good <b>Disk</b>", "SN 12345678", "LOCAL_DRIVES"};
  FakeDevice second_{"\\\\.\\PhysicalDrive1", "Bad\033[31m\u202E\xFF\u200BDisk",
                     "<script>alert(1)</script>", "USB_DRIVES"};
};

// What a fake test does, by its item number.
enum Deed : std::uint32_t { Pass = 1, Fail = 2, Refuse = 3, Wait = 4, Write = 12, Scan = 13 };

class FakeTest final : public Test {
 public:
  explicit FakeTest(const Identifier& id) : Test(id) {}

  bool isApplicable(SystemComponent* component) override {
    return identifier_.item != Refuse &&
           (identifier_.item != Fail || component->id().back() == '1');
  }
  bool isHostFlagged() override { return false; }

  TestResult run(TestRunContext* context) override {
    MessageLog* log = context->messageLog();
    TestListener* listener = context->listener();
    listener->progress(0, "");
    // The test that waits always has a command to finish, however early the abort comes.
    if (identifier_.item != Wait && context->isAbortRequested()) {
      return TestResult::Stopped;
    }
    switch (identifier_.item) {
      case Fail:
        log->add("TOO_MANY_BAD_SECTORS_FOUND: 10", 2, 0);
        listener->progress(100, "POSSIBLE_DEFECTIVE_COMPONENTS: STORAGE_DEVICE, SYSTEM_BOARD");
        return TestResult::Failed;
      case Refuse:
        log->add("SMART_NOT_SUPPORTED", 3, 0);
        return TestResult::NotPerformed;
      case Wait:
        for (int i = 0; i < 600 && !context->isAbortRequested(); ++i) {
          listener->progress(static_cast<std::uint8_t>(i / 6),
                             "READING_SECTOR " + std::to_string(i));
          std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        // As a device does that finishes its command first.
        std::this_thread::sleep_for(std::chrono::milliseconds(800));
        listener->progress(100, "");
        return TestResult::Stopped;
      case Scan:
        log->add(
            "BAD_SECTORS_WERE_FOUND NUMBER_OF_BLOCKS_WITH_BAD_SECTORS 2. "
            "BAD_SECTORS_IN_THE_FOLLOWING_RANGE [1000, 1255], [18014398509000000, "
            "18014398509000255].",
            0, 0);
        return TestResult::Failed;
      default:
        listener->progress(100, "");
        return TestResult::Passed;
    }
  }

  std::vector<TestParameter> parameters() override {
    if (identifier_.item != Scan) {
      return {};
    }
    return {
        {"ERROR_LIMIT", "ERROR_LIMIT", "ERROR_LIMIT_DESCRIPTION", "1", "1", 2, "[0:100]", 0, 0}};
  }
  bool checkParameters(const std::vector<TestParameter>& given,
                       std::vector<ParameterIssue>& issues) override {
    issues.clear();
    for (const TestParameter& parameter : given) {
      if (parameter.key != "ERROR_LIMIT") {
        issues.push_back({ParameterIssue::UnknownParameter, "INVALID_PARAMETER", parameter});
      } else if (parameter.value.find_first_not_of("0123456789") != std::string::npos) {
        issues.push_back(
            {ParameterIssue::ValueRefused, "USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100", parameter});
      }
    }
    return issues.empty();
  }
  bool configure(ConfigurationMap settings, ConfigurationError* error) override {
    const auto& storage = settings["STORAGE"];
    const auto found = storage.find("SEC_NUM");
    if (found == storage.end() || found->second != "x") {
      return true;
    }
    error->code = ConfigurationError::NotANumber;
    error->key = "SEC_NUM";
    error->section = "STORAGE";
    return false;
  }
};

class FakeRecover final : public Tool {
 public:
  FakeRecover() : Tool({50, 0, 0}) {}
  std::string getNameKey() override { return "RECOVER_BAD_SECTORS"; }
  std::string getDescriptionKey() override { return "SCAN_TOOL"; }
  std::string getCommandName() override { return "recover"; }
  bool isApplicable(SystemComponent*) override { return true; }
  void run() override {
    const std::string operation = getParameter("Operation")->front();
    if (operation == "filterDevices") {
      setParameter("DevicesFilter", std::vector<std::string>(devices.size(), "T"));
      return;
    }
    for (SystemComponent* device : devices) {
      fire("Progress", {"50"});
      if (operation == "filesystem") {
        const auto table = *getParameter("partition_table" + device->id());
        setParameter("Message", {});
        fire("PartitionFinish", {device->id(), table[0], "all fine\n", "0"});
        fire("DeviceFinish", {device->id()});
        continue;
      }
      const bool bad = device->id().back() == '1';
      setParameter("SectorsInfo",
                   {"1000", bad ? "2" : "0", bad && operation == "repair" ? "2" : "0", "0"});
      setParameter("BadSectorsList",
                   bad ? std::vector<std::string>{"17", "900"} : std::vector<std::string>{});
      fire("DeviceFinish", {device->id(), bad ? "9" : "0"});
    }
  }

 private:
  void fire(const std::string& name, const std::vector<std::string>& values) {
    setParameter(name, values);
    const auto handler = eventReceiver->handlers.find("On" + name);
    if (handler != eventReceiver->handlers.end()) {
      handler->second(this, "On" + name);
    }
  }
};

class FakeResource final : public Resource {
 public:
  FakeResource() : Resource({1, 0, 1}) {
    helpText_ = "Help of the module\n";
    moduleName_ = "STORAGE";
    diagnosticOptions_ = {{{1, 1, 0}, {"Q", "quick", 0}}, {{1, 2, 0}, {"E", "extended", 0}}};
    testOptions_ = {
        {{1, 1, Pass}, {"m", "smart-status", 2}},    {{1, 1, Fail}, {"t", "targeted", 2}},
        {{1, 1, Refuse}, {"o", "smart-wearout", 2}}, {{1, 1, Wait}, {"s", "self", 2}},
        {{1, 2, Write}, {"w", "device-write", 2}},   {{1, 2, Scan}, {"n", "scan", 0}}};
  }
  std::string diagnosticName(const Identifier& id) override {
    return id.category == 1 ? "QUICK_TESTS" : "EXTENDED_TESTS";
  }
  std::string testName(const Identifier& id) override {
    return "FAKE_TEST_" + std::to_string(id.item);
  }
  std::string diagnosticTooltip(const Identifier&) override { return {}; }
  std::string testTooltip(const Identifier&) override { return {}; }
};

struct FakeModule {
  FakeResource resource;
  FakeManager manager;
  FakeRecover recover;
  FakeTest pass{{1, 1, Pass}};
  FakeTest fail{{1, 1, Fail}};
  FakeTest refuse{{1, 1, Refuse}};
  FakeTest wait{{1, 1, Wait}};
  FakeTest write{{1, 2, Write}};
  FakeTest scan{{1, 2, Scan}};
  Diagnostic quick{{1, 1, 0}, {&pass, &fail, &refuse, &wait}};
  Diagnostic extended{{1, 2, 0}, {&write, &scan}};
  ModuleInterface interface {
    {&quick, &extended}, &resource, &manager, nullptr, { &recover }
  };
};

std::unique_ptr<FakeModule> module;

}  // namespace

ostria::storage::ModuleInterface* GetModuleInterfaceInstance() {
  if (!module) {
    module = std::make_unique<FakeModule>();
  }
  return &module->interface;
}

ostria::storage::ProductVersion* GetProductVersion() {
  static ostria::storage::ProductVersion version(4, 46, 0, 0);
  return &version;
}

void ReleaseModuleInterfaceInstance() { module.reset(); }
