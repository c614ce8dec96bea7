// Sorts the arguments. Only the host's own options are known here: what a short option means is for
// the module's tables to say.
#include "host/cli/command_line.h"

#include <algorithm>
#include <string_view>

#include "host/core/report/plain_text.h"

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
    return {"usage.no_machine_file", {}};
  }
  if (value) {
    line.machineFile = value;
  }
  return {};
}

UsageError setProgress(CommandLine& line, const std::optional<std::string>& value) {
  if (*value != "json") {
    return {"usage.progress", {{"value", *value}}};
  }
  line.jsonProgress = true;
  return {};
}

UsageError setJobs(CommandLine& line, const std::optional<std::string>& value) {
  const std::string& text = *value;
  if (text.size() > 2 || text.find_first_not_of("0123456789") != std::string::npos ||
      std::stoul(text) == 0) {
    return {"usage.jobs", {{"value", text}}};
  }
  line.jobs = std::stoul(text);
  return {};
}

UsageError setHistoryTest(CommandLine& line, const std::optional<std::string>& value) {
  line.historyTest = *value;
  return {};
}

UsageError setSince(CommandLine& line, const std::optional<std::string>& value) {
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:ddZ";
  bool good = value->size() >= 4 && value->size() <= kForm.size();
  for (std::size_t i = 0; good && i < value->size(); ++i) {
    good = kForm[i] == 'd' ? (*value)[i] >= '0' && (*value)[i] <= '9' : (*value)[i] == kForm[i];
  }
  if (!good) {
    return {"usage.since", {{"value", *value}}};
  }
  line.historySince = *value;
  return {};
}

UsageError setAssume(CommandLine& line, const std::optional<std::string>& value) {
  if (*value != "yes" && *value != "no") {
    return {"usage.assume", {{"value", *value}}};
  }
  line.assume = *value == "yes";
  return {};
}

UsageError addAssumeWrite(CommandLine& line, const std::optional<std::string>& value) {
  line.assumeWrite.push_back(*value);
  return {};
}

UsageError addSetting(CommandLine& line, const std::optional<std::string>& value) {
  const std::size_t equals = value->find('=');
  if (equals == 0 || equals == std::string::npos || equals + 1 == value->size()) {
    return {"usage.setting_form", {{"text", *value}}};
  }
  line.settings.emplace_back(value->substr(0, equals), value->substr(equals + 1));
  return {};
}

UsageError addNote(CommandLine& line, const std::optional<std::string>& value) {
  const std::size_t equals = value->find('=');
  if (equals == 0 || equals == std::string::npos || equals + 1 == value->size()) {
    return {"usage.note_form", {{"text", *value}}};
  }
  line.notes.emplace_back(value->substr(0, equals), value->substr(equals + 1));
  return {};
}

constexpr HostOption kHostOptions[] = {
    {"force-mounted", Takes::Nothing, setFlag<&CommandLine::forceMounted>},
    {"note", Takes::Value, addNote},
    {"jobs", Takes::Value, setJobs},
    {"wake", Takes::Nothing, setFlag<&CommandLine::wake>},
    {"help", Takes::Nothing, setFlag<&CommandLine::help>},
    {"version", Takes::Nothing, setFlag<&CommandLine::version>},
    {"list", Takes::Nothing, setFlag<&CommandLine::list>},
    {"show", Takes::Nothing, setFlag<&CommandLine::show>},
    {"redact", Takes::Nothing, setFlag<&CommandLine::redact>},
    {"read-only", Takes::Nothing, setFlag<&CommandLine::readOnly>},
    {"record", Takes::Nothing, setFlag<&CommandLine::record>},
    {"history", Takes::Nothing, setFlag<&CommandLine::history>},
    {"compare", Takes::Nothing, setFlag<&CommandLine::compare>},
    {"test", Takes::Value, setHistoryTest},
    {"since", Takes::Value, setSince},
    {"virtual", Takes::MaybeValue, setVirtual},
    {"progress", Takes::Value, setProgress},
    {"assume", Takes::Value, setAssume},
    {"assume-write", Takes::Value, addAssumeWrite},
    {"set", Takes::Value, addSetting},
    {"capture", Takes::Value, setText<&CommandLine::captureFile>},
    {"module", Takes::Value, setText<&CommandLine::module>},
    {"config", Takes::Value, setText<&CommandLine::configFile>},
    {"texts", Takes::Value, setText<&CommandLine::textsFile>},
};

struct HelpRow {
  std::string_view option;  ///< empty: a sentence about all of them
  std::string_view key;
};

