#include "Expectations/ExpectationParser.h"

#include "Printf.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <set>

namespace Tarnwick::Expectations
{
namespace
{
using Sampling::EqualsIgnoreCase;

constexpr const char* KnownFields[] = {"id", "op", "severity", "var", "value", "tolerance", "when", "min", "max", "seconds", "min_seconds",
	"max_seconds", "max_delta", "exactly", "window", "event", "other_var", "other_event", "min_gap", "max_gap", "allow_simultaneous", "direction",
	"predicate", "describe"};

bool IsGiven(const FJson& Entry, const char* Key) { return Entry.contains(Key) && !Entry[Key].is_null(); }

std::string JsonText(const FJson& Value) { return Value.is_string() ? Value.get<std::string>() : FTarnwickJsonUtils::Write(Value); }

bool ReadLiteral(const FJson& Value, FLiteral& Out)
{
	if (Value.is_null()) return true;
	if (Value.is_string()) Out = FLiteral{ELiteralKind::String, Value.get<std::string>(), 0.0, false};
	else if (Value.is_boolean()) Out = FLiteral{ELiteralKind::Bool, std::string(), 0.0, Value.get<bool>()};
	else if (Value.is_number()) Out = FLiteral{ELiteralKind::Number, std::string(), Value.get<double>(), false};
	else return false;
	return true;
}

bool ReadEvent(const std::string& Name, EEvent& Out)
{
	for (EEvent E : {EEvent::True, EEvent::False, EEvent::Change, EEvent::Reaches})
	{
		if (EqualsIgnoreCase(Name, EventName(E)))
		{
			Out = E;
			return true;
		}
	}
	return false;
}

/** The fields an operator reads besides id, op, severity, describe, var and window. */
std::vector<const char*> OpFields(EOp Op)
{
	switch (Op)
	{
	case EOp::Eq:
	case EOp::Neq: return {"value", "tolerance", "when"};
	case EOp::Gt:
	case EOp::Gte:
	case EOp::Lt:
	case EOp::Lte:
	case EOp::Contains: return {"value", "when"};
	case EOp::Between: return {"min", "max", "when"};
	case EOp::BecomesTrueWithin:
	case EOp::StaysTrueFor: return {"seconds"};
	case EOp::BecomesWithin: return {"predicate", "seconds", "tolerance"};
	case EOp::StaysWithinFor: return {"min", "max", "seconds"};
	case EOp::Transitions:
	case EOp::RisingEdges:
	case EOp::FallingEdges: return {"min", "max", "exactly"};
	case EOp::DutyCycle: return {"min", "max"};
	case EOp::TimeInState: return {"value", "min_seconds", "max_seconds"};
	case EOp::Before:
	case EOp::BeforeOrSame: return {"other_var", "event", "other_event", "min_gap", "max_gap", "allow_simultaneous", "value", "tolerance"};
	case EOp::Monotonic: return {"direction"};
	case EOp::Stable: return {"max_delta"};
	case EOp::NoError: return {};
	}
	return {};
}

class FEntryParser
{
public:
	FEntryParser(const FJson& InEntry, FExpectation& InOut) : Entry(InEntry), Out(InOut) {}

