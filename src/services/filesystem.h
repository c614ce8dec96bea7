#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/device_handle.h"
#include "base/protocol_result.h"
#include "services/transfer_buffer.h"

namespace ostria::storage {

/// Files and directories of the operating system, and the raw data of an open device by byte
/// offset. An `int` result is 0 on success. Texts handed out stay valid for the life of the object.
class Filesystem {
 public:
  virtual ~Filesystem() = default;

  virtual const char* getWindowsDirectory() = 0;  ///< the system's directory
  virtual const char* getCurrentDirectory() = 0;  ///< as at first use; null if the call fails
  virtual const char* getProgramPath() = 0;       ///< of the running program; null on failure
  virtual const char* getProgramDirectory() = 0;
  /// Replaces `names` by the entries that match, each with the directory part of the pattern in
  /// front. An empty pattern gives 1.
  virtual int listDirectory(const std::string& pattern, std::vector<std::string>& names) = 0;
  /// Makes all missing directories; on a failure those made are removed again.
  /// @param made  replaced by the directories that were made, in order
  virtual int createDirectories(const std::string& path, std::vector<std::string>& made) = 0;
  /// True for a path that cannot be used.
  virtual bool isInvalidPath(std::string path) = 0;
  virtual int removeTree(const std::string& path) = 0;
  /// Creates (or empties) a file for unbuffered, written-through access by this process alone.
  /// @param deleteOnClose  the file goes away when it is closed, or when the process ends
  virtual int createFile(const std::string& path, DeviceHandle* handle, bool deleteOnClose) = 0;
  virtual int closeFile(DeviceHandle handle) = 0;
  /// Sets the size and allocates the file sparsely.
  virtual int setFileSize(DeviceHandle handle, std::uint64_t size) = 0;
  /// Writes `length` bytes at byte `offset`; offset and length are multiples of the sector size.
  /// @param done  bytes that moved, written when the request ended in time
  /// @return `Success`; `Failure` when it could not be issued; `MediumError` when the medium is at
  ///         fault or fewer bytes moved than asked; `TransportFailure` for any other error on the
  ///         way; `VolumeFull` when the volume has no room for them; `WriteTimeout`. After a
  ///         time-out the request no longer touches `buffer`.
  virtual ProtocolResult writeAt(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                                 std::uint64_t* done, std::uint32_t timeoutSeconds,
                                 const void* buffer) = 0;
  /// As `writeAt`, with `ReadTimeout`. After a time-out nothing is written to `buffer` any more.
  virtual ProtocolResult readAt(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                                std::uint64_t* done, std::uint32_t timeoutSeconds,
                                void* buffer) = 0;
  /// `readAt` into a buffer that a read may keep, where the system can do without a copy then.
  /// After a read that was given up the buffer has no memory until it is renewed.
  /// @param buffer  has memory for `length` bytes
  virtual ProtocolResult readInto(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                                  std::uint64_t* done, std::uint32_t timeoutSeconds,
                                  TransferBuffer& buffer) {
    return readAt(handle, offset, length, done, timeoutSeconds, buffer.data());
  }
};

/// The module's own filesystem, made on first use and never freed. Defined by each platform.
Filesystem& getLocalFilesystem();

}  // namespace ostria::storage
