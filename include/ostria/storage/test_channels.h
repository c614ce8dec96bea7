#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ostria::storage {

/// A question to the user. The module fills it; the host stores the answer before it returns.
class InputRequest {
 public:
  static constexpr std::uint32_t Yes = 1;
  static constexpr std::uint32_t No = 2;

  virtual ~InputRequest() = default;

  std::uint32_t answer = 0;  ///< set by the host: 1 yes, 2 no
  std::string title;         ///< message key
  std::string question;      ///< message key or composed text
  std::uint32_t questionKind = 0;
  std::uint32_t defaultAnswer = 0;
  std::vector<std::uint64_t> choices;  ///< always empty in this module
  std::uint32_t reserved = 0;
};

/// Receives the progress of a running test. Implemented by the host, called on the thread of `run`.
class TestListener {
 public:
  virtual ~TestListener() = default;

  /// @param percent  0 to 100; every test ends with a call of 100
  /// @param message  message key or composed text, may be empty; that of the last call is the
  ///                 closing line of the test
  virtual void progress(std::uint8_t percent, const std::string& message) = 0;
  /// Asks the user and returns with the answer in `request`. Called only when `canRequestInput`
  /// answered true.
  virtual void requestInput(InputRequest* request) = 0;
  virtual void hostNotice3() = 0;  ///< the host's own; the module never calls it
  /// Whether anybody can answer a request.
  virtual bool canRequestInput() = 0;
  virtual void hostNotice5() = 0;  ///< the host's own
  virtual void hostNotice6() = 0;  ///< the host's own
};

/// Receives the messages of a running test. Implemented by the host.
class MessageLog {
 public:
  virtual ~MessageLog() = default;

  /// @param message   message key or composed text
  /// @param severity  0 statement, 1 resource problem of the run, 2 error found on the device,
  ///                  3 capability that the device lacks
  /// @param flag      1 in the messages of the NVMe tests, else 0
  virtual void add(std::string message, std::uint32_t severity, std::uint8_t flag) = 0;
};

}  // namespace ostria::storage