constexpr HelpRow kHelp[] = {
    {"--list, or nothing", "help.list"},
    {"-Mstorage --show [device id(s)]", "help.show"},
    {"-Mstorage recover scan|repair|filesystem|filterDevices [device id(s)]", "help.recover"},
    {"-Mstorage smart [device id(s)]", "help.smart"},
    {"--capture FILE [device id(s)]", "help.capture"},
    {"", "help.all_devices"},
    {"--virtual[=FILE]", "help.virtual"},
    {"--json", "help.json"},
    {"--progress=json", "help.progress"},
    {"--report FILE", "help.report"},
    {"--metrics FILE", "help.metrics"},
    {"--note KEY=TEXT", "help.note"},
    {"-o FILE", "help.sectors_file"},
    {"-q", "help.quiet"},
    {"--redact", "help.redact"},
    {"--jobs N", "help.jobs"},
    {"--wake", "help.wake"},
    {"--read-only", "help.read_only"},
    {"--config FILE", "help.config"},
    {"--set KEY=VALUE", "help.set"},
    {"--texts FILE", "help.texts"},
    {"--assume yes|no", "help.assume"},
    {"--assume-write SERIAL", "help.assume_write"},
    {"--force-mounted", "help.force_mounted"},
    {"--record", "help.record"},
    {"--history [names]", "help.history"},
    {"--test TEST, --since DATE", "help.history_filter"},
    {"--compare [RUN RUN]", "help.compare"},
};

constexpr std::size_t kHelpColumn = 26;
constexpr std::size_t kHelpWidth = 79;

class Reader {
 public:
  explicit Reader(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  OrUsageError<CommandLine> read() {
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
      if (error.isSet()) {
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
      return {"usage.no_value", {{"option", written}}};
    }
    if (option->takes == Takes::Value) {
      UsageError error = takeValue(written, value);
      if (error.isSet()) {
        return error;
      }
    }
    return option->apply(line_, value);
  }

  UsageError takeValue(const std::string& written, std::optional<std::string>& value) {
    // What looks like an option is the next one, not a file of that name: that one is written
    // behind
    // "=".
    if (!value && next_ < arguments_.size() && !arguments_[next_].starts_with('-')) {
      value = arguments_[next_++];
    }
    return value && !value->empty() ? UsageError{}
                                    : UsageError{"usage.needs_value", {{"option", written}}};
  }

  UsageError chooseFormat(const OutputFormatRow& format, const std::string& written,
                          std::optional<std::string> value) {
    if (!format.toFile) {
      line_.format = &format;
      return value ? UsageError{"usage.no_value", {{"option", written}}} : UsageError{};
    }
    UsageError error = takeValue(written, value);
    if (!error.isSet()) {
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
    if (argument == "-V") {
      line_.version = true;
      return {};
    }
    if (argument == "-q") {
      line_.quiet = true;
      return {};
    }
    std::optional<std::string> value;
    if (argument.size() > 2) {
      value = argument.substr(2);
    }
    if (argument[1] == 'o') {
      UsageError error = takeValue("-o", value);
      line_.sectorsFile = value;
      return error;
    }
    if (argument[1] == 'M') {
      if (!value && next_ < arguments_.size()) {
        value = arguments_[next_++];
      }
      if (!value) {
        return {"usage.no_module_name", {}};
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

bool CommandLine::isCollected() const {
  return std::any_of(reports.begin(), reports.end(),
                     [](const ChosenReport& report) { return report.format->collected; });
}

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

bool isJsonProgress(const std::vector<std::string>& arguments) {
  const auto end = std::find(arguments.begin(), arguments.end(), "--");
  const auto apart = std::find(arguments.begin(), end, "--progress");
  return std::find(arguments.begin(), end, "--progress=json") != end ||
         (apart != end && std::next(apart) != end && *std::next(apart) == "json");
}

std::string hostOptionsHelp(const Texts& texts) {
  std::string out = texts.say("help.title") + "\n";
  for (const HelpRow& row : kHelp) {
    const std::string text = texts.say(row.key);
    if (row.option.empty()) {
      out += "\n" + wrapped("  " + text, kHelpWidth, 2) + "\n\n";
      continue;
    }
    std::string line = "  " + std::string(row.option);
    if (line.size() + 2 > kHelpColumn) {
      out += line + "\n";
      line.clear();
    }
    out += wrapped(padded(line, kHelpColumn) + text, kHelpWidth, kHelpColumn) + "\n";
  }
  out += wrapped(padded("  --help [TOPIC]", kHelpColumn) + texts.say("help.help"), kHelpWidth,
                 kHelpColumn) +
         "\n  -V, --version\n\n";
  return out + wrapped(texts.say("help.exit_codes"), kHelpWidth, 0) + "\n";
}

}  // namespace ostria::host
