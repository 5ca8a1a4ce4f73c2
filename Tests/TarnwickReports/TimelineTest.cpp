#include "Timeline.h"

#include <gtest/gtest.h>

#include <cmath>

namespace Tarnwick::Reports
{
namespace
{
FJson Row(double T, FJson Values)
{
	return {{"t", T}, {"frame", static_cast<int>(T * 60)}, {"values", std::move(Values)}};
}

const FVarSeries& Var(const FTimeline& Timeline, const std::string& Name)
{
	for (const FVarSeries& Series : Timeline.Vars)
	{
		if (Series.Name == Name)
		{
			return Series;
		}
	}
	throw std::runtime_error("no variable " + Name);
}
}

TEST(Timeline, ReadsEveryKindInSummaryOrder)
{
	FJson Report;
	Report["var_summary"] = FJson::parse(R"({"Speed": {"kind": "number"}, "Moving": {"kind": "bool"}, "Mode": {"kind": "string"},
		"Vel": {"kind": "vector"}, "Rot": {"kind": "rotator"}, "Target": {"kind": "object"}, "Raw": {"kind": "json"}})");
	Report["samples"] = FJson::array({
		Row(0.0, FJson::parse(R"({"Raw": {"a": 1}, "Speed": 1.5, "Moving": false, "Mode": "Idle", "Vel": [3, 4, 0], "Rot": [0, 90, 0], "Target": "None"})")),
		Row(0.5, FJson::parse(R"({"Speed": 2.5, "Moving": true, "Mode": "Walking", "Vel": [0, 0, 2], "Rot": [0, 45, 0], "Target": "/Game/Maps/Arena.Arena:PersistentLevel.Crate_1", "Raw": [1]})")),
		Row(1.0, FJson::parse(R"({"Speed": -1, "Moving": true, "Mode": "Idle", "Vel": [1, 2, 2], "Rot": [0, 0, 0], "Target": "None", "Raw": null})")),
	});
	const FTimeline Timeline = ExtractTimeline(Report);
	ASSERT_EQ(Timeline.Vars.size(), 7u);
	EXPECT_EQ(Timeline.Vars[0].Name, "Speed");
	EXPECT_EQ(Timeline.Vars[6].Name, "Raw");
	EXPECT_EQ(Timeline.RowCount, 3u);
	EXPECT_EQ(Timeline.LastT, 1.0);

	EXPECT_EQ(Var(Timeline, "Speed").V, (std::vector<double>{1.5, 2.5, -1.0}));
	EXPECT_EQ(Var(Timeline, "Moving").V, (std::vector<double>{0.0, 1.0, 1.0}));
	// States are numbered in order of first appearance; a state that comes back keeps its number.
	EXPECT_EQ(Var(Timeline, "Mode").V, (std::vector<double>{0.0, 1.0, 0.0}));
	EXPECT_EQ(Var(Timeline, "Mode").States, (std::vector<std::string>{"Idle", "Walking"}));
	EXPECT_EQ(Var(Timeline, "Target").Kind, EValueKind::Object);
	EXPECT_EQ(Var(Timeline, "Target").States.size(), 2u);
	// Vectors plot their length; the components stay for the on-demand plot.
	EXPECT_EQ(Var(Timeline, "Vel").V, (std::vector<double>{5.0, 2.0, 3.0}));
	EXPECT_EQ(Var(Timeline, "Vel").C[2], (std::vector<double>{0.0, 2.0, 2.0}));
	EXPECT_EQ(Var(Timeline, "Rot").Kind, EValueKind::Rotator);
	EXPECT_EQ(Var(Timeline, "Rot").C[1], (std::vector<double>{90.0, 45.0, 0.0}));
	EXPECT_EQ(Var(Timeline, "Raw").Size(), 3u);
	EXPECT_TRUE(Var(Timeline, "Raw").LastRaw.is_null());
}