	/** Reads the entry; false with Error set. */
	bool Parse(size_t Index)
	{
		if (!Entry.is_object())
		{
			Error = Tarnwick::Printf("expect[%d] is not an object", static_cast<int>(Index));
			return false;
		}
		if (IsGiven(Entry, "id") && !(Entry["id"].is_string() && !Entry["id"].get_ref<const std::string&>().empty()))
		{
			Error = Tarnwick::Printf("expect[%d]: 'id' must be a non-empty string", static_cast<int>(Index));
			return false;
		}
		Out.Id = IsGiven(Entry, "id") ? Entry["id"].get<std::string>() : Tarnwick::Printf("e%d", static_cast<int>(Index));
		const char* Id = Out.Id.c_str();

		if (!IsGiven(Entry, "op")) return Fail(Tarnwick::Printf("expect[%s] is missing 'op'", Id));
		const std::string OpText = JsonText(Entry["op"]);
		if (!Entry["op"].is_string() || !FindOp(OpText, Out.Op))
		{
			return Fail(Tarnwick::Printf("expect[%s]: unknown op '%s' — valid ops: %s", Id, OpText.c_str(), AllOpNames().c_str()));
		}
		const char* Op = OpName(Out.Op);
		for (const auto& [Field, Value] : Entry.items())
		{
			if (std::none_of(std::begin(KnownFields), std::end(KnownFields), [&Name = Field](const char* K) { return Name == K; }))
			{
				return Fail(Tarnwick::Printf("expect[%s]: unknown field '%s' — valid fields: id, op, severity, var, value, tolerance, when, min, "
											 "max, seconds, min_seconds, max_seconds, max_delta, exactly, window, event, other_var, other_event, "
											 "min_gap, max_gap, allow_simultaneous, direction, predicate, describe",
					Id, Field.c_str()));
			}
		}

		Out.bWarn = IsGiven(Entry, "severity") && Entry["severity"].is_string() && EqualsIgnoreCase(Entry["severity"].get<std::string>(), "warn");

		if (IsGiven(Entry, "var"))
		{
			if (!Entry["var"].is_string()) return Fail(Tarnwick::Printf("expect[%s]: 'var' must be a string", Id));
			if (!Entry["var"].get_ref<const std::string&>().empty()) Out.Var = Sampling::SplitVarRef(Entry["var"].get<std::string>());
		}
		if (Out.Op != EOp::NoError && Out.Var.Name.empty()) return Fail(Tarnwick::Printf("expect[%s]: op '%s' requires 'var'", Id, Op));

		if (IsGiven(Entry, "value") && !ReadLiteral(Entry["value"], Out.Value))
		{
			return Fail(Tarnwick::Printf("expect[%s]: 'value' must be a string, a number or a bool", Id));
		}
		if (!ReadNumber("tolerance", Out.Tolerance)) return false;
		if (IsGiven(Entry, "when"))
		{
			const std::string When = JsonText(Entry["when"]);
			bool bFound = false;
			for (EWhen W : {EWhen::Always, EWhen::Ever, EWhen::Never, EWhen::Final, EWhen::Initial})
			{
				if (Entry["when"].is_string() && EqualsIgnoreCase(When, WhenName(W)))
				{
					Out.When = W;
					bFound = true;
				}
			}
			if (!bFound) return Fail(Tarnwick::Printf("expect[%s]: unknown when '%s' — valid: always, ever, never, final, initial", Id, When.c_str()));
		}

		if (!ReadOptional("min", Out.Min) || !ReadOptional("max", Out.Max) || !ReadOptional("seconds", Out.Seconds) ||
			!ReadOptional("min_seconds", Out.MinSeconds) || !ReadOptional("max_seconds", Out.MaxSeconds) || !ReadOptional("max_delta", Out.MaxDelta))
		{
			return false;
		}
		FOptional Exactly;
		if (!ReadOptional("exactly", Exactly)) return false;
		if (Exactly.bGiven)
		{
			if (Exactly.Value != std::floor(Exactly.Value)) return Fail(Tarnwick::Printf("expect[%s]: 'exactly' must be a whole number", Id));
			Out.bExactlyGiven = true;
			Out.Exactly = static_cast<int64>(Exactly.Value);
		}
		if (!ReadWindow()) return false;

		if (IsGiven(Entry, "event") && (!Entry["event"].is_string() || !ReadEvent(Entry["event"].get<std::string>(), Out.Event)))
		{
			return Fail(Tarnwick::Printf("expect[%s]: unknown event '%s' — valid: true, false, change, reaches", Id, JsonText(Entry["event"]).c_str()));
		}
		if (IsGiven(Entry, "other_event") && (!Entry["other_event"].is_string() || !ReadEvent(Entry["other_event"].get<std::string>(), Out.OtherEvent)))
		{
			return Fail(Tarnwick::Printf("expect[%s]: unknown other_event '%s'", Id, JsonText(Entry["other_event"]).c_str()));
		}

		if (IsGiven(Entry, "other_var"))
		{
			if (!Entry["other_var"].is_string()) return Fail(Tarnwick::Printf("expect[%s]: 'other_var' must be a string", Id));
			if (!Entry["other_var"].get_ref<const std::string&>().empty())
			{
				Out.bHasOtherVar = true;
				Out.OtherVar = Sampling::SplitVarRef(Entry["other_var"].get<std::string>());
			}
		}
		if (!ReadOptional("min_gap", Out.MinGap) || !ReadOptional("max_gap", Out.MaxGap)) return false;
		if (IsGiven(Entry, "allow_simultaneous"))
		{
			if (!Entry["allow_simultaneous"].is_boolean()) return Fail(Tarnwick::Printf("expect[%s]: 'allow_simultaneous' must be true or false", Id));
			Out.bAllowSimultaneous = Entry["allow_simultaneous"].get<bool>();
		}
		if (Out.Op == EOp::BeforeOrSame) Out.bAllowSimultaneous = true;
		Out.bDecreasing = IsGiven(Entry, "direction") && Entry["direction"].is_string() && EqualsIgnoreCase(Entry["direction"].get<std::string>(), "decreasing");
		if (IsGiven(Entry, "predicate") && !ReadPredicate()) return false;
		if (IsGiven(Entry, "describe"))
		{
			if (!Entry["describe"].is_string()) return Fail(Tarnwick::Printf("expect[%s]: 'describe' must be a string", Id));
			Out.Describe = Entry["describe"].get<std::string>();
		}

		if (IsComparison(Out.Op) && Out.Op != EOp::Between && Out.Value.Kind == ELiteralKind::Unset)
		{
			return Fail(Tarnwick::Printf("expect[%s]: op '%s' requires 'value'", Id, Op));
		}
		return CheckFieldsUsed() && CheckFieldsRequired();
	}

