// Partitions, volumes with their files, and the filesystem checker.
#include <algorithm>
#include <array>
#include <cctype>

#include "virtual_pc/machine_file/parse_parts.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::array<std::pair<const char*, LayoutStyle>, 3> kStyles{{
    {"raw", LayoutStyle::Raw},
    {"mbr", LayoutStyle::Mbr},
    {"gpt", LayoutStyle::Gpt},
}};

bool isGuid(const std::string& text) {
  if (text.size() != 36) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i]))) {
      return false;
    }
  }
  return true;
}

std::string lowered(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

FileDescription parseFile(ObjectReader& in) {
  FileDescription out;
  in.require("path");
  out.path = in.text("path", "");
  if (out.path.size() < 2 || out.path[0] != '\\' || out.path.back() == '\\') {
    in.fail("path",
            "a path begins with a backslash, has a name behind it, and does not end with one.");
  }
  out.directory = in.flag("directory", false);
  out.text = in.text("text", "", 1 << 20);
  in.into("bytes", out.bytes, 0, std::uint64_t{1} << 50);
  if (out.bytes < out.text.size()) {
    out.bytes = out.text.size();
  }
  if (out.directory && out.bytes != 0) {
    in.fail("directory", "a directory has no content.");
  }
  in.finish();
  return out;
}

}  // namespace

LayoutDescription parseLayout(ObjectReader& in, const DriveDescription& drive) {
  LayoutDescription out;
  in.require("style");
  out.style = in.choice<LayoutStyle>("style", out.style, kStyles);
  for (ObjectReader& row : in.objects("partitions")) {
    PartitionDescription part;
    part.number = static_cast<std::uint32_t>(out.partitions.size()) + 1;
    row.into("number", part.number, 0, 128);
    row.require("start_sector");
    row.require("sectors");
    row.into("start_sector", part.startSector, 0, drive.sectors - 1);
    row.into("sectors", part.sectors, 1, drive.sectors - part.startSector);
    if (out.style == LayoutStyle::Gpt) {
      part.typeGuid = lowered(row.text("type", "ebd0a0a2-b9e5-4433-87c0-68b6b72699c7"));
      if (!isGuid(part.typeGuid)) {
        row.fail("type", "a GUID of 36 characters is needed.");
      }
      part.name = row.text("name", "", 36);
    } else {
      part.typeByte = 7;
      row.into("type", part.typeByte);
    }
    row.finish();
    out.partitions.push_back(part);
  }
  in.finish();
  return out;
}

ControllerDescription parseController(ObjectReader& in) {
  ControllerDescription out;
  in.require("name");
  out.name = in.text("name", "", 40);
  out.hardwareId = in.text("hardware_id", "PCI\\VEN_1AF4&DEV_1001");
  out.description = in.text("description", "Storage controller");
  in.into("bus", out.bus, 0, 255);
  in.into("device", out.device, 0, 31);
  in.into("function", out.function, 0, 7);
  out.friendlyName = in.flag("friendly_name", out.friendlyName);
  out.driverProvider = in.text("driver_provider", out.driverProvider);
  out.driverVersion = in.text("driver_version", out.driverVersion, 64);
  if (auto csmi = in.object("csmi")) {
    out.csmi = parseCsmi(*csmi);
  }
  if (auto lsi = in.object("lsi")) {
    out.lsi = parseLsi(*lsi, out);
  }
  if (out.csmi && out.lsi) {
    in.fail("lsi", "a controller is of one family.");
  }
  in.finish();
  return out;
}

VolumeDescription parseVolume(ObjectReader& in) {
  VolumeDescription out;
  in.require("letter");
  const std::string letter = in.text("letter", "", 1);
  if (letter.size() != 1 || letter[0] < 'A' || letter[0] > 'Z') {
    in.fail("letter", "one letter from A to Z is needed.");
  }
  out.letter = letter[0];
  out.lettered = in.flag("lettered", out.lettered);
  out.drive = in.text("drive", "");
  in.into("partition", out.partition, 0, 128);
  for (ObjectReader& row : in.objects("further_parts")) {
    VolumePart part;
    row.require("drive");
    part.drive = row.text("drive", "", 40);
    row.into("partition", part.partition, 0, 128);
    row.finish();
    out.furtherParts.push_back(part);
  }
  out.label = in.text("label", "", 32);
  in.into("serial", out.serial);
  out.fileSystem = in.text("file_system", out.fileSystem, 32);
  in.into("cluster_bytes", out.clusterBytes, 512, 65536);
  if ((out.clusterBytes & (out.clusterBytes - 1)) != 0) {
    in.fail("cluster_bytes", "a power of 2 is needed.");
  }
  in.into("sector_bytes", out.sectorBytes, 512, out.clusterBytes);
  if ((out.sectorBytes & (out.sectorBytes - 1)) != 0) {
    in.fail("sector_bytes", "a power of 2 is needed.");
  }
  in.into("total_bytes", out.totalBytes, 0, std::uint64_t{1} << 60);
  out.freeBytes = ~std::uint64_t{0};
  in.into("free_bytes", out.freeBytes, 0, std::uint64_t{1} << 60);
  out.fixed = in.flag("fixed", true);
  out.lockable = in.flag("lockable", true);
  if (auto checker = in.object("checker")) {
    out.checker = parseChecker(*checker);
  }
  for (ObjectReader& row : in.objects("files")) {
    out.files.push_back(parseFile(row));
  }
  in.finish();
  return out;
}

}  // namespace ostria::virtual_pc
