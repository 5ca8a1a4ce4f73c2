#include "Expectations/ExpectationTracker.h"

#include "Expectations/ComparisonRules.h"

#include <algorithm>
#include <cmath>

namespace Tarnwick::Expectations
{
using Sampling::ESampleKind;
using Sampling::FSampleValue;
using Sampling::FVarAccumulator;

int64 CountFor(EOp Op, const FVarAccumulator& Acc)
{
	switch (Op)
	{
	case EOp::Transitions: return Acc.Kind == ESampleKind::Bool ? Acc.Bool.Transitions : Acc.Str.Transitions;
	case EOp::RisingEdges: return Acc.Bool.RisingEdges;
	case EOp::FallingEdges: return Acc.Bool.FallingEdges;
	default: return 0;
	}
}

void FRunTracker::OnSample(double T, bool bMeets)
{
	if (bHasSample && bInRun)
	{
		Current += std::max(0.0, T - LastT);
		Longest = std::max(Longest, Current);
		if (ReachedT < 0.0 && Current >= Threshold) ReachedT = T - (Current - Threshold);
	}
	if (bMeets && !bInRun)
	{
		bInRun = true;
		RunStart = T;
		Current = 0.0;
		if (ReachedT < 0.0 && Threshold <= 0.0) ReachedT = T;
	}
	else if (!bMeets)
	{
		bInRun = false;
		Current = 0.0;
	}
	LastT = T;
	bHasSample = true;
}

void FRunTracker::OnFailedRead(double T)
{
	if (bHasSample) LastT = T;
}

void FRunTracker::Advance(double T)
{
	if (!bHasSample || T <= LastT) return;
	if (bInRun)
	{
		Current += T - LastT;
		Longest = std::max(Longest, Current);
		if (ReachedT < 0.0 && Current >= Threshold) ReachedT = T - (Current - Threshold);
	}
	LastT = T;
}

void FEventTracker::OnSample(const FExpectation& E, const FVarRef& Var, const FSamplePoint& P)
{
	const FSampleValue& V = *P.Value;
	if (!bKindOk)
	{
		bKindOk = Event != EEvent::Reaches || !ComparisonKindProblem(EOp::Eq, E.Value, Var, V, std::string()).has_value();
	}
	if (!*bKindOk)
	{
		// Kept so that the evaluator can say what the variable samples as.
		Previous = V;
		bHasPrevious = true;
		return;
	}
	if (bOccurred) return;
	bool bFires = false;
	switch (Event)
	{
	case EEvent::True: bFires = Sampling::IsTruthy(V, Var.Selector) && (!bHasPrevious || !Sampling::IsTruthy(Previous, Var.Selector)); break;
	case EEvent::False: bFires = !Sampling::IsTruthy(V, Var.Selector) && (!bHasPrevious || Sampling::IsTruthy(Previous, Var.Selector)); break;
	case EEvent::Change:
		if (bHasPrevious)
		{
			bFires = Var.Selector == Sampling::ESelector::None ? !V.SameAs(Previous)
															   : Sampling::NumericView(V, Var.Selector) != Sampling::NumericView(Previous, Var.Selector);
		}
		break;
	case EEvent::Reaches: bFires = ApplyComparison(EOp::Eq, E.Value, E.Tolerance, 0.0, 0.0, V, Var.Selector).bHolds; break;
	}
	if (bFires)
	{
		bOccurred = true;
		T = P.T;
		Pass = P.Pass;
	}
	Previous = V;
	bHasPrevious = true;
}

FExpectationTracker::FExpectationTracker(FExpectation InEntry, int32 InVarIndex, int32 InOtherIndex, double InDuration)
	: E(std::move(InEntry)), VarIndex(InVarIndex), OtherIndex(InOtherIndex), Duration(InDuration)
{
	if (E.bWindow) Scoped = std::make_unique<FVarAccumulator>();
	Run.Threshold = E.Seconds.Value;
	Sides[0].Event = E.Event;
	Sides[1].Event = E.OtherEvent;
}

void FExpectationTracker::OnOtherSample(const FSamplePoint& P)
{
	if (!IsOrdering(E.Op) || !E.InWindow(P.T)) return;
	++OtherInScope;
	Sides[1].OnSample(E, E.OtherVar, P);
}

void FExpectationTracker::OnFailedRead(int32 Var, double T)
{
	if (Var != VarIndex || !E.InWindow(T)) return;
	if (Scoped) Scoped->MarkFailedRead(T);
	Run.OnFailedRead(T);
}

void FExpectationTracker::Advance(double T)
{
	const double End = std::min(T, E.WindowTo);
	if (Scoped && E.InWindow(End)) Scoped->Advance(End);
	if (E.InWindow(End)) Run.Advance(End);
}

void FExpectationTracker::CountEvent(const FSampleValue& V)
{
	if (bHasCountPrevious)
	{
		const bool bBool = V.Kind == ESampleKind::Bool;
		const bool bChanged = bBool ? V.bBool != bCountPreviousBool : !Sampling::EqualsIgnoreCase(V.String, CountPreviousString);
		if (bChanged && (E.Op == EOp::Transitions || (E.Op == EOp::RisingEdges && V.bBool) || (E.Op == EOp::FallingEdges && !V.bBool))) ++Count;
	}
	bCountPreviousBool = V.bBool;
	if (V.Kind != ESampleKind::Bool && CountPreviousString != V.String) CountPreviousString = V.String;
	bHasCountPrevious = true;
}

void FExpectationTracker::OnOwnSample(const FSamplePoint& P)
{
	if (!E.InWindow(P.T)) return;
	const FSampleValue& V = *P.Value;
	++InScope;
	LastT = P.T;
	if (InScope == 1)
	{
		FirstValue = V;
		FirstT = P.T;
		if (IsComparison(E.Op)) bKindOk = !ComparisonKindProblem(E.Op, E.Value, E.Var, V, std::string()).has_value();
		else if (E.Op == EOp::BecomesWithin) bKindOk = !ComparisonKindProblem(E.PredicateOp, E.PredicateValue, E.Var, V, std::string()).has_value();
		else if (E.Op == EOp::StaysWithinFor || E.Op == EOp::Monotonic || E.Op == EOp::Stable)
		{
			bKindOk = Sampling::NumericView(V, E.Var.Selector).has_value();
		}
		else bKindOk = !OperatorKindProblem(E.Op, E.Var, V).has_value();
	}
	if (Scoped) Scoped->Add(P.T, V);
	if (V.Kind != FirstValue.Kind)
	{
		// A sample of another kind than the first (the variable's kind flipped) is not comparable.
		Run.OnFailedRead(P.T);
		return;
	}
	if (!*bKindOk) return;

	if (IsComparison(E.Op))
	{
		const FComparisonOutcome Out = ApplyComparison(E.Op, E.Value, E.Tolerance, E.Min.Value, E.Max.Value, V, E.Var.Selector);
		if (!Out.bDefined) return;
		if (Out.Margin) View.Add(Out.X);
		if (Out.bHolds)
		{
			++Holding;
			if (!FirstHold.bSet) FirstHold.Set(P);
		}
		else if (!Violation.bSet)
		{
			Violation.Set(P);
		}
		if (Out.Margin)
		{
			bHasMargin = true;
			MinMargin = std::min(MinMargin, *Out.Margin);
			MaxMargin = std::max(MaxMargin, *Out.Margin);
			if (InScope == 1) InitialMargin = *Out.Margin;
			FinalMargin = *Out.Margin;
		}
		if (InScope == 1)
		{
			Initial.Set(P);
			bInitialHolds = Out.bHolds;
		}
		if (E.When == EWhen::Final)
		{
			Final.Set(P);
			bFinalHolds = Out.bHolds;
		}
		return;
	}

	// The numeric operators read the selected number; a sample without one (a GAS read that lacked its base) is
	// not comparable and is passed over.
	double X = 0.0;
	if (E.Op == EOp::StaysWithinFor || E.Op == EOp::Monotonic || E.Op == EOp::Stable)
	{
		const std::optional<double> N = Sampling::NumericView(V, E.Var.Selector);
		if (!N) return;
		X = *N;
	}
	switch (E.Op)
	{
	case EOp::BecomesTrueWithin:
		if (V.bBool && FirstEventT < 0.0) FirstEventT = P.T;
		break;
	case EOp::BecomesWithin:
	{
		const FComparisonOutcome Out = ApplyComparison(E.PredicateOp, E.PredicateValue, E.Tolerance, 0.0, 0.0, V, E.Var.Selector);
		if (Out.Margin) View.Add(Out.X);
		if (FirstEventT < 0.0 && Out.bHolds) FirstEventT = P.T;
		break;
	}
	case EOp::StaysTrueFor: Run.OnSample(P.T, V.bBool); break;
	case EOp::StaysWithinFor:
		View.Add(X);
		Run.OnSample(P.T, (!E.Min.bGiven || X >= E.Min.Value) && (!E.Max.bGiven || X <= E.Max.Value));
		break;
	case EOp::Transitions:
	case EOp::RisingEdges:
	case EOp::FallingEdges:
		CountEvent(V);
		if (CountExceededT < 0.0 &&
			((E.Max.bGiven && static_cast<double>(Count) > E.Max.Value) || (E.bExactlyGiven && Count > E.Exactly)))
		{
			CountExceededT = P.T;
		}
		break;
	case EOp::Before:
	case EOp::BeforeOrSame: Sides[0].OnSample(E, E.Var, P); break;
	case EOp::Monotonic:
		if (View.Count > 0)
		{
			const double Step = E.bDecreasing ? View.Last - X : X - View.Last;
			MinStep = std::min(MinStep, Step);
			if (Step < 0.0 && !Regression.bSet) Regression.Set(P);
		}
		View.Add(X);
		break;
	case EOp::Stable:
		View.Add(X);
		if (SpreadExceededT < 0.0 && View.Max - View.Min > E.MaxDelta.Value) SpreadExceededT = P.T;
		break;
	default: break;
	}
}

bool FExpectationTracker::UpdateTerminal(double Now, const FVarAccumulator* VarAcc, bool bVarLatched, bool bVarFlipped)
{
	if (bTerminal) return true;
	if (E.Op == EOp::NoError) return false;
	double At = Now;
	bool bFailed = false;
	auto FailAt = [&](double T) {
		bFailed = true;
		At = T;
	};
	if (bVarLatched || bVarFlipped) bFailed = true;
	else if (bKindOk && !*bKindOk)
	{
		bFailed = true;
		At = FirstT;
	}
	else if (IsComparison(E.Op))
	{
		if (E.When == EWhen::Always && Violation.bSet) FailAt(Violation.T);
		else if (E.When == EWhen::Never && FirstHold.bSet) FailAt(FirstHold.T);
		else if (E.When == EWhen::Initial && InScope > 0 && !bInitialHolds) FailAt(FirstT);
	}
	else
	{
		const double ScopeEnd = std::min(Duration, E.WindowTo);
		switch (E.Op)
		{
		case EOp::BecomesTrueWithin:
		case EOp::BecomesWithin:
		{
			const double Deadline = std::min(E.Seconds.Value, E.WindowTo);
			if (FirstEventT > E.Seconds.Value || (FirstEventT < 0.0 && Now > Deadline)) FailAt(Deadline);
			break;
		}
		case EOp::StaysTrueFor:
		case EOp::StaysWithinFor:
			if (Run.Longest < E.Seconds.Value)
			{
				const double Current = Run.bInRun ? Run.Current + std::max(0.0, Now - Run.LastT) : 0.0;
				const double Remaining = std::max(0.0, ScopeEnd - std::max(Now, E.bWindow ? E.WindowFrom : 0.0));
				if (Current + Remaining < E.Seconds.Value) bFailed = true;
			}
			break;
		case EOp::Transitions:
		case EOp::RisingEdges:
		case EOp::FallingEdges:
			if (CountExceededT >= 0.0) FailAt(CountExceededT);
			break;
		case EOp::TimeInState:
			if (VarAcc && E.MaxSeconds.bGiven && ScopeAccumulator(*VarAcc).Str.DwellOf(E.Value.String) > E.MaxSeconds.Value) bFailed = true;
			break;
		case EOp::Before:
		case EOp::BeforeOrSame:
		{
			const FEventTracker& A = Sides[0];
			const FEventTracker& B = Sides[1];
			if ((A.bKindOk && !*A.bKindOk) || (B.bKindOk && !*B.bKindOk)) bFailed = true;
			else if (A.bOccurred && B.bOccurred)
			{
				const double Gap = B.T - A.T;
				bFailed = (A.Pass == B.Pass && !E.bAllowSimultaneous) || B.Pass < A.Pass || (E.MinGap.bGiven && Gap < E.MinGap.Value) ||
					(E.MaxGap.bGiven && Gap > E.MaxGap.Value);
				At = std::max(A.T, B.T);
			}
			else if (B.bOccurred) FailAt(B.T);
			else if (A.bOccurred && E.MaxGap.bGiven && Now - A.T > E.MaxGap.Value) FailAt(A.T + E.MaxGap.Value);
			break;
		}
		case EOp::Monotonic:
			if (Regression.bSet) FailAt(Regression.T);
			break;
		case EOp::Stable:
			if (SpreadExceededT >= 0.0) FailAt(SpreadExceededT);
			break;
		default: break;
		}
	}
	if (bFailed)
	{
		bTerminal = true;
		TerminalT = At;
	}
	return bTerminal;
}
}
