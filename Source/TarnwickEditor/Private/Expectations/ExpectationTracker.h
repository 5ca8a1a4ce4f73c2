// The running state of one expectation, fed each sample of its variable(s) as the session reads them, so that
// a verdict covers every sample, including those past the retained-row cap. It also knows, at any moment,
// whether the verdict is already settled as a failure no later sample can repair (the fail_fast mark). Pure.
//
// A window makes the expectation see the sub-timeline of the samples inside it, as if the session had only
// those: counts, edges and events compare consecutive samples inside the window (the first one inside is the
// initial value) and held time is integrated between samples inside it. Without a window the variable's own
// accumulator is used; with one the tracker keeps an accumulator of the window's samples.
#pragma once
#include "Expectations/Expectation.h"
#include "Sampling/VarAccumulator.h"

#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace Tarnwick::Expectations
{
/** One sample as the trackers see it: its session time, the pass it was read on and its index in the variable's series. */
struct FSamplePoint
{
	double T = 0.0;
	int64 Pass = 0;
	int64 Index = 0;
	const Sampling::FSampleValue* Value = nullptr;
};

/** A sample that decided a verdict. */
struct FSampleRef
{
	bool bSet = false;
	int64 Index = -1;
	double T = 0.0;
	Sampling::FSampleValue Value;

	void Set(const FSamplePoint& P)
	{
		bSet = true;
		Index = P.Index;
		T = P.T;
		Value = *P.Value;
	}
};

/** The longest run of consecutive samples meeting a condition, with held time between them. */
struct FRunTracker
{
	double Threshold = 0.0;
	bool bHasSample = false;
	bool bInRun = false;
	double LastT = 0.0;
	double RunStart = 0.0;
	double Current = 0.0;
	double Longest = 0.0;
	/** When the longest run first reached Threshold; -1 while none has. */
	double ReachedT = -1.0;

	void OnSample(double T, bool bMeets);
	/** A failed read: the gap before it is not credited to the run. */
	void OnFailedRead(double T);
	void Advance(double T);
};

/** One side of an ordering entry: when its event first occurred. */
struct FEventTracker
{
	EEvent Event = EEvent::True;
	bool bHasPrevious = false;
	Sampling::FSampleValue Previous;
	bool bOccurred = false;
	double T = -1.0;
	int64 Pass = -1;
	std::optional<bool> bKindOk;

	void OnSample(const FExpectation& E, const FVarRef& Var, const FSamplePoint& P);
};

struct FExpectationTracker
{
	FExpectationTracker(FExpectation InEntry, int32 InVarIndex, int32 InOtherIndex, double InDuration);

	void OnSample(int32 Var, const FSamplePoint& P)
	{
		if (Var == VarIndex) OnOwnSample(P);
		if (Var == OtherIndex) OnOtherSample(P);
	}
	void OnFailedRead(int32 VarIndex, double T);
	/** Integrates held values up to T (the end of the session). */
	void Advance(double T);
	/**
	 * Settles the fail_fast question at Now: true once the entry has failed beyond repair. VarAcc is the
	 * variable's own accumulator; bVarLatched / bVarFlipped tell whether its spec gave up or changed kind.
	 */
	bool UpdateTerminal(double Now, const Sampling::FVarAccumulator* VarAcc, bool bVarLatched, bool bVarFlipped);

	/** The accumulator this entry's scope reads: the window's own, or the variable's. */
	const Sampling::FVarAccumulator& ScopeAccumulator(const Sampling::FVarAccumulator& Global) const { return Scoped ? *Scoped : Global; }

	FExpectation E;
	int32 VarIndex = -1;
	int32 OtherIndex = -1;
	double Duration = 0.0;

	/** Samples of the variable inside the scope, the first of them, and the time of the last. */
	int64 InScope = 0;
	/** Samples of the other variable inside the scope (ordering operators). */
	int64 OtherInScope = 0;
	Sampling::FSampleValue FirstValue;
	double FirstT = -1.0;
	double LastT = -1.0;
	/** Whether the operator is defined for the variable (decided on the first sample in scope). */
	std::optional<bool> bKindOk;
	std::unique_ptr<Sampling::FVarAccumulator> Scoped;

	// Comparisons.
	int64 Holding = 0;
	FSampleRef Violation;
	FSampleRef FirstHold;
	FSampleRef Initial;
	bool bInitialHolds = false;
	FSampleRef Final;
	bool bFinalHolds = false;
	double MinMargin = std::numeric_limits<double>::infinity();
	double MaxMargin = -std::numeric_limits<double>::infinity();
	double InitialMargin = 0.0;
	double FinalMargin = 0.0;
	bool bHasMargin = false;
	/** The numeric view of the samples in scope (observed figures, monotonic, stable). */
	Sampling::FNumericChannel View;

	// becomes_true_within, becomes_within: the first time the event happened in scope.
	double FirstEventT = -1.0;
	// stays_true_for, stays_within_for.
	FRunTracker Run;
	// before, before_or_same.
	FEventTracker Sides[2];
	// monotonic: the smallest step in the required direction, and the first step against it.
	double MinStep = std::numeric_limits<double>::infinity();
	FSampleRef Regression;
	// stable: when the spread first exceeded max_delta.
	double SpreadExceededT = -1.0;
	// Counts: the events so far in scope (against the previous sample in scope), and when their count first
	// went past max (or exactly).
	int64 Count = 0;
	bool bHasCountPrevious = false;
	bool bCountPreviousBool = false;
	std::string CountPreviousString;
	double CountExceededT = -1.0;

	bool bTerminal = false;
	double TerminalT = -1.0;

private:
	void OnOwnSample(const FSamplePoint& P);
	void OnOtherSample(const FSamplePoint& P);
	/** Counts the operator's event on this sample, against the previous sample in scope. */
	void CountEvent(const Sampling::FSampleValue& V);
};

/** The count a count operator reads from an accumulator. */
int64 CountFor(EOp Op, const Sampling::FVarAccumulator& Acc);
}
