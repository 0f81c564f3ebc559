#include "archive/Configuration.h"

#include <gtest/gtest.h>

namespace {

Configuration parsed(const char* text) {
  Configuration c;
  c.Parse(text);
  return c;
}

}  // namespace

TEST(ConfigurationSyntax, TheDocumentedSixLineExample) {
  Configuration c = parsed("# settings\nAnimations=2\na0.field = Tex U Offset\na0.looping = 1\nA0.Looping = 0\n\n");
  EXPECT_EQ(c.Count(), 3u);
  EXPECT_STREQ(c.GetString("animations"), "2");
  EXPECT_STREQ(c.GetString("A0.FIELD"), "Tex U Offset") << "values keep their case, lookups ignore it";
  EXPECT_EQ(c.GetInt("a0.looping"), 1) << "the first occurrence wins";
}

TEST(ConfigurationSyntax, CommentsOnlyAtTheVeryStart) {
  Configuration c = parsed(" # note\n#real comment = 5\n");
  EXPECT_STREQ(c.GetString("# note"), "");
  EXPECT_EQ(c.GetString("#real comment"), nullptr);
}

TEST(ConfigurationSyntax, SeparatorsAndPieces) {
  Configuration c = parsed("name\na = 1 = 2\n=b=c\nd==4\n=\n===\ntext = a=b\nkey with blanks  =  v w \n");
  EXPECT_STREQ(c.GetString("name"), "") << "no value: empty, not null";
  EXPECT_STREQ(c.GetString("a"), "1");
  EXPECT_STREQ(c.GetString("b"), "c") << "leading '=' are skipped";
  EXPECT_STREQ(c.GetString("d"), "4") << "a run of '=' is one separator";
  EXPECT_STREQ(c.GetString("text"), "a");
  EXPECT_STREQ(c.GetString("key with blanks"), "v w");
  EXPECT_EQ(c.Count(), 6u) << "lines made only of '=' add nothing";
}

TEST(ConfigurationSyntax, LineEndsAndWhiteSpace) {
  Configuration lf = parsed("Looping=1\nspeed = 2.5\n");
  Configuration crlf = parsed("Looping=1\r\nspeed = 2.5\r\n\r\n");
  EXPECT_EQ(lf.Count(), crlf.Count());
  EXPECT_STREQ(crlf.GetString("LOOPING"), "1");
  EXPECT_STREQ(crlf.GetString("speed"), "2.5");
  Configuration tabs = parsed("\tkey\t=\t value \f\n");
  EXPECT_STREQ(tabs.GetString("key"), "value");
  Configuration noFinalNewline = parsed("x = 9");
  EXPECT_EQ(noFinalNewline.GetInt("x"), 9);
}

TEST(ConfigurationSyntax, FirstKeyWinsAcrossParses) {
  Configuration c;
  c.Parse("looping = 1\n");
  c.Parse("Looping = 0\nother = 3\n");
  EXPECT_EQ(c.GetInt("looping"), 1);
  EXPECT_EQ(c.GetInt("other"), 3);
  c.Parse(nullptr);
  EXPECT_EQ(c.Count(), 2u);
}

TEST(ConfigurationNumbers, IntegersReadTheirDecimalPrefix) {
  Configuration c = parsed("a=12abc\nb=-7\nc=+5\nd=abc\ne=4294967297\nf=2147483648\ng=0x1F\n");
  EXPECT_EQ(c.GetInt("a"), 12);
  EXPECT_EQ(c.GetInt("b"), -7);
  EXPECT_EQ(c.GetInt("c"), 5);
  EXPECT_EQ(c.GetInt("d"), 0);
  EXPECT_EQ(c.GetInt("e"), 1) << "overflow wraps around";
  EXPECT_EQ(c.GetInt("f"), INT32_MIN);
  EXPECT_EQ(c.GetInt("g"), 0);
  EXPECT_EQ(c.GetInt("absent"), 0);
}

TEST(ConfigurationNumbers, FloatsReadTheirDecimalPrefix) {
  Configuration c = parsed("a=0.5s\nb=abc\nc=-1.25e2x\nd=.5\ne=3e\nf=1e+\ng=inf\nh=0x10\ni=-.e5\nj=7.\n");
  EXPECT_DOUBLE_EQ(c.GetFloat("a"), 0.5);
  EXPECT_DOUBLE_EQ(c.GetFloat("b"), 0.0);
  EXPECT_DOUBLE_EQ(c.GetFloat("c"), -125.0);
  EXPECT_DOUBLE_EQ(c.GetFloat("d"), 0.5);
  EXPECT_DOUBLE_EQ(c.GetFloat("e"), 3.0) << "an exponent without digits is not read";
  EXPECT_DOUBLE_EQ(c.GetFloat("f"), 1.0);
  EXPECT_DOUBLE_EQ(c.GetFloat("g"), 0.0) << "no infinity spelling";
  EXPECT_DOUBLE_EQ(c.GetFloat("h"), 0.0) << "no hexadecimal";
  EXPECT_DOUBLE_EQ(c.GetFloat("i"), 0.0);
  EXPECT_DOUBLE_EQ(c.GetFloat("j"), 7.0);
  EXPECT_DOUBLE_EQ(c.GetFloat("absent"), 0.0);
}
