// The expect grammar: defaults, every parse error (the first stops the parse), and the pre-flight refusals,
// all collected so that one refusal names every entry that can never be satisfied.
#include "Expectations/ExpectationParser.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Expectations;

namespace
{
const std::vector<std::string> Names = {"speed", "grounded", "state", "vel"};

FParsedExpectations Parse(const std::string& Json, double Duration = 5.0) { return ParseExpectations(FJson::parse(Json), Names, Duration); }

std::string ParseError(const std::string& Entry) { return Parse("[" + Entry + "]").ParseError; }

std::vector<std::string> Unsatisfiable(const std::string& Entries, double Duration = 5.0)
{
	const FParsedExpectations P = Parse("[" + Entries + "]", Duration);
	EXPECT_EQ(P.ParseError, "");
	return P.Unsatisfiable;
}

TEST(ExpectationGrammar, DefaultsAndTypedLiterals)
{
	const FParsedExpectations P = Parse(R"([
		{"op": "EQ", "var": "speed", "value": 3},
		{"id": "named", "op": "contains", "var": "state", "value": "walk", "severity": "Warn", "when": "Ever"},
		{"op": "before_or_same", "var": "grounded", "other_var": "speed", "other_event": "CHANGE", "allow_simultaneous": false},
		{"op": "monotonic", "var": "vel.len", "direction": "sideways"},
		{"op": "no_error", "describe": "the harness itself"}
	])");
	ASSERT_TRUE(P.IsOk()) << P.ParseError;
	ASSERT_EQ(P.Entries.size(), 5u);
	EXPECT_EQ(P.Entries[0].Id, "e0");
	EXPECT_EQ(P.Entries[0].Op, EOp::Eq);
	EXPECT_EQ(P.Entries[0].Tolerance, 1e-6);
	EXPECT_EQ(P.Entries[0].When, EWhen::Always);
	EXPECT_FALSE(P.Entries[0].bWarn);
	EXPECT_EQ(P.Entries[0].Value.Kind, ELiteralKind::Number);
	EXPECT_EQ(P.Entries[1].Id, "named");
	EXPECT_TRUE(P.Entries[1].bWarn);
	EXPECT_EQ(P.Entries[1].When, EWhen::Ever);
	EXPECT_EQ(P.Entries[1].Value.Kind, ELiteralKind::String);
	EXPECT_EQ(P.Entries[2].Id, "e2");
	EXPECT_TRUE(P.Entries[2].bAllowSimultaneous) << "before_or_same always allows one tick";
	EXPECT_EQ(P.Entries[2].Event, EEvent::True);
	EXPECT_EQ(P.Entries[2].OtherEvent, EEvent::Change);
	EXPECT_EQ(P.Entries[3].Var.Name, "vel");
	EXPECT_FALSE(P.Entries[3].bDecreasing);
	EXPECT_EQ(P.Entries[4].Describe, "the harness itself");
	EXPECT_EQ(OpName(EOp::NoError), std::string("no_error"));
	EXPECT_EQ(static_cast<int>(EOp::Stable), 20);
}

TEST(ExpectationGrammar, ParseErrorsStopAtTheFirst)
{
	EXPECT_EQ(ParseError("3"), "expect[0] is not an object");
	EXPECT_EQ(ParseError(R"({"var": "speed"})"), "expect[e0] is missing 'op'");
	EXPECT_EQ(ParseError(R"({"id": "x", "op": "approx", "var": "speed"})"),
		"expect[x]: unknown op 'approx' — valid ops: eq, neq, gt, gte, lt, lte, between, contains, becomes_true_within, becomes_within, "
		"stays_true_for, stays_within_for, transitions, rising_edges, falling_edges, duty_cycle, time_in_state, before, before_or_same, monotonic, "
		"stable, no_error");
	EXPECT_EQ(ParseError(R"({"op": "gt", "value": 1})"), "expect[e0]: op 'gt' requires 'var'");
	EXPECT_EQ(ParseError(R"({"op": "gt", "var": "speed", "value": 1, "when": "sometimes"})"),
		"expect[e0]: unknown when 'sometimes' — valid: always, ever, never, final, initial");
	EXPECT_EQ(ParseError(R"({"op": "before", "var": "speed", "other_var": "state", "event": "start"})"),
		"expect[e0]: unknown event 'start' — valid: true, false, change, reaches");
	EXPECT_EQ(ParseError(R"({"op": "before", "var": "speed", "other_var": "state", "other_event": "stop"})"), "expect[e0]: unknown other_event 'stop'");
	EXPECT_EQ(ParseError(R"({"op": "lte", "var": "speed"})"), "expect[e0]: op 'lte' requires 'value'");
	EXPECT_EQ(Parse(R"([{"id": "a", "op": "no_error"}, {"id": "a", "op": "no_error"}])").ParseError, "duplicate expectation id 'a'");
	EXPECT_EQ(Parse(R"({"op": "no_error"})").ParseError, "expect must be an array of expectation objects");
	EXPECT_TRUE(Parse("null").IsOk());
}

