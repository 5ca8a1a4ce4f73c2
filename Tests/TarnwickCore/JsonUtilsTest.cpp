// The JSON helpers every module leans on: the nesting guard that runs before any parse, the short descriptions
// used in messages, and floats shown as the numbers they are.
#include "TarnwickJson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace
{
std::string Nested(size_t Depth, char Open = '[', char Close = ']')
{
	return std::string(Depth, Open) + std::string(Depth, Close);
}
}

TEST(JsonUtilsTest, NestingIsCountedOnTheRawBytesAndStopsPastTheLimit)
{
	struct FCase
	{
		std::string Text;
		size_t Depth;
	};
	const FCase Cases[] = {
		{"", 0}, {"5", 0}, {"[]", 1}, {R"({"a": [1, {"b": []}]})", 4}, {R"("[[[[")", 0}, {R"(["\"[[[", 1])", 1},
		{R"(["\\", [[]]])", 3}, {"]]]][[", 2}, {"[[[", 3}, {Nested(256), 256}, {Nested(300, '{', '}'), 257},
		{"[" + Nested(10) + "," + Nested(20) + "]", 21},
	};
	for (const FCase& Case : Cases)
	{
		EXPECT_EQ(FTarnwickJsonUtils::NestingDepth(Case.Text), Case.Depth) << Case.Text.substr(0, 40);
	}
	EXPECT_EQ(FTarnwickJsonUtils::NestingDepth(Nested(53000)), FTarnwickJsonUtils::MaxNestingDepth + 1);
	EXPECT_EQ(FTarnwickJsonUtils::NestingDepth(Nested(10), 4), 5u);
}

TEST(JsonUtilsTest, ParsingRefusesWhatNestsTooDeepOrOverflows)
{
	EXPECT_TRUE(FTarnwickJsonUtils::ParseValue(Nested(FTarnwickJsonUtils::MaxNestingDepth)));
	EXPECT_FALSE(FTarnwickJsonUtils::ParseValue(Nested(FTarnwickJsonUtils::MaxNestingDepth + 1)));
	EXPECT_FALSE(FTarnwickJsonUtils::ParseValue(Nested(53000)));
	EXPECT_FALSE(FTarnwickJsonUtils::Parse(R"({"FileVersion": 1e400})")) << "a number a double cannot hold is bad JSON";
	EXPECT_FALSE(FTarnwickJsonUtils::Parse("[1]")) << "not an object";
	EXPECT_TRUE(FTarnwickJsonUtils::Parse(R"({"a": 1})"));
}

TEST(JsonUtilsTest, ValuesAreDescribedInAFewWords)
{
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson(1)), "the number 1");
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson(2.5)), "the number 2.5");
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson("five")), "the string \"five\"");
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson(true)), "true");
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson(nullptr)), "null");
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson::array({1})), "an array of 1 item");
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson::array({1, 2})), "an array of 2 items");
	EXPECT_EQ(FTarnwickJsonUtils::Describe(FJson::object()), "an object");
	const std::string Long = FTarnwickJsonUtils::Describe(FJson(std::string(100, 'x')));
	EXPECT_EQ(Long, "the string \"" + std::string(40, 'x') + "…\" (100 bytes)");
	// A cut never splits a character.
	const std::string Accents = FTarnwickJsonUtils::Describe(FJson(std::string(39, 'x') + "éééé"));
	EXPECT_NE(Accents.find(std::string(39, 'x') + "…"), std::string::npos) << Accents;
}

TEST(JsonUtilsTest, FloatsPrintAsTheyAreWritten)
{
	EXPECT_EQ(FTarnwickJsonUtils::Write(FJson(static_cast<double>(75.55f))), "75.55000305175781") << "the bug this guards";
	EXPECT_EQ(FTarnwickJsonUtils::Write(FJson(FTarnwickJsonUtils::FloatAsShortestDouble(75.55f))), "75.55");
	EXPECT_EQ(FTarnwickJsonUtils::Write(FJson(FTarnwickJsonUtils::FloatAsShortestDouble(90.0f))), "90.0");
	EXPECT_EQ(FTarnwickJsonUtils::Write(FJson(FTarnwickJsonUtils::FloatAsShortestDouble(0.1f))), "0.1");
	for (const float F : {1e-40f, 3.14159265f, -123456.789f, 16777217.0f, 1e30f})
	{
		EXPECT_EQ(static_cast<float>(FTarnwickJsonUtils::FloatAsShortestDouble(F)), F) << "the float comes back exactly";
	}
	EXPECT_TRUE(std::isinf(FTarnwickJsonUtils::FloatAsShortestDouble(INFINITY)));
}
