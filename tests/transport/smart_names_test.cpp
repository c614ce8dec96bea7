// Every SMART name is found, and none twice.
#include "transport/smart_names.h"

#include <gtest/gtest.h>

namespace ostria::storage::test {
namespace {

/// FNV-1a over the names of all keys, in their order.
template <typename Name>
std::uint64_t digestOf(Name name) {
  std::uint64_t digest = 0xCBF29CE484222325;
  for (std::uint32_t key = 0; key < 256; ++key) {
    for (const char letter : std::string(name(key)) + "\n") {
      digest = (digest ^ static_cast<std::uint8_t>(letter)) * 0x100000001B3;
    }
  }
  return digest;
}

// Reports are compared by these names, and translations are looked up by them, so that a corrected
// spelling is lost data. A new name changes the digest on purpose.
TEST(SmartNames, EveryNameStandsAsItIsKnown) {
  EXPECT_EQ(digestOf(smartAttributeName), 0x5E60E4A0EA6CBAB5u);
  EXPECT_EQ(digestOf(nvmeSmartFieldName), 0x17FFCD0EBBABF1AEu);
  EXPECT_EQ(smartAttributeName(233), "Media Wearout Indicator");
  EXPECT_EQ(nvmeSmartFieldName(3), "Avalable Spare");
}

}  // namespace
}  // namespace ostria::storage::test