	std::string Error;

private:
	bool Fail(std::string Message)
	{
		Error = std::move(Message);
		return false;
	}

	bool ReadNumber(const char* Key, double& Value)
	{
		if (!IsGiven(Entry, Key)) return true;
		if (!Entry[Key].is_number()) return Fail(Tarnwick::Printf("expect[%s]: '%s' must be a number", Out.Id.c_str(), Key));
		Value = Entry[Key].get<double>();
		return true;
	}

	bool ReadOptional(const char* Key, FOptional& Value)
	{
		if (!IsGiven(Entry, Key)) return true;
		Value.bGiven = true;
		return ReadNumber(Key, Value.Value);
	}

	bool ReadWindow()
	{
		if (!IsGiven(Entry, "window")) return true;
		const FJson& Window = Entry["window"];
		const char* Id = Out.Id.c_str();
		if (!Window.is_object()) return Fail(Tarnwick::Printf("expect[%s]: 'window' must be an object {\"from\": seconds, \"to\": seconds}", Id));
		for (const auto& [Field, Value] : Window.items())
		{
			if (Field != "from" && Field != "to")
			{
				return Fail(Tarnwick::Printf("expect[%s]: unknown field 'window.%s' — a window has 'from' and 'to'", Id, Field.c_str()));
			}
		}
		Out.bWindow = true;
		for (const char* Key : {"from", "to"})
		{
			if (!IsGiven(Window, Key)) continue;
			if (!Window[Key].is_number()) return Fail(Tarnwick::Printf("expect[%s]: 'window.%s' must be a number", Id, Key));
			(std::string(Key) == "from" ? Out.WindowFrom : Out.WindowTo) = Window[Key].get<double>();
		}
		return true;
	}

	bool ReadPredicate()
	{
		const FJson& Predicate = Entry["predicate"];
		const char* Id = Out.Id.c_str();
		constexpr const char* Shape = "{\"op\": eq|neq|gt|gte|lt|lte|contains, \"value\": ...}";
		if (!Predicate.is_object()) return Fail(Tarnwick::Printf("expect[%s]: 'predicate' must be an object %s", Id, Shape));
		for (const auto& [Field, Value] : Predicate.items())
		{
			if (Field != "op" && Field != "value")
			{
				return Fail(Tarnwick::Printf("expect[%s]: unknown field 'predicate.%s' — a predicate is %s", Id, Field.c_str(), Shape));
			}
		}
		const std::string OpText = IsGiven(Predicate, "op") ? JsonText(Predicate["op"]) : std::string();
		EOp PredicateOp = EOp::NoError;
		if (!Predicate.contains("op") || !Predicate["op"].is_string() || !FindOp(OpText, PredicateOp) || !IsComparison(PredicateOp) ||
			PredicateOp == EOp::Between)
		{
			return Fail(Tarnwick::Printf("expect[%s]: predicate op '%s' is not a comparison — a predicate is %s", Id, OpText.c_str(), Shape));
		}
		Out.PredicateOp = PredicateOp;
		if (!IsGiven(Predicate, "value") || !ReadLiteral(Predicate["value"], Out.PredicateValue))
		{
			return Fail(Tarnwick::Printf("expect[%s]: predicate '%s' requires a 'value' (a string, a number or a bool)", Id, OpName(PredicateOp)));
		}
		Out.bHasPredicate = true;
		return true;
	}

