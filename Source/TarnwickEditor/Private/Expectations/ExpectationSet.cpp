#include "Expectations/ExpectationSet.h"

namespace Tarnwick::Expectations
{
namespace
{
int32 IndexOf(const std::vector<std::string>& Names, const std::string& Name)
{
	for (size_t I = 0; I < Names.size(); ++I)
	{
		if (Sampling::EqualsIgnoreCase(Names[I], Name)) return static_cast<int32>(I);
	}
	return -1;
}
}

void FExpectationSet::Init(const std::vector<FExpectation>& Entries, const std::vector<std::string>& VarNames, double Duration)
{
	Trackers.clear();
	ByVar.assign(VarNames.size(), {});
	Trackers.reserve(Entries.size());
	for (const FExpectation& E : Entries)
	{
		const int32 Var = E.Op == EOp::NoError ? -1 : IndexOf(VarNames, E.Var.Name);
		const int32 Other = E.bHasOtherVar ? IndexOf(VarNames, E.OtherVar.Name) : -1;
		const size_t At = Trackers.size();
		Trackers.emplace_back(E, Var, Other, Duration);
		if (Var >= 0) ByVar[static_cast<size_t>(Var)].push_back(At);
		if (Other >= 0 && Other != Var) ByVar[static_cast<size_t>(Other)].push_back(At);
	}
}

void FExpectationSet::OnFailedRead(int32 VarIndex, double T)
{
	for (size_t At : ByVar[static_cast<size_t>(VarIndex)]) Trackers[At].OnFailedRead(VarIndex, T);
}

void FExpectationSet::Advance(double T, const std::vector<bool>& Holding)
{
	for (FExpectationTracker& Tracker : Trackers)
	{
		if (Tracker.VarIndex >= 0 && Holding[static_cast<size_t>(Tracker.VarIndex)]) Tracker.Advance(T);
	}
}

bool FExpectationSet::AnyErrorTerminallyViolated(double Now, const std::vector<FVarView>& Vars, int64 DispatchFailures, bool bAnyRequiredUnresolved)
{
	bool bAny = false;
	for (FExpectationTracker& Tracker : Trackers)
	{
		if (Tracker.E.bWarn) continue;
		if (Tracker.E.Op == EOp::NoError)
		{
			// Dispatch failures only grow and a latched spec never resolves: no later pass can clear either.
			if (DispatchFailures > 0 || bAnyRequiredUnresolved)
			{
				Tracker.bTerminal = true;
				if (Tracker.TerminalT < 0.0) Tracker.TerminalT = Now;
			}
			bAny = bAny || Tracker.bTerminal;
			continue;
		}
		bool bLatched = false;
		bool bFlipped = false;
		for (int32 Index : {Tracker.VarIndex, Tracker.OtherIndex})
		{
			if (Index < 0) continue;
			const FVarView& V = Vars[static_cast<size_t>(Index)];
			bLatched = bLatched || V.LatchedT >= 0.0;
			bFlipped = bFlipped || V.bKindUnstable;
		}
		bAny = Tracker.UpdateTerminal(Now, Vars[static_cast<size_t>(Tracker.VarIndex)].Accumulator, bLatched, bFlipped) || bAny;
	}
	return bAny;
}
}
