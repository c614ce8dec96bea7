// The help text as users have known it. Its long names differ from those of the option table for
// some tests, so it is not made from the rows of the catalogue.
#include "module/storage_help_text.h"

namespace ostria::storage {
namespace {

constexpr const char* kHost = "OstriaDiagnosticsCLI";
// The devices of the examples.
constexpr const char* kFirst = "0";
constexpr const char* kSecond = "1";

constexpr const char* kPieces[] = {
    // clang-format off
    "Storage Module help:\n",
    "  Usage: ", kHost, " -Mstorage [diagnostic]\"[test(s)]\" [device id(s)]\n",
    "  Diagnostics:\n",
    "\t-Q, --quick\tRuns all test(s) of Quick Storage diagnostic\n",
    "\t-Q\"[test(s)]\", --quick=\"[test(s)]\"\tRuns chosen test(s) of Quick Storage diagnostic\n\n",
    "\t-E, --extended\tRuns all test(s) of Extended Server Storage diagnostic\n",
    "\t-E\"[test(s)]\", --extended=\"[test(s)]\"\tRuns chosen test(s) of Extended Server Storage diagnostic\n\n",
    "  Quick Tests:\n",
    "\tm, smart-status                 SMART Status Test\n",
    "\tt, targeted-read                Targeted Read Test\n",
    "\tr, random-seek                  Random Seek Test\n",
    "\tf, funnel-seek                  Funnel Seek Test\n",
    "\ts, short-self-test              SMART Short Self-Test\n",
    "\td, drive-self-test              SMART Drive Self-Test\n",
    "\tu, default-self-test            Default-self-test\n",
    "\te, device-read-test             Device Read Test (available for eMMC and NVMe devices only)\n",
    "\to, smart-wearout                SMART Wearout Test\n",
    "\tg, controller-status            Controller Status Test\n",
    "\ta, smart-temperature            SMART Temperature Test\n",
    "\tb, smart-reliability            SMART Reliability Test\n",
    "\ti, smart-spare-space            SMART Spare Space Test\n",
    "  Extended Tests:\n",
    "\tr, random-seek                     Random Seek Test\n",
    "\tf, funnel-seek                     Funnel Seek Test\n",
    "\ts, extended-self-test              Extended Self-Test\n",
    "\tw, device-write-test               Device Write Test (available for eMMC and NVMe devices only)\n",
    "\tl, linear-read-test                Linear Read Test*\n",
    "\tn, full-disk-scan-test             Full Disk Scan Test*\n",
    "\tc, conveyance-self-test            SMART Conveyance Self Test (available for ATA bus type devices only)\n",
    "\n  *Accepts custom parameters\n\n",
    " Examples:\n",
    "  => Performs tests funnel and extended self-test of diagnostic Extended on devices ", kFirst, " and ", kSecond, " of the storage module\n",
    "           ", kHost, " -Mstorage -E\"f,s\" ", kFirst, " ", kSecond, "\n\n",
    "  => Performs tests funnel and random of diagnostic Quick on devices ", kFirst, " and ", kSecond, " of the storage module\n",
    "           ", kHost, " -Mstorage -Q\"f,r\" ", kFirst, " ", kSecond, "\n\n",
    "  => Performs all tests of diagnostic Quick and diagnostic Extended on devices ", kFirst, " and ", kSecond, " of the storage module\n",
    "           ", kHost, " -Mstorage -Q -E ", kFirst, " ", kSecond, "\n\n",
    "  => Performs custom Linear Read Test of diagnostic Extended of the storage module\n",
    "           ", kHost, " -Mstorage -E\"l(START_RANGE=0,STOP_RANGE=100,COVERAGE_AREA=100,ERROR_LIMIT=10)\"\n\n",
    "  => Performs custom Full Disk Scan Test of diagnostic Extended of the storage module\n",
    "           ", kHost, " -Mstorage -E\"n(ERROR_LIMIT=10)\"\n\n",
    // clang-format on
};

}  // namespace

std::string storageHelpText() {
  std::string text;
  for (const char* piece : kPieces) {
    text += piece;
  }
  return text;
}

}  // namespace ostria::storage
