// An output that writes as the results come, given a run that is over.
#include "host/core/report/output_format.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

class Recorder : public OutputFormat {
 public:
  void begin(DocumentKind, const Session&) override { log += "begin"; }
  void device(const DeviceInfo& device) override { log += " d" + std::to_string(device.index); }
  void testResult(const TestRun& run) override { log += " t" + run.test.name; }
  void toolResult(const ToolRun& run) override { log += " tool" + std::to_string(run.device); }
  void end() override { log += " end"; }

  std::string log;
};

TEST(OutputFormatTest, CompleteRunIsGivenAsItHappened) {
  Session session;
  for (const std::uint32_t index : {10u, 11u, 12u}) {
    session.devices.emplace_back().index = index;
  }
  for (const std::uint32_t device : {12u, 12u, 10u, 10u}) {
    const std::string name = std::to_string(session.tests.size());
    session.tests.emplace_back().test.name = name;
    session.tests.back().device = device;
  }
  session.tests.back().begun = false;
  session.tools.emplace_back().device = 11;

  Recorder run;
  writeSession(run, DocumentKind::Run, session);
  EXPECT_EQ(run.log, "begin d12 t0 t1 d10 t2 d11 tool11 end");
  Recorder list;
  writeSession(list, DocumentKind::List, session);
  EXPECT_EQ(list.log, "begin d10 d11 d12 end");
}

}  // namespace
}  // namespace ostria::host::test
