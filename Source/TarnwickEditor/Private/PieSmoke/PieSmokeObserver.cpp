#include "PieSmoke/PieSmokeObserver.h"

#include "Editor.h"
#include "FrameLoop.h"
#include "Logs/LogTextMatch.h"
#include "PieSmoke/InputEvents.h"
#include "PieSmoke/PieSmokeReport.h"
#include "PieSmoke/Profiling.h"
#include "PieSmoke/SessionRules.h"
#include "PieSmoke/SessionWork.h"
#include "PieSmoke/ThrottleSuppression.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "Quiescence.h"
#include "TarnwickEngineUtils.h"
#include "TarnwickLog.h"
#include "TarnwickLogCapture.h"
#include "TarnwickTimeFormat.h"
#include "World.h"

#include <algorithm>

namespace Tarnwick::PieSmoke
{
namespace
{
constexpr int32 MaxLogLinesJudged = 10000;

std::string RegistryKey(const std::string& Id)
{
	return Tarnwick::Logs::FoldAsciiCopy(Id);
}

/** The session's PIE world when it is still playable: alive, the editor's current PIE world, not tearing down. */
UWorld* LivePieWorld(const FPieSmokeSession& Session, UWorld* World)
{
	if (!Session.Runtime.bPieAlive) return nullptr;
	if (!IsValid(World) || World->IsTearingDown()) return nullptr;
	if (Session.PieWorld.IsStale() || (Session.PieWorld.Get() && Session.PieWorld.Get() != World)) return nullptr;
	return World;
}

double WorldTime(const FPieSmokeSession& Session)
{
	const UWorld* World = Session.PieWorld.Get();
	return World ? World->GetTimeSeconds() : 0.0;
}
}

FPieSmokeObserver& FPieSmokeObserver::Get()
{
	static FPieSmokeObserver Instance;
	return Instance;
}

std::string FPieSmokeObserver::Register(std::unique_ptr<FPieSmokeSession> Session)
{
	if (Session->Id.empty())
	{
		Session->Id = Tarnwick::Printf("pie_smoke_%u_%s", NextSessionNumber, FormatLocalHms(Tarnwick::Host::GetClock().UtcNow()).c_str());
		++NextSessionNumber;
	}
	if (Session->Spec.bUnthrottle && !Session->Runtime.bUnthrottleApplied)
	{
		Session->Runtime.bUnthrottleApplied = true;
		Session->Runtime.bThrottleHeld = true;
		FThrottleSuppression::Get().Acquire();
	}
	const std::string Id = Session->Id;
	std::unique_ptr<FPieSmokeSession>& Slot = Sessions[RegistryKey(Id)];
	// A replaced session still holding its throttle reference or keys must give them back.
	if (Slot) Cleanup(*Slot, Slot->Runtime.PrevSessionTime);
	Slot = std::move(Session);
	EnsureRegistered();
	return Id;
}

FPieSmokeSession* FPieSmokeObserver::Find(const std::string& Id) const
{
	const auto It = Sessions.find(RegistryKey(Id));
	return It == Sessions.end() ? nullptr : It->second.get();
}

int32 FPieSmokeObserver::RunningCount() const
{
	return static_cast<int32>(std::count_if(Sessions.begin(), Sessions.end(),
		[](const auto& Entry) { return Entry.second->Runtime.Status == ESessionStatus::Running; }));
}

std::vector<const FPieSmokeSession*> FPieSmokeObserver::GetSessions() const
{
	std::vector<const FPieSmokeSession*> Out;
	for (const auto& [Key, Session] : Sessions) Out.push_back(Session.get());
	return Out;
}

int32 FPieSmokeObserver::Stop(const std::string& Id)
{
	const double Now = FPlatformTime::Seconds();
	int32 Stopped = 0;
	for (auto& [Key, Session] : Sessions)
	{
		if (!Id.empty() && Key != RegistryKey(Id)) continue;
		if (Session->Runtime.Status != ESessionStatus::Running) continue;
		Session->Runtime.bStoppedByTool = true;
		EndSession(*Session, ESessionStatus::Stopped, Session->Runtime.PrevSessionTime, Now);
		++Stopped;
	}
	RequestTeardownIfIdle();
	if (RunningCount() == 0) Unregister();
	return Stopped;
}

FJson FPieSmokeObserver::BuildReport(FPieSmokeSession& Session, bool bIncludeSamples)
{
	FReportEnvironment Environment;
	Environment.Now = FPlatformTime::Seconds();
	Environment.bPieWorldExists = Tarnwick::GetPIEWorld() != nullptr;
	Environment.PieWorldTimeSeconds = WorldTime(Session);
	if (Session.Runtime.Status == ESessionStatus::Running)
	{
		const double Elapsed = ElapsedSeconds(Session.Runtime, Session.Spec.Clock, Environment.Now, Environment.PieWorldTimeSeconds);
		Session.Sampling.Evaluate(static_cast<int32>(ESessionStatus::Running), Elapsed);
	}
	std::vector<FTarnwickLogEntry> Lines;
	if (LogCapture)
	{
		// Copied out under the capture's lock; the matching runs afterwards without it.
		Lines = LogCapture->GetEntriesSince(Session.Runtime.RegistrationWall, {}, ELogVerbosity::VeryVerbose, MaxLogLinesJudged);
		Environment.LogLines = &Lines;
	}
	return PieSmoke::BuildReport(Session, Environment, bIncludeSamples);
}

bool FPieSmokeObserver::Tick()
{
	const double Now = FPlatformTime::Seconds();
	// Looked up once per frame: nothing a session does this frame can end PIE before the next one.
	UWorld* PieWorld = Tarnwick::GetPIEWorld();
	for (auto& [Key, Session] : Sessions)
	{
		if (Session->Runtime.Status == ESessionStatus::Running) TickSession(*Session, PieWorld, Now);
	}
	RequestTeardownIfIdle();
	if (RunningCount() > 0) return true;
	Unregister();
	return false;
}

void FPieSmokeObserver::TickSession(FPieSmokeSession& Session, UWorld* PieWorld, double Now)
{
	FPieSmokeRuntime& R = Session.Runtime;
	const FPieSmokeSpec& Spec = Session.Spec;
	R.LastWall = Now;

	UWorld* World = LivePieWorld(Session, PieWorld);
	if (!World)
	{
		// PIE ended underneath the session (the user, stop_pie, a crash of the world): it completed, it did not fail.
		EndSession(Session, ESessionStatus::Complete, R.PrevSessionTime, Now);
		return;
	}
	// Before begin-play nothing is measured, not even the watchdog: a world that never begins play waits for a stop.
	if (!World->HasBegunPlay()) return;
	R.bBeganPlay = true;

	if (!R.bClockStarted)
	{
		const std::optional<std::string> Busy =
			Spec.bSettle ? FindBusySubsystem(Tarnwick::Host::GetQuiescence(), World) : std::nullopt;
		const ESettleOutcome Outcome = StepSettleGate(R, Spec.bSettle, Spec.SettleTimeout, Now, Busy);
		if (Outcome == ESettleOutcome::Hold)
		{
			if (Now >= R.WallDeadline)
			{
				R.bWatchdogFired = true;
				R.Error = Tarnwick::Printf("Session timed out during the settle pre-roll after %.1fs of wall clock (%s still busy). Raise "
										   "settle_timeout / max_wall_seconds, or pass settle:false to start sampling immediately.",
					Now - R.RegistrationWall, R.BlockedBy.empty() ? "a subsystem" : R.BlockedBy.c_str());
				EndSession(Session, ESessionStatus::Error, 0.0, Now);
			}
			return;
		}
		if (Outcome == ESettleOutcome::CapExpired)
		{
			TW_LOG(LogTarnwick, Warning,
				"run_pie_smoke: settle cap (%.1fs) expired for session %s with %s still busy — starting the clock anyway; determinism.stable "
				"will be false.",
				Spec.SettleTimeout, Session.Id.c_str(), R.BlockedBy.empty() ? "a subsystem" : R.BlockedBy.c_str());
		}
		StartSessionClock(R, Now, World->GetTimeSeconds(), FApp::GetFrameCounter());
	}

	const double T = LiveSessionTime(R, Spec.Clock, Now, World->GetTimeSeconds());
	++R.Ticks;
	R.FrameNow = FApp::GetFrameCounter();
	R.WallSeconds = std::max(0.0, Now - R.ClockStartWall);
	if (R.Ticks > 1 && T <= R.PrevSessionTime) ++R.StalledTicks;
	R.PrevSessionTime = T;
	const double Delta = World->GetDeltaSeconds();
	if (Delta > 0.0)
	{
		R.DeltaMin = R.bDeltaSeen ? std::min(R.DeltaMin, Delta) : Delta;
		R.DeltaMax = R.bDeltaSeen ? std::max(R.DeltaMax, Delta) : Delta;
		R.DeltaSum += Delta;
		++R.DeltaCount;
		R.bDeltaSeen = true;
	}
	if (Delta > HitchDeltaSeconds) ++R.HitchTicks;
	if (!FApp::HasFocus()) R.bFocusLost = true;

	DoSessionWork(Session, *World, T);

	if (T >= Spec.Duration)
	{
		EndSession(Session, ESessionStatus::Complete, T, Now);
	}
	else if (Now >= R.WallDeadline)
	{
		R.bWatchdogFired = true;
		R.Error = Tarnwick::Printf("Session clock stalled: %.2fs of %.2fs %s seconds elapsed after %.1fs of wall clock, so the wall-clock "
								   "watchdog ended the run. PIE was most likely paused (step_pie, or a probe issuing `Pause`) or "
								   "time-dilated to zero. Raise max_wall_seconds for a deliberately-paused session.",
			T, Spec.Duration, LexToString(Spec.Clock), Now - R.RegistrationWall);
		EndSession(Session, ESessionStatus::Error, T, Now);
	}
}

void FPieSmokeObserver::EndSession(FPieSmokeSession& Session, ESessionStatus Status, double SessionSeconds, double Now)
{
	FPieSmokeRuntime& R = Session.Runtime;
	FreezeClock(R, SessionSeconds, Now);
	R.Status = Status;
	Cleanup(Session, SessionSeconds);
	if (!R.bFinalEvaluationDone)
	{
		R.bFinalEvaluationDone = true;
		Session.Sampling.Evaluate(static_cast<int32>(Status), R.SessionSeconds);
	}
}

void FPieSmokeObserver::Cleanup(FPieSmokeSession& Session, double SessionSeconds)
{
	FPieSmokeRuntime& R = Session.Runtime;
	if (R.bCleanupDone) return;
	R.bCleanupDone = true;
	if (R.bThrottleHeld)
	{
		R.bThrottleHeld = false;
		FThrottleSuppression::Get().Release();
	}
	// A key left down would stay stuck in the editor after the session; only a live world can take the key-up.
	if (Tarnwick::GetPIEWorld()) Session.ReleasedKeys = ReleaseHeldKeys(Session.Spec.InputEvents);
	Session.Sampling.Finish(SessionSeconds);
	StopProfiling(Session);
}

void FPieSmokeObserver::HandleEndOfPie()
{
	for (auto& [Key, Session] : Sessions)
	{
		Session->Runtime.bPieAlive = false;
		Cleanup(*Session, Session->Runtime.PrevSessionTime);
	}
}

void FPieSmokeObserver::RequestTeardownIfIdle()
{
	if (RunningCount() > 0 || !Tarnwick::GetPIEWorld() || !GEditor) return;
	GEditor->RequestEndPlayMap();
	for (auto& [Key, Session] : Sessions) Session->Runtime.bTeardownRequested = true;
}

void FPieSmokeObserver::EnsureRegistered()
{
	if (bRegistered) return;
	TickerHandle = FTSTicker::GetCoreTicker().AddTicker(ObserverTickerName, 0.0f, [this](float) { return Tick(); });
	EndPieHandle = FEditorDelegates::EndPIE.Add([this](bool) { HandleEndOfPie(); });
	PrePieEndedHandle = FEditorDelegates::PrePIEEnded.Add([this](bool) { HandleEndOfPie(); });
	bRegistered = true;
}

void FPieSmokeObserver::Unregister()
{
	if (!bRegistered) return;
	FTSTicker::GetCoreTicker().RemoveTicker(TickerHandle);
	TickerHandle.Reset();
	FEditorDelegates::EndPIE.Remove(EndPieHandle);
	FEditorDelegates::PrePIEEnded.Remove(PrePieEndedHandle);
	EndPieHandle.Reset();
	PrePieEndedHandle.Reset();
	bRegistered = false;
}

void FPieSmokeObserver::Reset()
{
	Unregister();
	Sessions.clear();
	NextSessionNumber = 0;
	FThrottleSuppression::Get().Reset();
}
}
