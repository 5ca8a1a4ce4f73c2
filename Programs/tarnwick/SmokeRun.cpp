#include "SmokeRun.h"

#include "Editor.h"
#include "Printf.h"
#include "TarnwickDispatcher.h"
#include "TarnwickEngineUtils.h"

#include <cmath>
#include <sstream>

namespace Tarnwick::Program
{
namespace
{
/**
 * Seconds the runner waits for the PIE world to begin play. Once it has, the session's own watchdog bounds the
 * run; before it, nothing does (the session waits for a stop), so the runner stops it.
 */
constexpr double NeverBeganPlaySeconds = 60.0;
/** Frames to let a requested teardown finish. */
constexpr int32 TeardownFrames = 600;

FTarnwickActionResult CallEditor(const char* Action, const FJson& Arguments)
{
	return Dispatch::RunToolCall("editor", Action, MakeJsonObject(Arguments), "cli", std::string("editor_") + Action);
}

bool IsRunning(const FJson& Report)
{
	return Report.value("status", std::string()) == "running";
}

const char* Verdict(const FJson& Report, const char* Key)
{
	const auto It = Report.find(Key);
	return It != Report.end() && It->is_boolean() && It->get<bool>() ? "true" : "false";
}
}

int ExitCodeOf(ESmokeOutcome Outcome)
{
	switch (Outcome)
	{
	case ESmokeOutcome::Passed: return 0;
	case ESmokeOutcome::Failed: return 1;
	default: return 2;
	}
}

FSmokeRunResult RunSmokeSession(Sim::FSimHost& Host, const FJson& Spec)
{
	FSmokeRunResult Result;
	const FTarnwickActionResult Started = CallEditor("run_pie_smoke", Spec);
	if (!Started.bSuccess)
	{
		Result.Outcome = ESmokeOutcome::Refused;
		Result.RefusalMessage = Started.ErrorMessage;
		Result.RefusalCode = Started.ErrorCode;
		if (Started.ErrorData) Result.RefusalData = *Started.ErrorData;
		return Result;
	}
	const std::string Id = Started.Result->value("session_id", std::string());

	// A full report each frame would cost more than the frame; while the session still owns its PIE it is
	// running, so the report is only read once a second of frames and when that ownership ends.
	constexpr int32 FramesBetweenPolls = 60;
	for (int32 Frame = 0;; ++Frame)
	{
		const FJson State = *CallEditor("is_pie_active", FJson::object()).Result;
		const bool bOwned = State.value("active", false) && State.value("owner", std::string()) == "smoke" &&
			State.value("session_id", std::string()) == Id;
		if (!bOwned || Frame % FramesBetweenPolls == 0)
		{
			const FJson Report = *CallEditor("poll_pie_smoke", FJson{{"session_id", Id}}).Result;
			if (!IsRunning(Report)) break;
			if (!Report.value("pie_ready", false) && Report.value("wall_seconds", 0.0) >= NeverBeganPlaySeconds)
			{
				CallEditor("stop_pie_smoke", FJson{{"session_id", Id}});
				Result.Note = Tarnwick::Printf("The PIE world had not begun play after %.0fs, so the session was stopped.", NeverBeganPlaySeconds);
				break;
			}
		}
		Host.StepFrame();
	}
	// Let the teardown the session asked for happen, so that the next session finds no PIE running.
	Host.StepUntil([] { return Tarnwick::GetPIEWorld() == nullptr; }, TeardownFrames);
	Result.Report = *CallEditor("poll_pie_smoke", FJson{{"session_id", Id}, {"include_samples", true}}).Result;
	Result.Outcome = Result.Report.value("ok", false) ? ESmokeOutcome::Passed : ESmokeOutcome::Failed;
	return Result;
}

std::string SummarizeSmokeRun(const std::string& SpecName, const FSmokeRunResult& Result)
{
	std::ostringstream Out;
	if (Result.Outcome == ESmokeOutcome::Refused)
	{
		Out << SpecName << ": refused (" << Result.RefusalCode << "): " << Result.RefusalMessage << "\n";
		if (Result.RefusalData.is_object())
		{
			for (const FJson& Entry : Result.RefusalData.value("unsatisfiable_expectations", FJson::array()))
			{
				Out << "  " << Entry.get<std::string>() << "\n";
			}
		}
		return Out.str();
	}
	const FJson& R = Result.Report;
	Out << SpecName << ": session " << R.value("session_id", std::string()) << " " << R.value("status", std::string()) << " after "
		<< Tarnwick::Printf("%.2f", R.value("elapsed_seconds", 0.0)) << "s of " << R["determinism"].value("clock", std::string())
		<< " time (" << R["determinism"].value("ticks", 0) << " ticks)\n";
	if (R.contains("error")) Out << "  error: " << R["error"].get<std::string>() << "\n";
	if (!Result.Note.empty()) Out << "  " << Result.Note << "\n";
	for (const FJson& E : R.value("expectations", FJson::array()))
	{
		const bool bPassed = E.value("passed", false);
		const bool bWarn = E.value("severity", std::string()) == "warn";
		Out << "  " << (bPassed ? "PASS" : bWarn ? "WARN" : "FAIL") << " " << E.value("id", std::string()) << ": "
			<< E.value("message", std::string()) << "\n";
	}
	for (const FJson& Missing : R.value("missing_must_present", FJson::array()))
	{
		Out << "  log: must-present pattern never seen: " << Missing.get<std::string>() << "\n";
	}
	if (R.value("total_matches", 0) > 0)
	{
		for (const auto& [Pattern, Count] : R["post_marker_counts"].items())
		{
			if (Count.get<int>() > 0) Out << "  log: must-absent pattern seen " << Count.get<int>() << "x: " << Pattern << "\n";
		}
	}
	for (const FJson& Note : R["determinism"].value("notes", FJson::array())) Out << "  note: " << Note.get<std::string>() << "\n";
	Out << "  log_ok " << Verdict(R, "log_ok") << ", sample_ok " << Verdict(R, "sample_ok") << ", expectations_ok "
		<< Verdict(R, "expectations_ok") << ", stable_ok " << Verdict(R, "stable_ok") << "\n";
	Out << "  ok " << Verdict(R, "ok") << "\n";
	return Out.str();
}
}