	/** A field the operator does not read is refused rather than silently ignored. */
	bool CheckFieldsUsed()
	{
		const std::vector<const char*> Used = OpFields(Out.Op);
		const char* Op = OpName(Out.Op);
		const bool bReaches = Out.Event == EEvent::Reaches || Out.OtherEvent == EEvent::Reaches;
		for (const auto& [Field, Value] : Entry.items())
		{
			if (Value.is_null() || Field == "id" || Field == "op" || Field == "severity" || Field == "describe") continue;
			bool bUsed = std::any_of(Used.begin(), Used.end(), [&Name = Field](const char* U) { return Name == U; });
			if (Out.Op != EOp::NoError && (Field == "var" || Field == "window")) bUsed = true;
			// between given a string value is named by the pre-flight check, which says what to do instead.
			if (Out.Op == EOp::Between && Field == "value" && Value.is_string()) bUsed = true;
			if (IsOrdering(Out.Op) && (Field == "value" || Field == "tolerance") && !bReaches) bUsed = false;
			if (Out.Op == EOp::BecomesWithin && Field == "tolerance" && Out.PredicateOp != EOp::Eq && Out.PredicateOp != EOp::Neq) bUsed = false;
			if (bUsed) continue;
			std::string Hint;
			if (Field == "tolerance") Hint = " — only eq and neq (and the 'reaches' event) compare with a tolerance; every other comparison is exact";
			else if (Field == "when") Hint = " — 'when' applies to the comparison operators only";
			else if (IsOrdering(Out.Op) && Field == "value") Hint = " — 'value' is what the 'reaches' event waits for";
			return Fail(Tarnwick::Printf("expect[%s]: op '%s' does not use '%s'%s", Out.Id.c_str(), Op, Field.c_str(), Hint.c_str()));
		}
		return true;
	}

	/** Fields without which an entry could only pass vacuously. */
	bool CheckFieldsRequired()
	{
		const char* Id = Out.Id.c_str();
		const char* Op = OpName(Out.Op);
		auto Requires = [&](const char* What) { return Fail(Tarnwick::Printf("expect[%s]: op '%s' requires %s", Id, Op, What)); };
		switch (Out.Op)
		{
		case EOp::Between:
			if (!Out.Min.bGiven || !Out.Max.bGiven) return Requires("'min' and 'max'");
			break;
		case EOp::BecomesTrueWithin:
		case EOp::StaysTrueFor:
			if (!Out.Seconds.bGiven) return Requires("'seconds'");
			break;
		case EOp::BecomesWithin:
			if (!Out.bHasPredicate) return Requires("'predicate' {\"op\": eq|neq|gt|gte|lt|lte|contains, \"value\": ...}");
			if (!Out.Seconds.bGiven) return Requires("'seconds'");
			break;
		case EOp::StaysWithinFor:
			if (!Out.Min.bGiven && !Out.Max.bGiven) return Requires("'min' and/or 'max'");
			if (!Out.Seconds.bGiven) return Requires("'seconds'");
			break;
		case EOp::Transitions:
		case EOp::RisingEdges:
		case EOp::FallingEdges:
			if (!Out.Min.bGiven && !Out.Max.bGiven && !Out.bExactlyGiven) return Requires("'exactly', 'min' or 'max'");
			break;
		case EOp::DutyCycle:
			if (!Out.Min.bGiven && !Out.Max.bGiven) return Requires("'min' and/or 'max'");
			break;
		case EOp::TimeInState:
			if (Out.Value.Kind == ELiteralKind::Unset) return Requires("'value' (the state's name)");
			if (!Out.MinSeconds.bGiven && !Out.MaxSeconds.bGiven) return Requires("'min_seconds' and/or 'max_seconds'");
			break;
		case EOp::Before:
		case EOp::BeforeOrSame:
			if ((Out.Event == EEvent::Reaches || Out.OtherEvent == EEvent::Reaches) && Out.Value.Kind == ELiteralKind::Unset)
			{
				return Fail(Tarnwick::Printf("expect[%s]: event 'reaches' requires 'value' (the value to reach)", Id));
			}
			break;
		case EOp::Stable:
			if (!Out.MaxDelta.bGiven) return Requires("'max_delta'");
			break;
		default: break;
		}
		return true;
	}

