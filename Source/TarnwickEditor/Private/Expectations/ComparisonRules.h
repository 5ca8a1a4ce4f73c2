// The rules of one comparison on one sample: whether the operator and the literal are defined for the sample's
// kind (strict on kind: no string-to-number or bool-to-number coercion), whether the predicate holds, and the
// signed distance by which it holds (positive) or fails (negative), in the variable's units. Pure.
#pragma once
#include "Expectations/Expectation.h"

#include <optional>
#include <string>

namespace Tarnwick::Expectations
{
struct FComparisonOutcome
{
	/** False when the comparison is not defined for this sample (the kind check explains why). */
	bool bDefined = false;
	bool bHolds = false;
	/** Numeric comparisons only: > 0 (or >= 0 for the inclusive ones) exactly when the predicate holds. */
	std::optional<double> Margin;
};

/** Applies Op with Value (or Min..Max for between) to the sample seen through Selector. */
FComparisonOutcome ApplyComparison(EOp Op, const FLiteral& Value, double Tolerance, double Min, double Max, const Sampling::FSampleValue& Sample,
	Sampling::ESelector Selector);

/**
 * Why a comparison cannot be evaluated on a variable whose samples look like Sample, as the text after
 * "Cannot evaluate '%s': "; nullopt when it can. ObservedValues is appended to the kind-mismatch text.
 */
std::optional<std::string> ComparisonKindProblem(EOp Op, const FLiteral& Value, const FVarRef& Var, const Sampling::FSampleValue& Sample,
	const std::string& ObservedValues);

/** The kind problem of the non-comparison operators (bool-only, state and count operators); nullopt when none. */
std::optional<std::string> OperatorKindProblem(EOp Op, const FVarRef& Var, const Sampling::FSampleValue& Sample);
}
