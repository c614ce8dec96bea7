// The reader of machine files: each mistake with its location.
#include <gtest/gtest.h>

#include "virtual_pc/description/description.h"

namespace ostria::virtual_pc::test {
namespace {

std::string errorOf(const std::string& text) {
  MachineDescription machine;
  machine.drives.resize(3);
  std::string error;
  const bool good = parseMachine(text, &machine, &error);
  if (good) {
    return "";
  }
  EXPECT_EQ(machine.drives.size(), 3u) << "a failure changes nothing";
  return error;
}

std::string drive(const std::string& keys) {
  return R"({"format": 1, "drives": [{"kind": "sata", "model": "M", "size_sectors": 1000)" + keys +
         "}]}";
}

struct Case {
  std::string text;
  std::string error;
};

TEST(MachineFile, SaysWhatIsWrongAndWhere) {
  const Case cases[] = {
      {drive(""), ""},
      {"{\n\"format\": 1,\n]", "line 3: this is no JSON."},
      {"[]", "an object is needed here, not array."},
      {"{}", "format: this key is missing."},
      {R"({"format": 2})", "format: 2 is above 1."},
      {R"({"format": 1, "format": 1})", "format: this key stands twice in one object."},
      {R"({"format": 1, "wheels": 4})", "wheels: this key is not known here."},
      {R"({"format": 1, "drives": {}})", "drives: a list is needed, not object."},
      {R"({"format": 1, "drives": [{"model": "M", "size_sectors": 9}]})",
       "drives[0].kind: this key is missing."},
      {R"({"format": 1, "volumes": [{"letter": "CD"}]})",
       "volumes[0].letter: the text is longer than 1 characters."},
      {R"({"format": 1, "volumes": [{"letter": "C", "drive": "x"}]})",
       "volumes[0].drive: there is no drive \"x\"."},
      {R"({"format": 1, "volumes": [{"letter": "C", "files": [{"path": "a"}]}]})",
       "volumes[0].files[0].path: a path begins with a backslash, has a name behind it, and does "
       "not end with one."},
  };
  // Keys of a drive that is right otherwise.
  const Case driveCases[] = {
      {R"("kindness": 1)", "kindness: this key is not known here."},
      {R"("scsi": {})", "scsi: this key is not known here."},
      {R"("faults": [{"action": "vanish", "bytes": 1}])",
       "faults[0].bytes: this key is not known here."},
      {R"("size_bytes": 512)", "size_sectors: either this key or size_bytes is needed."},
      {R"("sector_bytes": 520)", "sector_bytes: a sector has 512 or 4096 bytes."},
      {R"("serial": 5)", "serial: a text is needed, not number."},
      {R"("serial": "123456789012345678901")", "serial: the text is longer than 20 characters."},
      {R"("temperature": 1.5)", "temperature: a whole number is needed, not a fraction."},
      {R"("lba48": 1)", "lba48: true or false is needed, not number."},
      {R"("smart": {"attributes": [{"id": 5}, {"id": 300}]})",
       "smart.attributes[1].id: 300 is above 255."},
      {R"("smart": {"supported": false, "enabled": true})",
       "smart.enabled: what is not supported can't be enabled."},
      {R"("bad_sectors": [{"lba": 1000}])", "bad_sectors[0].lba: 1000 is above 999."},
      {R"("bad_sectors": [{"lba": 1, "failures": 2}])",
       "bad_sectors[0].failures: this key is not known here."},
      {R"("bad_sectors": [{"lba": 1, "kind": "odd"}])",
       "bad_sectors[0].kind: \"odd\" is none of medium, interface, rejected, hang, "
       "transient, slow."},
      {R"("layout": {"style": "gpt", "partitions": [{"start_sector": 1, "sectors": 1000}]})",
       "layout.partitions[0].sectors: 1000 is above 999."},
      {R"("layout": {"style": "gpt", "partitions": [{"start_sector": 1, "sectors": 1,
           "type": "x"}]})",
       "layout.partitions[0].type: a GUID of 36 characters is needed."},
      {R"("recorded": {"ata": [{"command": 37}]})",
       "recorded.ata[0].command: this command does not ask about a drive."},
      {R"("recorded": {"ata": [{"command": 236, "data": ["0a", "1"]}]})",
       "recorded.ata[0].data: pairs of hexadecimal digits are needed."},
      {R"("recorded": {"ata": [{"command": 236, "data": ["0a0b"], "bytes": 1}]})",
       "recorded.ata[0].bytes: 1 is below 2."},
      {R"("recorded": {"scsi": [{"cdb": "28000000000000000100"}]})",
       "recorded.scsi[0].cdb: this command does not ask about a drive."},
      {R"("recorded": {"ata": [{"command": 236, "data": [")" + std::string(131074, '0') +
           R"("]}]})",
       "recorded.ata[0].data: texts of at most 131072 bytes are needed."},
      {R"("recorded": {"nvme": [{"opcode": 6, "select": 1}]})",
       "recorded.nvme: this drive speaks no NVMe."},
      {R"("controller": "c9")", "controller: there is no controller \"c9\"."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(errorOf(c.text), c.error) << c.text;
  }
  for (const auto& c : driveCases) {
    EXPECT_EQ(errorOf(drive(", " + c.text)), "drives[0]." + c.error) << c.text;
  }
}

