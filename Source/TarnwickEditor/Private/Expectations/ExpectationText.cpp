#include "Expectations/ExpectationText.h"

#include "Printf.h"

#include <cmath>

namespace Tarnwick::Expectations
{
using Sampling::ESampleKind;

std::string Describe(const FExpectation& E)
{
	const char* V = E.Var.Text.c_str();
	const std::string Lit = PrintLiteral(E.Value);
	switch (E.Op)
	{
	case EOp::Eq: return Tarnwick::Printf("%s == %s", V, Lit.c_str());
	case EOp::Neq: return Tarnwick::Printf("%s != %s", V, Lit.c_str());
	case EOp::Gt: return Tarnwick::Printf("%s > %s", V, Lit.c_str());
	case EOp::Gte: return Tarnwick::Printf("%s >= %s", V, Lit.c_str());
	case EOp::Lt: return Tarnwick::Printf("%s < %s", V, Lit.c_str());
	case EOp::Lte: return Tarnwick::Printf("%s <= %s", V, Lit.c_str());
	case EOp::Between: return Tarnwick::Printf("%s between %g and %g", V, E.Min.Value, E.Max.Value);
	case EOp::Contains: return Tarnwick::Printf("%s contains %s", V, Lit.c_str());
	case EOp::BecomesTrueWithin: return Tarnwick::Printf("%s becomes true within %gs", V, E.Seconds.Value);
	case EOp::BecomesWithin: return Tarnwick::Printf("%s reaches %s within %gs", V, PrintLiteral(E.PredicateValue).c_str(), E.Seconds.Value);
	case EOp::StaysTrueFor: return Tarnwick::Printf("%s stays true for >= %gs", V, E.Seconds.Value);
	case EOp::StaysWithinFor:
		return Tarnwick::Printf("%s stays within [%g, %g] for >= %gs", V, E.Min.bGiven ? E.Min.Value : -HUGE_VAL,
			E.Max.bGiven ? E.Max.Value : HUGE_VAL, E.Seconds.Value);
	case EOp::Transitions: return Tarnwick::Printf("%s transition count", V);
	case EOp::RisingEdges: return Tarnwick::Printf("%s rising-edge count", V);
	case EOp::FallingEdges: return Tarnwick::Printf("%s falling-edge count", V);
	case EOp::DutyCycle: return Tarnwick::Printf("%s duty cycle", V);
	case EOp::TimeInState: return Tarnwick::Printf("%s dwells in %s", V, Lit.c_str());
	case EOp::Before:
	case EOp::BeforeOrSame:
		return Tarnwick::Printf("%s(%s) before %s(%s)", V, EventName(E.Event), E.OtherVar.Text.c_str(), EventName(E.OtherEvent));
	case EOp::Monotonic: return Tarnwick::Printf("%s is monotonically %s", V, E.bDecreasing ? "decreasing" : "increasing");
	case EOp::Stable: return Tarnwick::Printf("%s varies by <= %g", V, E.MaxDelta.Value);
	case EOp::NoError: return "no harness error";
	}
	return std::string();
}

std::string ScopeText(const FExpectation& E)
{
	if (!E.bWindow) return "the session";
	if (std::isinf(E.WindowTo)) return Tarnwick::Printf("window [%.2fs, end]", E.WindowFrom);
	return Tarnwick::Printf("window [%.2fs, %.2fs]", E.WindowFrom, E.WindowTo);
}

std::string ContextText(const Sampling::FVarAccumulator& Acc)
{
	std::string Out = Tarnwick::Printf("%d samples", static_cast<int>(Acc.SampleCount));
	switch (Acc.Kind)
	{
	case ESampleKind::Bool:
	{
		const double Percent = Acc.TotalSeconds > 0.0 ? 100.0 * Acc.Bool.TrueSeconds / Acc.TotalSeconds : 0.0;
		Out += Tarnwick::Printf(", true for %.0f%% (%.2fs of %.2fs)", Percent, Acc.Bool.TrueSeconds, Acc.TotalSeconds);
		Out += Tarnwick::Printf(", %d transitions", static_cast<int>(Acc.Bool.Transitions));
		Out += Acc.Bool.FirstTrueT >= 0.0 ? Tarnwick::Printf(", first true at t=%.2fs", Acc.Bool.FirstTrueT) : std::string(", never true");
		Out += Tarnwick::Printf(", longest true run %.2fs, longest false run %.2fs", Acc.Bool.LongestTrueRun, Acc.Bool.LongestFalseRun);
		break;
	}
	case ESampleKind::Number:
		Out += Tarnwick::Printf(", min %.3f, max %.3f, mean %.3f, last %.3f", Acc.Number.Min, Acc.Number.Max, Acc.Number.Mean(), Acc.Number.Last);
		break;
	case ESampleKind::String:
	case ESampleKind::Object:
		Out += Tarnwick::Printf(", last '%s', %d distinct value(s)", Acc.Str.Last.c_str(), static_cast<int>(Acc.Str.Distinct.size()));
		break;
	case ESampleKind::Vector:
	case ESampleKind::Rotator: Out += Tarnwick::Printf(", len min %.3f, max %.3f, last %.3f", Acc.Len.Min, Acc.Len.Max, Acc.Len.Last); break;
	case ESampleKind::Missing:
	case ESampleKind::Json: break;
	}
	return Out;
}

std::string ObservedValuesText(const Sampling::FVarAccumulator& Acc)
{
	if (Acc.Kind != ESampleKind::String && Acc.Kind != ESampleKind::Object) return std::string();
	std::string List;
	auto Add = [&](const std::string& Value) {
		if (!List.empty()) List += ", ";
		List += Tarnwick::Printf("'%s'", Value.c_str());
	};
	for (const auto& [Value, Seconds] : Acc.Str.Dwell) Add(Value);
	// The latest value has dwelled for no time yet when it was read on the last pass; it was still observed.
	if (Acc.SampleCount > 0 && !Acc.Str.bDistinctOverflow && Acc.Str.DwellOf(Acc.Str.Last) == 0.0)
	{
		bool bListed = false;
		for (const auto& [Value, Seconds] : Acc.Str.Dwell) bListed = bListed || Value == Acc.Str.Last;
		if (!bListed) Add(Acc.Str.Last);
	}
	return Tarnwick::Printf(" Observed value(s): %s%s.", List.c_str(), Acc.Str.bDistinctOverflow ? ", ... (map overflowed 32 distinct values)" : "");
}
}
