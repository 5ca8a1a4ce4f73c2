// The session report: everything an agent learns about a smoke session, in one JSON object whose key order is
// part of the interface. Built on demand (poll_pie_smoke, stop_pie_smoke, tarnwick smoke) from the session
// record and a few facts about the editor right now, for running and finished sessions alike. Pure: the caller
// gathers the environment (the clock, whether a PIE world exists, the session's log lines) first.
#pragma once
#include "PieSmoke/PieSmokeSession.h"
#include "TarnwickJson.h"
#include "TarnwickLogCapture.h"

#include <vector>

namespace Tarnwick::PieSmoke
{
struct FReportEnvironment
{
	/** FPlatformTime::Seconds now. */
	double Now = 0.0;
	bool bPieWorldExists = false;
	/** The PIE world's game seconds (a running session's live time on the game clock). */
	double PieWorldTimeSeconds = 0.0;
	/** The captured log lines from the session's registration on, oldest first; null without a log capture. */
	const std::vector<FTarnwickLogEntry>* LogLines = nullptr;
};

/** The hint of a clip whose frames were all uniform. */
inline constexpr const char* AllFramesUniformHint =
	"All frames were uniform/black — the PIE viewport is likely not rendered (hidden editor / no active level viewport). Pass "
	"view_target_actor or run with a visible editor viewport.";

/**
 * The report. Samples are included when asked or when the session has finished. The session's expectations
 * must have been evaluated for its current state before (the observer does it at the end; poll does it for a
 * running session).
 */
FJson BuildReport(const FPieSmokeSession& Session, const FReportEnvironment& Environment, bool bIncludeSamples);
}
