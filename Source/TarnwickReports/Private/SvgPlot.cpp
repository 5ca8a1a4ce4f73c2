#include "SvgPlot.h"

#include "Downsample.h"
#include "FailMark.h"
#include "MarkupText.h"
#include "PlotScale.h"
#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Tarnwick::Reports
{
namespace
{
constexpr double Width = 960.0;
constexpr double Left = 64.0;
constexpr double Right = 12.0;
constexpr double LineTop = 10.0;
constexpr double LineBottom = 128.0;
constexpr double LineHeight = 146.0;
constexpr double StripTop = 8.0;
constexpr double StripBottom = 40.0;
constexpr double StripHeight = 58.0;
// Below this many drawn points every sample also gets a dot, so sparse reads are visible as reads.
constexpr size_t DotLimit = 120;

const char* OpSymbol(const std::string& Op)
{
	if (Op == "eq") return "=";
	if (Op == "neq") return "≠";
	if (Op == "gt") return "&gt;";
	if (Op == "gte") return "≥";
	if (Op == "lt") return "&lt;";
	if (Op == "lte") return "≤";
	return "?";
}

struct FAxes
{
	double T0 = 0.0;
	double T1 = 1.0;
	double Top = LineTop;
	double Bottom = LineBottom;
	FRange Y;

	double X(double T) const
	{
		const double Clamped = std::clamp(T, T0, T1);
		return MapLinear(Clamped, FRange{T0, T1}, Left, Width - Right);
	}
	double Yv(double V) const { return MapLinear(V, Y, Bottom, Top); }
};

std::string Num(double V)
{
	return Printf("%.1f", V);
}

void OpenSvg(std::string& Out, double Height, const std::string& Label, const char* Class)
{
	Out += Printf("<svg class=\"%s\" viewBox=\"0 0 %.0f %.0f\" role=\"img\" aria-label=\"", Class, Width, Height);
	Out += EscapeAttribute(Label);
	Out += "\">";
}

void TimeGrid(std::string& Out, const FAxes& Axes, bool bLabels)
{
	Out += "<g class=\"grid\">";
	for (const double Tick : NiceTicks(Axes.T0, Axes.T1, 10))
	{
		const double X = Axes.X(Tick);
		Out += Printf("<line x1=\"%s\" x2=\"%s\" y1=\"%s\" y2=\"%s\"/>", Num(X).c_str(), Num(X).c_str(), Num(Axes.Top).c_str(),
			Num(Axes.Bottom).c_str());
		if (bLabels)
		{
			Out += Printf("<text class=\"tick t\" x=\"%s\" y=\"%s\">%gs</text>", Num(X).c_str(), Num(Axes.Bottom + 13.0).c_str(), Tick);
		}
	}
	Out += "</g>";
}

void ValueGrid(std::string& Out, const FAxes& Axes)
{
	Out += "<g class=\"grid\">";
	for (const double Tick : NiceTicks(Axes.Y.Min, Axes.Y.Max, 4))
	{
		const double Y = Axes.Yv(Tick);
		Out += Printf("<line x1=\"%.1f\" x2=\"%.1f\" y1=\"%s\" y2=\"%s\"/><text class=\"tick v\" x=\"%.1f\" y=\"%s\">%g</text>",
			Left, Width - Right, Num(Y).c_str(), Num(Y).c_str(), Left - 6.0, Num(Y + 3.5).c_str(), Tick);
	}
	Out += "</g>";
}

/** Strips cover their whole height with bands, so their windows are drawn over them (bOver) as framed tints. */
void Windows(std::string& Out, const FAxes& Axes, std::span<const FExpectationView* const> Expectations, bool bOver = false)
{
	for (const FExpectationView* View : Expectations)
	{
		if (!View->WindowFrom && !View->WindowTo)
		{
			continue;
		}
		const double From = View->WindowFrom.value_or(Axes.T0);
		const double To = View->WindowTo.value_or(Axes.T1);
		const double X0 = Axes.X(From);
		const double X1 = Axes.X(To);
		const std::string Scope = View->WindowTo ? Printf("[%.2fs, %.2fs]", From, To) : Printf("[%.2fs, end]", From);
		Out += Printf("<rect class=\"window%s\" data-expectation=\"%s\" x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\"><title>",
			bOver ? " over" : "", EscapeAttribute(View->Id).c_str(), Num(X0).c_str(), Num(Axes.Top).c_str(), Num(std::max(0.0, X1 - X0)).c_str(),
			Num(Axes.Bottom - Axes.Top).c_str());
		Out += EscapeText(View->Id + " window " + Scope);
		Out += "</title></rect>";
	}
}

void Deadlines(std::string& Out, const FAxes& Axes, std::span<const FExpectationView* const> Expectations)
{
	for (const FExpectationView* View : Expectations)
	{
		if (!View->Seconds || (View->Op != "becomes_true_within" && View->Op != "becomes_within"))
		{
			continue;
		}
		const double X = Axes.X(*View->Seconds);
		Out += Printf("<g class=\"deadline %s\" data-expectation=\"%s\"><title>", VerdictName(View->Verdict), EscapeAttribute(View->Id).c_str());
		Out += EscapeText(Printf("%s deadline t=%gs", View->Id.c_str(), *View->Seconds));
		// Labelled at the foot of its line: the head is where a missed deadline's failure mark and label go.
		Out += Printf("</title><line x1=\"%s\" x2=\"%s\" y1=\"%s\" y2=\"%s\"/><text x=\"%s\" y=\"%s\">", Num(X).c_str(), Num(X).c_str(),
			Num(Axes.Top).c_str(), Num(Axes.Bottom).c_str(), Num(X + 3.0).c_str(), Num(Axes.Bottom - 3.0).c_str());
		Out += EscapeText(View->Id + " deadline");
		Out += "</text></g>";
	}
}

void Markers(std::string& Out, const FAxes& Axes, const std::vector<FTimeMarker>& List)
{
	if (List.empty())
	{
		return;
	}
	Out += "<g class=\"markers\">";
	static const char* KindClass[] = {"input", "stage", "probe"};
	for (const FTimeMarker& Marker : List)
	{
		const double X = Axes.X(Marker.T);
		Out += Printf("<line class=\"marker %s%s\" x1=\"%s\" x2=\"%s\" y1=\"%s\" y2=\"%s\"><title>", KindClass[static_cast<int>(Marker.Kind)],
			Marker.bFailed ? " failed" : "", Num(X).c_str(), Num(X).c_str(), Num(Axes.Top).c_str(), Num(Axes.Bottom).c_str());
		Out += EscapeText(Marker.Title);
		Out += "</title></line>";
	}
	Out += "</g>";
}

void Thresholds(std::string& Out, const FAxes& Axes, std::span<const FExpectationView* const> Expectations, int Channel)
{
	for (const FExpectationView* View : Expectations)
	{
		if (ChannelOf(*View) != Channel)
		{
			continue;
		}
		const char* Verdict = VerdictName(View->Verdict);
		const std::string Id = EscapeAttribute(View->Id);
		const bool bBand = (View->Op == "between" || View->Op == "stays_within_for" || View->ThresholdOp == "between") && View->Min && View->Max;
		if (bBand)
		{
			const double Y0 = Axes.Yv(*View->Max);
			const double Y1 = Axes.Yv(*View->Min);
			Out += Printf("<g class=\"band-expect %s\" data-expectation=\"%s\"><title>", Verdict, Id.c_str());
			Out += EscapeText(Printf("%s band [%g, %g]", View->Id.c_str(), *View->Min, *View->Max));
			Out += Printf("</title><rect x=\"%.1f\" y=\"%s\" width=\"%.1f\" height=\"%s\"/>", Left, Num(Y0).c_str(), Width - Right - Left,
				Num(std::max(0.5, Y1 - Y0)).c_str());
			Out += Printf("<text x=\"%.1f\" y=\"%s\">", Width - Right - 4.0, Num(Y0 - 3.0).c_str());
			Out += EscapeText(Printf("%s [%g, %g]", View->Id.c_str(), *View->Min, *View->Max));
			Out += "</text></g>";
			continue;
		}
		if (!View->Threshold)
		{
			continue;
		}
		const double Y = Axes.Yv(*View->Threshold);
		Out += Printf("<g class=\"threshold %s\" data-expectation=\"%s\"><title>", Verdict, Id.c_str());
		Out += EscapeText(View->Id + ": " + View->Sentence);
		Out += Printf("</title><line x1=\"%.1f\" x2=\"%.1f\" y1=\"%s\" y2=\"%s\"/>", Left, Width - Right, Num(Y).c_str(), Num(Y).c_str());
		Out += Printf("<text x=\"%.1f\" y=\"%s\">%s: %s%s %g</text></g>", Width - Right - 4.0, Num(Y - 3.0).c_str(), EscapeText(View->Id).c_str(),
			View->Var.Selector == "base" ? "base " : "", OpSymbol(View->ThresholdOp), *View->Threshold);
	}
}

/** Characters a failure mark's label keeps; the whole text stays in the mark's tooltip. */
constexpr size_t MaxLabelChars = 48;
/** Bold 10 px text, a little generously: wide enough that labels judged apart never touch. */
constexpr double LabelCharWidth = 6.4;
constexpr double LabelRowHeight = 11.0;

/** The label cut to at most Max characters (never inside a UTF-8 sequence), with an ellipsis when cut. */
std::string ShortLabel(const std::string& Label, size_t Max)
{
	size_t Chars = 0;
	for (size_t I = 0; I < Label.size(); ++I)
	{
		const unsigned char C = static_cast<unsigned char>(Label[I]);
		if ((C & 0xC0) == 0x80) continue;
		if (++Chars > Max - 1) return Label.substr(0, I) + "…";
	}
	return Label;
}

struct FPlacedLabel
{
	double X0;
	double X1;
	double Y;
};

void FailMarks(std::string& Out, const FAxes& Axes, const std::vector<FFailMark>& Marks, int Channel)
{
	// Several expectations can be decided at one moment (a deadline and the session's end): their labels are
	// moved down a row, or to the other side of their marker, rather than drawn over each other.
	std::vector<FPlacedLabel> Placed;
	const auto Overlaps = [&](double X0, double X1, double Y) {
		return std::any_of(Placed.begin(), Placed.end(),
			[&](const FPlacedLabel& L) { return X0 < L.X1 && L.X0 < X1 && std::abs(L.Y - Y) < LabelRowHeight; });
	};
	for (const FFailMark& Mark : Marks)
	{
		if (Mark.Channel != Channel)
		{
			continue;
		}
		const double X = Axes.X(Mark.T);
		Out += Printf("<g class=\"violation %s\" data-expectation=\"%s\" data-t=\"%g\"><title>", VerdictName(Mark.View->Verdict),
			EscapeAttribute(Mark.View->Id).c_str(), Mark.T);
		Out += EscapeText(Mark.Title);
		Out += Printf("</title><line x1=\"%s\" x2=\"%s\" y1=\"%s\" y2=\"%s\"/>", Num(X).c_str(), Num(X).c_str(), Num(Axes.Top).c_str(),
			Num(Axes.Bottom).c_str());
		double MarkY = Axes.Top + 9.0;
		if (Mark.Y)
		{
			MarkY = Axes.Yv(*Mark.Y);
			Out += Printf("<circle cx=\"%s\" cy=\"%s\" r=\"5.5\"/>", Num(X).c_str(), Num(MarkY).c_str());
		}
		else
		{
			Out += Printf("<path d=\"M%s %sl-6 -9h12z\"/>", Num(X).c_str(), Num(MarkY).c_str());
		}
		const std::string Label = ShortLabel(Mark.Label, MaxLabelChars);
		size_t Chars = 0;
		for (const char C : Label) Chars += (static_cast<unsigned char>(C) & 0xC0) != 0x80;
		const double LabelWidth = static_cast<double>(Chars) * LabelCharWidth;
		// Right of the marker, unless that runs past the plot's right edge.
		bool bLeft = X + 8.0 + LabelWidth > Width - Right;
		const double FirstY = std::clamp(MarkY - 8.0, Axes.Top + 8.0, Axes.Bottom - 2.0);
		double LabelY = FirstY;
		const auto Span = [&](bool bOnLeft) { return bOnLeft ? std::pair{X - 8.0 - LabelWidth, X - 8.0} : std::pair{X + 8.0, X + 8.0 + LabelWidth}; };
		bool bFound = false;
		for (int Side = 0; Side < 2 && !bFound; ++Side)
		{
			const bool bTryLeft = Side == 0 ? bLeft : !bLeft;
			const auto [X0, X1] = Span(bTryLeft);
			if (X0 < Left - 40.0 || X1 > Width) continue;
			for (double Y = FirstY; Y <= Axes.Bottom - 2.0 + 0.01; Y += LabelRowHeight)
			{
				if (!Overlaps(X0, X1, Y))
				{
					bLeft = bTryLeft;
					LabelY = Y;
					bFound = true;
					break;
				}
			}
		}
		const auto [X0, X1] = Span(bLeft);
		Placed.push_back({X0, X1, LabelY});
		Out += Printf("<text class=\"violation-label\" x=\"%s\" y=\"%s\"%s>", Num(bLeft ? X - 8.0 : X + 8.0).c_str(), Num(LabelY).c_str(),
			bLeft ? " text-anchor=\"end\"" : "");
		Out += EscapeText(Label);
		Out += "</text></g>";
	}
}

void Line(std::string& Out, const FVarSeries& Series, const std::vector<double>& Values, const FAxes& Axes, int Buckets,
	std::span<const size_t> Keep, const char* Class)
{
	std::vector<size_t> Dots;
	for (size_t S = 0; S < Series.SegmentStarts.size(); ++S)
	{
		const std::vector<size_t> Picks =
			DownsampleLine(Series.T, Values, Series.SegmentStarts[S], Series.SegmentEnd(S), Axes.T0, Axes.T1, Buckets, Keep);
		if (Picks.size() == 1)
		{
			Dots.push_back(Picks[0]);
			continue;
		}
		Out += Printf("<polyline class=\"%s\" points=\"", Class);
		for (const size_t I : Picks)
		{
			Out += Num(Axes.X(Series.T[I]));
			Out += ',';
			Out += Num(Axes.Yv(Values[I]));
			Out += ' ';
		}
		Out.back() = '"';
		Out += "/>";
		if (Series.Size() <= DotLimit)
		{
			Dots.insert(Dots.end(), Picks.begin(), Picks.end());
		}
	}
	for (const size_t I : Dots)
	{
		Out += Printf("<circle class=\"dot %s\" cx=\"%s\" cy=\"%s\" r=\"2\"/>", Class, Num(Axes.X(Series.T[I])).c_str(), Num(Axes.Yv(Values[I])).c_str());
	}
}

FRange ValueRange(const FVarSeries& Series, std::span<const std::vector<double>* const> Channels,
	std::span<const FExpectationView* const> Expectations, int Channel)
{
	FRange Range;
	bool bEmpty = true;
	for (const std::vector<double>* Values : Channels)
	{
		if (!Values->empty())
		{
			const auto [Lo, Hi] = std::minmax_element(Values->begin(), Values->end());
			Include(Range, *Lo, bEmpty);
			Include(Range, *Hi, bEmpty);
		}
	}
	for (const FExpectationView* View : Expectations)
	{
		if (IsVectorKind(Series.Kind) && ChannelOf(*View) != Channel && !(Channel == -2 && ChannelOf(*View) >= 0))
		{
			continue;
		}
		if (View->Threshold)
		{
			Include(Range, *View->Threshold, bEmpty);
		}
		if (View->Min && View->Max && (View->Op == "between" || View->Op == "stays_within_for" || View->ThresholdOp == "between"))
		{
			Include(Range, *View->Min, bEmpty);
			Include(Range, *View->Max, bEmpty);
		}
	}
	return PaddedRange(Range.Min, Range.Max, bEmpty);
}

std::vector<size_t> KeepIndices(const std::vector<FFailMark>& Marks, int Channel)
{
	std::vector<size_t> Keep;
	for (const FFailMark& Mark : Marks)
	{
		if (Mark.Channel == Channel && Mark.Sample != std::string::npos)
		{
			Keep.push_back(Mark.Sample);
		}
	}
	std::sort(Keep.begin(), Keep.end());
	return Keep;
}

void LinePlot(std::string& Out, const FVarSeries& Series, std::span<const FExpectationView* const> Expectations,
	const FPlotContext& Context, const std::vector<FFailMark>& Marks)
{
	FAxes Axes;
	Axes.T0 = Context.T0;
	Axes.T1 = Context.T1;
	const std::vector<double>* Main[] = {&Series.V};
	Axes.Y = ValueRange(Series, Main, Expectations, -1);
	const bool bVector = IsVectorKind(Series.Kind);
	OpenSvg(Out, LineHeight, Series.Name + (bVector ? " length over session time" : " over session time"), "plot-svg line-plot");
	Windows(Out, Axes, Expectations);
	TimeGrid(Out, Axes, true);
	ValueGrid(Out, Axes);
	Thresholds(Out, Axes, Expectations, -1);
	Deadlines(Out, Axes, Expectations);
	Markers(Out, Axes, Context.Markers);
	const std::vector<size_t> Keep = KeepIndices(Marks, -1);
	Line(Out, Series, Series.V, Axes, Context.Buckets, Keep, "line");
	FailMarks(Out, Axes, Marks, -1);
	Out += "</svg>";

	if (!bVector)
	{
		return;
	}
	// Components on demand: open from the start when an expectation is about one of them.
	bool bOpen = false;
	for (const FExpectationView* View : Expectations)
	{
		bOpen = bOpen || ChannelOf(*View) >= 0;
	}
	const bool bRotator = Series.Kind == EValueKind::Rotator;
	Out += bOpen ? "<details class=\"components\" open>" : "<details class=\"components\">";
	Out += bRotator ? "<summary>Components (pitch, yaw, roll)</summary>" : "<summary>Components (x, y, z)</summary>";
	FAxes CompAxes = Axes;
	const std::vector<double>* Comps[] = {&Series.C[0], &Series.C[1], &Series.C[2]};
	CompAxes.Y = ValueRange(Series, Comps, Expectations, -2);
	OpenSvg(Out, LineHeight, Series.Name + " components over session time", "plot-svg component-plot");
	Windows(Out, CompAxes, Expectations);
	TimeGrid(Out, CompAxes, true);
	ValueGrid(Out, CompAxes);
	static const char* CompClass[] = {"line comp-x", "line comp-y", "line comp-z"};
	for (int C = 0; C < 3; ++C)
	{
		Thresholds(Out, CompAxes, Expectations, C);
	}
	Markers(Out, CompAxes, Context.Markers);
	for (int C = 0; C < 3; ++C)
	{
		const std::vector<size_t> CompKeep = KeepIndices(Marks, C);
		Line(Out, Series, Series.C[static_cast<size_t>(C)], CompAxes, Context.Buckets, CompKeep, CompClass[C]);
	}
	for (int C = 0; C < 3; ++C)
	{
		FailMarks(Out, CompAxes, Marks, C);
	}
	Out += "</svg>";
	Out += bRotator ? "<p class=\"legend\"><span class=\"swatch comp-x\"></span>pitch <span class=\"swatch comp-y\"></span>yaw "
					  "<span class=\"swatch comp-z\"></span>roll</p>"
					: "<p class=\"legend\"><span class=\"swatch comp-x\"></span>x <span class=\"swatch comp-y\"></span>y "
					  "<span class=\"swatch comp-z\"></span>z</p>";
	Out += "</details>";
}

FAxes StripAxes(const FPlotContext& Context)
{
	FAxes Axes;
	Axes.T0 = Context.T0;
	Axes.T1 = Context.T1;
	Axes.Top = StripTop;
	Axes.Bottom = StripBottom;
	Axes.Y = {0.0, 1.0};
	return Axes;
}

void Coverage(std::string& Out, const FVarSeries& Series, const FAxes& Axes)
{
	// Where the variable was sampled at all: a reader tells "false" from "not read" by it.
	for (size_t S = 0; S < Series.SegmentStarts.size(); ++S)
	{
		const size_t First = Series.SegmentStarts[S];
		const size_t Last = Series.SegmentEnd(S) - 1;
		const double To = Series.SegmentEnd(S) == Series.Size() ? Axes.T1 : Series.T[Last];
		const double X0 = Axes.X(Series.T[First]);
		Out += Printf("<rect class=\"coverage\" x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\"/>", Num(X0).c_str(), Num(Axes.Top).c_str(),
			Num(std::max(0.5, Axes.X(To) - X0)).c_str(), Num(Axes.Bottom - Axes.Top).c_str());
	}
}

void BoolPlot(std::string& Out, const FVarSeries& Series, std::span<const FExpectationView* const> Expectations,
	const FPlotContext& Context, const std::vector<FFailMark>& Marks)
{
	const FAxes Axes = StripAxes(Context);
	OpenSvg(Out, StripHeight, Series.Name + " true over session time", "plot-svg bool-plot");
	Coverage(Out, Series, Axes);
	const double BucketSeconds = (Context.T1 - Context.T0) / std::max(1, Context.Buckets);
	for (const FBand& Band : TrueBands(Series, Context.T1, BucketSeconds))
	{
		const double X0 = Axes.X(Band.From);
		Out += Printf("<rect class=\"band-true\" x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\"", Num(X0).c_str(), Num(Axes.Top).c_str(),
			Num(std::max(0.75, Axes.X(Band.To) - X0)).c_str(), Num(Axes.Bottom - Axes.Top).c_str());
		if (Band.TrueShare < 0.999)
		{
			Out += Printf(" fill-opacity=\"%.2f\"><title>true %.0f%% of %.2fs-%.2fs</title></rect>", 0.3 + 0.7 * Band.TrueShare,
				Band.TrueShare * 100.0, Band.From, Band.To);
		}
		else
		{
			Out += Printf("><title>true %.2fs-%.2fs</title></rect>", Band.From, Band.To);
		}
	}
	Windows(Out, Axes, Expectations, true);
	TimeGrid(Out, Axes, true);
	Deadlines(Out, Axes, Expectations);
	Markers(Out, Axes, Context.Markers);
	FailMarks(Out, Axes, Marks, -1);
	Out += "</svg>";
}

void StatePlot(std::string& Out, const FVarSeries& Series, std::span<const FExpectationView* const> Expectations,
	const FPlotContext& Context, const std::vector<FFailMark>& Marks)
{
	const FAxes Axes = StripAxes(Context);
	OpenSvg(Out, StripHeight, Series.Name + " state over session time", "plot-svg state-plot");
	const double BucketSeconds = (Context.T1 - Context.T0) / std::max(1, Context.Buckets);
	for (const FStateSpan& Span : StateSpans(Series, Context.T1, BucketSeconds))
	{
		const double X0 = Axes.X(Span.From);
		const double W = std::max(0.75, Axes.X(Span.To) - X0);
		const bool bMixed = Span.State < 0;
		Out += Printf("<rect class=\"%s\" x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\"", bMixed ? "state mixed" : "state", Num(X0).c_str(),
			Num(Axes.Top).c_str(), Num(W).c_str(), Num(Axes.Bottom - Axes.Top).c_str());
		if (!bMixed)
		{
			Out += Printf(" fill=\"%s\"", StateColour(Span.State).c_str());
		}
		Out += "><title>";
		const std::string Name = bMixed ? Printf("%d changes", Span.Changes) : Series.States[static_cast<size_t>(Span.State)];
		Out += EscapeText(Printf("%s %.2fs-%.2fs", Name.c_str(), Span.From, Span.To));
		Out += "</title></rect>";
		// Label a span that has room for a few characters.
		if (!bMixed && W >= 36.0)
		{
			const size_t Chars = static_cast<size_t>((W - 6.0) / 6.2);
			std::string Label = Name.size() > Chars ? Name.substr(0, Chars > 1 ? Chars - 1 : 0) + "…" : Name;
			Out += Printf("<text class=\"state-label\" x=\"%s\" y=\"%s\">", Num(X0 + 3.0).c_str(), Num(Axes.Top + 20.0).c_str());
			Out += EscapeText(Label);
			Out += "</text>";
		}
	}
	Windows(Out, Axes, Expectations, true);
	TimeGrid(Out, Axes, true);
	Deadlines(Out, Axes, Expectations);
	Markers(Out, Axes, Context.Markers);
	FailMarks(Out, Axes, Marks, -1);
	Out += "</svg>";
}
}

std::string StateColour(int Index)
{
	// Golden-angle hues keep neighbouring states apart however many there are.
	const double Hue = std::fmod(200.0 + Index * 137.508, 360.0);
	return Printf("hsl(%.0f,55%%,72%%)", Hue);
}

std::string RenderVariablePlot(const FVarSeries& Series, std::span<const FExpectationView* const> Expectations,
	const FPlotContext& Context)
{
	std::vector<FFailMark> Marks;
	for (const FExpectationView* View : Expectations)
	{
		if (std::optional<FFailMark> Mark = FindFailMark(Series, *View))
		{
			Marks.push_back(std::move(*Mark));
		}
	}
	std::string Out;
	Out.reserve(Series.Size() > 2000 ? 96 * 1024 : 16 * 1024);
	switch (Series.Kind)
	{
	case EValueKind::Number:
	case EValueKind::Vector:
	case EValueKind::Rotator:
		LinePlot(Out, Series, Expectations, Context, Marks);
		break;
	case EValueKind::Bool:
		BoolPlot(Out, Series, Expectations, Context, Marks);
		break;
	case EValueKind::String:
	case EValueKind::Object:
		StatePlot(Out, Series, Expectations, Context, Marks);
		break;
	case EValueKind::Json:
	case EValueKind::Missing:
	{
		// Nothing to draw on a value axis; the time axis still shows where its expectations were decided.
		const FAxes Axes = StripAxes(Context);
		OpenSvg(Out, StripHeight, Series.Name + " has no plottable values", "plot-svg empty-plot");
		Windows(Out, Axes, Expectations);
		TimeGrid(Out, Axes, true);
		Markers(Out, Axes, Context.Markers);
		FailMarks(Out, Axes, Marks, -1);
		Out += "</svg>";
		break;
	}
	}
	return Out;
}

std::string RenderMarkerLane(const FPlotContext& Context)
{
	if (Context.Markers.empty())
	{
		return std::string();
	}
	FAxes Axes;
	Axes.T0 = Context.T0;
	Axes.T1 = Context.T1;
	Axes.Top = 4.0;
	Axes.Bottom = 58.0;
	std::string Out;
	OpenSvg(Out, 62.0, "input events, stages and probes over session time", "plot-svg marker-lane");
	static const char* KindClass[] = {"input", "stage", "probe"};
	// Labels step down three rows so that markers close in time stay readable.
	for (size_t I = 0; I < Context.Markers.size(); ++I)
	{
		const FTimeMarker& Marker = Context.Markers[I];
		const double X = Axes.X(Marker.T);
		const double Y = 14.0 + 16.0 * static_cast<double>(I % 3);
		Out += Printf("<g class=\"lane-marker %s%s\"><title>", KindClass[static_cast<int>(Marker.Kind)], Marker.bFailed ? " failed" : "");
		Out += EscapeText(Marker.Title);
		Out += Printf("</title><line class=\"marker\" x1=\"%s\" x2=\"%s\" y1=\"%s\" y2=\"%s\"/><text x=\"%s\" y=\"%s\">", Num(X).c_str(),
			Num(X).c_str(), Num(Y + 3.0).c_str(), Num(Axes.Bottom + 4.0).c_str(), Num(X + 3.0).c_str(), Num(Y).c_str());
		Out += EscapeText(Marker.Label);
		Out += "</text></g>";
	}
	Out += "</svg>";
	return Out;
}
}
