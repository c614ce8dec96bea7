#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/host/program.h"
#include "tests/host/schema_check.h"

namespace ostria::host::test {

/// How a run of the program ended, and what it wrote.
struct Ended {
  int code;
  std::string output;
  std::string errors;

  /// The output as a document of the schema.
  nlohmann::json document() const {
    nlohmann::json parsed = nlohmann::json::parse(output, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << output << errors;
    EXPECT_EQ(schemaComplaint(parsed), "") << output;
    EXPECT_EQ(parsed.value("exit_code", code), code) << output;
    return parsed;
  }
};

inline Ended runProgram(const std::string& folder, const std::vector<std::string>& arguments) {
  Program program(folder, arguments);
  const int code = program.finish();
  return {code, program.output, program.errors};
}

/// With these arguments in front of those.
inline std::vector<std::string> behind(std::vector<std::string> first,
                                       const std::vector<std::string>& arguments) {
  first.insert(first.end(), arguments.begin(), arguments.end());
  return first;
}

inline std::string contentOf(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path).rdbuf();
  return content.str();
}

/// The content of a file that is not needed any more.
inline std::string takenFrom(const std::string& path) {
  std::string content = contentOf(path);
  std::filesystem::remove(path);
  return content;
}

}  // namespace ostria::host::test
