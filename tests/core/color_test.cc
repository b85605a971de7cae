#include <tarnwell/core/color.h>

#include <gtest/gtest.h>

#include <string>

namespace tarnwell {
namespace {

TEST(ColorTest, ReadsSixDigitsAsOpaqueRedGreenBlue) {
  EXPECT_EQ(parseColorText("#FF0000"), (Color{1, 0, 0, 1}));
  EXPECT_EQ(parseColorText("#ff6600"), (Color{1, 102 / 255.0, 0, 1}));
  EXPECT_EQ(parseColorText("0A141E"), (Color{10 / 255.0, 20 / 255.0, 30 / 255.0, 1}));
  EXPECT_EQ(parseColorText("#000000"), (Color{0, 0, 0, 1}));
}

TEST(ColorTest, ReadsEightDigitsWithAlphaFirst) {
  EXPECT_EQ(parseColorText(" 80ff0000 "), (Color{1, 0, 0, 128 / 255.0}));
  EXPECT_EQ(parseColorText("#00FFFFFF"), (Color{1, 1, 1, 0}));
  EXPECT_EQ(parseColorText("#11223344"), (Color{34 / 255.0, 51 / 255.0, 68 / 255.0, 17 / 255.0}));
}

TEST(ColorTest, TrimsAndDropsEveryHash) {
  EXPECT_EQ(parseColorText("\n\t#FF0000\u00A0\r\n"), (Color{1, 0, 0, 1}));
  EXPECT_EQ(parseColorText("##FF00#00#"), (Color{1, 0, 0, 1}));
  EXPECT_EQ(parseColorText("FF#0000"), (Color{1, 0, 0, 1}));
}

TEST(ColorTest, RejectsOtherLengthsAndTextWithoutDigits) {
  EXPECT_EQ(parseColorText("#FFF"), std::nullopt);
  EXPECT_EQ(parseColorText("#FFFFF"), std::nullopt);
  EXPECT_EQ(parseColorText("#FFFFFFF"), std::nullopt);
  EXPECT_EQ(parseColorText("#FFFFFFFFF"), std::nullopt);
  EXPECT_EQ(parseColorText("GGGGGG"), std::nullopt);
  EXPECT_EQ(parseColorText("#ZZ0000"), std::nullopt);
  EXPECT_EQ(parseColorText(""), std::nullopt);
  EXPECT_EQ(parseColorText(" \n "), std::nullopt);
  EXPECT_EQ(parseColorText("#"), std::nullopt);
  EXPECT_EQ(parseColorText("######"), std::nullopt);
  EXPECT_EQ(parseColorText(std::string(10000, 'F')), std::nullopt);
  EXPECT_EQ(parseColorText(std::string(10000, '#') + "FF0000"), (Color{1, 0, 0, 1}));
}

TEST(ColorTest, StopsReadingDigitsAtTheFirstOtherCharacter) {
  // The count still decides the layout; the value is what the leading digits say.
  EXPECT_EQ(parseColorText("FF00GG"), (Color{0, 1, 0, 1}));
  EXPECT_EQ(parseColorText("1G0000"), (Color{0, 0, 1 / 255.0, 1}));
  EXPECT_EQ(parseColorText("# FF00"), std::nullopt);  // count 5
  EXPECT_EQ(parseColorText("#  FF00"), (Color{0, 1, 0, 1}));
  EXPECT_EQ(parseColorText("FF\u00E9\u00E9\u00E9\u00E9"), (Color{0, 0, 1, 1}));
}

TEST(ColorTest, AcceptsAHexPrefixCountedAsCharacters) {
  EXPECT_EQ(parseColorText("0xFF0000"), (Color{1, 0, 0, 0}));
  EXPECT_EQ(parseColorText("#0XFF00"), (Color{0, 1, 0, 1}));
  // Without a digit behind it, "0x" is the digit 0 followed by other text.
  EXPECT_EQ(parseColorText("0xZZZZ"), (Color{0, 0, 0, 1}));
}

}  // namespace
}  // namespace tarnwell
