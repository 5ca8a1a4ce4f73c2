#include "Expectations/ExpectationEvaluator.h"

#include "Expectations/ComparisonRules.h"
#include "Expectations/ExpectationText.h"
#include "Printf.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace Tarnwick::Expectations
{
using Sampling::FVarAccumulator;

namespace
{
/** The verdict before it is shaped into a record. */
struct FOutcome
{
	bool bPassed = false;
	std::string Reason;
	std::string Message;
	const FSampleRef* FirstViolation = nullptr;
	FJson Observed = FJson::object();
	std::optional<double> Margin;
	double DecidedAt = 0.0;
};

FJson TimeOrNull(double T) { return T >= 0.0 ? FJson(T) : FJson(nullptr); }

class FJudge
{
public:
	FJudge(const FExpectationTracker& InTracker, const FEvalContext& InContext)
		: Tracker(InTracker), E(InTracker.E), Context(InContext), Spec(Describe(InTracker.E)), Scope(ScopeText(InTracker.E))
	{
		ScopeEnd = E.bWindow ? std::min(E.WindowTo, Context.SessionSeconds) : Context.SessionSeconds;
	}

	FOutcome Judge()
	{
		if (E.Op == EOp::NoError) return NoError();
		const FVarView& Var = Context.Vars[static_cast<size_t>(Tracker.VarIndex)];
		const FVarView* Other = IsOrdering(E.Op) ? &Context.Vars[static_cast<size_t>(Tracker.OtherIndex)] : nullptr;
		for (const FVarView* V : {&Var, Other})
		{
			if (V && !V->bResolved) return Unresolved(*V);
		}
		for (const FVarView* V : {&Var, Other})
		{
			if (V && V->bKindUnstable) return KindChanged(*V);
		}
		if (Var.Accumulator->SampleCount == 0) return Empty("no_samples", Var);
		if (Other && Other->Accumulator->SampleCount == 0) return Empty("no_samples", *Other);
		if (Tracker.InScope == 0) return Empty("window_empty", Var);
		if (Other && Tracker.OtherInScope == 0) return Empty("window_empty", *Other);

		Acc = &Tracker.ScopeAccumulator(*Var.Accumulator);
		ContextSuffix = ContextText(*Acc);
		ObservedValues = ObservedValuesText(*Acc);
		if (std::optional<FOutcome> Mismatch = KindCheck(Var, Other)) return *Mismatch;

		if (IsComparison(E.Op)) return Comparison();
		switch (E.Op)
		{
		case EOp::BecomesTrueWithin:
		case EOp::BecomesWithin: return BecomesWithin();
		case EOp::StaysTrueFor:
		case EOp::StaysWithinFor: return StaysFor();
		case EOp::Transitions:
		case EOp::RisingEdges:
		case EOp::FallingEdges: return Count();
		case EOp::DutyCycle: return DutyCycle();
		case EOp::TimeInState: return TimeInState();
		case EOp::Before:
		case EOp::BeforeOrSame: return Ordering();
		case EOp::Monotonic: return Monotonic();
		case EOp::Stable: return Stable();
		default: break;
		}
		return FOutcome();
	}

	const std::string& GetSpec() const { return Spec; }

private:
	/** "<sentence> Context: <figures>." plus the observed string values. */
	std::string WithContext(const std::string& Sentence) const { return Sentence + " Context: " + ContextSuffix + "." + ObservedValues; }

	FOutcome Pass(double DecidedAt, std::optional<double> Margin) const
	{
		FOutcome Out;
		Out.bPassed = true;
		Out.Message = Tarnwick::Printf("Satisfied: %s.", Spec.c_str());
		Out.DecidedAt = DecidedAt;
		Out.Margin = Margin;
		return Out;
	}

	FOutcome Fail(const char* Reason, std::string Message, double DecidedAt, std::optional<double> Margin = std::nullopt) const
	{
		FOutcome Out;
		Out.Reason = Reason;
		Out.Message = std::move(Message);
		Out.DecidedAt = DecidedAt;
		Out.Margin = Margin;
		return Out;
	}

	FOutcome NoError() const
	{
		const bool bOk = Context.SessionStatus != 3 && Context.UnresolvedRequired.empty() && Context.DispatchFailures == 0;
		std::string Names;
		for (const std::string& N : Context.UnresolvedRequired) Names += (Names.empty() ? "" : ", ") + N;
		FOutcome Out = bOk ? Pass(Context.SessionSeconds, std::nullopt)
						   : Fail("harness_error",
								 Tarnwick::Printf("Expected no harness error, but status=%d, unresolved required specs=%s, dispatch failures=%d.",
									 Context.SessionStatus, Names.empty() ? "<none>" : Names.c_str(), static_cast<int>(Context.DispatchFailures)),
								 Context.SessionSeconds);
		if (bOk) Out.Message = "No harness error.";
		Out.Observed["status"] = Context.SessionStatus;
		Out.Observed["unresolved_required_specs"] = Context.UnresolvedRequired;
		Out.Observed["dispatch_failures"] = Context.DispatchFailures;
		return Out;
	}

	FOutcome Unresolved(const FVarView& V) const
	{
		FOutcome Out = Fail(V.bDispatchFailed ? "dispatch_failed" : "unresolved_var",
			Tarnwick::Printf("Expected '%s', but var '%s' never resolved: %s", Spec.c_str(), V.Name.c_str(), V.Reason.c_str()),
			V.LatchedT >= 0.0 ? V.LatchedT : ScopeEnd);
		Out.Observed["var"] = V.Name;
		Out.Observed["resolved"] = false;
		return Out;
	}

	FOutcome KindChanged(const FVarView& V) const
	{
		FOutcome Out = Fail("type_changed",
			Tarnwick::Printf("Expected '%s', but var '%s' changed kind from %s to %s at t=%.2fs — comparisons across that flip are not meaningful.",
				Spec.c_str(), V.Name.c_str(), Sampling::KindName(V.Accumulator->Kind), Sampling::KindName(V.FlippedTo), V.KindFlipT),
			V.KindFlipT);
		Out.Observed["var"] = V.Name;
		Out.Observed["kind"] = Sampling::KindName(V.Accumulator->Kind);
		Out.Observed["kind_flipped_to"] = Sampling::KindName(V.FlippedTo);
		return Out;
	}

	FOutcome Empty(const char* Reason, const FVarView& V) const
	{
		FOutcome Out = Fail(Reason,
			Tarnwick::Printf("Expected '%s', but no samples were recorded for '%s' (%s). An expectation over an empty sample set fails rather than "
							 "passing vacuously.",
				Spec.c_str(), V.Name.c_str(), Scope.c_str()),
			ScopeEnd);
		Out.Observed["var"] = V.Name;
		Out.Observed["samples"] = 0;
		return Out;
	}

	std::optional<FOutcome> KindCheck(const FVarView& Var, const FVarView* Other) const
	{
		const Sampling::FSampleValue& First = Tracker.FirstValue;
		std::optional<std::string> Problem;
		if (IsComparison(E.Op)) Problem = ComparisonKindProblem(E.Op, E.Value, E.Var, First, ObservedValues);
		else if (E.Op == EOp::BecomesWithin) Problem = ComparisonKindProblem(E.PredicateOp, E.PredicateValue, E.Var, First, ObservedValues);
		else if (E.Op == EOp::StaysWithinFor && !Sampling::NumericView(First, E.Var.Selector))
		{
			Problem = ComparisonKindProblem(EOp::Between, FLiteral(), E.Var, First, ObservedValues);
		}
		else if (E.Op == EOp::Monotonic || E.Op == EOp::Stable)
		{
			if (Sampling::NumericView(First, E.Var.Selector)) return std::nullopt;
			FOutcome Out = Fail("type_mismatch", Tarnwick::Printf("Expected '%s', but '%s' is not a numeric series.", Spec.c_str(), E.Var.Text.c_str()),
				Tracker.FirstT);
			Out.Observed["kind"] = Sampling::KindName(First.Kind);
			return Out;
		}
		else if (IsOrdering(E.Op))
		{
			const FEventTracker* Sides[2] = {&Tracker.Sides[0], &Tracker.Sides[1]};
			const FVarRef* Refs[2] = {&E.Var, &E.OtherVar};
			const FVarView* Views[2] = {&Var, Other};
			for (int I = 0; I < 2 && !Problem; ++I)
			{
				if (Sides[I]->Event == EEvent::Reaches && Sides[I]->bKindOk && !*Sides[I]->bKindOk)
				{
					Problem = ComparisonKindProblem(EOp::Eq, E.Value, *Refs[I], Sides[I]->Previous,
						ObservedValuesText(I == 0 ? *Acc : *Views[I]->Accumulator));
				}
			}
		}
		else Problem = OperatorKindProblem(E.Op, E.Var, First);
		if (!Problem) return std::nullopt;
		FOutcome Out = Fail("type_mismatch", Tarnwick::Printf("Cannot evaluate '%s': %s", Spec.c_str(), Problem->c_str()), Tracker.FirstT);
		Out.Observed["kind"] = Sampling::KindName(First.Kind);
		Out.Observed["samples"] = Tracker.InScope;
		return Out;
	}

	void ObserveView(FOutcome& Out) const
	{
		Out.Observed["samples"] = Tracker.InScope;
		if (Tracker.View.Count > 0)
		{
			Out.Observed["min"] = Tracker.View.Min;
			Out.Observed["max"] = Tracker.View.Max;
			Out.Observed["last"] = Tracker.View.Last;
		}
	}

	FOutcome Comparison() const
	{
		const FExpectationTracker& T = Tracker;
		const char* S = Spec.c_str();
		const char* Sc = Scope.c_str();
		const std::optional<double> Worst = T.bHasMargin ? std::optional<double>(T.MinMargin) : std::nullopt;
		const std::optional<double> Best = T.bHasMargin ? std::optional<double>(T.MaxMargin) : std::nullopt;
		FOutcome Out;
		switch (E.When)
		{
		case EWhen::Always:
			if (!T.Violation.bSet) Out = Pass(ScopeEnd, Worst);
			else
			{
				Out = Fail("violated_at_sample",
					WithContext(Tarnwick::Printf("Expected '%s' for EVERY sample in %s, but sample #%d at t=%.2fs had %s = %s.", S, Sc,
						static_cast<int>(T.Violation.Index), T.Violation.T, E.Var.Text.c_str(), Sampling::PrintSample(T.Violation.Value, E.Var.Selector).c_str())),
					T.Violation.T, Worst);
				Out.FirstViolation = &T.Violation;
			}
			break;
		case EWhen::Ever:
			if (T.FirstHold.bSet) Out = Pass(T.FirstHold.T, Best);
			else
			{
				Out = Fail("never_satisfied",
					WithContext(Tarnwick::Printf("Expected '%s' at least ONCE in %s, but it never held across %d evaluated sample(s).", S, Sc,
						static_cast<int>(T.InScope))),
					ScopeEnd, Best);
			}
			break;
		case EWhen::Never:
		{
			const std::optional<double> Margin = Best ? std::optional<double>(-*Best) : std::nullopt;
			if (!T.FirstHold.bSet) Out = Pass(ScopeEnd, Margin);
			else
			{
				Out = Fail("violated_at_sample",
					WithContext(Tarnwick::Printf("Expected '%s' to NEVER hold in %s, but it held at t=%.2fs (%d of %d samples).", S, Sc, T.FirstHold.T,
						static_cast<int>(T.Holding), static_cast<int>(T.InScope))),
					T.FirstHold.T, Margin);
				Out.FirstViolation = &T.FirstHold;
			}
			break;
		}
		case EWhen::Final:
		{
			const std::optional<double> Margin = T.bHasMargin ? std::optional<double>(T.FinalMargin) : std::nullopt;
			if (T.bFinalHolds) Out = Pass(ScopeEnd, Margin);
			else
			{
				Out = Fail("violated_at_sample", WithContext(Tarnwick::Printf("Expected '%s' on the FINAL sample in %s, but it did not hold there.", S, Sc)),
					ScopeEnd, Margin);
				Out.FirstViolation = &T.Final;
			}
			break;
		}
		case EWhen::Initial:
		{
			const std::optional<double> Margin = T.bHasMargin ? std::optional<double>(T.InitialMargin) : std::nullopt;
			if (T.bInitialHolds) Out = Pass(T.FirstT, Margin);
			else
			{
				Out = Fail("violated_at_sample", WithContext(Tarnwick::Printf("Expected '%s' on the FIRST sample in %s, but it did not hold there.", S, Sc)),
					T.FirstT, Margin);
				Out.FirstViolation = &T.Initial;
			}
			break;
		}
		}
		ObserveView(Out);
		Out.Observed["holding"] = T.Holding;
		if (Acc->Kind == Sampling::ESampleKind::String || Acc->Kind == Sampling::ESampleKind::Object) Out.Observed["last"] = Acc->Str.Last;
		return Out;
	}

	FOutcome BecomesWithin() const
	{
		const double First = Tracker.FirstEventT;
		const double Deadline = E.Seconds.Value;
		const std::optional<double> Margin = First >= 0.0 ? std::optional<double>(Deadline - First) : std::nullopt;
		const bool bTrueOp = E.Op == EOp::BecomesTrueWithin;
		FOutcome Out;
		if (First >= 0.0 && First <= Deadline) Out = Pass(First, Margin);
		else if (bTrueOp && First < 0.0)
		{
			Out = Fail("never_occurred",
				WithContext(Tarnwick::Printf("Expected '%s', but %s was never true in %d sample(s).", Spec.c_str(), E.Var.Text.c_str(),
					static_cast<int>(Tracker.InScope))),
				std::min(Deadline, ScopeEnd), Margin);
		}
		else if (bTrueOp)
		{
			Out = Fail("never_satisfied",
				WithContext(Tarnwick::Printf("Expected '%s', but %s first became true at t=%.2fs.", Spec.c_str(), E.Var.Text.c_str(), First)), Deadline,
				Margin);
		}
		else
		{
			const std::string What = First < 0.0 ? std::string("never reached") : Tarnwick::Printf("first reached at t=%.2fs", First);
			Out = Fail(First < 0.0 ? "never_occurred" : "never_satisfied",
				WithContext(Tarnwick::Printf("Expected '%s', but it was %s.", Spec.c_str(), What.c_str())), std::min(Deadline, ScopeEnd), Margin);
		}
		if (bTrueOp) Out.Observed["samples"] = Tracker.InScope;
		else ObserveView(Out);
		Out.Observed[bTrueOp ? "first_true_t" : "first_reached_t"] = TimeOrNull(First);
		Out.Observed["deadline"] = Deadline;
		return Out;
	}

	FOutcome StaysFor() const
	{
		const bool bTrueOp = E.Op == EOp::StaysTrueFor;
		const double Longest = bTrueOp ? Acc->Bool.LongestTrueRun : Tracker.Run.Longest;
		const double Margin = Longest - E.Seconds.Value;
		FOutcome Out;
		if (Longest >= E.Seconds.Value) Out = Pass(Tracker.Run.ReachedT >= 0.0 ? Tracker.Run.ReachedT : ScopeEnd, Margin);
		else
		{
			Out = Fail("never_satisfied",
				WithContext(Tarnwick::Printf(bTrueOp ? "Expected '%s', but the longest contiguous true run was %.2fs."
													 : "Expected '%s', but the longest contiguous in-band run was %.2fs.",
					Spec.c_str(), Longest)),
				ScopeEnd, Margin);
		}
		if (bTrueOp) Out.Observed["samples"] = Tracker.InScope;
		else ObserveView(Out);
		Out.Observed[bTrueOp ? "longest_true_run" : "longest_in_band_run"] = Longest;
		return Out;
	}

	FOutcome Count() const
	{
		const int64 N = CountFor(E.Op, *Acc);
		const double X = static_cast<double>(N);
		double Margin = std::numeric_limits<double>::infinity();
		if (E.bExactlyGiven) Margin = std::min(Margin, -std::fabs(X - static_cast<double>(E.Exactly)));
		if (E.Min.bGiven) Margin = std::min(Margin, X - E.Min.Value);
		if (E.Max.bGiven) Margin = std::min(Margin, E.Max.Value - X);
		const bool bOk = (!E.bExactlyGiven || N == E.Exactly) && (!E.Min.bGiven || X >= E.Min.Value) && (!E.Max.bGiven || X <= E.Max.Value);
		FOutcome Out = bOk ? Pass(ScopeEnd, Margin)
						   : Fail("out_of_bounds", WithContext(Tarnwick::Printf("Expected '%s' within bounds, but observed %d.", Spec.c_str(), static_cast<int>(N))),
								 Tracker.CountExceededT >= 0.0 ? Tracker.CountExceededT : ScopeEnd, Margin);
		Out.Observed["count"] = N;
		Out.Observed["samples"] = Tracker.InScope;
		return Out;
	}

	FOutcome DutyCycle() const
	{
		const double Total = Acc->TotalSeconds;
		const double True = Acc->Bool.TrueSeconds;
		const double Duty = Total > 0.0 ? True / Total : 0.0;
		double Margin = std::numeric_limits<double>::infinity();
		if (E.Min.bGiven) Margin = std::min(Margin, Duty - E.Min.Value);
		if (E.Max.bGiven) Margin = std::min(Margin, E.Max.Value - Duty);
		FOutcome Out = Margin >= 0.0 ? Pass(ScopeEnd, Margin)
									 : Fail("out_of_bounds",
										   WithContext(Tarnwick::Printf("Expected '%s' within bounds, but the duty cycle was %.3f (%.2fs true of %.2fs).",
											   Spec.c_str(), Duty, True, Total)),
										   ScopeEnd, Margin);
		Out.Observed["duty_cycle"] = Duty;
		Out.Observed["true_seconds"] = True;
		Out.Observed["total_seconds"] = Total;
		return Out;
	}

	FOutcome TimeInState() const
	{
		const double Dwell = Acc->Str.DwellOf(E.Value.String);
		const bool bOverflow = Acc->Str.bDistinctOverflow;
		// A state absent from an overflowed map may have dwelled for any time: no verdict can rest on its 0.
		const bool bUnknown = bOverflow && Dwell == 0.0;
		double Margin = std::numeric_limits<double>::infinity();
		if (E.MinSeconds.bGiven) Margin = std::min(Margin, Dwell - E.MinSeconds.Value);
		if (E.MaxSeconds.bGiven) Margin = std::min(Margin, E.MaxSeconds.Value - Dwell);
		FOutcome Out;
		if (Margin >= 0.0 && !bUnknown) Out = Pass(ScopeEnd, Margin);
		else
		{
			Out = Fail("out_of_bounds",
				WithContext(Tarnwick::Printf("Expected '%s', but %s dwelled in '%s' for %.2fs%s.", Spec.c_str(), E.Var.Text.c_str(), E.Value.String.c_str(),
					Dwell, bOverflow ? " (dwell map overflowed 32 distinct values)" : "")),
				ScopeEnd, bUnknown ? std::nullopt : std::optional<double>(Margin));
		}
		Out.Observed["state"] = E.Value.String;
		Out.Observed["dwell_seconds"] = Dwell;
		Out.Observed["dwell_overflow"] = bOverflow;
		return Out;
	}

	FOutcome Ordering() const
	{
		const FEventTracker& A = Tracker.Sides[0];
		const FEventTracker& B = Tracker.Sides[1];
		const char* V = E.Var.Text.c_str();
		const char* Ev = EventName(E.Event);
		const char* OV = E.OtherVar.Text.c_str();
		const char* OEv = EventName(E.OtherEvent);
		FOutcome Out;
		Out.Observed["first_event_t"] = A.bOccurred ? FJson(A.T) : FJson(nullptr);
		Out.Observed["second_event_t"] = B.bOccurred ? FJson(B.T) : FJson(nullptr);
		Out.Observed["gap"] = A.bOccurred && B.bOccurred ? FJson(B.T - A.T) : FJson(nullptr);
		if (!A.bOccurred || !B.bOccurred)
		{
			const char* Subject = !A.bOccurred && !B.bOccurred ? "neither event" : (!A.bOccurred ? "the first event" : "the second event");
			const std::string TA = A.bOccurred ? Tarnwick::Printf("t=%.2fs", A.T) : std::string("never");
			const std::string TB = B.bOccurred ? Tarnwick::Printf("t=%.2fs", B.T) : std::string("never");
			FOutcome Failed = Fail("never_occurred",
				Tarnwick::Printf("Expected '%s', but %s ever occurred (%s(%s) at %s, %s(%s) at %s).", Spec.c_str(), Subject, V, Ev, TA.c_str(), OV, OEv, TB.c_str()),
				ScopeEnd);
			Failed.Observed = std::move(Out.Observed);
			return Failed;
		}
		const double Gap = B.T - A.T;
		double Margin = Gap - (E.MinGap.bGiven ? E.MinGap.Value : 0.0);
		if (E.MaxGap.bGiven) Margin = std::min(Margin, E.MaxGap.Value - Gap);
		const double DecidedAt = std::max(A.T, B.T);
		FOutcome Result;
		const std::string GapText =
			Tarnwick::Printf("Expected '%s', but %s(%s) fired at t=%.2fs and %s(%s) at t=%.2fs (gap %.2fs).", Spec.c_str(), V, Ev, A.T, OV, OEv, B.T, Gap);
		if (A.Pass == B.Pass && !E.bAllowSimultaneous)
		{
			Result = Fail("simultaneous",
				Tarnwick::Printf("Expected '%s', but both events landed on the SAME sample tick (t=%.2fs). Frame-granularity sampling cannot order them "
								 "— use before_or_same, or allow_simultaneous:true, if that is acceptable.",
					Spec.c_str(), A.T),
				DecidedAt, 0.0);
		}
		else if (B.Pass < A.Pass || (E.MinGap.bGiven && Gap < E.MinGap.Value)) Result = Fail("gap_too_small", GapText, DecidedAt, std::min(Margin, Gap));
		else if (E.MaxGap.bGiven && Gap > E.MaxGap.Value) Result = Fail("gap_too_large", GapText, DecidedAt, Margin);
		else Result = Pass(DecidedAt, Margin);
		Result.Observed = std::move(Out.Observed);
		return Result;
	}

	FOutcome Monotonic() const
	{
		const FNumericChannel& S = Tracker.View;
		const bool bOk = E.bDecreasing ? S.bNonIncreasing : S.bNonDecreasing;
		const std::optional<double> Margin = S.Count > 1 ? std::optional<double>(Tracker.MinStep) : std::nullopt;
		FOutcome Out;
		if (bOk) Out = Pass(ScopeEnd, Margin);
		else
		{
			Out = Fail("violated_at_sample",
				WithContext(Tarnwick::Printf("Expected '%s', but the series regressed (min %.3f, max %.3f, first %.3f, last %.3f).", Spec.c_str(), S.Min, S.Max,
					S.First, S.Last)),
				Tracker.Regression.T, Margin);
			Out.FirstViolation = &Tracker.Regression;
		}
		ObserveView(Out);
		Out.Observed["first"] = S.First;
		return Out;
	}

	FOutcome Stable() const
	{
		const FNumericChannel& S = Tracker.View;
		const double Spread = S.Max - S.Min;
		const double Margin = E.MaxDelta.Value - Spread;
		FOutcome Out = Margin >= 0.0 ? Pass(ScopeEnd, Margin)
									 : Fail("out_of_bounds",
										   WithContext(Tarnwick::Printf("Expected '%s', but it varied by %.4f (min %.3f, max %.3f).", Spec.c_str(), Spread, S.Min, S.Max)),
										   Tracker.SpreadExceededT, Margin);
		ObserveView(Out);
		Out.Observed["spread"] = Spread;
		return Out;
	}

	using FNumericChannel = Sampling::FNumericChannel;

	const FExpectationTracker& Tracker;
	const FExpectation& E;
	const FEvalContext& Context;
	std::string Spec;
	std::string Scope;
	double ScopeEnd = 0.0;
	const FVarAccumulator* Acc = nullptr;
	std::string ContextSuffix;
	std::string ObservedValues;
};
}

FEvalResult EvaluateExpectation(const FExpectationTracker& Tracker, const FEvalContext& Context)
{
	const FExpectation& E = Tracker.E;
	FJudge Judge(Tracker, Context);
	const FOutcome Out = Judge.Judge();

	FJson R = FJson::object();
	R["id"] = E.Id;
	R["op"] = OpName(E.Op);
	R["passed"] = Out.bPassed;
	R["severity"] = E.bWarn ? "warn" : "error";
	R["spec"] = Judge.GetSpec();
	if (IsComparison(E.Op)) R["when"] = WhenName(E.When);
	if (E.Value.Kind != ELiteralKind::Unset)
	{
		R["value"] = E.Value.ToJson();
		R["value_kind"] = LiteralKindName(E.Value.Kind);
	}
	else if (E.bHasPredicate)
	{
		R["value"] = E.PredicateValue.ToJson();
		R["value_kind"] = LiteralKindName(E.PredicateValue.Kind);
		R["predicate_op"] = OpName(E.PredicateOp);
	}
	if (E.Var.Selector != Sampling::ESelector::None) R["selector"] = Sampling::SelectorName(E.Var.Selector);
	if (IsComparison(E.Op)) R["tolerance"] = E.Tolerance;
	if (!Out.bPassed) R["reason"] = Out.Reason;
	R["message"] = Out.Message;
	if (Out.FirstViolation && Out.FirstViolation->bSet)
	{
		R["first_violation"] = {{"sample_index", Out.FirstViolation->Index},
			{"actual", Sampling::SelectedToJson(Out.FirstViolation->Value, E.Var.Selector)}};
	}
	R["observed"] = Out.Observed;
	if (!E.Describe.empty()) R["describe"] = E.Describe;
	R["margin"] = Out.Margin && std::isfinite(*Out.Margin) ? FJson(*Out.Margin) : FJson(nullptr);
	R["decided_at"] = Out.DecidedAt;
	return FEvalResult{Out.bPassed, std::move(R)};
}

FJson FEvalSummary::SummaryJson() const { return FJson{{"total", Total}, {"failed", Failed}, {"warned", Warned}}; }

FEvalSummary EvaluateAll(const std::vector<FExpectationTracker>& Trackers, const FEvalContext& Context)
{
	FEvalSummary Summary;
	for (const FExpectationTracker& Tracker : Trackers)
	{
		FEvalResult Result = EvaluateExpectation(Tracker, Context);
		++Summary.Total;
		if (!Result.bPassed)
		{
			if (Tracker.E.bWarn) ++Summary.Warned;
			else
			{
				++Summary.Failed;
				Summary.FailedIds.push_back(Tracker.E.Id);
				Summary.bOk = false;
			}
		}
		Summary.Records.push_back(std::move(Result.Record));
	}
	return Summary;
}
}
