// The `nvme` object, and what an NVMe drive has without one.
#include <array>

#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::array<std::pair<const char*, NvmePassThroughKind>, 5> kPassThroughs{{
    {"intel_port", NvmePassThroughKind::IntelPort},
    {"mini_port", NvmePassThroughKind::MiniPort},
    {"storage_query", NvmePassThroughKind::StorageQuery},
    {"scsi_only", NvmePassThroughKind::ScsiOnly},
    {"all", NvmePassThroughKind::All},
}};

NvmeHealth parseHealth(ObjectReader& in, NvmeHealth out) {
  in.into("critical_warning", out.criticalWarning);
  in.into("available_spare", out.availableSpare);
  in.into("spare_threshold", out.spareThreshold);
  in.into("percentage_used", out.percentageUsed);
  in.into("data_units_read", out.dataUnitsRead);
  in.into("data_units_written", out.dataUnitsWritten);
  in.into("host_reads", out.hostReads);
  in.into("host_writes", out.hostWrites);
  in.into("busy_minutes", out.busyMinutes);
  in.into("power_cycles", out.powerCycles);
  in.into("power_on_hours", out.powerOnHours);
  in.into("unsafe_shutdowns", out.unsafeShutdowns);
  in.into("media_errors", out.mediaErrors);
  in.into("error_log_entries", out.errorLogEntries);
  in.finish();
  return out;
}

NvmeSelfTest parseSelfTest(ObjectReader& in, const DriveDescription& drive) {
  NvmeSelfTest out;
  in.require("code");
  in.require("seconds");
  in.into("code", out.code, 1, 2);
  in.into("seconds", out.seconds, 0, 1'000'000);
  if (const auto outcome = in.optionalNumber("outcome", 0, 15)) {
    out.outcome = static_cast<std::uint8_t>(*outcome);
  }
  out.failingLba = in.optionalNumber("failing_lba", 0, drive.sectors - 1);
  in.into("stops_at_percent", out.stopsAtPercent, 0, 100);
  in.finish();
  return out;
}

NvmeRegisters parseRegisters(ObjectReader& in) {
  NvmeRegisters out;
  out.readable = in.flag("readable", out.readable);
  out.ready = in.flag("ready", out.ready);
  out.fatal = in.flag("fatal", out.fatal);
  out.gone = in.flag("gone", out.gone);
  in.into("answer_bytes", out.answerBytes, 0, 4096);
  in.finish();
  return out;
}

void parseBroken(ObjectReader& in, NvmeDescription* out) {
  if (const auto power = in.optionalNumber("data_size_power", 0, 255)) {
    out->traits.dataSizePower = static_cast<std::uint8_t>(*power);
  }
  out->traits.namespaceSize =
      in.optionalNumber("namespace_size", 0, std::numeric_limits<std::uint64_t>::max());
  if (const auto offset = in.optionalNumber("data_offset", 0, 0xFFFFFFFF)) {
    out->dataOffset = static_cast<std::uint32_t>(*offset);
  }
  in.finish();
}

}  // namespace

NvmeDescription usualNvme(const DriveDescription& drive) {
  NvmeDescription out;
  out.traits.serial = drive.serial;
  out.traits.model = drive.model;
  out.traits.firmware = drive.firmware;
  out.traits.health.temperatureKelvin = static_cast<std::uint16_t>(drive.temperature + 273);
  return out;
}

NvmeDescription parseNvme(ObjectReader& in, const DriveDescription& drive) {
  NvmeDescription out = usualNvme(drive);
  NvmeTraits& traits = out.traits;
  out.passThrough = in.choice<NvmePassThroughKind>(in.renamed("pass_through", "road"),
                                                   out.passThrough, kPassThroughs);
  out.controllerOf = in.text("controller_of", "", 40);
  in.into("path_id", out.pathId);
  in.into("vendor_id", traits.vendorId, 1);
  in.into("subsystem_vendor_id", traits.subsystemVendorId);
  in.into("namespace", traits.namespaceId, 1, 1024);
  traits.namespaceManagement = in.flag("namespace_management", traits.namespaceManagement);
  traits.enduranceEstimate =
      in.optionalNumber("endurance_estimate", 0, std::numeric_limits<std::uint64_t>::max());
  if (in.has("part_number")) {
    traits.partNumber = in.text("part_number", "", 30);
  }
  in.into("vendor_count", traits.vendorCount);
  if (auto health = in.object("health")) {
    traits.health = parseHealth(*health, traits.health);
  }

  traits.selfTests = in.flag("self_tests_supported", traits.selfTests);
  in.into("extended_self_test_minutes", traits.extendedSelfTestMinutes);
  for (ObjectReader& row : in.objects("self_tests")) {
    traits.tests.push_back(parseSelfTest(row, drive));
  }
  if (const auto code = in.optionalNumber("running_self_test", 1, 2)) {
    traits.runningSelfTest = static_cast<std::uint8_t>(*code);
  }
  if (!traits.selfTests && traits.runningSelfTest) {
    in.fail("running_self_test", "what is not supported can't run.");
  }
  if (auto registers = in.object("registers")) {
    out.registers = parseRegisters(*registers);
  }
  if (auto broken = in.object("broken")) {
    parseBroken(*broken, &out);
  }
  in.finish();
  return out;
}

}  // namespace ostria::virtual_pc
