#include "FailMark.h"

#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>
#include <cmath>

namespace Tarnwick::Reports
{
namespace
{
bool IsDrawnFailure(const FExpectationView& View)
{
	return View.Verdict == EVerdict::Fail || View.Verdict == EVerdict::Warn;
}

const std::vector<double>& ChannelValues(const FVarSeries& Series, int Channel)
{
	return Channel >= 0 ? Series.C[static_cast<size_t>(Channel)] : Series.V;
}
}

int ChannelOf(const FExpectationView& View)
{
	if (View.Var.Selector == "x")
	{
		return 0;
	}
	if (View.Var.Selector == "y")
	{
		return 1;
	}
	if (View.Var.Selector == "z")
	{
		return 2;
	}
	return -1;
}

size_t SampleAt(const std::vector<double>& Times, double T)
{
	if (Times.empty())
	{
		return std::string::npos;
	}
	const auto It = std::upper_bound(Times.begin(), Times.end(), T + 1e-9);
	return It == Times.begin() ? 0 : static_cast<size_t>(It - Times.begin()) - 1;
}

std::optional<FFailMark> FindFailMark(const FVarSeries& Series, const FExpectationView& View)
{
	if (!IsDrawnFailure(View))
	{
		return std::nullopt;
	}
	FFailMark Mark;
	Mark.View = &View;
	Mark.Channel = IsVectorKind(Series.Kind) ? ChannelOf(View) : -1;
	const bool bNumeric = Series.Kind == EValueKind::Number || IsVectorKind(Series.Kind);
	const std::vector<double>& Values = ChannelValues(Series, Mark.Channel);
	const std::string Verb = View.Verdict == EVerdict::Warn ? "warned" : "failed";

	if (View.bHasViolation && View.DecidedAt)
	{
		Mark.T = *View.DecidedAt;
		Mark.Sample = SampleAt(Series.T, Mark.T);
		if (bNumeric && View.ViolationActual.is_number())
		{
			Mark.Y = View.ViolationActual.get<double>();
		}
		else if (bNumeric && Mark.Sample != std::string::npos && Mark.Sample < Values.size())
		{
			Mark.Y = Values[Mark.Sample];
		}
		Mark.Title = Printf("%s %s: violated at t=%.2fs by %s", View.Id.c_str(), Verb.c_str(), Mark.T,
			DisplayValue(View.ViolationActual).c_str());
		Mark.Label = View.ViolationActual.is_null() ? std::string("violated") : "violated: " + DisplayValue(View.ViolationActual);
		return Mark;
	}

	const bool bHasBand = View.ThresholdOp == "between" && View.Min && View.Max;
	if (bNumeric && (View.Threshold || bHasBand) && !Values.empty())
	{
		const double From = View.WindowFrom.value_or(-1e300);
		double To = View.WindowTo.value_or(1e300);
		if (View.Op == "becomes_within" && View.Seconds)
		{
			To = std::min(To, *View.Seconds);
		}
		size_t Best = std::string::npos;
		double BestScore = 0.0;
		for (size_t I = 0; I < Values.size(); ++I)
		{
			if (Series.T[I] < From || Series.T[I] > To)
			{
				continue;
			}
			const double X = Values[I];
			double Score = 0.0;
			const std::string& Op = View.ThresholdOp;
			if (bHasBand)
			{
				Score = -(X < *View.Min ? *View.Min - X : X > *View.Max ? X - *View.Max : 0.0);
			}
			else if (Op == "lt" || Op == "lte")
			{
				Score = -X;
			}
			else if (Op == "gt" || Op == "gte")
			{
				Score = X;
			}
			else if (Op == "eq")
			{
				Score = -std::fabs(X - *View.Threshold);
			}
			else
			{
				Score = std::fabs(X - *View.Threshold);
			}
			if (Best == std::string::npos || Score > BestScore)
			{
				Best = I;
				BestScore = Score;
			}
		}
		if (Best != std::string::npos)
		{
			Mark.Sample = Best;
			Mark.T = Series.T[Best];
			Mark.Y = Values[Best];
			Mark.Title = Printf("%s %s: closest approach %g at t=%.2fs", View.Id.c_str(), Verb.c_str(), Values[Best], Mark.T);
			Mark.Label = Printf("closest: %g", Values[Best]);
			return Mark;
		}
	}
	if (View.DecidedAt)
	{
		Mark.T = *View.DecidedAt;
		Mark.Sample = SampleAt(Series.T, Mark.T);
		Mark.Title = Printf("%s %s: decided at t=%.2fs", View.Id.c_str(), Verb.c_str(), Mark.T);
		Mark.Label = View.Id;
		return Mark;
	}
	return std::nullopt;
}
}
