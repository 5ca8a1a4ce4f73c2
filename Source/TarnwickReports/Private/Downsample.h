// Fewer points to draw than samples taken: a long session has far more samples than a plot has pixels. Each
// reduction keeps what a reader must not lose: a line keeps every bucket's lowest and highest sample (so no
// peak or threshold crossing disappears) and any sample it is told to keep (a violation); bands and state
// strips merge what is narrower than a bucket and say how much of the merged span was true or how often the
// state changed.
#pragma once
#include "Timeline.h"

#include <span>
#include <vector>

namespace Tarnwick::Reports
{
/**
 * Indices of [Begin, End) to draw, ascending: all of them when there are at most 4 per bucket, otherwise per
 * time bucket over [T0, T1] its first, lowest, highest and last sample, plus every index of Keep in the range.
 */
std::vector<size_t> DownsampleLine(const std::vector<double>& T, const std::vector<double>& V, size_t Begin, size_t End,
	double T0, double T1, int Buckets, std::span<const size_t> Keep = {});

struct FBand
{
	double From = 0.0;
	double To = 0.0;
	/** Share of [From, To] during which the value was true (1 for a band no shorter than a bucket). */
	double TrueShare = 1.0;
};

/**
 * Spans where a bool variable was true. A sample holds until the next sample of its segment; the last sample
 * of the series holds until End. Bands closer than MinGap are merged.
 */
std::vector<FBand> TrueBands(const FVarSeries& Series, double End, double MinGap);

struct FStateSpan
{
	double From = 0.0;
	double To = 0.0;
	/** Index into the series' States, or -1 where several states alternated faster than MinWidth. */
	int State = -1;
	/** State changes inside the span (0 for a single state). */
	int Changes = 0;
};

/** Spans of a string or object variable's states; runs shorter than MinWidth are gathered into mixed spans. */
std::vector<FStateSpan> StateSpans(const FVarSeries& Series, double End, double MinWidth);
}
