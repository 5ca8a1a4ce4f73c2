#include "SmokeSuiteInputs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace Tarnwick::Reports
{
namespace
{
class FSpecFolder
{
public:
	FSpecFolder()
	{
		std::random_device Rd;
		Root = std::filesystem::temp_directory_path() / ("tarnwick-specs-" + std::to_string(Rd()) + std::to_string(Rd()));
		std::filesystem::create_directories(Root);
	}
	~FSpecFolder()
	{
		std::error_code Ec;
		std::filesystem::remove_all(Root, Ec);
	}
	std::string Write(const std::string& Relative, const std::string& Text) const
	{
		const std::filesystem::path File = Root / Relative;
		std::filesystem::create_directories(File.parent_path());
		std::ofstream(File) << Text;
		return File.string();
	}
	std::string Path(const std::string& Relative = std::string()) const { return (Root / Relative).string(); }

private:
	std::filesystem::path Root;
};
}

TEST(CollectSpecs, FilesAndFoldersInTheOrderGiven)
{
	FSpecFolder Dir;
	Dir.Write("Smoke/b_walk.json", R"({"duration": 2})");
	Dir.Write("Smoke/a_chase.JSON", R"({"duration": 3})");
	Dir.Write("Smoke/notes.txt", "not a spec");
	Dir.Write("Smoke/nested/c.json", R"({})");
	const std::string Single = Dir.Write("single.json", R"({"map": "/Game/Maps/Arena"})");

	const std::vector<FSmokeSpecResult> Specs = CollectSpecs({Single, Dir.Path("Smoke")});
	ASSERT_EQ(Specs.size(), 3u);
	EXPECT_EQ(Specs[0].Name, "single");
	EXPECT_EQ(Specs[0].Spec["map"], "/Game/Maps/Arena");
	// A folder gives its own .json files in name order, not its subfolders'.
	EXPECT_EQ(Specs[1].Name, "a_chase");
	EXPECT_EQ(Specs[1].Spec["duration"], 3);
	EXPECT_EQ(Specs[2].Name, "b_walk");
	for (const FSmokeSpecResult& Spec : Specs)
	{
		EXPECT_EQ(Spec.Outcome, ESmokeOutcome::Ran) << Spec.ErrorMessage;
	}
}

TEST(CollectSpecs, WhatCannotBeRunIsUnreadableWithItsReason)
{
	FSpecFolder Dir;
	const std::string Broken = Dir.Write("broken.json", R"({"duration": )");
	const std::string Array = Dir.Write("array.json", R"([{"duration": 1}])");
	Dir.Write("empty/readme.md", "nothing here");
	const std::vector<FSmokeSpecResult> Specs = CollectSpecs({Broken, Array, Dir.Path("missing.json"), Dir.Path("empty")});
	ASSERT_EQ(Specs.size(), 4u);
	for (const FSmokeSpecResult& Spec : Specs)
	{
		EXPECT_EQ(Spec.Outcome, ESmokeOutcome::Unreadable) << Spec.Name;
	}
	EXPECT_EQ(Specs[0].ErrorMessage, "Spec file '" + Broken + "' is not valid JSON.");
	EXPECT_EQ(Specs[1].ErrorMessage, "Spec file '" + Array + "' must hold one JSON object (the run_pie_smoke parameters).");
	EXPECT_EQ(Specs[2].ErrorMessage, "No such spec file or folder '" + Dir.Path("missing.json") + "'.");
	EXPECT_EQ(Specs[2].Name, "missing");
	EXPECT_EQ(Specs[3].ErrorMessage, "Folder '" + Dir.Path("empty") + "' holds no .json spec files.");
}

TEST(CollectSpecs, RepeatedNamesAreNumbered)
{
	FSpecFolder Dir;
	const std::string A = Dir.Write("one/walk.json", "{}");
	const std::string B = Dir.Write("two/Walk.json", "{}");
	const std::vector<FSmokeSpecResult> Specs = CollectSpecs({A, B, A});
	ASSERT_EQ(Specs.size(), 3u);
	EXPECT_EQ(Specs[0].Name, "walk");
	EXPECT_EQ(Specs[1].Name, "Walk_2");
	EXPECT_EQ(Specs[2].Name, "walk_3");
}

namespace
{
FJson LogReport(const std::string& Boundary)
{
	FJson Report;
	Report["marker"] = "TARNWICK_SMOKE";
	Report["grouped_counts"] = {
		{"active_runtime", {{"must_absent", {{"Blueprint Runtime Error", 0}, {"Accessed None", 1}, {"LogChooser", 1}}}}},
		{"ignore_after_pattern", Boundary},
	};
	return Report;
}
}

TEST(FindMustAbsentLines, OnlyTheLatestSessionsLinesSplitAtTheBoundary)
{
	const std::vector<FLogLine> Log = {
		{10.0, "LogTarnwick", "display", "TARNWICK_SMOKE begin (map=/Game/Maps/Arena)"},
		{10.5, "LogScript", "warning", "Accessed None from the previous session"},
		{20.0, "LogTarnwick", "display", "TARNWICK_SMOKE begin (map=/Game/Maps/Arena)"},
		{20.25, "LogScript", "warning", "Script Msg: accessed none trying to read Target"},
		{20.5, "LogChooser", "error", "Chooser table has no match"},
		{20.75, "LogTemp", "log", "nothing to see"},
		{21.0, "LogWorld", "log", "BeginTearingDown for /Game/Maps/UEDPIE_0_Arena"},
		{21.5, "LogScript", "warning", "Accessed None during EndPlay"},
	};
	const std::vector<FMatchedLogLine> Lines = FindMustAbsentLines(Log, LogReport("BeginTearingDown"));
	ASSERT_EQ(Lines.size(), 3u);
	EXPECT_DOUBLE_EQ(Lines[0].Seconds, 0.25);
	EXPECT_EQ(Lines[0].Bucket, "active_runtime");
	EXPECT_EQ(Lines[0].Pattern, "Accessed None");
	EXPECT_EQ(Lines[0].Message, "Script Msg: accessed none trying to read Target");
	// A category name works as a pattern.
	EXPECT_EQ(Lines[1].Pattern, "LogChooser");
	EXPECT_EQ(Lines[1].Category, "LogChooser");
	EXPECT_EQ(Lines[2].Bucket, "teardown");
	EXPECT_DOUBLE_EQ(Lines[2].Seconds, 1.5);

	// Without a boundary everything after the marker is active runtime.
	const std::vector<FMatchedLogLine> NoSplit = FindMustAbsentLines(Log, LogReport(""));
	ASSERT_EQ(NoSplit.size(), 3u);
	EXPECT_EQ(NoSplit[2].Bucket, "active_runtime");
}

TEST(FindMustAbsentLines, ALineMatchingTwoPatternsIsListedForEachAndTheLimitHolds)
{
	std::vector<FLogLine> Log = {{0.0, "LogTarnwick", "display", "TARNWICK_SMOKE begin"}};
	Log.push_back({1.0, "LogChooser", "error", "Accessed None in chooser"});
	EXPECT_EQ(FindMustAbsentLines(Log, LogReport("BeginTearingDown")).size(), 2u);
	for (int I = 0; I < 50; ++I)
	{
		Log.push_back({2.0 + I, "LogScript", "warning", "Accessed None"});
	}
	EXPECT_EQ(FindMustAbsentLines(Log, LogReport("BeginTearingDown"), 10).size(), 10u);
	// No marker in the log (it rolled out of the ring): nothing can be attributed to the session.
	Log.erase(Log.begin());
	EXPECT_TRUE(FindMustAbsentLines(Log, LogReport("BeginTearingDown")).empty());
}
}
