// One expectation as the views show it: its evaluated result from the report joined with its entry in the spec,
// which holds what the result does not repeat (the variable, the threshold, the band, the window, the deadline).
#pragma once
#include "SmokeSuiteResult.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::Reports
{
/** A variable reference split into the variable and its selector (x, y, z, len, base; empty for none). */
struct FVarRef
{
	std::string Name;
	std::string Selector;
};

/** Splits at the last "." when the suffix (any case) is a selector; otherwise the whole reference is the name. */
FVarRef SplitVarRef(std::string_view Reference);

enum class EVerdict
{
	Pass,
	Fail,
	/** Failed with severity warn: reported, does not fail the session. */
	Warn,
	/** Not evaluated yet (a running session) or missing from the report. */
	Pending,
};

const char* VerdictName(EVerdict Verdict);

struct FExpectationView
{
	std::string Id;
	std::string Op;
	std::string Severity = "error";
	/** The entry's description ("AIDistance < 150"). */
	std::string Sentence;
	/** The result's sentence: "Satisfied: ..." or the failure with its context. */
	std::string Message;
	/** The failure kind, on failure. */
	std::string Reason;
	std::string When;
	std::string Describe;
	EVerdict Verdict = EVerdict::Pending;
	std::optional<double> Margin;
	std::optional<double> DecidedAt;

	FVarRef Var;
	FVarRef OtherVar;
	/** The literal as given (null when unset). */
	FJson Value;
	/** Where a number is compared against a line: the comparison's value, or becomes_within's predicate value. */
	std::optional<double> Threshold;
	/** The operator of that comparison (the predicate's for becomes_within). */
	std::string ThresholdOp;
	std::optional<double> Min;
	std::optional<double> Max;
	std::optional<double> Seconds;
	std::optional<double> WindowFrom;
	std::optional<double> WindowTo;

	bool bHasViolation = false;
	double ViolationSampleIndex = -1.0;
	FJson ViolationActual;
	FJson Observed;
	/** The result record as the report holds it (null when not evaluated). */
	FJson Result;
};

/**
 * Results of the report's `expectations` in order, each joined with the spec's `expect` entry of the same id
 * (an entry without `id` is "e<index>"). Spec entries the report has no result for follow as Pending.
 */
std::vector<FExpectationView> BuildExpectationViews(const FJson& Report, const FJson& Spec);
}
