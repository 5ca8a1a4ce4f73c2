// One parsed `expect` entry: a flat assertion with exactly one operator, over one sampled variable (two for the
// ordering operators). Produced by ParseExpectations, consumed by the tracker and the evaluator.
#pragma once
#include "Sampling/SampleValue.h"

#include <limits>
#include <string>

namespace Tarnwick::Expectations
{
using Sampling::FVarRef;

/** The operators, numbered by their fixed codes. */
enum class EOp : uint8
{
	Eq = 0,
	Neq = 1,
	Gt = 2,
	Gte = 3,
	Lt = 4,
	Lte = 5,
	Between = 6,
	Contains = 7,
	BecomesTrueWithin = 8,
	BecomesWithin = 9,
	StaysTrueFor = 10,
	StaysWithinFor = 11,
	Transitions = 12,
	RisingEdges = 13,
	FallingEdges = 14,
	DutyCycle = 15,
	TimeInState = 16,
	Before = 17,
	BeforeOrSame = 18,
	Monotonic = 19,
	Stable = 20,
	NoError = 21,
};
inline constexpr int NumOps = 22;

const char* OpName(EOp Op);
/** Case-insensitive lookup; false for an unknown name. */
bool FindOp(const std::string& Name, EOp& OutOp);
/** "eq, neq, gt, ..." (every name, in code order). */
std::string AllOpNames();

inline bool IsComparison(EOp Op) { return static_cast<int>(Op) <= static_cast<int>(EOp::Contains); }
/** gt, gte, lt, lte and between: they order numbers and are defined for nothing else. */
inline bool IsOrderingComparison(EOp Op) { return Op == EOp::Gt || Op == EOp::Gte || Op == EOp::Lt || Op == EOp::Lte || Op == EOp::Between; }
inline bool IsCount(EOp Op) { return Op == EOp::Transitions || Op == EOp::RisingEdges || Op == EOp::FallingEdges; }
inline bool IsOrdering(EOp Op) { return Op == EOp::Before || Op == EOp::BeforeOrSame; }

enum class EWhen : uint8
{
	Always,
	Ever,
	Never,
	Final,
	Initial,
};
const char* WhenName(EWhen When);

enum class EEvent : uint8
{
	True,
	False,
	Change,
	Reaches,
};
const char* EventName(EEvent Event);

enum class ELiteralKind : uint8
{
	Unset,
	String,
	Number,
	Bool,
};
/** "unset", "string", "number", "bool". */
const char* LiteralKindName(ELiteralKind Kind);

/** A typed literal exactly as the JSON gave it. */
struct FLiteral
{
	ELiteralKind Kind = ELiteralKind::Unset;
	std::string String;
	double Number = 0.0;
	bool bBool = false;

	FJson ToJson() const;
};

/** "<unset>", a string in single quotes, "true"/"false", a number with %g. */
std::string PrintLiteral(const FLiteral& Literal);

/** An optional number. */
struct FOptional
{
	bool bGiven = false;
	double Value = 0.0;
};

struct FExpectation
{
	std::string Id;
	EOp Op = EOp::NoError;
	bool bWarn = false;
	FVarRef Var;
	FLiteral Value;
	double Tolerance = 1e-6;
	EWhen When = EWhen::Always;
	FOptional Min;
	FOptional Max;
	FOptional Seconds;
	FOptional MinSeconds;
	FOptional MaxSeconds;
	FOptional MaxDelta;
	bool bExactlyGiven = false;
	int64 Exactly = 0;
	bool bWindow = false;
	double WindowFrom = 0.0;
	/** +infinity when the window has no `to`. */
	double WindowTo = std::numeric_limits<double>::infinity();
	EEvent Event = EEvent::True;
	bool bHasOtherVar = false;
	FVarRef OtherVar;
	EEvent OtherEvent = EEvent::True;
	FOptional MinGap;
	FOptional MaxGap;
	bool bAllowSimultaneous = false;
	bool bDecreasing = false;
	/** becomes_within: the comparison it waits for. */
	bool bHasPredicate = false;
	EOp PredicateOp = EOp::Eq;
	FLiteral PredicateValue;
	std::string Describe;

	bool InWindow(double T) const { return !bWindow || (T >= WindowFrom && T <= WindowTo); }
};
}
