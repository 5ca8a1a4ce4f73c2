// The rules every tool call from outside the editor passes before its handler runs, case by case: what is
// refused and with which words, what is converted, and the suggestions that name what was meant.
#include "Mcp/TarnwickArgumentCheck.h"
#include "Mcp/TarnwickNameSuggestion.h"
#include "TarnwickParamSchemaBuilder.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Mcp;

namespace
{
const FJson& SearchLogsSchema()
{
	static const FJson Schema = *FTarnwickParamSchemaBuilder()
									 .Optional("pattern", "string", "Text pattern to search for")
									 .Optional("category", "string", "Log category filter")
									 .Optional("limit", "integer", "Max results", "100")
									 .Build();
	return Schema;
}

const FJson& MixedSchema()
{
	static const FJson Schema = *FTarnwickParamSchemaBuilder()
									 .Optional("enabled", "bool", "State.")
									 .Optional("strict", "boolean", "Strictness.")
									 .Optional("fov", "number", "Degrees.")
									 .Optional("count", "integer", "How many.")
									 .Optional("location", "array", "[x, y, z].")
									 .Optional("spec", "object", "A spec.")
									 .Optional("log_patterns", "array|object", "Patterns.")
									 .Optional("debug", "boolean|string", "Debug.")
									 .Optional("anything", "vector", "A type the check does not know.")
									 .Add("since", "number", "Window.", false, "", false, {"since_seconds"})
									 .Build();
	return Schema;
}

/** The arguments after a successful check, or the refusal text prefixed with "refused: ". */
std::string Check(const FJson& Schema, const char* Arguments)
{
	FJson Args = FJson::parse(Arguments);
	if (std::optional<std::string> Refused = CheckArguments(Schema, Args, "editor_tool")) return "refused: " + *Refused;
	return Args.dump();
}
}

TEST(ArgumentCheckTest, UnknownNamesAreRefusedWithTheClosestKnownOne)
{
	EXPECT_EQ(Check(SearchLogsSchema(), R"({"patern": "PIE"})"),
		"refused: Unknown parameter 'patern' (did you mean 'pattern'?) for editor_tool; it takes 'pattern', 'category', 'limit'.");
	EXPECT_EQ(Check(SearchLogsSchema(), R"({"patern": "PIE", "lmit": 3, "zzz": 1})"),
		"refused: Unknown parameters for editor_tool: 'patern' (did you mean 'pattern'?), 'lmit' (did you mean 'limit'?), "
		"'zzz'; it takes 'pattern', 'category', 'limit'.");
	EXPECT_EQ(Check(FJson::object(), R"({"x": 1})"), "refused: Unknown parameter 'x' for editor_tool; it takes no parameters.");
	// The reserved session parameter is the server's to add, never the client's to send.
	EXPECT_NE(Check(SearchLogsSchema(), R"({"_tarnwick_session_id": "spoof"})").rfind("refused: Unknown parameter", 0), std::string::npos);
	// An alias is a known name.
	EXPECT_EQ(Check(MixedSchema(), R"({"since_seconds": "30"})"), R"({"since_seconds":30})");
}

TEST(ArgumentCheckTest, WrongTypesAreRefusedNamingTheParameterTheTypeAndWhatCame)
{
	struct FCase
	{
		const char* Arguments;
		const char* Expected;
	};
	const FCase Cases[] = {
		{R"({"enabled": 1})", "refused: Wrong type for editor_tool: 'enabled' must be a boolean (true or false), got the number 1."},
		{R"({"enabled": "yes"})", "refused: Wrong type for editor_tool: 'enabled' must be a boolean (true or false), got the string \"yes\"."},
		{R"({"count": "five"})", "refused: Wrong type for editor_tool: 'count' must be an integer, got the string \"five\"."},
		{R"({"count": 2.5})", "refused: Wrong type for editor_tool: 'count' must be an integer, got the number 2.5."},
		{R"({"count": "2.5"})", "refused: Wrong type for editor_tool: 'count' must be an integer, got the string \"2.5\"."},
		{R"({"fov": true})", "refused: Wrong type for editor_tool: 'fov' must be a number, got true."},
		{R"({"fov": " 90"})", "refused: Wrong type for editor_tool: 'fov' must be a number, got the string \" 90\"."},
		{R"({"fov": "0x10"})", "refused: Wrong type for editor_tool: 'fov' must be a number, got the string \"0x10\"."},
		{R"({"fov": "NaN"})", "refused: Wrong type for editor_tool: 'fov' must be a number, got the string \"NaN\"."},
		{R"({"fov": "1e400"})", "refused: Wrong type for editor_tool: 'fov' must be a number, got the string \"1e400\"."},
		{R"({"location": "[1,2,3]"})", "refused: Wrong type for editor_tool: 'location' must be an array, got the string \"[1,2,3]\"."},
		{R"({"spec": [1]})", "refused: Wrong type for editor_tool: 'spec' must be an object, got an array of 1 item."},
		{R"({"log_patterns": "x"})", "refused: Wrong type for editor_tool: 'log_patterns' must be an array or an object, got the string \"x\"."},
		{R"({"debug": 1})", "refused: Wrong type for editor_tool: 'debug' must be a boolean or a string, got the number 1."},
		{R"({"fov": [], "count": {}})", "refused: Wrong type for editor_tool: 'fov' must be a number, got an array of 0 items, "
										"'count' must be an integer, got an object."},
		{R"({"nope": 1, "fov": "x"})", "refused: Unknown parameter 'nope' for editor_tool; it takes 'enabled', 'strict', 'fov', "
									   "'count', 'location', 'spec', 'log_patterns', 'debug', 'anything', 'since', 'since_seconds'. "
									   "Wrong type for editor_tool: 'fov' must be a number, got the string \"x\"."},
	};
	for (const FCase& Case : Cases)
	{
		EXPECT_EQ(Check(MixedSchema(), Case.Arguments), Case.Expected) << Case.Arguments;
	}
}

