#include "ExpectationView.h"

#include <gtest/gtest.h>

namespace Tarnwick::Reports
{
TEST(ExpectationView, SplitsOnlyKnownSelectors)
{
	EXPECT_EQ(SplitVarRef("Velocity.len").Name, "Velocity");
	EXPECT_EQ(SplitVarRef("Velocity.LEN").Selector, "len");
	EXPECT_EQ(SplitVarRef("Health.base").Selector, "base");
	// A dotted name whose last part is not a selector is the whole variable name.
	EXPECT_EQ(SplitVarRef("CharacterMovement.Velocity").Name, "CharacterMovement.Velocity");
	EXPECT_EQ(SplitVarRef("CharacterMovement.Velocity").Selector, "");
	EXPECT_EQ(SplitVarRef("a.b.x").Name, "a.b");
	EXPECT_EQ(SplitVarRef("x").Name, "x");
}

TEST(ExpectationView, JoinsResultsWithSpecEntriesByIdOrPosition)
{
	const FJson Spec = FJson::parse(R"({"expect": [
		{"op": "lt", "var": "Dist", "value": 150, "when": "ever", "window": {"from": 1.0}},
		{"id": "fast", "op": "gt", "var": "Vel.len", "value": 200, "severity": "WARN"},
		{"op": "becomes_within", "var": "Speed", "seconds": 2, "predicate": {"op": "gte", "value": 300}},
		{"op": "stays_within_for", "var": "Yaw", "min": -5, "max": 5, "seconds": 1}
	]})");
	// Results come in entry order but the join must not depend on it.
	const FJson Report = FJson::parse(R"({"expectations": [
		{"id": "fast", "op": "gt", "passed": false, "severity": "warn", "spec": "Vel.len > 200", "margin": -12.5, "decided_at": 3.0,
		 "first_violation": {"sample_index": 4, "actual": 187.5}},
		{"id": "e0", "op": "lt", "passed": false, "severity": "error", "spec": "Dist < 150", "reason": "never_satisfied", "margin": null,
		 "decided_at": 6.0},
		{"id": "e2", "op": "becomes_within", "passed": true, "severity": "error", "spec": "Speed reaches 300 within 2s"}
	]})");
	const std::vector<FExpectationView> Views = BuildExpectationViews(Report, Spec);
	ASSERT_EQ(Views.size(), 4u);

	EXPECT_EQ(Views[0].Id, "fast");
	EXPECT_EQ(Views[0].Verdict, EVerdict::Warn);
	EXPECT_EQ(Views[0].Var.Name, "Vel");
	EXPECT_EQ(Views[0].Var.Selector, "len");
	EXPECT_EQ(Views[0].Threshold, 200.0);
	EXPECT_TRUE(Views[0].bHasViolation);
	EXPECT_EQ(Views[0].ViolationActual, 187.5);
	EXPECT_EQ(Views[0].Margin, -12.5);

	EXPECT_EQ(Views[1].Id, "e0");
	EXPECT_EQ(Views[1].Verdict, EVerdict::Fail);
	EXPECT_EQ(Views[1].When, "ever");
	EXPECT_EQ(Views[1].WindowFrom, 1.0);
	EXPECT_FALSE(Views[1].WindowTo.has_value());
	// A null margin is "meaningless", not zero.
	EXPECT_FALSE(Views[1].Margin.has_value());

	// becomes_within draws its predicate's value as the line it waits for.
	EXPECT_EQ(Views[2].Threshold, 300.0);
	EXPECT_EQ(Views[2].ThresholdOp, "gte");
	EXPECT_EQ(Views[2].Seconds, 2.0);

	// An entry the report has no result for is shown as not evaluated, never as passed.
	EXPECT_EQ(Views[3].Id, "e3");
	EXPECT_EQ(Views[3].Verdict, EVerdict::Pending);
	EXPECT_EQ(Views[3].Min, -5.0);
	EXPECT_EQ(Views[3].Max, 5.0);
}

TEST(ExpectationView, StringValuesDrawNoThreshold)
{
	const FJson Spec = FJson::parse(R"({"expect": [{"op": "eq", "var": "Mode", "value": "Walking"}]})");
	const FJson Report = FJson::parse(R"({"expectations": [{"id": "e0", "op": "eq", "passed": true}]})");
	const std::vector<FExpectationView> Views = BuildExpectationViews(Report, Spec);
	ASSERT_EQ(Views.size(), 1u);
	EXPECT_FALSE(Views[0].Threshold.has_value());
	EXPECT_EQ(Views[0].Value, "Walking");
	EXPECT_EQ(Views[0].When, "always");
}

TEST(ExpectationView, SurvivesMalformedInput)
{
	const FJson Spec = FJson::parse(R"({"expect": "not an array"})");
	const FJson Report = FJson::parse(R"({"expectations": [42, {"passed": "yes"}]})");
	const std::vector<FExpectationView> Views = BuildExpectationViews(Report, Spec);
	ASSERT_EQ(Views.size(), 2u);
	EXPECT_EQ(Views[1].Verdict, EVerdict::Pending);
}
}
