// Services of the system: WMI rows, driver service, registry texts.
#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

CheckerDescription parseChecker(ObjectReader& in) {
  CheckerDescription out;
  out.starts = in.flag("starts", true);
  in.into("exit_code", out.exitCode);
  in.into("schedule_result", out.scheduleResult);
  for (ObjectReader& row : in.objects("output")) {
    CheckerOutput piece;
    row.require("text");
    piece.text = row.text("text", "", 4096);
    row.into("milliseconds", piece.milliseconds);
    row.into("repeat", piece.repeat, 1, 10000);
    row.finish();
    out.output.push_back(piece);
  }
  in.finish();
  return out;
}

WmiRow parseWmiRow(ObjectReader& in) {
  WmiRow out;
  out.nameSpace = in.text("namespace", out.nameSpace);
  in.require("class");
  out.className = in.text("class", "");
  if (out.className.empty()) {
    in.fail("class", "a class has a name.");
  }
  for (ObjectReader& row : in.objects("values")) {
    row.require("name");
    row.require("text");
    out.values.emplace_back(row.text("name", ""), row.text("text", "", 4096));
    row.finish();
  }
  in.finish();
  return out;
}

DriverServiceDescription parseDriverService(ObjectReader& in) {
  DriverServiceDescription out;
  out.available = in.flag("available", out.available);
  in.finish();
  return out;
}

RegistryValue parseRegistryValue(ObjectReader& in) {
  RegistryValue out;
  for (const char* key : {"key", "name", "text"}) {
    in.require(key);
  }
  out.key = in.text("key", "", 1024);
  out.name = in.text("name", "");
  out.text = in.text("text", "", 1000);
  in.finish();
  return out;
}

}  // namespace ostria::virtual_pc
