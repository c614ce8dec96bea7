// LSI controllers through the vendor's library, which lies beside the host program.
#include "platform/windows/raid/win_lsi_sender.h"

#include <string>

#include "raid/lsi/lsi_layout.h"
#include "services/sal.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kWithOwnDirectory = 1;

/// The vendor library's one function: executes a command record.
using ProcessLibCommand = std::uint32_t (*)(void* record);

class LsiStdSenderWin final : public LsiSender {
 public:
  LsiStdSenderWin(LibraryLoader::Library library, ProcessLibCommand function)
      : library_(library), function_(function) {}
  ~LsiStdSenderWin() override { get_module()->unload(library_); }
  LsiStdSenderWin(const LsiStdSenderWin&) = delete;
  LsiStdSenderWin& operator=(const LsiStdSenderWin&) = delete;

  std::uint32_t execute(LsiCmd& command) override { return function_(&command.record); }

 private:
  LibraryLoader::Library library_;
  ProcessLibCommand function_;
};

}  // namespace

std::unique_ptr<LsiSender> openLsiSender() {
  const char* directory = get_filesystem()->getProgramDirectory();
  if (directory == nullptr) {
    return nullptr;
  }
  LibraryLoader& loader = *get_module();
  const LibraryLoader::Library library =
      loader.load(std::string(directory) + "\\" + "storelib.dll", kWithOwnDirectory);
  if (library == nullptr) {
    return nullptr;
  }
  void* function = loader.lookUp(library, "ProcessLibCommand");
  if (function == nullptr) {
    loader.unload(library);
    return nullptr;
  }
  auto sender =
      std::make_unique<LsiStdSenderWin>(library, reinterpret_cast<ProcessLibCommand>(function));
  LsiCmd controllers(LsiCode::GetControllerList, 0, lsi::kControllerListBytes);
  if (sender->execute(controllers) != 0) {
    return nullptr;
  }
  return sender;
}

LsiSender* getLsiSender() {
  // Never unloaded: protocols of drives hold it, and the end of a process does that by itself.
  static LsiSender* sender = nullptr;
  // A library that was not there is looked for again: the controller's software may arrive while
  // the host runs.
  if (sender == nullptr) {
    sender = openLsiSender().release();
  }
  return sender;
}

}  // namespace ostria::storage
