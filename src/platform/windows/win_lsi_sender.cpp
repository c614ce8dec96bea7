#include <memory>
#include <string>

#include "raid/lsi_cmd.h"
#include "raid/lsi_layout.h"
#include "services/sal.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t withOwnDirectory = 1;

/// The vendor library's one function: executes a command record.
using ProcessLibCommand = std::uint32_t (*)(void* record);

class LsiStdSenderWin : public LsiSender {
 public:
  explicit LsiStdSenderWin(ProcessLibCommand function) : function_(function) {}
  std::uint32_t execute(LsiCmd& command) override { return function_(&command.record); }

 private:
  ProcessLibCommand function_;
};

/// Loads the library that lies beside the host program, and asks it for its controllers as a test.
std::unique_ptr<LsiSender> openSender() {
  const char* directory = get_filesystem()->getProgramDirectory();
  if (directory == nullptr) return nullptr;
  LibraryLoader& loader = *get_module();
  const LibraryLoader::Library library =
      loader.load(std::string(directory) + "\\" + "storelib.dll", withOwnDirectory);
  if (library == nullptr) return nullptr;
  void* function = loader.lookUp(library, "ProcessLibCommand");
  if (function != nullptr) {
    auto sender = std::make_unique<LsiStdSenderWin>(reinterpret_cast<ProcessLibCommand>(function));
    LsiCmd controllers(LsiCode::GetControllerList, 0, lsi::controllerListBytes);
    if (sender->execute(controllers) == 0) return sender;
  }
  loader.unload(library);
  return nullptr;
}

}  // namespace

LsiSender* getLsiSender() {
  static std::unique_ptr<LsiSender> sender;
  // A library that was not there is looked for again: the controller's software may arrive while
  // the host runs.
  if (sender == nullptr) sender = openSender();
  return sender.get();
}

}  // namespace ostria::storage
