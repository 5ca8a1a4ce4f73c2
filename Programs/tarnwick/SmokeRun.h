// One smoke session run to its end in this process, as `tarnwick smoke` (and a suite of specs) runs it: the
// spec goes to run_pie_smoke through the same dispatch an MCP call takes, the simulated editor steps frames on
// its virtual clock until the session has finished and its PIE has been torn down, and the final report comes
// back. Leaves the editor ready for the next session, so a suite can call it repeatedly on one host.
#pragma once
#include "SimHost.h"
#include "TarnwickJson.h"

#include <string>

namespace Tarnwick::Program
{
enum class ESmokeOutcome
{
	/** The session finished and its report says ok. */
	Passed,
	/** The session finished (or had to be stopped) and its report says not ok. */
	Failed,
	/** run_pie_smoke refused the spec; nothing ran. */
	Refused,
};

struct FSmokeRunResult
{
	ESmokeOutcome Outcome = ESmokeOutcome::Refused;
	/** The final report (Passed, Failed). */
	FJson Report;
	/** The refusal's message, code and error data (Refused). */
	std::string RefusalMessage;
	int32 RefusalCode = 0;
	FJson RefusalData;
	/** Set when the session had to be stopped because its world never began play. */
	std::string Note;
};

/** 0 passed, 1 failed, 2 refused. */
int ExitCodeOf(ESmokeOutcome Outcome);

/** Runs Spec (run_pie_smoke's parameters) on Host to its end. */
FSmokeRunResult RunSmokeSession(Sim::FSimHost& Host, const FJson& Spec);

/** The short human summary: the session's end, each expectation's sentence, the verdicts. */
std::string SummarizeSmokeRun(const std::string& SpecName, const FSmokeRunResult& Result);
}
