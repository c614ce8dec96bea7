// Drives the Linux seams directly, for the checks of the machine bench. One JSON object on standard
// output.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "inventory/protocol_factory.h"
#include "inventory/storage_scanner.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/io/linux_filesystem.h"
#include "services/driver_service_holder.h"
#include "services/sal.h"
#include "tools/recover_bad_sectors.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_protocol.h"
#include "transport/hal/hal_ata_send.h"
#include "transport/hal/hal_nvme_intel_send.h"
#include "transport/hal/hal_scsi_send.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage::test {
namespace {

using Json = nlohmann::json;
using Arguments = std::vector<std::string>;

std::uint32_t numberOf(ProtocolResult result) { return static_cast<std::uint32_t>(result); }
double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// A command on the device that its first argument names, opened as the scan opens it.
template <Json (*act)(DeviceHandle, const Arguments&)>
Json opened(const Arguments& arguments) {
  const auto scanner = makeStorageScanner();
  const auto device = openScanned(*scanner->deviceScanner(), arguments.at(0));
  return device ? act(device.get(), arguments) : Json::object({{"open", errno}});
}

Json scan(const Arguments&) {
  Json out = Json::array();
  const auto scanner = makeStorageScanner();
  DevicePathMap devices;
  scanner->listDevices(devices);
  for (const auto& [number, paths] : devices) {
    StorageBusKind bus{};
    DeviceConnection connection{};
    bool removable = false, optane = false;
    std::string id, port;
    std::array<std::uint8_t, 3> pci{};
    Json entry = {{"number", number}, {"paths", paths}};
    const auto add = [&entry](const char* name, int error, const auto& value) {
      if (error == 0) {
        entry[name] = value;
      }
    };
    add("bus", scanner->getBusKind(number, &bus, &optane), bus);
    add("connection", scanner->getConnection(number, &connection), connection);
    add("removable", scanner->isRemovableMedia(number, &removable), removable);
    add("id", scanner->getDeviceId(number, &id), id);
    add("port", scanner->getMiniportPath(number, &port), port);
    add("pci", scanner->getPciLocation(number, &pci), pci);
    out.push_back(entry);
  }
  return out;
}

Json layout(const Arguments& arguments) {
  const auto scanner = makeStorageScanner();
  DevicePathMap devices;
  scanner->listDevices(devices);
  Json out;
  for (const auto& [number, paths] : devices) {
    if (paths.front() != arguments.at(0)) {
      continue;
    }
    PartitionTable table;
    out["result"] = scanner->readPartitionTable(number, &table, std::stoull(arguments.at(1)));
    out["schema"] = table.schema;
    out["unallocated"] = table.unallocatedBytes;
    out["partitions"] = Json::array();
    for (const PartitionEntry& entry : table.partitions) {
      out["partitions"].push_back({{"number", entry.number},
                                   {"type", entry.typeText},
                                   {"label", entry.label},
                                   {"mounts", entry.mountPoints},
                                   {"fs", entry.fileSystem},
                                   {"serial", entry.serial},
                                   {"size", entry.sizeBytes},
                                   {"start", entry.startOffset},
                                   {"used", entry.usedBytes},
                                   {"free", entry.freeBytes},
                                   {"cluster", entry.clusterBytes}});
    }
  }
  return out;
}

/// dismount ROOT COMMAND: takes a volume off line, runs the command, puts it back.
Json dismount(const Arguments& arguments) {
  const auto scanner = makeStorageScanner();
  DeviceHandle handle;
  Json out;
  out["dismount"] = scanner->dismountVolume(arguments.at(0), &handle);
  out["during"] = std::system(arguments.at(1).c_str());
  if (handle) {
    std::string name = arguments.at(0), text;
    std::vector<std::string> list;
    out["release"] = scanner->releaseVolume(name, list, handle, text);
  }
  return out;
}

/// read PATH OFFSET LENGTH SECONDS: a raw read with a time-out.
Json read(DeviceHandle device, const Arguments& arguments) {
  const auto length = std::stoull(arguments.at(2));
  std::vector<char> buffer(length + 1, '#');
  std::uint64_t done = ~std::uint64_t{0};
  LinuxFilesystem filesystem;
  const auto start = std::chrono::steady_clock::now();
  const auto result =
      filesystem.readAt(device, std::stoull(arguments.at(1)), length, &done,
                        static_cast<std::uint32_t>(std::stoul(arguments.at(3))), buffer.data() + 1);
  const double took = secondsSince(start);
  return {{"result", numberOf(result)},
          {"done", done},
          {"seconds", took},
          {"untouched", std::count(buffer.begin(), buffer.end(), '#')},
          {"outstanding", filesystem.outstandingTransfers()}};
}

/// hang PATH SECONDS COMMAND: reads and writes a device that hangs, on each engine. COMMAND frees
/// it; then all that was outstanding must end without touching the memory that was passed in.
Json hang(const Arguments& arguments) {
  constexpr std::uint64_t kLength = 4096;
  const auto seconds = static_cast<std::uint32_t>(std::stoul(arguments.at(1)));
  // The scan opens disks for reading alone.
  const FdOwner opened(::open(arguments.at(0).c_str(), O_RDWR | O_DIRECT | O_CLOEXEC));
  if (!opened.valid()) {
    return {{"open", errno}};
  }
  const DeviceHandle device = handleOfDescriptor(opened.get());
  LinuxFilesystem ring(TimedTransfer::Engine::Ring), thread(TimedTransfer::Engine::Thread);
  const std::array<LinuxFilesystem*, 2> engines = {&ring, &thread};
  std::vector<char> into(kLength, '#'), from(kLength, 'w');
  Json out;
  const auto timed = [&](const auto& transfer) {
    const auto start = std::chrono::steady_clock::now();
    out["results"].push_back(numberOf(transfer()));
    out["seconds"].push_back(secondsSince(start));
  };
  for (std::size_t i = 0; i < engines.size(); ++i) {
    std::uint64_t done = 0;
    timed([&] { return engines[i]->readAt(device, 0, kLength, &done, seconds, into.data()); });
    timed([&] {
      return engines[i]->writeAt(device, (i + 1) * kLength, kLength, &done, seconds, from.data());
    });
  }
  const auto outstanding = [&] {
    return ring.outstandingTransfers() + thread.outstandingTransfers();
  };
  out["outstanding"] = outstanding();
  std::fill(from.begin(), from.end(), '!');
  out["freed"] = std::system(arguments.at(2).c_str());
  for (int tries = 0; tries < 200 && outstanding() != 0; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  out["left"] = outstanding();
  out["untouched"] = std::count(into.begin(), into.end(), '#');
  for (std::size_t i = 0; i < engines.size(); ++i) {
    std::uint64_t done = 0;
    std::vector<char> back(kLength);
    const ProtocolResult result =
        engines[i]->readAt(device, (i + 1) * kLength, kLength, &done, 30, back.data());
    out["landed"].push_back(!succeeded(result) ? -1 : std::count(back.begin(), back.end(), 'w'));
  }
  return out;
}

/// scratch PATH BYTES: a scratch file written and read back, then the process dies without a word.
Json scratch(const Arguments& arguments) {
  Filesystem& filesystem = getLocalFilesystem();
  DeviceHandle file;
  const auto size = std::stoull(arguments.at(1));
  Json out;
  out["create"] = filesystem.createFile(arguments.at(0), &file, true);
  out["size"] = filesystem.setFileSize(file, size);
  std::vector<char> written(4096, 'o'), back(4096);
  std::uint64_t done = 0;
  out["write"] = numberOf(filesystem.writeAt(file, size - 4096, 4096, &done, 30, written.data()));
  out["read"] = numberOf(filesystem.readAt(file, size - 4096, 4096, &done, 30, back.data()));
  out["same"] = written == back;
  return out;
}

Json ata(DeviceHandle device, const Arguments&) {
  Json out;
  std::vector<std::uint8_t> page(512);
  IdentifyDevice identify(page.data());
  out["identify"] = numberOf(halAtaSend().Send(device, identify));
  out["model"] = SwapWordString(page.data() + 54, 20);
  out["moved"] = identify.transferBytes;
  SmartReturnStatus status;
  out["smart"] = numberOf(halAtaSend().Send(device, status));
  out["signature"] = {status.lbaMid, status.lbaHigh, status.command};
  AtaCheckPowerMode power;
  out["power"] = numberOf(halAtaSend().Send(device, power));
  out["mode"] = power.sectorCount;
  SmartReadLog log(0xEE, 1, page.data());
  out["badLog"] = numberOf(halAtaSend().Send(device, log));
  out["badLogError"] = {log.command & 1, log.features & 4};
  return out;
}

/// A disk with the protocol that the inventory finds for it.
struct FoundDisk {
  explicit FoundDisk(const std::string& path) : scanner(makeStorageScanner()) {
    DevicePathMap devices;
    scanner->listDevices(devices);
    for (const auto& [number, paths] : devices) {
      if (paths.front() != path) {
        continue;
      }
      record.path = path;
      record.deviceNumber = number;
      record.handle = openScanned(*scanner->deviceScanner(), path);
      (void)scanner->getBusKind(number, &record.busKind, &record.optaneVolume);
      (void)scanner->getConnection(number, &record.connection);
      found = createProtocol(*scanner, record);
    }
  }

  std::unique_ptr<StorageScanner> scanner;
  DeviceRecord record;
  FoundProtocol found;
  StorageProtocolProperties properties;
};

/// protocol NODE TIMEOUT LBA...: what the disk's own protocol says of it, and its reads of sectors.
Json protocol(const Arguments& arguments) {
  FoundDisk disk(arguments.at(0));
  StorageProtocol* const protocol = disk.found.protocol.get();
  if (protocol == nullptr) {
    return {{"kind", nullptr}};
  }
  Json out = {{"kind", protocol->GetProtocolKind()}};
  StorageProtocolProperties& properties = disk.properties;
  out["properties"] = numberOf(protocol->GetProperties(&properties));
  out["smart"] = {properties.smartEnabled, properties.smartDataValid,
                  properties.offlineImmediateSupported, properties.selfTestSupported};
  const auto timeout = static_cast<std::uint32_t>(std::stoul(arguments.at(1)));
  for (std::size_t i = 2; i < arguments.size(); ++i) {
    std::vector<std::uint8_t> buffer(properties.logicalSectorSize);
    const auto begin = std::chrono::steady_clock::now();
    const ProtocolResult result =
        protocol->Read(std::stoull(arguments[i]), 1, timeout, buffer.data(), 0);
    out["reads"].push_back({numberOf(result), secondsSince(begin)});
  }
  return out;
}

/// smart NODE: switches SMART off, asks for what needs it, and switches it on again.
Json smart(const Arguments& arguments) {
  FoundDisk disk(arguments.at(0));
  auto* const ata = dynamic_cast<AtaProtocol*>(disk.found.protocol.get());
  if (ata == nullptr) {
    return {};
  }
  Json out;
  out["off"] = numberOf(ata->SetSmartEnabled(0));
  out["properties"] = numberOf(ata->GetProperties(&disk.properties));
  out["valid"] = disk.properties.smartDataValid;
  std::uint8_t byte = 0;
  out["result"] = numberOf(ata->GetSelfTestResult(&byte));
  std::vector<std::uint8_t> log(3 * kAtaPageBytes);
  std::uint16_t pages = 0;
  out["log"] = {numberOf(ata->ReadLog(6, 1, log.data(), &pages)), pages};
  out["unknownLog"] = {numberOf(ata->ReadLog(0xDF, 3, log.data(), &pages)), pages};
  out["on"] = numberOf(ata->SetSmartEnabled(1));
  return out;
}

Json scsi(DeviceHandle device, const Arguments&) {
  Json out;
  std::vector<std::uint8_t> page(96);
  Inquiry inquiry(page.data(), 96);
  out["inquiry"] = numberOf(halScsiSend().Send(device, 1, inquiry));
  out["moved"] = inquiry.transferBytes;
  out["vendor"] = std::string(page.begin() + 8, page.begin() + 16);
  LogSenseIECPage unknown(page.data(), 64);
  unknown.cdb[2] = 0x7E;
  out["badPage"] = numberOf(halScsiSend().Send(device, 1, unknown));
  out["badPageStatus"] = {unknown.scsiStatus, unknown.senseLength, unknown.sense[2] & 0x0F};
  SmartReturnStatus status;
  out["ata"] = numberOf(halAtaSend().Send(device, status));
  return out;
}

Json nvme(DeviceHandle device, const Arguments&) {
  Json out;
  std::vector<char> page(4096);
  NvmeIdentifyDevice identify;
  identify.fillController(page.data());
  out["identify"] = numberOf(halNvmeIntelSend().Send(device, 1, identify));
  out["serial"] = std::string(page.begin() + 4, page.begin() + 24);
  const auto read = [&](std::uint64_t lba, std::uint32_t namespaceId) {
    NvmeRead sector(page.data(), lba, 1, namespaceId, false);
    sector.transferBytes = 512;
    return numberOf(halNvmeIntelSend().Send(device, 1, sector));
  };
  out["read"] = read(0, 1);
  out["otherNamespace"] = read(0, 7);
  out["beyond"] = read(std::uint64_t{1} << 40, 1);
  return out;
}

/// service BUS DEVICE FUNCTION: what the driver service says of a PCI function.
Json service(const Arguments& arguments) {
  const DriverServiceHolder holder;
  ZRDService* const found = holder.usableService();
  Json out = {{"usable", found != nullptr}};
  if (found == nullptr) {
    return out;
  }
  const PciLocation location = {static_cast<std::uint32_t>(std::stoul(arguments.at(0))),
                                static_cast<std::uint32_t>(std::stoul(arguments.at(1))),
                                static_cast<std::uint32_t>(std::stoul(arguments.at(2)))};
  PciClass code;
  out["class"] = found->GetPciClass(&location, &code);
  out["code"] = {code.baseClass, code.subclass, code.programmingInterface};
  for (const std::uint64_t offset :
       {std::uint64_t{8}, std::uint64_t{0x1C}, std::uint64_t{1} << 40}) {
    std::uint32_t length = 4, value = 0;
    std::uint8_t flag = 0;
    const auto result = found->ReadControllerRegister(&location, &offset, &length, &flag, &value);
    out["registers"].push_back({result, value});
  }
  return out;
}

/// Hears the percentages and nothing else.
class ProgressReceiver : public ToolEventReceiver {
 public:
  void requestInput(InputRequest&) override {}
};

/// check VOLUME: the file system check of a volume that no host would offer, since nobody mounts
/// it.
Json check(const Arguments& arguments) {
  Json percents = Json::array();
  ProgressReceiver receiver;
  receiver.handlers["OnProgress"] = [&percents](Tool* tool, const std::string&) {
    percents.push_back(std::atoi(tool->getParameter("Progress")->front().c_str()));
  };
  RecoverBadSectors tool;
  tool.eventReceiver = &receiver;
  tool.setDevices({nullptr});
  tool.setParameter("Operation", {"filesystem"});
  tool.setParameter("partition_table", {"volume", "", arguments.at(0), "F"});
  tool.run();
  const auto& finish = *tool.getParameter("PartitionFinish");
  return {
      {"status", std::atoi(finish.back().c_str())}, {"report", finish[2]}, {"percents", percents}};
}

}  // namespace
}  // namespace ostria::storage::test

int main(int count, char** values) {
  using namespace ostria::storage::test;
  const std::map<std::string, Json (*)(const Arguments&)> commands = {
      {"scan", scan},       {"layout", layout},   {"dismount", dismount}, {"read", opened<read>},
      {"scratch", scratch}, {"ata", opened<ata>}, {"scsi", opened<scsi>}, {"nvme", opened<nvme>},
      {"service", service}, {"hang", hang},       {"check", check},       {"protocol", protocol},
      {"smart", smart}};
  const auto command = commands.find(count > 1 ? values[1] : "");
  if (command == commands.end()) {
    return 2;
  }
  std::cout << command->second(Arguments(values + 2, values + count)).dump() << std::endl;
  // Like a process that is killed: nothing is closed, nothing is tidied.
  ::_exit(0);
}
