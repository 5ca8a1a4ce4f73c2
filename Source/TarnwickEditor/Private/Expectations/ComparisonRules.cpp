#include "Expectations/ComparisonRules.h"

#include "Printf.h"

#include <algorithm>
#include <cmath>

namespace Tarnwick::Expectations
{
using Sampling::ESampleKind;
using Sampling::ESelector;
using Sampling::FSampleValue;

namespace
{
bool IsStringLike(ESampleKind Kind) { return Kind == ESampleKind::String || Kind == ESampleKind::Object; }
bool IsVectorLike(ESampleKind Kind) { return Kind == ESampleKind::Vector || Kind == ESampleKind::Rotator; }

std::string NoScalarView(const FVarRef& Var, const FSampleValue& Sample)
{
	return Tarnwick::Printf("'%s' is a %s, which has no scalar view for selector '%s'. Vectors/rotators need a component suffix (.x, .y, .z, .len); "
							"'.base' needs a GAS attribute.",
		Var.Name.c_str(), Sampling::KindName(Sample.Kind), Sampling::SelectorName(Var.Selector));
}

std::string NotDefined(EOp Op, const FSampleValue& Sample)
{
	return Tarnwick::Printf("op '%s' is not defined for a %s value. Use eq/neq/contains for strings and enum names; use eq/neq for bools; "
							"ordering ops need a number.",
		OpName(Op), Sampling::KindName(Sample.Kind));
}

std::string KindMismatch(const FLiteral& Value, const FVarRef& Var, const FSampleValue& Sample, const std::string& ObservedValues)
{
	return Tarnwick::Printf("'%s' samples as %s but the expectation compares against a %s (%s). Comparison is strict on kind: an enum matches its "
							"enumerator NAME as a string (value:\"Foo\") or its integer as a number (value:2); a bool matches true/false.%s",
		Var.Name.c_str(), Sampling::KindName(Sample.Kind), LiteralKindName(Value.Kind), PrintLiteral(Value).c_str(), ObservedValues.c_str());
}
}

std::optional<std::string> ComparisonKindProblem(EOp Op, const FLiteral& Value, const FVarRef& Var, const FSampleValue& Sample,
	const std::string& ObservedValues)
{
	const bool bNumeric = Sampling::NumericView(Sample, Var.Selector).has_value();
	if (Var.Selector != ESelector::None && !bNumeric) return NoScalarView(Var, Sample);
	if (IsOrderingComparison(Op) || (Value.Kind == ELiteralKind::Number && Op != EOp::Contains))
	{
		if (bNumeric) return std::nullopt;
		if (IsVectorLike(Sample.Kind)) return NoScalarView(Var, Sample);
		if (IsOrderingComparison(Op)) return NotDefined(Op, Sample);
		return KindMismatch(Value, Var, Sample, ObservedValues);
	}
	if (Op == EOp::Contains)
	{
		if (IsStringLike(Sample.Kind) && Var.Selector == ESelector::None) return std::nullopt;
		return NotDefined(Op, Sample);
	}
	if (Value.Kind == ELiteralKind::String)
	{
		if (IsStringLike(Sample.Kind) && Var.Selector == ESelector::None) return std::nullopt;
		return KindMismatch(Value, Var, Sample, ObservedValues);
	}
	if (Value.Kind == ELiteralKind::Bool)
	{
		if (Sample.Kind == ESampleKind::Bool && Var.Selector == ESelector::None) return std::nullopt;
		return KindMismatch(Value, Var, Sample, ObservedValues);
	}
	return NotDefined(Op, Sample);
}

std::optional<std::string> OperatorKindProblem(EOp Op, const FVarRef& Var, const FSampleValue& Sample)
{
	const char* Needs = nullptr;
	bool bOk = false;
	switch (Op)
	{
	case EOp::BecomesTrueWithin:
	case EOp::StaysTrueFor:
	case EOp::RisingEdges:
	case EOp::FallingEdges:
	case EOp::DutyCycle:
		bOk = Sample.Kind == ESampleKind::Bool;
		Needs = "It needs a bool variable.";
		break;
	case EOp::Transitions:
		bOk = Sample.Kind == ESampleKind::Bool || IsStringLike(Sample.Kind);
		Needs = "It counts the changes of a bool, string, enum or object variable; for numbers use monotonic or stable.";
		break;
	case EOp::TimeInState:
		bOk = IsStringLike(Sample.Kind);
		Needs = "It needs a string, enum or object variable.";
		break;
	default: return std::nullopt;
	}
	ESampleKind Seen = Sample.Kind;
	if (Var.Selector != ESelector::None)
	{
		if (!Sampling::NumericView(Sample, Var.Selector)) return NoScalarView(Var, Sample);
		Seen = ESampleKind::Number;
		bOk = false;
	}
	if (bOk) return std::nullopt;
	return Tarnwick::Printf("op '%s' is not defined for a %s value. %s", OpName(Op), Sampling::KindName(Seen), Needs);
}
}
