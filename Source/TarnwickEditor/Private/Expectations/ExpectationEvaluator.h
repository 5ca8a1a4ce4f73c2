// The verdict of every expectation at the end of a session (or so far, for a running one): one result record
// per entry with its fixed sentence naming the violating sample, the figures it rests on, the signed margin by
// which it held or failed and the session time at which it became certain; then the summary. Pure: it reads the
// trackers and the variables' final sampling state and changes neither.
#pragma once
#include "Expectations/ExpectationTracker.h"

#include <string>
#include <vector>

namespace Tarnwick::Expectations
{
/** What the evaluator needs to know about one sampled variable. */
struct FVarView
{
	std::string Name;
	bool bResolved = false;
	/** The spec's reason (why it never resolved). */
	std::string Reason;
	/** It never resolved because every attempt was a failed dispatch (the gas or ai action itself failed). */
	bool bDispatchFailed = false;
	/** When the spec gave up; -1 when it did not. */
	double LatchedT = -1.0;
	bool bKindUnstable = false;
	Sampling::ESampleKind FlippedTo = Sampling::ESampleKind::Missing;
	double KindFlipT = -1.0;
	const Sampling::FVarAccumulator* Accumulator = nullptr;
};

struct FEvalContext
{
	std::vector<FVarView> Vars;
	/** 0 running, 1 complete, 2 stopped, 3 error. */
	int32 SessionStatus = 0;
	std::vector<std::string> UnresolvedRequired;
	int64 DispatchFailures = 0;
	/** Where the session's timeline ends (the end of every scope that has no earlier window end). */
	double SessionSeconds = 0.0;
};

struct FEvalResult
{
	bool bPassed = false;
	FJson Record;
};

/** The result record of one entry. */
FEvalResult EvaluateExpectation(const FExpectationTracker& Tracker, const FEvalContext& Context);

struct FEvalSummary
{
	FJson Records = FJson::array();
	int32 Total = 0;
	int32 Failed = 0;
	int32 Warned = 0;
	std::vector<std::string> FailedIds;
	bool bOk = true;

	/** {"total", "failed", "warned"}. */
	FJson SummaryJson() const;
};

FEvalSummary EvaluateAll(const std::vector<FExpectationTracker>& Trackers, const FEvalContext& Context);
}
