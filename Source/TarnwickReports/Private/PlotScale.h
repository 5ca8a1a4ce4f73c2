// Axes of the plots: value ranges that leave room around the data and every line drawn over it, and tick values
// a person reads at a glance (steps of 1, 2 or 5 times a power of ten).
#pragma once
#include <vector>

namespace Tarnwick::Reports
{
struct FRange
{
	double Min = 0.0;
	double Max = 1.0;
};

/** Grows the range to take in Value (finite values only). */
void Include(FRange& Range, double Value, bool& bEmpty);

/** A range with a little room at both ends; a flat or empty range is opened around its value. */
FRange PaddedRange(double Min, double Max, bool bEmpty);

/** Ticks within [Min, Max] at a 1/2/5 step giving about Count of them. */
std::vector<double> NiceTicks(double Min, double Max, int Count);

/** Maps a value of [From.Min, From.Max] onto [ToMin, ToMax] (ToMin may be greater, for a y axis). */
inline double MapLinear(double Value, const FRange& From, double ToMin, double ToMax)
{
	const double Span = From.Max - From.Min;
	return Span > 0.0 ? ToMin + (Value - From.Min) / Span * (ToMax - ToMin) : (ToMin + ToMax) * 0.5;
}
}
