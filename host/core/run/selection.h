// What a front end has chosen to run, free of how it was chosen: a command line, or a window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ostria::host {

/// A custom parameter as written: key=value.
struct ParameterText {
  std::string key;
  std::string value;
};

struct TestChoice {
  std::size_t diagnostic = 0;  ///< index in the catalogue
  std::size_t test = 0;        ///< index in the diagnostic
  bool named = false;          ///< chosen by its own name, not with its whole diagnostic
  std::vector<ParameterText> parameters;
};

/// What is to be run, and on which devices.
struct Selection {
  std::vector<TestChoice> tests;
  std::size_t tool = 0;                ///< index in the catalogue; counts when there are no tests
  std::string operation;               ///< of the tool "recover"
  std::vector<std::string> names;      ///< of the devices, as the user called them
  std::vector<std::uint32_t> devices;  ///< the same by their numbers in the list; empty: all
};

}  // namespace ostria::host
