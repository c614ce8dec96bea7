// The elements that the HTML report is made of.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/core/model/results.h"
#include "host/core/model/surface_map.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// Text that stands for itself in HTML, in attributes too. Control characters become "?".
std::string htmlEscaped(std::string_view text);

// The rest takes plain text, escapes it and returns whole elements.

/// @param word  its class in the style sheet
std::string badge(const std::string& word, const std::string& text);
std::string badge(ExitCode outcome, const Texts& texts);
/// A row of a definition list, nothing when there is no value.
std::string definition(const std::string& label, const std::string& value);
std::string cell(const std::string& value, bool number = false);
std::string headCell(const std::string& title, bool number = false);
/// A message of the module: a paragraph, or a table when it is rows of cells.
std::string messageHtml(const std::string& text);
std::string smartTableHtml(const std::vector<SmartRow>& rows, const Texts& texts);
/// Sections of one title that follow each other share a table.
std::string sectionsHtml(const std::vector<ShownSection>& sections);
/// @param complete  whether everything outside of the ranges was read well
std::string surfaceMapHtml(const std::vector<SectorRange>& ranges, std::uint64_t totalSectors,
                           bool complete, const Texts& texts);

/// The number that the text begins with, -1 for none.
int leadingNumber(const std::string& text);

/// A map of how long the reads of each part of the disk took; empty without a map.
std::string readMapHtml(const ReadTimes& reads, const Texts& texts);
/// How many reads took how long, and the slowest.
std::string readTimesHtml(const ReadTimes& reads, const Texts& texts);

}  // namespace ostria::host
