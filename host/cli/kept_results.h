// What of earlier runs the program shows, and what it keeps of this one.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/core/model/history.h"
#include "host/core/model/module_catalogue.h"
#include "host/core/run/redact.h"
#include "host/core/texts/texts.h"
#include "host/platform/interrupts.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// The store of results behind the program's options. Serial numbers leave it redacted.
class KeptResults {
 public:
  /// @param redactor    learns the serial numbers of the store
  /// @param interrupts  the next one ends a wait for another program that uses the store
  /// All three outlive the object.
  KeptResults(Redactor& redactor, const Texts& texts, const Interrupts& interrupts);

  /// Throws `Stop` when the store cannot be read.
  std::vector<HistoryRecord> records(const HistoryFilter& filter);
  /// @param names  numbers of two runs; empty: the two newest
  /// Throws `Stop` when they are not there, or the store cannot be read.
  Comparison comparison(std::vector<std::string> names);
  /// Compares each drive that answers with what the newest kept run knew of it. A store that cannot
  /// be read is a notice of the session.
  void compareWithLastTime(Session& session, storage::SystemComponentManager& manager);
  /// Gives each drive the newest kept result of each test. A store that cannot be read is a notice
  /// of the session.
  void takeLastRuns(Session& session, storage::SystemComponentManager& manager,
                    const Catalogue& catalogue);
  /// Keeps the session, and says where as one of its notices.
  /// @return false when it could not be kept
  bool keep(Session& session);

 private:
  std::vector<KeptRun> read();
  /// Nothing, and a notice of the session, when the store cannot be read.
  std::vector<KeptRun> readOrNote(Session& session);
  void hideSecrets(KeptRun& run) const;

  Redactor& redactor_;
  const Texts& texts_;
  const Interrupts& interrupts_;
  std::unique_ptr<History> history_;
};

}  // namespace ostria::host