TEST(Timeline, AbsentValuesBreakTheLineIntoSegments)
{
	FJson Report;
	Report["var_summary"] = FJson::parse(R"({"Enemy": {"kind": "number"}, "Never": {"kind": "missing"}})");
	Report["samples"] = FJson::array({
		Row(0.0, FJson::object()),
		Row(0.1, {{"Enemy", 1}}),
		Row(0.2, {{"Enemy", 2}}),
		Row(0.3, FJson::object()),
		Row(0.4, {{"Enemy", 4}}),
	});
	const FTimeline Timeline = ExtractTimeline(Report);
	const FVarSeries& Enemy = Var(Timeline, "Enemy");
	EXPECT_EQ(Enemy.T, (std::vector<double>{0.1, 0.2, 0.4}));
	EXPECT_EQ(Enemy.SegmentStarts, (std::vector<size_t>{0, 2}));
	EXPECT_EQ(Enemy.SegmentEnd(0), 2u);
	EXPECT_EQ(Enemy.SegmentEnd(1), 3u);
	// A variable that never resolved keeps its place (one plot per variable) with no samples.
	EXPECT_EQ(Var(Timeline, "Never").Size(), 0u);
	EXPECT_EQ(Var(Timeline, "Never").Kind, EValueKind::Missing);
}

TEST(Timeline, ValuesOfTheWrongKindAreCountedNotDrawn)
{
	FJson Report;
	Report["var_summary"] = FJson::parse(R"({"Speed": {"kind": "number"}, "Vel": {"kind": "vector"}})");
	Report["samples"] = FJson::array({
		Row(0.0, FJson::parse(R"({"Speed": 1, "Vel": [1, 2, 3]})")),
		Row(0.1, FJson::parse(R"({"Speed": "fast", "Vel": [1, 2]})")),
		Row(0.2, FJson::parse(R"({"Speed": 3, "Vel": [1, 2, 3]})")),
	});
	const FTimeline Timeline = ExtractTimeline(Report);
	EXPECT_EQ(Var(Timeline, "Speed").Mismatched, 1u);
	EXPECT_EQ(Var(Timeline, "Speed").V, (std::vector<double>{1.0, 3.0}));
	EXPECT_EQ(Var(Timeline, "Vel").Mismatched, 1u);
	EXPECT_EQ(Var(Timeline, "Vel").C[0].size(), Var(Timeline, "Vel").T.size());
}

TEST(Timeline, VariablesMissingFromTheSummaryAndReorderedRows)
{
	// An older report without var_summary, and rows whose value order changes: every value must still land
	// on its own variable.
	FJson Report;
	Report["samples"] = FJson::array({
		Row(0.0, {{"A", 1}, {"B", true}}),
		Row(0.1, {{"B", false}, {"A", 2}}),
		Row(0.2, {{"C", "x"}, {"A", 3}}),
		Row(0.3, FJson::object()),
	});
	const FTimeline Timeline = ExtractTimeline(Report);
	ASSERT_EQ(Timeline.Vars.size(), 3u);
	EXPECT_EQ(Var(Timeline, "A").V, (std::vector<double>{1.0, 2.0, 3.0}));
	EXPECT_EQ(Var(Timeline, "B").Kind, EValueKind::Bool);
	EXPECT_EQ(Var(Timeline, "B").V, (std::vector<double>{1.0, 0.0}));
	EXPECT_EQ(Var(Timeline, "C").Kind, EValueKind::String);
}

TEST(Timeline, RowsWithoutATimeAreSkipped)
{
	FJson Report;
	Report["samples"] = FJson::array({Row(0.0, {{"A", 1}}), FJson::parse(R"({"values": {"A": 9}})"), Row(0.2, {{"A", 3}})});
	const FTimeline Timeline = ExtractTimeline(Report);
	EXPECT_EQ(Timeline.RowCount, 2u);
	EXPECT_EQ(Var(Timeline, "A").V, (std::vector<double>{1.0, 3.0}));
}
}
