#include "Downsample.h"

#include <algorithm>

namespace Tarnwick::Reports
{
std::vector<size_t> DownsampleLine(const std::vector<double>& T, const std::vector<double>& V, size_t Begin, size_t End,
	double T0, double T1, int Buckets, std::span<const size_t> Keep)
{
	std::vector<size_t> Out;
	End = std::min(End, std::min(T.size(), V.size()));
	if (Begin >= End)
	{
		return Out;
	}
	const size_t Count = End - Begin;
	Buckets = std::max(Buckets, 1);
	if (Count <= static_cast<size_t>(Buckets) * 4 || !(T1 > T0))
	{
		Out.resize(Count);
		for (size_t I = 0; I < Count; ++I)
		{
			Out[I] = Begin + I;
		}
		return Out;
	}
	Out.reserve(static_cast<size_t>(Buckets) * 4 + Keep.size());
	const double Scale = Buckets / (T1 - T0);
	const auto BucketOf = [&](double Time) {
		const double B = (Time - T0) * Scale;
		return B <= 0.0 ? 0L : std::min(static_cast<long>(B), static_cast<long>(Buckets) - 1);
	};
	size_t I = Begin;
	while (I < End)
	{
		const long Bucket = BucketOf(T[I]);
		const size_t First = I;
		size_t Low = I;
		size_t High = I;
		size_t Last = I;
		for (; I < End && BucketOf(T[I]) == Bucket; ++I)
		{
			Low = V[I] < V[Low] ? I : Low;
			High = V[I] > V[High] ? I : High;
			Last = I;
		}
		size_t Picks[4] = {First, std::min(Low, High), std::max(Low, High), Last};
		for (const size_t Pick : Picks)
		{
			if (Out.empty() || Out.back() != Pick)
			{
				Out.push_back(Pick);
			}
		}
	}
	bool bAdded = false;
	for (const size_t K : Keep)
	{
		if (K >= Begin && K < End)
		{
			Out.push_back(K);
			bAdded = true;
		}
	}
	if (bAdded)
	{
		std::sort(Out.begin(), Out.end());
		Out.erase(std::unique(Out.begin(), Out.end()), Out.end());
	}
	return Out;
}

namespace
{
// When sample I stops holding: the next sample of its segment, or End for the very last sample.
double HeldUntil(const FVarSeries& Series, size_t Segment, size_t I, double End)
{
	const size_t SegmentEnd = Series.SegmentEnd(Segment);
	if (I + 1 < SegmentEnd)
	{
		return Series.T[I + 1];
	}
	return SegmentEnd == Series.Size() ? std::max(End, Series.T[I]) : Series.T[I];
}
}

std::vector<FBand> TrueBands(const FVarSeries& Series, double End, double MinGap)
{
	struct FRun
	{
		double From;
		double To;
	};
	std::vector<FRun> Runs;
	for (size_t S = 0; S < Series.SegmentStarts.size(); ++S)
	{
		bool bOpen = false;
		for (size_t I = Series.SegmentStarts[S]; I < Series.SegmentEnd(S); ++I)
		{
			const bool bTrue = Series.V[I] != 0.0;
			const double Until = HeldUntil(Series, S, I, End);
			if (bTrue && bOpen)
			{
				Runs.back().To = Until;
			}
			else if (bTrue)
			{
				Runs.push_back({Series.T[I], Until});
				bOpen = true;
			}
			else
			{
				bOpen = false;
			}
		}
	}
	std::vector<FBand> Bands;
	double TrueTime = 0.0;
	for (const FRun& Run : Runs)
	{
		if (!Bands.empty() && Run.From - Bands.back().To < MinGap)
		{
			Bands.back().To = Run.To;
		}
		else
		{
			if (!Bands.empty())
			{
				const double Span = Bands.back().To - Bands.back().From;
				Bands.back().TrueShare = Span > 0.0 ? std::min(1.0, TrueTime / Span) : 1.0;
			}
			Bands.push_back({Run.From, Run.To, 1.0});
			TrueTime = 0.0;
		}
		TrueTime += Run.To - Run.From;
	}
	if (!Bands.empty())
	{
		const double Span = Bands.back().To - Bands.back().From;
		Bands.back().TrueShare = Span > 0.0 ? std::min(1.0, TrueTime / Span) : 1.0;
	}
	return Bands;
}

std::vector<FStateSpan> StateSpans(const FVarSeries& Series, double End, double MinWidth)
{
	std::vector<FStateSpan> Runs;
	for (size_t S = 0; S < Series.SegmentStarts.size(); ++S)
	{
		for (size_t I = Series.SegmentStarts[S]; I < Series.SegmentEnd(S); ++I)
		{
			const int State = static_cast<int>(Series.V[I]);
			const double Until = HeldUntil(Series, S, I, End);
			if (!Runs.empty() && I != Series.SegmentStarts[S] && Runs.back().State == State)
			{
				Runs.back().To = Until;
			}
			else
			{
				Runs.push_back({Series.T[I], Until, State, 0});
			}
		}
	}
	std::vector<FStateSpan> Spans;
	for (const FStateSpan& Run : Runs)
	{
		FStateSpan* Back = Spans.empty() ? nullptr : &Spans.back();
		const bool bNarrow = Run.To - Run.From < MinWidth;
		// A narrow run joins the span before it when that one is narrow too or already mixed.
		const bool bGather = bNarrow && Back && Run.From - Back->To < MinWidth
			&& (Back->State == -1 || Back->To - Back->From < MinWidth);
		if (bGather)
		{
			Back->State = Back->State == Run.State ? Back->State : -1;
			Back->Changes += 1;
			Back->To = Run.To;
		}
		else
		{
			Spans.push_back(Run);
		}
	}
	return Spans;
}
}