	const FJson& Entry;
	FExpectation& Out;
};

std::string JoinNames(const std::vector<std::string>& Names)
{
	if (Names.empty()) return "<none>";
	std::string Out;
	for (const std::string& N : Names)
	{
		if (!Out.empty()) Out += ", ";
		Out += N;
	}
	return Out;
}

bool IsDeclared(const std::vector<std::string>& Names, const std::string& Name)
{
	return std::any_of(Names.begin(), Names.end(), [&](const std::string& N) { return EqualsIgnoreCase(N, Name); });
}

/** The first reason an entry can never be satisfied, or "". */
std::string FindUnsatisfiable(const FExpectation& E, const std::vector<std::string>& Names, double Duration)
{
	const std::string Prefix = Tarnwick::Printf("expect[%s]", E.Id.c_str());
	const char* P = Prefix.c_str();
	if (E.Op != EOp::NoError && !IsDeclared(Names, E.Var.Name))
	{
		return Tarnwick::Printf("%s references unknown var '%s' — sampled vars are: %s", P, E.Var.Name.c_str(), JoinNames(Names).c_str());
	}
	if (E.bHasOtherVar && !IsDeclared(Names, E.OtherVar.Name))
	{
		return Tarnwick::Printf("%s references unknown other_var '%s' — sampled vars are: %s", P, E.OtherVar.Name.c_str(), JoinNames(Names).c_str());
	}
	if (E.Seconds.bGiven && E.Seconds.Value > Duration)
	{
		return Tarnwick::Printf("%s can never be satisfied: seconds=%g exceeds session duration=%g", P, E.Seconds.Value, Duration);
	}
	if (E.MinSeconds.bGiven && E.MinSeconds.Value > Duration)
	{
		return Tarnwick::Printf("%s can never be satisfied: min_seconds=%g exceeds session duration=%g", P, E.MinSeconds.Value, Duration);
	}
	if (E.bWindow && E.WindowFrom >= Duration)
	{
		return Tarnwick::Printf("%s has an empty window: window.from=%g is at/after duration=%g", P, E.WindowFrom, Duration);
	}
	if (E.bWindow && E.WindowFrom >= E.WindowTo)
	{
		return Tarnwick::Printf("%s has an empty window: from=%g >= to=%g", P, E.WindowFrom, E.WindowTo);
	}
	if (E.Op == EOp::Between && E.Min.Value > E.Max.Value) return Tarnwick::Printf("%s: between min=%g > max=%g", P, E.Min.Value, E.Max.Value);
	auto OrderingOnString = [&](EOp Op, const FLiteral& Value) {
		return Tarnwick::Printf("%s can never be satisfied: op '%s' needs a number, but value is the string %s. For an enum, order by its integer "
								"(value:2) or match its name with eq/contains.",
			P, OpName(Op), PrintLiteral(Value).c_str());
	};
	auto ContainsNonString = [&](const FLiteral& Value) {
		return Tarnwick::Printf("%s can never be satisfied: 'contains' needs a string value, got a %s (%s).", P, LiteralKindName(Value.Kind),
			PrintLiteral(Value).c_str());
	};
	if (IsOrderingComparison(E.Op) && E.Value.Kind == ELiteralKind::String) return OrderingOnString(E.Op, E.Value);
	if (E.bHasPredicate && IsOrderingComparison(E.PredicateOp) && E.PredicateValue.Kind == ELiteralKind::String)
	{
		return OrderingOnString(E.PredicateOp, E.PredicateValue);
	}
	if (E.Op == EOp::Contains && E.Value.Kind != ELiteralKind::String) return ContainsNonString(E.Value);
	if (E.bHasPredicate && E.PredicateOp == EOp::Contains && E.PredicateValue.Kind != ELiteralKind::String) return ContainsNonString(E.PredicateValue);
	if (E.Op == EOp::TimeInState && E.Value.Kind != ELiteralKind::String)
	{
		return Tarnwick::Printf("%s can never be satisfied: 'time_in_state' needs a state name (a string), got a %s (%s).", P,
			LiteralKindName(E.Value.Kind), PrintLiteral(E.Value).c_str());
	}
	if (E.Op == EOp::DutyCycle && E.Min.bGiven && E.Min.Value > 1.0) return Tarnwick::Printf("%s: duty_cycle min=%g exceeds 1.0", P, E.Min.Value);
	if (E.Op == EOp::DutyCycle && E.Min.bGiven && E.Max.bGiven && E.Min.Value > E.Max.Value)
	{
		return Tarnwick::Printf("%s: duty_cycle min=%g > max=%g", P, E.Min.Value, E.Max.Value);
	}
	if (E.Op != EOp::DutyCycle && E.Op != EOp::Between && E.Min.bGiven && E.Max.bGiven && E.Min.Value > E.Max.Value)
	{
		return Tarnwick::Printf("%s: min=%g > max=%g", P, E.Min.Value, E.Max.Value);
	}
	if (E.MinSeconds.bGiven && E.MaxSeconds.bGiven && E.MinSeconds.Value > E.MaxSeconds.Value)
	{
		return Tarnwick::Printf("%s: min_seconds=%g > max_seconds=%g", P, E.MinSeconds.Value, E.MaxSeconds.Value);
	}
	if (IsCount(E.Op) && E.bExactlyGiven &&
		((E.Min.bGiven && static_cast<double>(E.Exactly) < E.Min.Value) || (E.Max.bGiven && static_cast<double>(E.Exactly) > E.Max.Value)))
	{
		return Tarnwick::Printf("%s can never be satisfied: exactly=%lld lies outside min/max", P, static_cast<long long>(E.Exactly));
	}
	if (IsOrdering(E.Op))
	{
		if (!E.bHasOtherVar) return Tarnwick::Printf("%s: '%s' requires 'other_var'", P, OpName(E.Op));
		if (EqualsIgnoreCase(E.Var.Name, E.OtherVar.Name) && E.Var.Selector == E.OtherVar.Selector && E.Event == E.OtherEvent)
		{
			return Tarnwick::Printf("%s is trivially simultaneous: same var '%s' and same event '%s'", P, E.Var.Text.c_str(), EventName(E.Event));
		}
		if (E.MaxGap.bGiven && E.MaxGap.Value < 0.0)
		{
			return Tarnwick::Printf("%s can never be satisfied: max_gap=%g is negative, but the second event may not come before the first", P,
				E.MaxGap.Value);
		}
		if (E.MinGap.bGiven && E.MaxGap.bGiven && E.MinGap.Value > E.MaxGap.Value)
		{
			return Tarnwick::Printf("%s can never be satisfied: min_gap=%g > max_gap=%g", P, E.MinGap.Value, E.MaxGap.Value);
		}
		if (E.MinGap.bGiven && E.MinGap.Value > Duration)
		{
			return Tarnwick::Printf("%s can never be satisfied: min_gap=%g exceeds session duration=%g", P, E.MinGap.Value, Duration);
		}
	}
	return std::string();
}
}

FParsedExpectations ParseExpectations(const FJson& Expect, const std::vector<std::string>& SampleNames, double Duration)
{
	FParsedExpectations Out;
	if (Expect.is_null()) return Out;
	if (!Expect.is_array())
	{
		Out.ParseError = "expect must be an array of expectation objects";
		return Out;
	}
	std::set<std::string> Ids;
	for (size_t I = 0; I < Expect.size(); ++I)
	{
		FExpectation E;
		FEntryParser Parser(Expect[I], E);
		if (!Parser.Parse(I))
		{
			Out.ParseError = Parser.Error;
			return Out;
		}
		if (!Ids.insert(E.Id).second)
		{
			Out.ParseError = Tarnwick::Printf("duplicate expectation id '%s'", E.Id.c_str());
			return Out;
		}
		Out.Entries.push_back(std::move(E));
	}
	for (const FExpectation& E : Out.Entries)
	{
		std::string Why = FindUnsatisfiable(E, SampleNames, Duration);
		if (!Why.empty()) Out.Unsatisfiable.push_back(std::move(Why));
	}
	return Out;
}

std::string UnsatisfiableRefusal(size_t Count)
{
	return Tarnwick::Printf("%d expectation(s) can never be satisfied — refusing to start PIE.", static_cast<int>(Count));
}
}
