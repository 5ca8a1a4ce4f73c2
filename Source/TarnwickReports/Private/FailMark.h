// Where a plot marks an expectation's failure. A violating sample (an always, never, initial or final verdict)
// is marked where it was; a threshold or band that was never reached is marked at the sample that came closest
// inside the expectation's scope; anything else at the time the verdict was decided. A pure rule over a
// variable's series and the expectation, so the marker a person sees is tested without drawing it.
#pragma once
#include "ExpectationView.h"
#include "Timeline.h"

#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::Reports
{
/** Which line of a variable an expectation is drawn on: -1 the main one, 0..2 a vector's component. */
int ChannelOf(const FExpectationView& View);

/** The last sample at or before T (the first one when T precedes them all); npos for an empty series. */
size_t SampleAt(const std::vector<double>& Times, double T);

/** A point an expectation's failure is marked at: a sample (with its value when the channel has one) or a time. */
struct FFailMark
{
	const FExpectationView* View = nullptr;
	double T = 0.0;
	std::optional<double> Y;
	size_t Sample = std::string::npos;
	int Channel = -1;
	std::string Title;
	/** A few words beside the marker, for a reader of a printed page or a screenshot. */
	std::string Label;
};

/** The mark of a failed or warned expectation on Series; nothing for a passed or pending one. */
std::optional<FFailMark> FindFailMark(const FVarSeries& Series, const FExpectationView& View);
}
