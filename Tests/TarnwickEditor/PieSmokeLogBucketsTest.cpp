// Log pattern buckets over plain log lines: the default must-absent set, the grouped and flat forms, the teardown
// split, category matches, and the report keys with their counts.
#include "PieSmoke/LogPatternBuckets.h"

#include <gtest/gtest.h>

using namespace Tarnwick::PieSmoke;

namespace
{
FTarnwickLogEntry Line(const char* Category, const char* Message)
{
	FTarnwickLogEntry Entry;
	Entry.Category = FTarnwickLogCategoryName(Category);
	Entry.Verbosity = ELogVerbosity::Log;
	Entry.Message = Message;
	return Entry;
}

FLogPatterns Patterns(const char* Json)
{
	return ParseLogPatterns(FJson::parse(Json));
}

FJson Section(const FLogPatterns& P, const std::string& IgnoreAfter, bool bTeardownAllowed, const std::vector<FTarnwickLogEntry>& Lines)
{
	FJson Report = FJson::object();
	WriteLogSection(P, IgnoreAfter, bTeardownAllowed, EvaluateLogBuckets(P, IgnoreAfter, bTeardownAllowed, Lines), Report);
	return Report;
}
}

TEST(PieSmokeLogBuckets, ParsingKeepsTheDefaultsFirstAndDropsRepeats)
{
	const FLogPatterns None = Patterns("{}");
	EXPECT_EQ(None.MustAbsent, (std::vector<std::string>{"Blueprint Runtime Error", "Accessed None", "LogChooser"}));
	EXPECT_EQ(None.Legacy, None.MustAbsent);
	EXPECT_TRUE(None.MustPresent.empty());

	const FLogPatterns Grouped = Patterns(R"({"log_patterns": {"must_absent": ["accessed none", "Ensure", "", 5, "Ensure"],
		"must_present": ["Ready"], "observe_only": ["Tick"], "warn": ["Slow"]}})");
	EXPECT_EQ(Grouped.MustAbsent, (std::vector<std::string>{"Blueprint Runtime Error", "Accessed None", "LogChooser", "Ensure"}));
	EXPECT_EQ(Grouped.MustPresent, std::vector<std::string>{"Ready"});
	EXPECT_EQ(Grouped.ObserveOnly, std::vector<std::string>{"Tick"});
	EXPECT_EQ(Grouped.Warn, std::vector<std::string>{"Slow"});

	// The flat legacy form is the grouped form's must_absent; anything else adds nothing and never refuses.
	EXPECT_EQ(Patterns(R"({"log_patterns": ["Ensure"]})").MustAbsent, Patterns(R"({"log_patterns": {"must_absent": ["Ensure"]}})").MustAbsent);
	EXPECT_EQ(Patterns(R"({"log_patterns": 7})").MustAbsent.size(), 3u);
}

TEST(PieSmokeLogBuckets, DefaultsFailOnAccessedNoneAndOnTheChooserCategory)
{
	const FLogPatterns P = Patterns("{}");
	EXPECT_TRUE(EvaluateLogBuckets(P, "BeginTearingDown", true, {Line("LogTemp", "all fine")}).bLogOk);
	EXPECT_FALSE(EvaluateLogBuckets(P, "BeginTearingDown", true, {Line("LogScript", "Accessed None trying to read Target")}).bLogOk);
	// A category name works as a pattern: any line of LogChooser fails.
	EXPECT_FALSE(EvaluateLogBuckets(P, "BeginTearingDown", true, {Line("LogChooser", "picked nothing")}).bLogOk);
}

