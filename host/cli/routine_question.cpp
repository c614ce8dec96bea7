// A file may be an old one, or somebody else's: what can hold a drive for hours wants a yes.
#include "host/cli/routine_question.h"

#include "host/cli/stop.h"

namespace ostria::host {

void askForRoutine(const Settings& settings, const Selection& selection, const Catalogue& catalogue,
                   const Texts& texts, Questions& questions) {
  if (!settings.riskyRoutine || !usesRoutine(selection, catalogue)) {
    return;
  }
  const Arguments arguments = {{"file", settings.source}, {"number", *settings.riskyRoutine}};
  if (!questions.canAsk()) {
    throw Stop{ExitCode::NotPerformed, texts.say("note.routine_unasked", arguments)};
  }
  if (questions.ask(texts.say("question.routine", arguments)) != Answer::Yes) {
    throw Stop{ExitCode::NotPerformed, texts.say("note.declined")};
  }
}

}  // namespace ostria::host
