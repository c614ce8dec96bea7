#pragma once

#include <string>

namespace ostria::storage {

/// A partition as the tests that work through files need it.
class StoragePartitionProperties {
 public:
  virtual ~StoragePartitionProperties() = default;
  StoragePartitionProperties() = default;
  StoragePartitionProperties(const StoragePartitionProperties&) = default;
  StoragePartitionProperties& operator=(const StoragePartitionProperties&) = default;

  std::string devicePath;
  std::string tempDirectory;
  std::string fileSystem;
};

}  // namespace ostria::storage
