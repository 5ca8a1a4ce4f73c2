#include "PlotScale.h"

#include <cmath>

namespace Tarnwick::Reports
{
void Include(FRange& Range, double Value, bool& bEmpty)
{
	if (!std::isfinite(Value))
	{
		return;
	}
	if (bEmpty)
	{
		Range = {Value, Value};
		bEmpty = false;
		return;
	}
	Range.Min = Value < Range.Min ? Value : Range.Min;
	Range.Max = Value > Range.Max ? Value : Range.Max;
}

FRange PaddedRange(double Min, double Max, bool bEmpty)
{
	if (bEmpty)
	{
		return {0.0, 1.0};
	}
	if (!(Max > Min))
	{
		const double Room = Min == 0.0 ? 1.0 : std::fabs(Min) * 0.1;
		return {Min - Room, Max + Room};
	}
	const double Room = (Max - Min) * 0.06;
	return {Min - Room, Max + Room};
}

std::vector<double> NiceTicks(double Min, double Max, int Count)
{
	std::vector<double> Ticks;
	if (!std::isfinite(Min) || !std::isfinite(Max) || !(Max > Min) || Count < 1)
	{
		return Ticks;
	}
	const double Raw = (Max - Min) / Count;
	const double Power = std::pow(10.0, std::floor(std::log10(Raw)));
	const double Fraction = Raw / Power;
	const double Step = (Fraction <= 1.0 ? 1.0 : Fraction <= 2.0 ? 2.0 : Fraction <= 5.0 ? 5.0 : 10.0) * Power;
	const double First = std::ceil(Min / Step - 1e-9) * Step;
	for (int I = 0; I < 1000; ++I)
	{
		double Tick = First + I * Step;
		if (Tick > Max + Step * 1e-9)
		{
			break;
		}
		// Avoid "-0" and float dust such as 0.30000000000000004 in labels.
		Tick = std::fabs(Tick) < Step * 1e-9 ? 0.0 : std::round(Tick / Step) * Step;
		Ticks.push_back(Tick);
	}
	return Ticks;
}
}
