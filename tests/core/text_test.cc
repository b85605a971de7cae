#include "tarnwell/core/detail/text.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnwell::detail {
namespace {

TEST(TextTest, TrimsAsciiWhiteSpaceAndNewLinesAtBothEnds) {
  EXPECT_EQ(trimWhitespaceAndNewlines(" \t\n\v\f\rab c\r\n \t"), "ab c");
  EXPECT_EQ(trimWhitespaceAndNewlines("abc"), "abc");
  EXPECT_EQ(trimWhitespaceAndNewlines(""), "");
  EXPECT_EQ(trimWhitespaceAndNewlines(" \n\t "), "");
}

TEST(TextTest, TrimsEveryUnicodeWhiteSpaceCodePoint) {
  const char* const spaces[] = {
      "\u0085", "\u00A0", "\u1680", "\u2000", "\u2005", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000",
  };
  for (const char* space : spaces) {
    const std::string text = std::string(space) + "x" + space + space;
    EXPECT_EQ(trimWhitespaceAndNewlines(text), "x") << "bytes of " << text;
  }
}

TEST(TextTest, KeepsCodePointsNextToTheWhiteSpaceRanges) {
  // U+200B (zero width space) and U+180E are not White_Space; U+2001 is.
  EXPECT_EQ(trimWhitespaceAndNewlines("\u200Bx\u200B"), "\u200Bx\u200B");
  EXPECT_EQ(trimWhitespaceAndNewlines("\u180Ex\u180E"), "\u180Ex\u180E");
  EXPECT_EQ(trimWhitespaceAndNewlines("\u2001\u00E9\u2001"), "\u00E9");
  // Multi-byte letters whose last byte equals a white-space byte elsewhere stay whole.
  EXPECT_EQ(trimWhitespaceAndNewlines("\u0105"), "\u0105");  // C4 85: 85 alone is not U+0085
  EXPECT_EQ(trimWhitespaceAndNewlines("\u00C0"), "\u00C0");  // C3 80
}

TEST(TextTest, InvalidUtf8IsNotWhiteSpace) {
  // An overlong space, a lone continuation byte, a cut-off U+3000 and a lone lead byte.
  EXPECT_EQ(trimWhitespaceAndNewlines(" \xC0\xA0x\xC0\xA0 "), "\xC0\xA0x\xC0\xA0");
  EXPECT_EQ(trimWhitespaceAndNewlines("\x85x\xA0"), "\x85x\xA0");
  EXPECT_EQ(trimWhitespaceAndNewlines("\xE3\x80 x \xE3\x80"), "\xE3\x80 x \xE3\x80");
  EXPECT_EQ(trimWhitespaceAndNewlines("x\xC2"), "x\xC2");
  // An overlong three-byte form of U+0085 (E0 82 85) must not count either.
  EXPECT_EQ(trimWhitespaceAndNewlines("\xE0\x82\x85x"), "\xE0\x82\x85x");
}

TEST(TextTest, TrimmingAfterAnInvalidByteKeepsTheValidWhiteSpaceBehindIt) {
  // E2 cannot start a sequence with C2 behind it, so the trailing C2 A0 is a real U+00A0.
  EXPECT_EQ(trimWhitespaceAndNewlines("x\xE2\xC2\xA0"), "x\xE2");
}

TEST(TextTest, LowerCasesOnlyAsciiLetters) {
  EXPECT_EQ(toLowerAscii("iPhone15,2 ABC-xyz"), "iphone15,2 abc-xyz");
  EXPECT_EQ(toLowerAscii("\u00C9T\u00C9"), "\u00C9t\u00C9");
  EXPECT_EQ(toLowerAscii("@[`{"), "@[`{");
  EXPECT_EQ(toLowerAscii(""), "");
}

}  // namespace
}  // namespace tarnwell::detail
