// There is no database of the system's own: the runs lie in a file of the user's application data.
#include "host/platform/result_store.h"

#include "host/core/model/file_history.h"
#include "host/platform/state_files.h"

namespace ostria::host {

std::unique_ptr<History> resultStore(Patience patience) {
  const std::string folder = stateFolder();
  return std::make_unique<FileHistory>(folder.empty() ? folder : folder + "\\ostria\\results.jsonl",
                                       lockFile, std::move(patience));
}

}  // namespace ostria::host