TEST(ArgumentCheckTest, NumericAndBooleanTextIsTakenNullIsAbsentAndWholeNumbersAreIntegers)
{
	struct FCase
	{
		const char* Arguments;
		const char* Expected;
	};
	const FCase Cases[] = {
		{R"({"count": "5"})", R"({"count":5})"},
		{R"({"count": "-3"})", R"({"count":-3})"},
		{R"({"count": 2.0})", R"({"count":2})"},
		{R"({"count": "1e3"})", R"({"count":1000})"},
		{R"({"fov": "75.5"})", R"({"fov":75.5})"},
		{R"({"fov": 90})", R"({"fov":90})"},
		{R"({"enabled": "true"})", R"({"enabled":true})"},
		{R"({"strict": "FALSE"})", R"({"strict":false})"},
		{R"({"enabled": false})", R"({"enabled":false})"},
		{R"({"debug": "verbose"})", R"({"debug":"verbose"})"},
		{R"({"debug": "true"})", R"({"debug":"true"})"},
		{R"({"debug": true})", R"({"debug":true})"},
		{R"({"log_patterns": ["a"]})", R"({"log_patterns":["a"]})"},
		{R"({"log_patterns": {"warn": []}})", R"({"log_patterns":{"warn":[]}})"},
		{R"({"anything": "whatever"})", R"({"anything":"whatever"})"},
		{R"({"anything": [1]})", R"({"anything":[1]})"},
		{R"({"fov": null, "count": null, "unknown_but_null": null})", R"({})"},
		{R"({})", R"({})"},
	};
	for (const FCase& Case : Cases)
	{
		EXPECT_EQ(Check(MixedSchema(), Case.Arguments), Case.Expected) << Case.Arguments;
	}
}

TEST(ArgumentCheckTest, TypeNamesReadAsTheirValues)
{
	EXPECT_EQ(DescribeParamType("bool"), "a boolean (true or false)");
	EXPECT_EQ(DescribeParamType("integer"), "an integer");
	EXPECT_EQ(DescribeParamType("array|object"), "an array or an object");
	EXPECT_EQ(DescribeParamType("string|number|boolean"), "a string, a number or a boolean");
}

TEST(NameSuggestionTest, TheClosestNameWithinAThirdOfTheLengthOrAShortenedOne)
{
	const std::vector<std::string> Known = {"pattern", "category", "verbosity", "limit"};
	struct FCase
	{
		const char* Given;
		const char* Expected;
	};
	const FCase Cases[] = {
		{"patern", "pattern"}, {"Pattern", "pattern"}, {"PATTERN", "pattern"}, {"pattren", "pattern"}, {"catgory", "category"},
		{"limt", "limit"}, {"lim", "limit"}, {"verbosty", "verbosity"}, {"verbose", ""}, {"xyz", ""}, {"", ""}, {"pattern", ""},
		{"count", ""}, {"li", ""}, {"patternsearch", ""},
	};
	for (const FCase& Case : Cases)
	{
		const std::optional<std::string> Got = SuggestClosest(Case.Given, Known);
		EXPECT_EQ(Got.value_or(""), Case.Expected) << Case.Given;
	}
	EXPECT_EQ(EditDistance("tail_log", "tial_log"), 1u) << "a swap of neighbours is one edit";
	EXPECT_EQ(EditDistance("", "abc"), 3u);
	EXPECT_EQ(DidYouMean("patern", Known), " (did you mean 'pattern'?)");
	EXPECT_EQ(DidYouMean("qqq", Known), "");
	EXPECT_EQ(SuggestClosest("editor_nope", {"editor", "editor_pause_pie"}), std::nullopt)
		<< "a namespace is no answer to a misspelt tool";
}
