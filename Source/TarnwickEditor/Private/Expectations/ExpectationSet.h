// Every expectation of a session, wired to the session's variables by index: samples and failed reads are
// routed to the trackers that watch each variable, the fail_fast question is asked after each pass, and the
// whole set is evaluated into records and a summary. Pure.
#pragma once
#include "Expectations/ExpectationEvaluator.h"

#include <vector>

namespace Tarnwick::Expectations
{
class FExpectationSet
{
public:
	/** Entries must name declared variables (the parser's pre-flight guarantees it). */
	void Init(const std::vector<FExpectation>& Entries, const std::vector<std::string>& VarNames, double Duration);

	void OnSample(int32 VarIndex, const FSamplePoint& P)
	{
		for (size_t At : ByVar[static_cast<size_t>(VarIndex)]) Trackers[At].OnSample(VarIndex, P);
	}
	void OnFailedRead(int32 VarIndex, double T);
	/** Integrates held values up to T for the trackers whose variable still holds one (Holding, by variable). */
	void Advance(double T, const std::vector<bool>& Holding);

	/**
	 * After a pass at Now: whether an error-severity entry has failed beyond repair. Vars gives each variable's
	 * accumulator and state; DispatchFailures and UnresolvedRequired settle no_error.
	 */
	bool AnyErrorTerminallyViolated(double Now, const std::vector<FVarView>& Vars, int64 DispatchFailures, bool bAnyRequiredUnresolved);

	FEvalSummary Evaluate(const FEvalContext& Context) const { return EvaluateAll(Trackers, Context); }

	bool IsEmpty() const { return Trackers.empty(); }
	size_t Num() const { return Trackers.size(); }
	const std::vector<FExpectationTracker>& GetTrackers() const { return Trackers; }

private:
	std::vector<FExpectationTracker> Trackers;
	/** Per variable, the trackers that read it. */
	std::vector<std::vector<size_t>> ByVar;
};
}
