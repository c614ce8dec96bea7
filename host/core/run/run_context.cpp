// One run of a test as the module sees it: its listener, its message log, its abort state and its
// parameters are this one object, so that whatever the test says ends up in one list.
#include "host/core/run/run_context.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "host/core/run/collect_reads.h"

namespace ostria::host {
namespace {

constexpr std::chrono::milliseconds kReadsInterval{250};

// Whether a message names a sector that its device does not have: a self-test that failed without
// an address comes with all ones in the field for it (ACS-3, self-test log).
bool namesNoSector(const std::string& message, storage::SystemComponent& component) {
  constexpr std::string_view kSector = "READING_SECTOR ";
  if (!message.starts_with(kSector)) {
    return false;
  }
  const auto numberOf = [](std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? std::optional(number) : std::nullopt;
  };
  const auto sector = numberOf(std::string_view(message).substr(kSector.size()));
  for (const storage::PropertyEntry& entry : component.description().properties) {
    if (entry.key == "LOGICAL_SECTORS") {
      const auto sectors = numberOf(entry.value);
      return sector && sectors && *sectors > 0 && *sector >= *sectors;
    }
  }
  return false;
}

}  // namespace

Message RunServices::message(const std::string& key, std::uint32_t severity,
                             std::uint8_t flag) const {
  return {redactor.text(key), redactor.text(texts.message(key)), severity, flag};
}

std::vector<Message> RunContext::messages() const {
  std::vector<Message> all = messages_;
  const bool known = closing_.empty() || std::any_of(all.begin(), all.end(), [&](const Message& m) {
                       return m.key == services_.redactor.text(closing_);
                     });
  if (!known) {
    all.push_back(services_.message(closing_, 0, 0));
    all.back().text = textOf(closing_);
  }
  return all;
}

bool RunContext::isAbortRequested() {
  if (probing_ && ++polls_ > 1) {
    return true;
  }
  if (!probing_) {
    showReads();
  }
  return services_.abort.isAbortRequested();
}

// The module asks for an abort between its reads, far more often than it has a percent to report.
void RunContext::showReads() {
  const auto now = std::chrono::steady_clock::now();
  if (now - shown_ < kReadsInterval) {
    return;
  }
  shown_ = now;
  if (const auto times = readTimesOf(component_)) {
    services_.progress.reads(*times);
  }
}

void RunContext::progress(std::uint8_t percent, const std::string& message) {
  if (percent >= 100 && !message.empty()) {
    closing_ = message;
  }
  if (probing_) {
    return;
  }
  services_.progress.update(percent, services_.redactor.text(message), textOf(message));
}

std::string RunContext::textOf(const std::string& message) const {
  return namesNoSector(message, component_)
             ? services_.texts.say("message.no_sector")
             : services_.redactor.text(services_.texts.message(message));
}

void RunContext::requestInput(storage::InputRequest* request) {
  if (request == nullptr) {
    return;
  }
  if (confirmed_) {
    request->answer = storage::InputRequest::Yes;
    return;
  }
  const std::string question = services_.texts.message(request->title) + ": " +
                               services_.texts.message(request->question) + "?";
  switch (services_.asker.ask(services_.redactor.text(question))) {
    case Answer::Yes:
      request->answer = storage::InputRequest::Yes;
      break;
    case Answer::No:
      request->answer = storage::InputRequest::No;
      break;
    case Answer::Nobody:
      break;
  }
}

bool RunContext::canRequestInput() {
  askedForInput_ = true;
  return !probing_ && (confirmed_ || services_.asker.canAsk());
}

void RunContext::add(std::string message, std::uint32_t severity, std::uint8_t flag) {
  messages_.push_back(services_.message(message, severity, flag));
  messages_.back().text = textOf(message);
}

}  // namespace ostria::host
