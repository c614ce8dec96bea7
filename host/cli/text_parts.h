// The pieces that plain text for people is made of.
#pragma once

#include <string>
#include <vector>

#include "host/cli/text_report.h"
#include "host/core/model/results.h"

namespace ostria::host {

inline constexpr std::size_t kOutcomeColumns = 15;

Colour colourOf(ExitCode outcome);
Colour colourOf(Verdict verdict);
std::string capitals(std::string text);
std::string connectionText(const DeviceInfo& device, const Texts& texts);
/// @param hanging  indent of the lines behind the first
std::string line(const std::string& text, std::size_t indent, std::size_t hanging,
                 const TextStyle& style);
/// "  PASSED         SMART Status Test"
std::string outcomeLine(const std::string& word, Colour colour, const std::string& text,
                        const TextStyle& style);
std::string outcomeLine(ExitCode outcome, const std::string& text, const TextStyle& style);
/// Below an outcome line.
std::string detailLine(const std::string& text, const TextStyle& style);
std::string propertyLine(const std::string& label, const std::string& value, std::size_t indent,
                         std::size_t columnsOfLabel, const TextStyle& style);
std::string smartTable(const std::vector<SmartRow>& rows, const TextStyle& style);
std::string deviceHeading(const DeviceInfo& device, const TextStyle& style);
/// The node, or the port of a drive without one.
std::string nodeText(const DeviceInfo& device, const Texts& texts);
/// The verdict on a drive with its reasons, below `title`.
std::string healthText(const DeviceInfo& device, const std::string& title, const TextStyle& style);

// Whole documents.
std::string listText(const std::vector<DeviceInfo>& devices, const TextStyle& style);
std::string detailsText(const DeviceInfo& device, const TextStyle& style);

}  // namespace ostria::host
