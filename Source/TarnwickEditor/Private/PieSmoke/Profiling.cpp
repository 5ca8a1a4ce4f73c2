#include "PieSmoke/Profiling.h"

namespace Tarnwick::PieSmoke
{
void StartProfiling(FPieSmokeSession& Session)
{
	FProfilingState& P = Session.Profiling;
	if (P.bStartAttempted) return;
	P.bStartAttempted = true;
	P.bCsvRequested = Session.Spec.bCsvProfile;
	P.TraceChannels = Session.Spec.TraceChannels;
	if (P.bCsvRequested)
	{
		// This host has no CSV profiler to hand out.
		P.bCsvAvailable = false;
		P.CsvStatus = CsvProfilerMissing;
	}
	if (!P.TraceChannels.empty())
	{
		P.TraceStatus = TraceStartFailed;
	}
}

void StopProfiling(FPieSmokeSession& Session)
{
	(void)Session;
}
}
