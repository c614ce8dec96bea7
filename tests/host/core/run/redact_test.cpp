// Redaction: serial numbers and what is made of them leave no trace.
#include "host/core/run/redact.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

TEST(RedactTest, SerialNumbersAreMaskedInEveryForm) {
  Redactor redactor(true);
  redactor.addSecret("WD-W CC4");
  redactor.addSecret("");
  redactor.addSecret("7");
  EXPECT_EQ(redactor.text("id wd-wcc4#0, WD-W_CC4, WD-W CC4; 7 rows"),
            "id [masked]#0, [masked], [masked]; 7 rows");
  EXPECT_EQ(redactor.property("UDI", "ACME-X-7"), "[masked]");
  EXPECT_EQ(redactor.property("SERIAL", ""), "");
  Redactor off(false);
  off.addSecret("WD-WCC4");
  EXPECT_EQ(off.property("SERIAL", "WD-WCC4"), "WD-WCC4");
}

}  // namespace
}  // namespace ostria::host::test