TEST(MachineFile, SaysWhatIsWrongWithRaidControllers) {
  const auto machine = [](const std::string& controller, const std::string& drive) {
    return R"({"format": 1, "controllers": [{"name": "c", )" + controller +
           R"(}], "drives": [{"name": "d", "model": "M", "size_sectors": 9, )" + drive + "}]}";
  };
  const std::string on = R"("kind": "sata", "controller": "c")";
  const Case cases[] = {
      {machine(R"("csmi": {}, "lsi": {})", on),
       "controllers[0].lsi: a controller is of one family."},
      {machine(R"("csmi": {"bios_version": [1, 2]})", on),
       "controllers[0].csmi.bios_version: it has 4 parts."},
      {machine(R"("csmi": {"raid_sets": [{"drives": ["x"]}]})", on),
       "controllers[0].csmi.raid_sets: there is no drive \"x\" on \"c\"."},
      {machine(R"("csmi": {"raid_sets": [{"drives": ["d"]}]})", R"("kind": "sata")"),
       "controllers[0].csmi.raid_sets: there is no drive \"d\" on \"c\"."},
      {machine(R"("csmi": {"raid_sets": [{"drives": [1]}]})", on),
       "controllers[0].csmi.raid_sets[0].drives: texts of at most 40 bytes are needed."},
      {machine(R"("csmi": {"faults": [{"code": 2}]})", on),
       "controllers[0].csmi.faults[0].code: exactly one thing goes wrong with it."},
      {machine(R"("lsi": {"logical_drives": [{"span_depth": 2, "drives": ["d"]}]})", on),
       "controllers[0].lsi.logical_drives[0].drives: 1 to 255 drives are needed, as many in each "
       "span."},
      {machine(R"("lsi": {})", R"("kind": "nvme", "controller": "c")"),
       "drives[0].kind: no such drive fits on a RAID controller like that."},
      {machine(R"("bus": 1)", on + R"(, "hidden": true)"),
       "drives[0].hidden: only a RAID controller hides drives."},
      {R"({"format": 1, "storelib": {"faults": [{"code": 1, "return_code": 1, "error": 1}]}})",
       "storelib.faults[0].return_code: this key is not known here."},
      {R"({"format": 1, "controllers": [{"name": "c", "csmi": {}}], "drives": [
          {"kind": "nvme", "model": "M", "size_sectors": 9, "controller": "c"},
          {"kind": "nvme", "model": "M", "size_sectors": 9, "controller": "c"}]})",
       "drives[1].nvme.path_id: the controller has that path already."},
      {R"({"format": 1, "controllers": [{"name": "c", "csmi": {}}], "drives": [
          {"kind": "sata", "model": "M", "size_sectors": 9, "controller": "c"}],
          "volumes": [{"letter": "C", "drive": "drive0"}]})",
       "volumes[0].drive: the system sees no disk \"drive0\"."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(errorOf(c.text), c.error) << c.text;
  }
}

TEST(MachineFile, FormerNamesOfKeysAreRead) {
  const auto machine = [](const std::string& passThrough, const std::string& rows) {
    return R"({"format": 1, ")" + rows + R"(": [{"class": "C"}], "drives": [
        {"kind": "nvme", "model": "M", "size_sectors": 9, "nvme": {)" +
           passThrough + "}}]}";
  };
  for (const auto& text : {machine(R"("road": "mini_port")", "management_rows"),
                           machine(R"("pass_through": "mini_port")", "wmi_rows")}) {
    MachineDescription out;
    std::string error;
    ASSERT_TRUE(parseMachine(text, &out, &error)) << error;
    EXPECT_EQ(out.drives[0].nvme.passThrough, NvmePassThroughKind::MiniPort);
    EXPECT_EQ(out.wmiRows.size(), 1u);
  }
  EXPECT_EQ(errorOf(machine(R"("road": "all", "pass_through": "all")", "wmi_rows")),
            "drives[0].nvme.road: this is the former name of pass_through, which is there too.");
}

}  // namespace
}  // namespace ostria::virtual_pc::test
