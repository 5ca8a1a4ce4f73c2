// One inline SVG per sampled variable over session time: numbers as a line, bools as bands, strings and objects
// as a strip of states, vectors and rotators as their length (components in a second plot a reader opens on
// demand). Over it: each expectation's threshold or band, its window shaded, its deadline, the violating sample
// marked, and the input events, stages and probes as vertical markers.
#pragma once
#include "ExpectationView.h"
#include "Timeline.h"

#include <span>
#include <string>
#include <vector>

namespace Tarnwick::Reports
{
enum class EMarkerKind
{
	Input,
	Stage,
	Probe,
};

struct FTimeMarker
{
	double T = 0.0;
	EMarkerKind Kind = EMarkerKind::Input;
	/** A few characters shown in the marker lane ("W↓", "on_begin_play"). */
	std::string Label;
	/** The full description shown on hover. */
	std::string Title;
	bool bFailed = false;
};

struct FPlotContext
{
	/** The shared time axis, session seconds. */
	double T0 = 0.0;
	double T1 = 1.0;
	int Buckets = 400;
	std::vector<FTimeMarker> Markers;
};

/** The plot of one variable; Expectations are those whose `var` names it. Returns SVG (and a details block). */
std::string RenderVariablePlot(const FVarSeries& Series, std::span<const FExpectationView* const> Expectations,
	const FPlotContext& Context);

/** The lane above the plots that labels every marker, on the same time axis. Empty when there are no markers. */
std::string RenderMarkerLane(const FPlotContext& Context);

/** The fill colour of state Index of a strip (also used by the legend). */
std::string StateColour(int Index);
}
