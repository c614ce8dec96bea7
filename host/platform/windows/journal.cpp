// The application log. Without a message file of the program the line stands as it is, behind a
// sentence of the viewer.
#include "host/platform/journal.h"

#include <windows.h>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {

void writeJournal(const std::string& line) {
  const HANDLE source = RegisterEventSourceW(nullptr, L"OstriaDiagnosticsCLI");
  if (source == nullptr) {
    return;
  }
  const std::wstring text = wideText(line);
  const wchar_t* texts[] = {text.c_str()};
  ReportEventW(source, EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, texts, nullptr);
  DeregisterEventSource(source);
}

}  // namespace ostria::host
