#include "Expectations/Expectation.h"

#include "Printf.h"

namespace Tarnwick::Expectations
{
namespace
{
constexpr const char* OpNames[NumOps] = {"eq", "neq", "gt", "gte", "lt", "lte", "between", "contains", "becomes_true_within", "becomes_within",
	"stays_true_for", "stays_within_for", "transitions", "rising_edges", "falling_edges", "duty_cycle", "time_in_state", "before", "before_or_same",
	"monotonic", "stable", "no_error"};
}

const char* OpName(EOp Op) { return OpNames[static_cast<int>(Op)]; }

bool FindOp(const std::string& Name, EOp& OutOp)
{
	for (int I = 0; I < NumOps; ++I)
	{
		if (Sampling::EqualsIgnoreCase(Name, OpNames[I]))
		{
			OutOp = static_cast<EOp>(I);
			return true;
		}
	}
	return false;
}

std::string AllOpNames()
{
	std::string Out;
	for (int I = 0; I < NumOps; ++I)
	{
		if (I > 0) Out += ", ";
		Out += OpNames[I];
	}
	return Out;
}

const char* WhenName(EWhen When)
{
	switch (When)
	{
	case EWhen::Always: return "always";
	case EWhen::Ever: return "ever";
	case EWhen::Never: return "never";
	case EWhen::Final: return "final";
	case EWhen::Initial: return "initial";
	}
	return "always";
}

const char* EventName(EEvent Event)
{
	switch (Event)
	{
	case EEvent::True: return "true";
	case EEvent::False: return "false";
	case EEvent::Change: return "change";
	case EEvent::Reaches: return "reaches";
	}
	return "true";
}

const char* LiteralKindName(ELiteralKind Kind)
{
	switch (Kind)
	{
	case ELiteralKind::Unset: return "unset";
	case ELiteralKind::String: return "string";
	case ELiteralKind::Number: return "number";
	case ELiteralKind::Bool: return "bool";
	}
	return "unset";
}

FJson FLiteral::ToJson() const
{
	switch (Kind)
	{
	case ELiteralKind::Unset: return nullptr;
	case ELiteralKind::String: return String;
	case ELiteralKind::Number: return Number;
	case ELiteralKind::Bool: return bBool;
	}
	return nullptr;
}

std::string PrintLiteral(const FLiteral& Literal)
{
	switch (Literal.Kind)
	{
	case ELiteralKind::Unset: return "<unset>";
	case ELiteralKind::String: return Tarnwick::Printf("'%s'", Literal.String.c_str());
	case ELiteralKind::Number: return Tarnwick::Printf("%g", Literal.Number);
	case ELiteralKind::Bool: return Literal.bBool ? "true" : "false";
	}
	return "<unset>";
}
}
