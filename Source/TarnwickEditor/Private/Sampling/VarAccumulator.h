// The per-variable accumulator: everything var_summary reports and every expectation rests on, updated on each
// good read in constant time. Between two reads the HELD value is integrated over the gap, so time-weighted
// figures (duty cycle, dwell, runs, time-weighted mean) are right at any read cadence. Pure.
#pragma once
#include "Sampling/SampleValue.h"

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Tarnwick::Sampling
{
/** Distinct strings beyond this many do not enter the dwell map (the map overflows). */
inline constexpr size_t MaxDwellEntries = 32;

/** One numeric series: a number, one component of a vector or rotator, or a GAS base value. */
struct FNumericChannel
{
	int64 Count = 0;
	double Min = 0.0;
	double Max = 0.0;
	double First = 0.0;
	double Last = 0.0;
	double Sum = 0.0;
	/** Sum of held value × held seconds. */
	double Integral = 0.0;
	bool bNonDecreasing = true;
	bool bNonIncreasing = true;

	void Add(double V)
	{
		if (Count == 0)
		{
			Min = Max = First = V;
		}
		else
		{
			if (V < Last) bNonDecreasing = false;
			if (V > Last) bNonIncreasing = false;
			if (V < Min) Min = V;
			if (V > Max) Max = V;
		}
		Last = V;
		Sum += V;
		++Count;
	}
	void Integrate(double Dt)
	{
		if (Count > 0) Integral += Dt * Last;
	}
	double Mean() const { return Count > 0 ? Sum / static_cast<double>(Count) : 0.0; }
};

struct FBoolState
{
	bool bHasInitial = false;
	bool bInitial = false;
	bool bLast = false;
	bool bEverTrue = false;
	bool bEverFalse = false;
	int64 TrueCount = 0;
	int64 Transitions = 0;
	int64 RisingEdges = 0;
	int64 FallingEdges = 0;
	double TrueSeconds = 0.0;
	double LongestTrueRun = 0.0;
	double LongestFalseRun = 0.0;
	double FirstTrueT = -1.0;
	int64 FirstTrueIndex = -1;
	double FirstFalseT = -1.0;
	int64 FirstFalseIndex = -1;
	double FirstChangeT = -1.0;
	int64 FirstChangeIndex = -1;
};

struct FStringState
{
	bool bHasFirst = false;
	std::string First;
	std::string Last;
	/** Hashes of the distinct values: an exact count without keeping every string. */
	std::unordered_set<size_t> Distinct;
	/** Held seconds per value, in the order the values first dwelled; at most MaxDwellEntries. */
	std::vector<std::pair<std::string, double>> Dwell;
	bool bDistinctOverflow = false;
	int64 Transitions = 0;
	double FirstChangeT = -1.0;
	int64 FirstChangeIndex = -1;

	/** The dwell seconds of a value (case-insensitive); 0 when it never dwelled or did not fit in the map. */
	double DwellOf(const std::string& Value) const;
};

class FVarAccumulator
{
public:
	/** A good read at session time T. A value of another kind than the first is ignored (the kind flipped). */
	void Add(double T, const FSampleValue& Value);
	/** A failed read: only the last read time moves, so the gap before it is not credited to the held value. */
	void MarkFailedRead(double T);
	/** Integrates the held value up to T without taking a sample (the end of a session). */
	void Advance(double T);

	/** {"kind", "sample_count", "total_seconds", ...by kind}. */
	FJson ToSummaryJson() const;
	/** The numeric channel a selector reads (null where none applies for this kind). */
	const FNumericChannel* Channel(ESelector Selector) const;

	ESampleKind Kind = ESampleKind::Missing;
	int64 SampleCount = 0;
	double TotalSeconds = 0.0;
	double LastReadT = -1.0;
	/** The current run of one unchanged value (bools: of one truth value). */
	double CurrentRun = 0.0;
	FNumericChannel Number;
	FNumericChannel X;
	FNumericChannel Y;
	FNumericChannel Z;
	FNumericChannel Len;
	FNumericChannel BaseChannel;
	FBoolState Bool;
	FStringState Str;

private:
	void IntegrateHeld(double Dt);
};
}
