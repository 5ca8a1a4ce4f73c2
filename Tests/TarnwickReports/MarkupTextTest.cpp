#include "MarkupText.h"

#include <gtest/gtest.h>

namespace Tarnwick::Reports
{
TEST(MarkupText, EscapesMarkupInTextAndAttributes)
{
	EXPECT_EQ(EscapeText("a < b && c > d"), "a &lt; b &amp;&amp; c &gt; d");
	EXPECT_EQ(EscapeAttribute("say \"hi\" & 'bye'"), "say &quot;hi&quot; &amp; 'bye'");
	// Line breaks survive attribute-value normalisation only as character references.
	EXPECT_EQ(EscapeAttribute("one\ntwo\tthree"), "one&#10;two&#9;three");
	EXPECT_EQ(EscapeText("one\ntwo"), "one\ntwo");
}

TEST(MarkupText, DropsControlCharactersXmlForbids)
{
	const std::string WithControls = std::string("bell\x07 nul") + '\0' + " esc\x1b[0m";
	EXPECT_EQ(CleanText(WithControls), "bell nul esc[0m");
	EXPECT_EQ(EscapeText(std::string("tab\tkept")), "tab\tkept");
}

TEST(MarkupText, ReplacesBrokenUtf8AndKeepsGoodUtf8)
{
	EXPECT_EQ(CleanText("caf\xc3\xa9 — ✓"), "caf\xc3\xa9 — ✓");
	// A lone continuation byte, a truncated sequence, an overlong slash and an encoded surrogate.
	EXPECT_EQ(CleanText("a\x80z"), "a\xEF\xBF\xBDz");
	EXPECT_EQ(CleanText("end\xe2\x82"), "end\xEF\xBF\xBD\xEF\xBF\xBD");
	EXPECT_EQ(CleanText("\xc0\xaf"), "\xEF\xBF\xBD\xEF\xBF\xBD");
	EXPECT_EQ(CleanText("\xed\xa0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(MarkupText, AnchorIdsAreSafeAndDistinct)
{
	EXPECT_EQ(AnchorId("var-", "Chaser.Velocity"), "var-Chaser_2EVelocity");
	// Names that differ only in characters an id cannot hold must still get different ids.
	EXPECT_NE(AnchorId("var-", "a b"), AnchorId("var-", "a_b"));
	EXPECT_EQ(AnchorId("x-", "\"><script>").find_first_of("<>\" "), std::string::npos);
}
}
