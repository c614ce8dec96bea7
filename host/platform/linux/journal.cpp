// syslog(3), which the journal of systemd takes in as well.
#include "host/platform/journal.h"

#include <syslog.h>

namespace ostria::host {

void writeJournal(const std::string& line) {
  openlog("OstriaDiagnosticsCLI", LOG_PID, LOG_DAEMON);
  syslog(LOG_NOTICE, "%s", line.c_str());
  closelog();
}

}  // namespace ostria::host
