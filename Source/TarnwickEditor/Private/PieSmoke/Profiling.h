// The CSV profile and the trace that bracket a session's PIE run: started once on the first ready tick when
// csv_profile or trace_channels ask for them, stopped on every end path, written under Saved/Profiling. A
// capture or trace someone else already runs is neither started nor stopped by the session. Failures are
// reported in the status texts and never end the session. Game thread only.
#pragma once
#include "PieSmoke/PieSmokeSession.h"

namespace Tarnwick::PieSmoke
{
inline constexpr const char* CsvProfilerMissing = "FCsvProfiler::Get() returned null";
inline constexpr const char* TraceStartFailed = "FTraceAuxiliary::Start failed (trace may be disabled in this build)";

/** Starts what the spec asks for; runs once per session. */
void StartProfiling(FPieSmokeSession& Session);
/** Stops what StartProfiling started. */
void StopProfiling(FPieSmokeSession& Session);
}
