// The `smart` object of ATA and SAS drives.
#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

SmartAttributeDescription parseAttribute(ObjectReader& in) {
  SmartAttributeDescription out;
  in.require("id");
  in.into("id", out.id, 1, 255);
  in.into("value", out.value);
  out.worst = out.value;
  in.into("worst", out.worst);
  in.into("threshold", out.threshold);
  in.into("raw", out.raw, 0, (std::uint64_t{1} << 48) - 1);
  in.into("flags", out.flags);
  in.finish();
  return out;
}

SelfTestDescription parseSelfTest(ObjectReader& in, const DriveDescription& drive) {
  SelfTestDescription out;
  in.require("code");
  in.require("seconds");
  in.into("code", out.code);
  in.into("seconds", out.seconds, 0, 1'000'000);
  if (const auto outcome = in.optionalNumber("outcome", 0, 8)) {
    out.outcome = static_cast<std::uint8_t>(*outcome);
  }
  out.failingLba = in.optionalNumber("failing_lba", 0, drive.sectors - 1);
  in.into("stops_at_percent", out.stopsAtPercent, 0, 100);
  in.finish();
  return out;
}

SelfTestEntryDescription parseSelfTestEntry(ObjectReader& in) {
  SelfTestEntryDescription out;
  in.into("code", out.code);
  in.into("status", out.status, 0, 15);
  in.into("hours", out.hours);
  out.failingLba = in.optionalNumber("failing_lba", 0, (std::uint64_t{1} << 48) - 1);
  in.finish();
  return out;
}

ErrorEntryDescription parseErrorEntry(ObjectReader& in) {
  ErrorEntryDescription out;
  in.require("lba");
  in.into("lba", out.lba, 0, (std::uint64_t{1} << 48) - 1);
  in.into("error", out.error);
  in.into("status", out.status);
  in.into("command", out.command);
  in.into("hours", out.hours);
  in.finish();
  return out;
}

}  // namespace

SmartDescription parseSmart(ObjectReader& in, const DriveDescription& drive) {
  SmartDescription out;
  out.supported = in.flag("supported", true);
  out.enabled = in.flag("enabled", out.supported);
  if (out.enabled && !out.supported) {
    in.fail("enabled", "what is not supported can't be enabled.");
  }
  out.failing = in.flag("failing", false);
  out.statusAnswers = in.flag("status_answers", true);
  in.into("capabilities", out.capabilities);
  out.logging = in.flag("logging", true);
  out.selfTestAbortable = in.flag("self_test_abortable", true);
  for (ObjectReader& row : in.objects("attributes")) {
    out.attributes.push_back(parseAttribute(row));
  }
  if (out.attributes.size() > 30) {
    in.fail("attributes", "a drive has at most 30 attributes.");
  }
  for (ObjectReader& row : in.objects("self_tests")) {
    out.selfTests.push_back(parseSelfTest(row, drive));
  }
  for (ObjectReader& row : in.objects("self_test_log")) {
    out.selfTestLog.push_back(parseSelfTestEntry(row));
  }
  for (ObjectReader& row : in.objects("error_log")) {
    out.errorLog.push_back(parseErrorEntry(row));
  }
  if (const auto code = in.optionalNumber("running_self_test", 0, 255)) {
    out.runningSelfTest = static_cast<std::uint8_t>(*code);
  }
  in.finish();
  return out;
}

}  // namespace ostria::virtual_pc
