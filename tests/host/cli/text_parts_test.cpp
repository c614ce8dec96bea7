// The details of a drive as lines of text.
#include "host/cli/text_parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

using testing::HasSubstr;

TEST(TextPartsTest, ValuesStandInOneColumnWhereThereIsRoom) {
  DeviceInfo device;
  device.properties = {{
                           "A",
                           "Short",
                           "1",
                       },
                       {"B", "A long label", "2"}};
  const Texts texts;
  for (const std::size_t width : {0u, 59u, 60u}) {
    EXPECT_THAT(detailsText(device, TextStyle{width, false, texts}),
                HasSubstr(width == 59 ? "  Short: 1\n  A long label: 2\n"
                                      : "  Short:        1\n  A long label: 2\n"))
        << width;
  }
}

}  // namespace
}  // namespace ostria::host::test