TEST(PieSmokeLogBuckets, TheTeardownBucketOnlyCountsWhenTeardownIsNotAllowed)
{
	const FLogPatterns P = Patterns(R"({"log_patterns": {"must_present": ["Ready"]}})");
	const std::vector<FTarnwickLogEntry> Lines = {Line("LogTemp", "Ready"), Line("LogWorld", "BeginTearingDown for /Game/Maps/UEDPIE_0_Arena"),
		Line("LogScript", "Accessed None in teardown"), Line("LogTemp", "Ready again")};
	const FLogEvaluation Allowed = EvaluateLogBuckets(P, "BeginTearingDown", true, Lines);
	EXPECT_TRUE(Allowed.bLogOk);
	EXPECT_EQ(Allowed.ActiveEntryCount, 1);
	EXPECT_EQ(Allowed.TeardownEntryCount, 3);
	EXPECT_EQ(Allowed.TeardownMustAbsentTotal, 1);
	EXPECT_FALSE(EvaluateLogBuckets(P, "BeginTearingDown", false, Lines).bLogOk);
	// Without the split every line is active runtime.
	const FLogEvaluation NoSplit = EvaluateLogBuckets(P, "", true, Lines);
	EXPECT_FALSE(NoSplit.bLogOk);
	EXPECT_EQ(NoSplit.ActiveEntryCount, 4);
	EXPECT_EQ(NoSplit.TeardownEntryCount, 0);
}

TEST(PieSmokeLogBuckets, AMustPresentMatchOnlyInTeardownIsStillMissing)
{
	const FLogPatterns P = Patterns(R"({"log_patterns": {"must_present": ["Goodbye"]}})");
	const FJson Report = Section(P, "BeginTearingDown", true, {Line("LogTemp", "hello"), Line("LogWorld", "BeginTearingDown"), Line("LogTemp", "Goodbye")});
	EXPECT_EQ(Report["missing_must_present"], FJson::parse(R"(["Goodbye"])"));
	EXPECT_FALSE(EvaluateLogBuckets(P, "BeginTearingDown", true, {Line("LogWorld", "BeginTearingDown"), Line("LogTemp", "Goodbye")}).bLogOk);
}

TEST(PieSmokeLogBuckets, ReportKeysCountEveryGroupInPatternOrder)
{
	const FLogPatterns P = Patterns(R"({"log_patterns": {"must_absent": ["Ensure"], "must_present": ["Ready", "Never"],
		"observe_only": ["tick"], "warn": ["Slow", "Quiet"]}})");
	const FJson Report = Section(P, "BeginTearingDown", true,
		{Line("LogTemp", "Ready"), Line("LogTemp", "slow frame"), Line("LogTemp", "SLOW frame tick"), Line("LogTemp", "Ensure failed"),
			Line("LogWorld", "BeginTearingDown"), Line("LogTemp", "Ensure failed")});
	const FJson Expected = FJson::parse(R"J({
		"grouped_counts": {
			"active_runtime": {
				"must_absent": {"Blueprint Runtime Error": 0, "Accessed None": 0, "LogChooser": 0, "Ensure": 1},
				"must_present": {"Ready": 1, "Never": 0},
				"observe_only": {"tick": 1},
				"warn": {"Slow": 2, "Quiet": 0},
				"entry_count": 4
			},
			"teardown": {"must_absent": {"Blueprint Runtime Error": 0, "Accessed None": 0, "LogChooser": 0, "Ensure": 1}, "entry_count": 2, "allowed": true},
			"ignore_after_pattern": "BeginTearingDown"
		},
		"warnings": ["Slow (x2)"],
		"missing_must_present": ["Never"],
		"post_marker_counts": {"Blueprint Runtime Error": 0, "Accessed None": 0, "LogChooser": 0, "Ensure": 1},
		"total_matches": 1
	})J");
	EXPECT_EQ(Report, Expected);
	EXPECT_EQ(Report.dump(), Expected.dump()) << "key order is part of the report";
}

TEST(PieSmokeLogBuckets, ALineMatchingTwoPatternsCountsForEach)
{
	const FLogPatterns P = Patterns(R"({"log_patterns": {"observe_only": ["Accessed", "None"]}})");
	const FLogEvaluation E = EvaluateLogBuckets(P, "", true, {Line("LogScript", "Accessed None")});
	EXPECT_EQ(E.ActiveCounts[static_cast<size_t>(ELogGroup::ObserveOnly)], (std::vector<int32>{1, 1}));
	EXPECT_EQ(E.ActiveMustAbsentTotal, 1);
}
