// The rules of one comparison on one sample: whether the operator and the literal are defined for the sample's
// kind (strict on kind: no string-to-number or bool-to-number coercion), whether the predicate holds, and the
// signed distance by which it holds (positive) or fails (negative), in the variable's units. Pure.
#pragma once
#include "Expectations/Expectation.h"

#include <algorithm>
#include <cmath>
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
	/** Numeric comparisons only: the number the sample was seen as. */
	double X = 0.0;
};

/** Applies Op with Value (or Min..Max for between) to the sample seen through Selector. Inline: it runs for every sample. */
#if defined(__GNUC__)
[[gnu::always_inline]]
#endif
inline FComparisonOutcome ApplyComparison(EOp Op, const FLiteral& Value, double Tolerance, double Min, double Max, const Sampling::FSampleValue& Sample,
	Sampling::ESelector Selector)
{
	FComparisonOutcome Out;
	if (Op == EOp::Between || Value.Kind == ELiteralKind::Number)
	{
		const std::optional<double> X = Sampling::NumericView(Sample, Selector);
		if (!X || Op == EOp::Contains) return Out;
		const double V = Value.Number;
		double M = 0.0;
		bool bInclusive = true;
		switch (Op)
		{
		case EOp::Eq: M = Tolerance - std::fabs(*X - V); break;
		case EOp::Neq: M = std::fabs(*X - V) - Tolerance; bInclusive = false; break;
		case EOp::Gt: M = *X - V; bInclusive = false; break;
		case EOp::Gte: M = *X - V; break;
		case EOp::Lt: M = V - *X; bInclusive = false; break;
		case EOp::Lte: M = V - *X; break;
		case EOp::Between: M = std::min(*X - Min, Max - *X); break;
		default: return Out;
		}
		Out.bDefined = true;
		Out.bHolds = bInclusive ? M >= 0.0 : M > 0.0;
		Out.Margin = M;
		Out.X = *X;
		return Out;
	}
	if (Selector != Sampling::ESelector::None) return Out;
	if (Value.Kind == ELiteralKind::String)
	{
		if (!(Sample.Kind == Sampling::ESampleKind::String || Sample.Kind == Sampling::ESampleKind::Object)) return Out;
		switch (Op)
		{
		case EOp::Eq: Out.bHolds = Sampling::EqualsIgnoreCase(Sample.String, Value.String); break;
		case EOp::Neq: Out.bHolds = !Sampling::EqualsIgnoreCase(Sample.String, Value.String); break;
		case EOp::Contains: Out.bHolds = Sampling::ContainsIgnoreCase(Sample.String, Value.String); break;
		default: return Out;
		}
		Out.bDefined = true;
		return Out;
	}
	if (Value.Kind == ELiteralKind::Bool)
	{
		if (Sample.Kind != Sampling::ESampleKind::Bool || (Op != EOp::Eq && Op != EOp::Neq)) return Out;
		Out.bDefined = true;
		Out.bHolds = (Sample.bBool == Value.bBool) == (Op == EOp::Eq);
	}
	return Out;
}

/**
 * Why a comparison cannot be evaluated on a variable whose samples look like Sample, as the text after
 * "Cannot evaluate '%s': "; nullopt when it can. ObservedValues is appended to the kind-mismatch text.
 */
std::optional<std::string> ComparisonKindProblem(EOp Op, const FLiteral& Value, const FVarRef& Var, const Sampling::FSampleValue& Sample,
	const std::string& ObservedValues);

/** The kind problem of the non-comparison operators (bool-only, state and count operators); nullopt when none. */
std::optional<std::string> OperatorKindProblem(EOp Op, const FVarRef& Var, const Sampling::FSampleValue& Sample);
}