TEST(ExpectationGrammar, AFieldTheOperatorCannotUseIsAnError)
{
	EXPECT_EQ(ParseError(R"({"op": "gte", "var": "speed", "value": 1, "tolerance": 0.1})"),
		"expect[e0]: op 'gte' does not use 'tolerance' — only eq and neq (and the 'reaches' event) compare with a tolerance; every other comparison "
		"is exact");
	EXPECT_EQ(ParseError(R"({"op": "duty_cycle", "var": "grounded", "min": 0.5, "when": "ever"})"),
		"expect[e0]: op 'duty_cycle' does not use 'when' — 'when' applies to the comparison operators only");
	EXPECT_EQ(ParseError(R"({"op": "before", "var": "speed", "other_var": "state", "value": 3})"),
		"expect[e0]: op 'before' does not use 'value' — 'value' is what the 'reaches' event waits for");
	EXPECT_EQ(ParseError(R"({"op": "no_error", "var": "speed"})"), "expect[e0]: op 'no_error' does not use 'var'");
	EXPECT_EQ(ParseError(R"({"op": "eq", "var": "speed", "value": 1, "vaule": 2})"),
		"expect[e0]: unknown field 'vaule' — valid fields: id, op, severity, var, value, tolerance, when, min, max, seconds, min_seconds, "
		"max_seconds, max_delta, exactly, window, event, other_var, other_event, min_gap, max_gap, allow_simultaneous, direction, predicate, "
		"describe");
	EXPECT_EQ(ParseError(R"({"op": "eq", "var": "speed", "value": 1, "window": {"from": 1, "until": 2}})"),
		"expect[e0]: unknown field 'window.until' — a window has 'from' and 'to'");
	EXPECT_EQ(ParseError(R"({"op": "eq", "var": "speed", "value": 1, "window": [1, 2]})"),
		"expect[e0]: 'window' must be an object {\"from\": seconds, \"to\": seconds}");
	EXPECT_EQ(ParseError(R"({"op": "gt", "var": "speed", "value": [1]})"), "expect[e0]: 'value' must be a string, a number or a bool");
	EXPECT_EQ(ParseError(R"({"op": "between", "var": "speed", "min": "1", "max": 2})"), "expect[e0]: 'min' must be a number");
	EXPECT_EQ(ParseError(R"({"op": "transitions", "var": "state", "exactly": 1.5})"), "expect[e0]: 'exactly' must be a whole number");
}

TEST(ExpectationGrammar, EntriesThatCouldOnlyPassVacuouslyAreRefused)
{
	EXPECT_EQ(ParseError(R"({"op": "between", "var": "speed", "min": 1})"), "expect[e0]: op 'between' requires 'min' and 'max'");
	EXPECT_EQ(ParseError(R"({"op": "stays_true_for", "var": "grounded"})"), "expect[e0]: op 'stays_true_for' requires 'seconds'");
	EXPECT_EQ(ParseError(R"({"op": "becomes_within", "var": "speed", "seconds": 1})"),
		"expect[e0]: op 'becomes_within' requires 'predicate' {\"op\": eq|neq|gt|gte|lt|lte|contains, \"value\": ...}");
	EXPECT_EQ(ParseError(R"({"op": "becomes_within", "var": "speed", "seconds": 1, "predicate": {"op": "between", "value": 1}})"),
		"expect[e0]: predicate op 'between' is not a comparison — a predicate is {\"op\": eq|neq|gt|gte|lt|lte|contains, \"value\": ...}");
	EXPECT_EQ(ParseError(R"({"op": "becomes_within", "var": "speed", "seconds": 1, "predicate": {"op": "gt"}})"),
		"expect[e0]: predicate 'gt' requires a 'value' (a string, a number or a bool)");
	EXPECT_EQ(ParseError(R"({"op": "stays_within_for", "var": "speed", "seconds": 1})"), "expect[e0]: op 'stays_within_for' requires 'min' and/or 'max'");
	EXPECT_EQ(ParseError(R"({"op": "rising_edges", "var": "grounded"})"), "expect[e0]: op 'rising_edges' requires 'exactly', 'min' or 'max'");
	EXPECT_EQ(ParseError(R"({"op": "duty_cycle", "var": "grounded"})"), "expect[e0]: op 'duty_cycle' requires 'min' and/or 'max'");
	EXPECT_EQ(ParseError(R"({"op": "time_in_state", "var": "state", "min_seconds": 1})"),
		"expect[e0]: op 'time_in_state' requires 'value' (the state's name)");
	EXPECT_EQ(ParseError(R"({"op": "time_in_state", "var": "state", "value": "Idle"})"),
		"expect[e0]: op 'time_in_state' requires 'min_seconds' and/or 'max_seconds'");
	EXPECT_EQ(ParseError(R"({"op": "stable", "var": "speed"})"), "expect[e0]: op 'stable' requires 'max_delta'");
	EXPECT_EQ(ParseError(R"({"op": "before", "var": "speed", "event": "reaches", "other_var": "state"})"),
		"expect[e0]: event 'reaches' requires 'value' (the value to reach)");
}

