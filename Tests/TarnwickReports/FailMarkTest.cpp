#include "FailMark.h"

#include <gtest/gtest.h>

namespace Tarnwick::Reports
{
namespace
{
FVarSeries Numbers(const std::vector<double>& T, const std::vector<double>& V)
{
	FVarSeries Series;
	Series.Name = "Dist";
	Series.Kind = EValueKind::Number;
	Series.T = T;
	Series.V = V;
	Series.SegmentStarts = {0};
	return Series;
}

FExpectationView Failed(const std::string& Op, double Threshold)
{
	FExpectationView View;
	View.Id = "e0";
	View.Op = Op;
	View.ThresholdOp = Op;
	View.Threshold = Threshold;
	View.Verdict = EVerdict::Fail;
	View.DecidedAt = 9.0;
	return View;
}
}

TEST(FailMark, ANeverReachedThresholdIsMarkedAtTheClosestSampleInsideTheWindow)
{
	// The lowest value (5) is before the window; inside it the closest to "< 10" is 12 at t=3.
	const FVarSeries Series = Numbers({0, 1, 2, 3, 4}, {5, 30, 20, 12, 15});
	FExpectationView View = Failed("lt", 10.0);
	View.WindowFrom = 1.0;
	const std::optional<FFailMark> Mark = FindFailMark(Series, View);
	ASSERT_TRUE(Mark.has_value());
	EXPECT_EQ(Mark->Sample, 3u);
	EXPECT_DOUBLE_EQ(Mark->T, 3.0);
	EXPECT_EQ(Mark->Y, 12.0);
	EXPECT_EQ(Mark->Label, "closest: 12");

	// "> 40" came closest at the highest value; "= 21" at the nearest one; a band at the least distance to it.
	EXPECT_EQ(FindFailMark(Series, Failed("gt", 40.0))->Sample, 1u);
	EXPECT_EQ(FindFailMark(Series, Failed("eq", 21.0))->Sample, 2u);
	FExpectationView Band = Failed("between", 0.0);
	Band.Threshold.reset();
	Band.Min = 16.0;
	Band.Max = 18.0;
	EXPECT_EQ(FindFailMark(Series, Band)->Sample, 4u);
}

TEST(FailMark, ADeadlineLimitsTheSearchToBeforeIt)
{
	const FVarSeries Series = Numbers({0, 1, 2, 3}, {0, 100, 200, 290});
	FExpectationView View = Failed("gte", 300.0);
	View.Op = "becomes_within";
	View.Seconds = 2.0;
	EXPECT_EQ(FindFailMark(Series, View)->Sample, 2u);
}

TEST(FailMark, AViolatingSampleIsMarkedAtItsTimeWithItsValue)
{
	const FVarSeries Series = Numbers({0, 0.5, 1.0, 1.5}, {1, 2, 3, 4});
	FExpectationView View = Failed("lt", 2.5);
	View.bHasViolation = true;
	View.ViolationActual = 3;
	View.DecidedAt = 1.0;
	const std::optional<FFailMark> Mark = FindFailMark(Series, View);
	ASSERT_TRUE(Mark.has_value());
	EXPECT_EQ(Mark->Sample, 2u);
	EXPECT_EQ(Mark->Y, 3.0);
	EXPECT_EQ(Mark->Label, "violated: 3");

	// A string violation has no height: it is marked at its time on the strip.
	FVarSeries States = Series;
	States.Kind = EValueKind::String;
	View.ViolationActual = "Falling";
	EXPECT_FALSE(FindFailMark(States, View)->Y.has_value());
	EXPECT_EQ(FindFailMark(States, View)->Label, "violated: Falling");
}

TEST(FailMark, AVectorComponentIsMarkedOnItsOwnLine)
{
	FVarSeries Series = Numbers({0, 1, 2}, {0, 0, 0});
	Series.Kind = EValueKind::Vector;
	Series.C = {std::vector<double>{1, 2, 3}, std::vector<double>{9, -4, 7}, std::vector<double>{0, 0, 0}};
	FExpectationView View = Failed("gt", 10.0);
	View.Var.Selector = "y";
	const std::optional<FFailMark> Mark = FindFailMark(Series, View);
	ASSERT_TRUE(Mark.has_value());
	EXPECT_EQ(Mark->Channel, 1);
	EXPECT_EQ(Mark->Sample, 0u);
	EXPECT_EQ(Mark->Y, 9.0);
}

TEST(FailMark, OtherwiseTheDecisionTimeAndNothingForAPass)
{
	FVarSeries Bools = Numbers({0, 1, 2}, {0, 0, 0});
	Bools.Kind = EValueKind::Bool;
	FExpectationView View;
	View.Id = "never_true";
	View.Op = "becomes_true_within";
	View.Verdict = EVerdict::Warn;
	View.DecidedAt = 1.5;
	const std::optional<FFailMark> Mark = FindFailMark(Bools, View);
	ASSERT_TRUE(Mark.has_value());
	EXPECT_DOUBLE_EQ(Mark->T, 1.5);
	EXPECT_FALSE(Mark->Y.has_value());
	EXPECT_EQ(Mark->Sample, 1u);
	View.Verdict = EVerdict::Pass;
	EXPECT_FALSE(FindFailMark(Bools, View).has_value());
	View.Verdict = EVerdict::Pending;
	EXPECT_FALSE(FindFailMark(Bools, View).has_value());
}
}
