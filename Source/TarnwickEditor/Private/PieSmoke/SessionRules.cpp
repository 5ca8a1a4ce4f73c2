#include "PieSmoke/SessionRules.h"

#include "Printf.h"
#include "Quiescence.h"

#include <algorithm>

namespace Tarnwick::PieSmoke
{
const char* LexToString(ESessionStatus Status)
{
	switch (Status)
	{
	case ESessionStatus::Running: return "running";
	case ESessionStatus::Complete: return "complete";
	case ESessionStatus::Stopped: return "stopped";
	case ESessionStatus::Error: return "error";
	}
	return "unknown";
}

std::optional<std::string> FindBusySubsystem(const IQuiescence* Quiescence, const UWorld* World)
{
	if (!Quiescence) return std::nullopt;
	if (Quiescence->IsAsyncLoading()) return "async_loading";
	if (Quiescence->GetNumWantingResources() > 0) return "texture_streaming";
	if (Quiescence->HasShaderCompilingManager() &&
		(Quiescence->GetNumRemainingShaderJobs() > 0 || Quiescence->GetNumPendingShaderJobs() > 0 || Quiescence->HasShaderJobsOutstanding()))
	{
		return "shader_compilation";
	}
	if (Quiescence->GetNumRemainingAssets() > 0) return "asset_compilation";
	if (World && Quiescence->HasWorldPartitionSubsystem(World) && !Quiescence->IsWorldPartitionStreamingCompleted(World))
	{
		return "world_partition_streaming";
	}
	return std::nullopt;
}

ESettleOutcome StepSettleGate(FPieSmokeRuntime& Runtime, bool bSettle, double SettleTimeout, double Now, const std::optional<std::string>& Busy)
{
	// Measured from registration: the cap bounds the whole wait, loading before begin-play included.
	Runtime.WaitedSeconds = std::max(0.0, Now - Runtime.RegistrationWall);
	if (!bSettle)
	{
		Runtime.bSettled = false;
		Runtime.WaitedSeconds = 0.0;
		return ESettleOutcome::SettleOff;
	}
	if (Busy)
	{
		Runtime.QuietTicks = 0;
		Runtime.BlockedBy = *Busy;
	}
	else
	{
		++Runtime.QuietTicks;
	}
	if (Runtime.QuietTicks >= QuietTicksToSettle)
	{
		Runtime.bSettled = true;
		Runtime.BlockedBy.clear();
		return ESettleOutcome::Settled;
	}
	if (Runtime.WaitedSeconds < SettleTimeout) return ESettleOutcome::Hold;
	Runtime.bSettled = false;
	return ESettleOutcome::CapExpired;
}

void StartSessionClock(FPieSmokeRuntime& Runtime, double Now, double WorldTimeSeconds, uint64 Frame)
{
	Runtime.bClockStarted = true;
	Runtime.ClockStartWall = Now;
	Runtime.ClockStartGame = WorldTimeSeconds;
	Runtime.PrevSessionTime = 0.0;
	Runtime.FrameAtClockStart = Frame;
	Runtime.FrameNow = Frame;
}

double LiveSessionTime(const FPieSmokeRuntime& Runtime, ESessionClock Clock, double Now, double WorldTimeSeconds)
{
	if (!Runtime.bClockStarted) return 0.0;
	const double T = Clock == ESessionClock::Game ? WorldTimeSeconds - Runtime.ClockStartGame : Now - Runtime.ClockStartWall;
	return std::max(0.0, T);
}

double ElapsedSeconds(const FPieSmokeRuntime& Runtime, ESessionClock Clock, double Now, double WorldTimeSeconds)
{
	if (Runtime.Status != ESessionStatus::Running) return std::max(0.0, Runtime.SessionSeconds);
	return LiveSessionTime(Runtime, Clock, Now, WorldTimeSeconds);
}

void FreezeClock(FPieSmokeRuntime& Runtime, double SessionSeconds, double Now)
{
	Runtime.LastWall = Now;
	Runtime.SessionSeconds = SessionSeconds;
	Runtime.WallSeconds = Runtime.bClockStarted ? std::max(0.0, Now - Runtime.ClockStartWall) : 0.0;
}

const char* LifecycleLabel(const FPieSmokeRuntime& Runtime, bool bPieWorldExists)
{
	if (Runtime.bStoppedByTool) return "stopped-by-tool";
	if (Runtime.Status == ESessionStatus::Running) return "running";
	if (Runtime.bTeardownRequested) return bPieWorldExists ? "teardown-started" : "teardown-complete";
	return bPieWorldExists ? "capture-complete-pie-open" : "teardown-complete";
}

FDeterminismVerdict EvaluateDeterminism(const FPieSmokeRuntime& Runtime, const FPieSmokeSpec& Spec)
{
	FDeterminismVerdict Out;
	const char* BlockedBy = Runtime.BlockedBy.empty() ? "a subsystem" : Runtime.BlockedBy.c_str();
	if (Runtime.bSettleRequested && !Runtime.bSettled)
	{
		Out.bStable = false;
		Out.Notes.push_back(Tarnwick::Printf("The world never went quiescent — the %.1fs settle cap expired with %s still busy, so early "
											 "samples may describe the loader rather than the game.", Spec.SettleTimeout, BlockedBy));
	}
	if (Runtime.bWatchdogFired)
	{
		Out.bStable = false;
		Out.Notes.emplace_back("The wall-clock watchdog ended this session: the game clock stopped advancing (PIE paused?) and duration "
							   "was never reached. The report covers only the frames before the stall.");
	}
	if (Runtime.StalledTicks > 0)
	{
		Out.bStable = false;
		Out.Notes.push_back(Tarnwick::Printf("Game time stood still for %d observer tick(s) while wall time advanced — PIE was paused or "
											 "time-dilated to zero.", Runtime.StalledTicks));
	}
	if (Runtime.HitchTicks > 0)
	{
		// Advisory: a hitch loses samples but not time, so it never makes the run unstable.
		Out.Notes.push_back(Tarnwick::Printf("Advisory (does not affect stable): %d frame(s) exceeded %.0fms, worst %.0fms. Game time is "
											 "hitch-clamped so the timeline is intact, but %d fewer samples were taken than a smooth run "
											 "would have produced.", Runtime.HitchTicks, HitchDeltaSeconds * 1000.0, Runtime.DeltaMax * 1000.0,
			Runtime.HitchTicks));
	}
	if (Runtime.bFocusLost && !Spec.bUnthrottle)
	{
		Out.bStable = false;
		Out.Notes.emplace_back("The editor lost foreground focus while unthrottle was off. With the default \"Use Less CPU when in "
							   "Background\" setting the editor drops to a few frames per second and stops rendering, so neither the "
							   "frame count nor any per-frame capture is reproducible. Leave unthrottle on for background runs.");
	}
	return Out;
}

FSessionVerdicts CombineVerdicts(const FPieSmokeRuntime& Runtime, bool bRequireStable, bool bLogOk, bool bSampleOk,
	bool bExpectationsOk, bool bStable)
{
	FSessionVerdicts Out;
	Out.bLogOk = bLogOk;
	Out.bSampleOk = bSampleOk;
	Out.bExpectationsOk = bExpectationsOk;
	Out.bStableOk = bRequireStable ? bStable : true;
	Out.bOk = Runtime.Status == ESessionStatus::Complete && Runtime.bBeganPlay && bLogOk && bSampleOk && bExpectationsOk && Out.bStableOk;
	return Out;
}
}
