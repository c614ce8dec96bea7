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
  session.devices.resize(3);
  for (std::uint32_t i = 0; i < 3; ++i) {
    session.devices[i].index = 10 + i;
  }
  session.tests.resize(4);
  for (std::size_t i = 0; i < 4; ++i) {
    session.tests[i].test.name = std::to_string(i);
    session.tests[i].device = i < 2 ? 12 : 10;
  }
  session.tests[3].begun = false;
  session.tools.resize(1);
  session.tools[0].device = 11;

  Recorder run;
  writeSession(run, DocumentKind::Run, session);
  EXPECT_EQ(run.log, "begin d12 t0 t1 d10 t2 d11 tool11 end");
  Recorder list;
  writeSession(list, DocumentKind::List, session);
  EXPECT_EQ(list.log, "begin d10 d11 d12 end");
}

}  // namespace
}  // namespace ostria::host::test
