#include "Sampling/VarAccumulator.h"

#include <algorithm>
#include <functional>

namespace Tarnwick::Sampling
{
double FStringState::DwellOf(const std::string& Value) const
{
	double Seconds = 0.0;
	for (const auto& [Name, Held] : Dwell)
	{
		if (EqualsIgnoreCase(Name, Value)) Seconds += Held;
	}
	return Seconds;
}

const FNumericChannel* FVarAccumulator::Channel(ESelector Selector) const
{
	switch (Selector)
	{
	case ESelector::None: return Kind == ESampleKind::Number ? &Number : nullptr;
	case ESelector::X: return (Kind == ESampleKind::Vector || Kind == ESampleKind::Rotator) ? &X : nullptr;
	case ESelector::Y: return (Kind == ESampleKind::Vector || Kind == ESampleKind::Rotator) ? &Y : nullptr;
	case ESelector::Z: return (Kind == ESampleKind::Vector || Kind == ESampleKind::Rotator) ? &Z : nullptr;
	case ESelector::Len: return (Kind == ESampleKind::Vector || Kind == ESampleKind::Rotator) ? &Len : nullptr;
	case ESelector::Base: return BaseChannel.Count > 0 ? &BaseChannel : nullptr;
	}
	return nullptr;
}

void FVarAccumulator::IntegrateHeld(double Dt)
{
	TotalSeconds += Dt;
	CurrentRun += Dt;
	switch (Kind)
	{
	case ESampleKind::Bool:
		if (Bool.bLast)
		{
			Bool.TrueSeconds += Dt;
			Bool.LongestTrueRun = std::max(Bool.LongestTrueRun, CurrentRun);
		}
		else
		{
			Bool.LongestFalseRun = std::max(Bool.LongestFalseRun, CurrentRun);
		}
		break;
	case ESampleKind::Number: Number.Integrate(Dt); break;
	case ESampleKind::String:
	case ESampleKind::Object:
	{
		auto It = std::find_if(Str.Dwell.begin(), Str.Dwell.end(), [&](const auto& Entry) { return Entry.first == Str.Last; });
		if (It != Str.Dwell.end()) It->second += Dt;
		else if (Str.Dwell.size() < MaxDwellEntries) Str.Dwell.emplace_back(Str.Last, Dt);
		else Str.bDistinctOverflow = true;
		break;
	}
	case ESampleKind::Vector:
	case ESampleKind::Rotator:
		X.Integrate(Dt);
		Y.Integrate(Dt);
		Z.Integrate(Dt);
		Len.Integrate(Dt);
		break;
	case ESampleKind::Missing:
	case ESampleKind::Json: break;
	}
	BaseChannel.Integrate(Dt);
}

void FVarAccumulator::MarkFailedRead(double T) { LastReadT = T; }

void FVarAccumulator::Advance(double T)
{
	if (SampleCount > 0 && LastReadT >= 0.0 && T > LastReadT)
	{
		IntegrateHeld(T - LastReadT);
		LastReadT = T;
	}
}

void FVarAccumulator::Add(double T, const FSampleValue& Value)
{
	if (Kind != ESampleKind::Missing && Value.Kind != Kind)
	{
		MarkFailedRead(T);
		return;
	}
	const double Dt = LastReadT >= 0.0 ? std::max(0.0, T - LastReadT) : 0.0;
	if (Dt > 0.0 && SampleCount > 0) IntegrateHeld(Dt);

	const int64 Index = SampleCount;
	++SampleCount;
	if (Kind == ESampleKind::Missing) Kind = Value.Kind;

	switch (Value.Kind)
	{
	case ESampleKind::Bool:
	{
		const bool V = Value.bBool;
		if (!Bool.bHasInitial)
		{
			Bool.bHasInitial = true;
			Bool.bInitial = V;
		}
		else if (V != Bool.bLast)
		{
			++Bool.Transitions;
			++(V ? Bool.RisingEdges : Bool.FallingEdges);
			CurrentRun = 0.0;
			if (Bool.FirstChangeIndex < 0)
			{
				Bool.FirstChangeT = T;
				Bool.FirstChangeIndex = Index;
			}
		}
		if (V)
		{
			++Bool.TrueCount;
			Bool.bEverTrue = true;
			if (Bool.FirstTrueIndex < 0)
			{
				Bool.FirstTrueT = T;
				Bool.FirstTrueIndex = Index;
			}
		}
		else
		{
			Bool.bEverFalse = true;
			if (Bool.FirstFalseIndex < 0)
			{
				Bool.FirstFalseT = T;
				Bool.FirstFalseIndex = Index;
			}
		}
		Bool.bLast = V;
		break;
	}
	case ESampleKind::Number: Number.Add(Value.Number); break;
	case ESampleKind::String:
	case ESampleKind::Object:
		if (!Str.bHasFirst)
		{
			Str.bHasFirst = true;
			Str.First = Value.String;
		}
		else if (!EqualsIgnoreCase(Value.String, Str.Last))
		{
			++Str.Transitions;
			CurrentRun = 0.0;
			if (Str.FirstChangeIndex < 0)
			{
				Str.FirstChangeT = T;
				Str.FirstChangeIndex = Index;
			}
		}
		Str.Distinct.insert(std::hash<std::string>{}(Value.String));
		Str.Last = Value.String;
		break;
	case ESampleKind::Vector:
	case ESampleKind::Rotator:
		X.Add(Value.X);
		Y.Add(Value.Y);
		Z.Add(Value.Z);
		Len.Add(Value.Length());
		break;
	case ESampleKind::Missing:
	case ESampleKind::Json: break;
	}
	if (Value.bHasBase) BaseChannel.Add(Value.Base);
	LastReadT = T;
}

FJson FVarAccumulator::ToSummaryJson() const
{
	FJson Out = FJson::object();
	Out["kind"] = KindName(Kind);
	Out["sample_count"] = SampleCount;
	Out["total_seconds"] = TotalSeconds;
	switch (Kind)
	{
	case ESampleKind::Bool:
		Out["last"] = Bool.bLast;
		Out["ever_true"] = Bool.bEverTrue;
		Out["always_true"] = Bool.bEverTrue && !Bool.bEverFalse;
		Out["transitions"] = Bool.Transitions;
		Out["rising_edges"] = Bool.RisingEdges;
		Out["falling_edges"] = Bool.FallingEdges;
		Out["true_seconds"] = Bool.TrueSeconds;
		Out["duty_cycle"] = TotalSeconds > 0.0 ? Bool.TrueSeconds / TotalSeconds : 0.0;
		Out["first_true_t"] = Bool.FirstTrueT;
		Out["longest_true_run"] = Bool.LongestTrueRun;
		Out["longest_false_run"] = Bool.LongestFalseRun;
		break;
	case ESampleKind::Number:
		Out["min"] = Number.Min;
		Out["max"] = Number.Max;
		Out["last"] = Number.Last;
		Out["mean"] = Number.Mean();
		Out["time_weighted_mean"] = TotalSeconds > 0.0 ? Number.Integral / TotalSeconds : 0.0;
		break;
	case ESampleKind::Vector:
	case ESampleKind::Rotator:
		Out["len_min"] = Len.Min;
		Out["len_max"] = Len.Max;
		Out["len_last"] = Len.Last;
		break;
	case ESampleKind::String:
	case ESampleKind::Object:
	{
		if (!Str.Last.empty()) Out["last"] = Str.Last;
		Out["distinct_values"] = Str.Distinct.size();
		FJson Dwell = FJson::object();
		for (const auto& [Name, Seconds] : Str.Dwell) Dwell[Name] = Seconds;
		Out["time_in_state"] = std::move(Dwell);
		if (Str.bDistinctOverflow) Out["distinct_overflow"] = true;
		break;
	}
	case ESampleKind::Missing:
	case ESampleKind::Json: break;
	}
	return Out;
}
}
