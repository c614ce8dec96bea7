// The one step from a protocol of unknown kind to the NVMe logs beside it.

#include "transport/nvme/nvme_logs.h"

#include "transport/storage_protocol.h"

namespace ostria::storage {

NvmeLogs* nvmeLogsOf(StorageProtocol* protocol) { return dynamic_cast<NvmeLogs*>(protocol); }

}  // namespace ostria::storage
