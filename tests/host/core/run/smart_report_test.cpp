// The text of a report, read into rows.
#include "host/core/run/smart_report.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

TEST(SmartReportTest, QuotationMarksInsideAValueDoNotEndIt) {
  const auto rows = readSmartReport(
      R"([{"id":"5","description":"A "b" c","threshold":"36","value":"36","worst":"30","data":"7"},)"
      R"({"id":"194","description":"T","threshold":"0","value":"0","worst":"0","data":"31"}])");
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].name, "A \"b\" c");
  EXPECT_TRUE(rows[0].isBelowThreshold());
  EXPECT_FALSE(rows[1].isBelowThreshold());
  EXPECT_EQ(rows[1].data, "31");
  const auto log = readSmartReport(R"([{"description":"Signature","data":"O"S"T"}])");
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].data, "O\"S\"T");
  const auto forged = readSmartReport(R"([{"description":"A","data":"\"},{\"data\":\"x\\"}])");
  ASSERT_EQ(forged.size(), 1u);
  EXPECT_EQ(forged[0].data, "\"},{\"data\":\"x\\");
  for (const char* broken : {"", "[]", "[{", "[{\"id\":\"", "}{\"", "{\"description\":\"x"}) {
    (void)readSmartReport(broken);
  }
}

}  // namespace
}  // namespace ostria::host::test
