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
  // Of an adapter, whose number nobody has learnt.
  EXPECT_EQ(redactor.lastPart("/dev/disk/by-id/usb-Box_Disk_0123-0:0"), "/dev/disk/by-id/[masked]");
  EXPECT_EQ(redactor.addresses("pci-0000:03:00.0-sas-0x5000C500a1b2c3d4-lun-0x1"),
            "pci-0000:03:00.0-sas-[masked]-lun-0x1");
  Redactor off(false);
  off.addSecret("WD-WCC4");
  EXPECT_EQ(off.property("SERIAL", "WD-WCC4"), "WD-WCC4");
}

}  // namespace
}  // namespace ostria::host::test
