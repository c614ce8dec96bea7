// Sorts the arguments. Only the host's own options are known here: what a short option means is for
// the module's tables to say.
#include "host/cli/command_line.h"

#include <algorithm>
#include <string_view>

namespace ostria::host {
namespace {

enum class Takes { Nothing, MaybeValue, Value };

struct HostOption {
  std::string_view name;
  Takes takes;
  UsageError (*apply)(CommandLine&, const std::optional<std::string>&);
};

template <bool CommandLine::*Flag>
UsageError setFlag(CommandLine& line, const std::optional<std::string>& /*value*/) {
  line.*Flag = true;
  return {};
}

template <std::optional<std::string> CommandLine::*Text>
UsageError setText(CommandLine& line, const std::optional<std::string>& value) {
  line.*Text = value;
  return {};
}

UsageError setVirtual(CommandLine& line, const std::optional<std::string>& value) {
  line.virtualPc = true;
  if (value && value->empty()) {
    return {"--virtual= names no machine file."};
  }
  if (value) {
    line.machineFile = value;
  }
  return {};
}

UsageError setProgress(CommandLine& line, const std::optional<std::string>& value) {
  if (*value != "json") {
    return {"--progress knows one form, json, and not \"" + *value + "\"."};
  }
  line.jsonProgress = true;
  return {};
}

UsageError setAssume(CommandLine& line, const std::optional<std::string>& value) {
  if (*value != "yes" && *value != "no") {
    return {"--assume takes yes or no, and not \"" + *value + "\"."};
  }
  line.assume = *value == "yes";
  return {};
}

constexpr HostOption kHostOptions[] = {
    {"help", Takes::Nothing, setFlag<&CommandLine::help>},
    {"version", Takes::Nothing, setFlag<&CommandLine::version>},
    {"list", Takes::Nothing, setFlag<&CommandLine::list>},
    {"show", Takes::Nothing, setFlag<&CommandLine::show>},
    {"redact", Takes::Nothing, setFlag<&CommandLine::redact>},
    {"record", Takes::Nothing, setFlag<&CommandLine::record>},
    {"history", Takes::Nothing, setFlag<&CommandLine::history>},
    {"virtual", Takes::MaybeValue, setVirtual},
    {"progress", Takes::Value, setProgress},
    {"assume", Takes::Value, setAssume},
    {"module", Takes::Value, setText<&CommandLine::module>},
    {"config", Takes::Value, setText<&CommandLine::configFile>},
    {"texts", Takes::Value, setText<&CommandLine::textsFile>},
};

class Reader {
 public:
  explicit Reader(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  OrUsageError<CommandLine> read() {
    line_.empty = arguments_.empty();
    bool optionsEnded = false;
    while (next_ < arguments_.size()) {
      const std::string& argument = arguments_[next_++];
      UsageError error;
      if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
        line_.operands.push_back(argument);
      } else if (argument == "--") {
        optionsEnded = true;
      } else if (argument[1] == '-') {
        error = readLong(argument);
      } else {
        error = readShort(argument);
      }
      if (!error.sentence.empty()) {
        return error;
      }
    }
    return line_;
  }

 private:
  UsageError readLong(const std::string& argument) {
    const std::size_t equals = argument.find('=');
    const std::string written = argument.substr(0, equals);
    const std::string name = written.substr(2);
    std::optional<std::string> value;
    if (equals != std::string::npos) {
      value = argument.substr(equals + 1);
    }

    if (const OutputFormatRow* format = findOutputFormat(name)) {
      return chooseFormat(*format, written, value);
    }
    const auto* option = std::find_if(std::begin(kHostOptions), std::end(kHostOptions),
                                      [&](const HostOption& row) { return row.name == name; });
    if (option == std::end(kHostOptions)) {
      line_.moduleOptions.push_back({written, name, true, value});
      return {};
    }
    if (option->takes == Takes::Nothing && value) {
      return {written + " takes no value."};
    }
    if (option->takes == Takes::Value) {
      UsageError error = takeValue(written, value);
      if (!error.sentence.empty()) {
        return error;
      }
    }
    return option->apply(line_, value);
  }

  UsageError takeValue(const std::string& written, std::optional<std::string>& value) {
    if (!value && next_ < arguments_.size()) {
      value = arguments_[next_++];
    }
    return value && !value->empty() ? UsageError{}
                                    : UsageError{written + " needs a value behind it."};
  }

  UsageError chooseFormat(const OutputFormatRow& format, const std::string& written,
                          std::optional<std::string> value) {
    if (!format.toFile) {
      line_.format = &format;
      return value ? UsageError{written + " takes no value."} : UsageError{};
    }
    UsageError error = takeValue(written, value);
    if (error.sentence.empty()) {
      // The last file of an option counts, as with every other option.
      std::erase_if(line_.reports,
                    [&](const ChosenReport& report) { return report.format == &format; });
      line_.reports.push_back({&format, *value});
    }
    return error;
  }

  UsageError readShort(const std::string& argument) {
    if (argument == "-h") {
      line_.help = true;
      return {};
    }
    std::optional<std::string> value;
    if (argument.size() > 2) {
      value = argument.substr(2);
    }
    if (argument[1] == 'M') {
      if (!value && next_ < arguments_.size()) {
        value = arguments_[next_++];
      }
      if (!value) {
        return {"-M needs the name of a module directly behind it: -Mstorage."};
      }
      line_.module = value;
      return {};
    }
    line_.moduleOptions.push_back({argument.substr(0, 2), argument.substr(1, 1), false, value});
    return {};
  }

  const std::vector<std::string>& arguments_;
  std::size_t next_ = 0;
  CommandLine line_;
};

}  // namespace

OrUsageError<CommandLine> readCommandLine(const std::vector<std::string>& arguments) {
  return Reader(arguments).read();
}

const OutputFormatRow* formatAskedFor(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") {
      break;
    }
    const OutputFormatRow* format =
        argument.starts_with("--") ? findOutputFormat(argument.substr(2)) : nullptr;
    if (format != nullptr && !format->toFile) {
      return format;
    }
  }
  return nullptr;
}

std::string hostOptionsHelp() {
  return R"(Options of the program:
  -Mstorage, --list       Lists the devices
  -Mstorage --show [device id(s)]
                          Shows all properties, partitions and applicable tests
  -Mstorage recover scan|repair|filesystem|filterDevices [device id(s)]
                          Finds or repairs bad sectors, checks file systems, or tells which
                          devices can be treated; repair and filesystem need device ids
  -Mstorage smart [device id(s)]
                          Prints the SMART attributes

  Without device ids a test or tool runs on all devices that it applies to.

  --virtual[=FILE]        Works on a virtual PC: the built-in one, or that of a machine file
  --json                  Prints one JSON document and nothing else
  --progress=json         Reports progress as JSON lines on standard error
  --report FILE           Writes an HTML report of the run
  --redact                Masks serial numbers in every output
  --config FILE           Takes the settings from FILE (default: config.ini, if it is there)
  --texts FILE            Takes the texts from FILE where it has them
  --assume yes|no         Answers every question
  --record                Keeps the results of this run
  --history               Shows the results that were kept
  --help, --version

Exit code: 0 all passed, 1 failed or bad sectors found, 2 wrong usage, 3 not performed,
4 stopped, 5 warning, 6 could not start.
)";
}

}  // namespace ostria::host