TEST(ExpectationPreflight, CollectsEveryUnsatisfiableEntry)
{
	const std::vector<std::string> All = Unsatisfiable(R"(
		{"op": "eq", "var": "sped", "value": 1},
		{"op": "before", "var": "speed", "other_var": "grnd"},
		{"op": "stays_true_for", "var": "grounded", "seconds": 6},
		{"op": "time_in_state", "var": "state", "value": "Idle", "min_seconds": 7},
		{"op": "eq", "var": "speed", "value": 1, "window": {"from": 5}},
		{"op": "eq", "var": "speed", "value": 1, "window": {"from": 2, "to": 2}},
		{"op": "between", "var": "speed", "min": 3, "max": 1},
		{"op": "gt", "var": "state", "value": "Walking"},
		{"op": "contains", "var": "state", "value": 3},
		{"op": "duty_cycle", "var": "grounded", "min": 1.5},
		{"op": "duty_cycle", "var": "grounded", "min": 0.6, "max": 0.4},
		{"op": "transitions", "var": "state", "min": 4, "max": 2},
		{"op": "before", "var": "speed"},
		{"op": "before_or_same", "var": "speed", "event": "change", "other_var": "SPEED", "other_event": "change"},
		{"op": "eq", "var": "speed", "value": 1, "window": {"from": 1, "to": 9}},
		{"op": "becomes_within", "var": "speed", "seconds": 1, "predicate": {"op": "lt", "value": "slow"}},
		{"op": "time_in_state", "var": "state", "value": 2, "max_seconds": 1},
		{"op": "before", "var": "speed", "other_var": "state", "min_gap": 2, "max_gap": 1},
		{"op": "before", "var": "speed", "other_var": "state", "max_gap": -1},
		{"op": "rising_edges", "var": "grounded", "exactly": 5, "max": 2}
	)");
	const std::vector<std::string> Expected = {
		"expect[e0] references unknown var 'sped' — sampled vars are: speed, grounded, state, vel",
		"expect[e1] references unknown other_var 'grnd' — sampled vars are: speed, grounded, state, vel",
		"expect[e2] can never be satisfied: seconds=6 exceeds session duration=5",
		"expect[e3] can never be satisfied: min_seconds=7 exceeds session duration=5",
		"expect[e4] has an empty window: window.from=5 is at/after duration=5",
		"expect[e5] has an empty window: from=2 >= to=2",
		"expect[e6]: between min=3 > max=1",
		"expect[e7] can never be satisfied: op 'gt' needs a number, but value is the string 'Walking'. For an enum, order by its integer (value:2) "
		"or match its name with eq/contains.",
		"expect[e8] can never be satisfied: 'contains' needs a string value, got a number (3).",
		"expect[e9]: duty_cycle min=1.5 exceeds 1.0",
		"expect[e10]: duty_cycle min=0.6 > max=0.4",
		"expect[e11]: min=4 > max=2",
		"expect[e12]: 'before' requires 'other_var'",
		"expect[e13] is trivially simultaneous: same var 'speed' and same event 'change'",
		"expect[e15] can never be satisfied: op 'lt' needs a number, but value is the string 'slow'. For an enum, order by its integer (value:2) or "
		"match its name with eq/contains.",
		"expect[e16] can never be satisfied: 'time_in_state' needs a state name (a string), got a number (2).",
		"expect[e17] can never be satisfied: min_gap=2 > max_gap=1",
		"expect[e18] can never be satisfied: max_gap=-1 is negative, but the second event may not come before the first",
		"expect[e19] can never be satisfied: exactly=5 lies outside min/max",
	};
	EXPECT_EQ(All, Expected) << "a window reaching past the duration (e14) is accepted";
	EXPECT_EQ(UnsatisfiableRefusal(All.size()), "19 expectation(s) can never be satisfied — refusing to start PIE.");
	EXPECT_EQ(ParseExpectations(FJson::parse(R"([{"op": "eq", "var": "x", "value": 1}])"), {}, 5).Unsatisfiable.front(),
		"expect[e0] references unknown var 'x' — sampled vars are: <none>");
}

TEST(ExpectationPreflight, BetweenGivenAStringIsNamedByThePreflight)
{
	EXPECT_EQ(Unsatisfiable(R"({"op": "between", "var": "speed", "min": 1, "max": 2, "value": "fast"})").front(),
		"expect[e0] can never be satisfied: op 'between' needs a number, but value is the string 'fast'. For an enum, order by its integer (value:2) "
		"or match its name with eq/contains.");
	EXPECT_EQ(ParseError(R"({"op": "between", "var": "speed", "min": 1, "max": 2, "value": 1})"), "expect[e0]: op 'between' does not use 'value'");
}
}
