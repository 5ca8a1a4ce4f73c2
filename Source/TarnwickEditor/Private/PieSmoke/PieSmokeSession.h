// FPieSmokeSession: the whole state of one smoke session in one record — the parsed spec, the clock and
// lifecycle the observer keeps, what the clip, view target, runtime identity and profiling saw, and the
// session's sampling. The report (PieSmokeReport.h) is a function of this record, for running and finished
// sessions alike.
//
// Created by a start handler, owned by the observer's registry from registration on. Game thread only.
#pragma once
#include "HostTypes.h"
#include "Object.h"
#include "PieSmoke/PieSmokeSpec.h"
#include "Sampling/SessionSampling.h"
#include "World.h"

#include <string>
#include <vector>

namespace Tarnwick::PieSmoke
{
enum class ESessionStatus : uint8
{
	Running = 0,
	Complete = 1,
	Stopped = 2,
	Error = 3,
};

/** "running", "complete", "stopped", "error"; "unknown" for any other value. */
const char* LexToString(ESessionStatus Status);

/** What the observer keeps per session: the clock, the settle pre-roll, frame statistics and the lifecycle. */
struct FPieSmokeRuntime
{
	ESessionStatus Status = ESessionStatus::Running;
	double RegistrationWall = 0.0;
	double LastWall = 0.0;
	double WallDeadline = 0.0;

	bool bClockStarted = false;
	double ClockStartWall = 0.0;
	double ClockStartGame = 0.0;
	double PrevSessionTime = 0.0;

	bool bSettleRequested = true;
	bool bSettled = false;
	double WaitedSeconds = 0.0;
	int32 QuietTicks = 0;
	std::string BlockedBy;

	uint64 FrameAtClockStart = 0;
	uint64 FrameNow = 0;
	int32 Ticks = 0;
	int32 StalledTicks = 0;
	int32 HitchTicks = 0;
	double DeltaMin = 0.0;
	double DeltaMax = 0.0;
	double DeltaSum = 0.0;
	int32 DeltaCount = 0;
	bool bDeltaSeen = false;
	bool bFocusLost = false;
	bool bWatchdogFired = false;

	/** Frozen at the end: the final session time, and wall seconds since the clock started. */
	double SessionSeconds = 0.0;
	double WallSeconds = 0.0;

	bool bPieAlive = true;
	bool bBeganPlay = false;
	bool bStoppedByTool = false;
	bool bTeardownRequested = false;
	int32 ReadyTicks = 0;
	/** The session took a background-throttle reference (reported as unthrottled). */
	bool bUnthrottleApplied = false;
	/** ... and still holds it (the clean-up gives it back). */
	bool bThrottleHeld = false;
	bool bCleanupDone = false;
	/** The expectations were evaluated against the session's final state. */
	bool bFinalEvaluationDone = false;
	std::string Error;
};

/** One grabbed clip frame. */
struct FClipFrame
{
	int32 Index = 0;
	std::string Path;
	double SessionSeconds = 0.0;
	bool bUniform = false;
	/** Judged for validity (the frame index is at or past discard_first_frames). */
	bool bCounted = false;
};

struct FClipState
{
	bool bIsClip = false;
	/** Absolute, with a trailing '/'. */
	std::string OutputDir;
	double CaptureInterval = 0.25;
	double LastCaptureTime = -1.0;
	int32 FrameIndex = 0;
	int32 DiscardFirstFrames = 1;
	bool bDeferred = false;
	int32 ValidFrames = 0;
	int32 InvalidFrames = 0;
	std::vector<FClipFrame> Frames;
};

struct FViewTargetState
{
	std::string ActiveActor;
	std::string ActiveClass;
	std::string Requested;
	std::string ResolvedActor;
	std::string ResolvedClass;
	bool bResolved = false;
};

struct FRuntimeIdentity
{
	std::string Actor;
	std::string ActorClass;
	std::string SkelComp;
	std::string AnimInstanceClass;
	std::string MeshAnimClass;
	std::string AnimationMode;
	bool bAnimClassChanged = false;
	std::string ExpectedAnimClass;
	bool bExpectedMismatch = false;
};

/** What the identity update looked up for the current pawn, so each ready tick only reads values. */
struct FRuntimeIdentityLookup
{
	TWeakObjectPtr<APawn> Pawn;
	TWeakObjectPtr<UActorComponent> Mesh;
	const FProperty* AnimInstance = nullptr;
	const FProperty* AnimationMode = nullptr;
	const FProperty* AnimClass = nullptr;
};

struct FProfilingState
{
	bool bCsvRequested = false;
	bool bCsvAvailable = false;
	bool bCsvStarted = false;
	std::string CsvPath;
	std::string CsvStatus;
	std::vector<std::string> TraceChannels;
	bool bTraceStarted = false;
	std::string TracePath;
	std::string TraceStatus;
	/** Start runs once, on the first ready tick. */
	bool bStartAttempted = false;
};

struct FPieSmokeSession
{
	std::string Id;
	FPieSmokeSpec Spec;
	/** The PIE world's map name, "<current>" when none was visible at start. */
	std::string MapName = "<current>";
	FPieSmokeRuntime Runtime;
	FClipState Clip;
	FViewTargetState ViewTarget;
	FRuntimeIdentity Identity;
	FRuntimeIdentityLookup IdentityLookup;
	FProfilingState Profiling;
	Sampling::FSessionSampling Sampling;
	/** Keys a down left held that the end of the session released. */
	std::vector<std::string> ReleasedKeys;

	/** The PIE world this session started, and the pawn it observes (weak: either may go at any time). */
	TWeakObjectPtr<UWorld> PieWorld;
	TWeakObjectPtr<APawn> TargetPawn;
	/** Once-per-session steps of the first ready tick. */
	bool bActorSetupDone = false;
	bool bFirstReadyTickDone = false;
};
}
