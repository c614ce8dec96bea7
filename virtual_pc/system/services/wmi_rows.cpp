// The rows that the system itself puts into the WMI repository.
#include "virtual_pc/system/services/wmi_rows.h"

#include "virtual_pc/system/services/chkdsk.h"
#include "virtual_pc/system/text_forms.h"

namespace ostria::virtual_pc {
namespace {

// Type numbers of the service.
constexpr std::int32_t kTextType = 8;
constexpr std::int32_t kTextListType = 0x2000 | kTextType;

bool isUsb(DriveKind kind) {
  return kind == DriveKind::UsbSat || kind == DriveKind::UsbSatNoCk ||
         kind == DriveKind::UsbJmicron || kind == DriveKind::UsbSunplus ||
         kind == DriveKind::UsbStick;
}

WmiClass& defineTexts(WmiNamespace& space, const std::wstring& name,
                      const std::vector<std::wstring>& properties) {
  WmiClass& made = space.define(name);
  for (const std::wstring& property : properties) {
    if (made.definition.find(property) == nullptr) {
      made.definition.properties.push_back(
          {property, kTextType, made.definition.properties.empty(), {}});
    }
  }
  return made;
}

void addDrivers(WmiNamespace& space, const MachineDescription& machine) {
  WmiClass& drivers =
      defineTexts(space, L"Win32_PnPSignedDriver",
                  {L"DeviceID", L"DeviceClass", L"FriendlyName", L"DriverVersion", L"CompatID"});
  for (const DriveDescription& drive : machine.drives) {
    drivers.addRow(
        {{L"DeviceID", wide(drive.name)},
         {L"DeviceClass", std::wstring(L"DISKDRIVE")},
         {L"FriendlyName", wide(drive.model)},
         {L"DriverVersion", wide(machine.diskDriverVersion)},
         {L"CompatID", std::wstring(isUsb(drive.kind) ? L"USBSTOR\\Disk" : L"GenDisk")}});
  }
}

void addVolumes(WmiNamespace& space, Machine& machine) {
  WmiClass& disks = defineTexts(space, L"Win32_LogicalDisk", {L"DeviceID", L"FileSystem"});
  for (const VolumeDescription& volume : machine.description().volumes) {
    disks.addRow({{L"DeviceID", std::wstring{static_cast<wchar_t>(volume.letter), L':'}},
                  {L"FileSystem", wide(volume.fileSystem)}});
  }
  WmiMethod schedule;
  schedule.in.className = L"__PARAMETERS";
  schedule.in.properties.push_back({L"LogicalDisk", kTextListType, false, {}});
  schedule.run = [&machine](const WmiObject& in) {
    const WmiProperty* const list = in.find(L"LogicalDisk");
    const auto* const names =
        list == nullptr ? nullptr : std::get_if<std::vector<std::wstring>>(&list->value);
    if (names == nullptr || names->empty()) {
      return std::int32_t{4};
    }
    for (const std::wstring& name : *names) {
      if (const std::int32_t result = scheduleCheck(machine, utf8(name)); result != 0) {
        return result;
      }
    }
    return std::int32_t{0};
  };
  disks.methods[L"ScheduleAutoChk"] = std::move(schedule);
}

/// Makes a namespace with all that lead to it.
WmiNamespace* reach(WmiRepository& repository, const std::wstring& path) {
  if (WmiNamespace* const present = repository.find(path)) {
    return present;
  }
  const auto slash = path.find_last_of(L'\\');
  if (slash == std::wstring::npos || reach(repository, path.substr(0, slash)) == nullptr) {
    return nullptr;
  }
  repository.create(path.substr(0, slash), path.substr(slash + 1));
  return repository.find(path);
}

}  // namespace

std::unique_ptr<WmiRepository> makeWmiRepository(Machine& machine) {
  auto repository = std::make_unique<WmiRepository>();
  WmiNamespace& space = *repository->find(L"ROOT\\CIMV2");
  addDrivers(space, machine.description());
  addVolumes(space, machine);
  for (const WmiRow& row : machine.description().wmiRows) {
    WmiNamespace* const rowSpace = reach(*repository, wide(row.nameSpace));
    if (rowSpace == nullptr) {
      continue;
    }
    std::vector<std::wstring> names;
    std::vector<std::pair<std::wstring, WmiValue>> values;
    for (const auto& [name, text] : row.values) {
      names.push_back(wide(name));
      values.emplace_back(wide(name), wide(text));
    }
    defineTexts(*rowSpace, wide(row.className), names).addRow(values);
  }
  return repository;
}

}  // namespace ostria::virtual_pc
