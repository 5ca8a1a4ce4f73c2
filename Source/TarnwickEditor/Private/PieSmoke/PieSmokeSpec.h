// The parsed spec of one smoke session: every option of run_pie_smoke and capture_pie_movement_clip with its
// default, after FPieSmokeSpecParser applied its clamps. The scheduled blocks (input events, probes, stages,
// actor set-up) keep what happened to them beside what was asked, because the report prints both from here.
//
// Plain values only: the session record (PieSmokeSession.h) holds one of these, and tests build them by hand.
#pragma once
#include "HostTypes.h"
#include "MathTypes.h"

#include <string>
#include <vector>

namespace Tarnwick::PieSmoke
{
/** Which start action made the session. */
enum class ESmokeAction : uint8
{
	RunPieSmoke,
	CaptureClip,
};

/** "run_pie_smoke" or "capture_pie_movement_clip". */
const char* ActionName(ESmokeAction Action);

/** The session clock: game time (pause- and dilation-aware) or wall time. */
enum class ESessionClock : uint8
{
	Game,
	Wall,
};

/** "game" or "wall". */
const char* LexToString(ESessionClock Clock);

/** The four log pattern groups, and the must-absent list kept for post_marker_counts. */
struct FLogPatterns
{
	std::vector<std::string> MustAbsent;
	std::vector<std::string> MustPresent;
	std::vector<std::string> ObserveOnly;
	std::vector<std::string> Warn;
	/** A copy of the final MustAbsent, defaults included. */
	std::vector<std::string> Legacy;
};

/** Console commands and a Python source run together (probes, stages, and the start scripts). */
struct FScriptBlock
{
	std::string Python;
	std::vector<std::string> Console;

	bool HasWork() const { return !Python.empty() || !Console.empty(); }
};

/** What running a script block did. */
struct FScriptOutcome
{
	bool bPythonOk = false;
	std::string PythonOutput;
	int32 ConsoleCommandCount = 0;
};

enum class EInputEventKind : uint8
{
	Down,
	Up,
	Press,
	MouseMove,
	Click,
};

/** "down", "up", "press", "mouse_move", "click". */
const char* LexToString(EInputEventKind Kind);
/** The receiving action of namespace "pie": "key_down", "key_up", "press_key", "mouse_move", "click". */
const char* PieActionName(EInputEventKind Kind);

struct FInputEvent
{
	double AtSeconds = 0.0;
	EInputEventKind Kind = EInputEventKind::Press;
	std::string Key;
	std::string Button;
	double X = 0.0;
	double Y = 0.0;
	bool bHasPosition = false;
	int32 HoldMs = 0;
	std::vector<std::string> Modifiers;

	bool bFired = false;
	double FiredAt = -1.0;
	bool bOk = false;
	std::string Error;
};

struct FProbe
{
	double AtSeconds = 0.0;
	FScriptBlock Script;

	bool bFired = false;
	double FiredAt = -1.0;
	FScriptOutcome Outcome;
};

struct FStage
{
	/** Has a Python source or at least one console command. */
	bool bPresent = false;
	FScriptBlock Script;
	/** after_n_ticks only: the ready tick it waits for, at least 1. */
	int32 N = 1;

	bool bFired = false;
	double FiredAt = -1.0;
	FScriptOutcome Outcome;
};

struct FStages
{
	FStage PrePie;
	FStage OnBeginPlay;
	FStage AfterNTicks;
	FStage BeforeCapture;
};

/** One actor spawned by an actor_setup entry, and what was done to it. */
struct FActorSetupActor
{
	bool bSpawned = false;
	std::string Name;
	std::string RuntimeClass;
	std::vector<std::string> Applied;
	std::vector<std::string> Unmatched;
	bool bMoveIssued = false;
	/** "" when no move_to was asked; otherwise the move's outcome. */
	std::string MoveResult;
	std::string Error;
};

struct FActorSetupEntry
{
	std::string ClassPath;
	int32 Count = 1;
	std::vector<FVector> Locations;
	std::string ApplyDataAsset;
	bool bHasMoveTo = false;
	FVector MoveTo;

	bool bClassResolved = false;
	bool bDataAssetLoaded = false;
	std::string DataAssetError;
	std::vector<FActorSetupActor> Actors;
};

struct FPieSmokeSpec
{
	ESmokeAction Action = ESmokeAction::RunPieSmoke;
	std::string Marker = "TARNWICK_SMOKE";
	/** Empty: the level open in the editor. */
	std::string Map;
	double Duration = 5.0;
	/** on_compile_errors was "suppress" (run_pie_smoke only). */
	bool bSuppressCompileErrors = false;

	double SampleInterval = 0.0;
	double DispatchInterval = 0.1;
	double ResolveGraceSeconds = 2.0;
	int32 MaxSamples = 2000;
	bool bStrictSpecs = false;
	bool bFailFast = false;

	ESessionClock Clock = ESessionClock::Game;
	bool bSettle = true;
	double SettleTimeout = 10.0;
	double TimeDilation = 1.0;
	bool bRequireStable = false;
	bool bUnthrottle = true;
	double MaxWallSeconds = 50.0;

	std::string PawnClass;
	FLogPatterns LogPatterns;
	std::string IgnoreAfterPattern = "BeginTearingDown";
	bool bTeardownAllowed = true;

	std::vector<FProbe> Probes;
	std::vector<FInputEvent> InputEvents;
	std::vector<FActorSetupEntry> ActorSetup;
	FStages Stages;
	std::vector<std::string> ConsoleScript;
	std::string PythonScript;

	double CaptureInterval = 0.25;
	/** As given (the clip resolves it into the session's output directory). */
	std::string OutputPath;
	std::string ViewTargetActor;
	int32 DiscardFirstFrames = 1;
	std::string ExpectedAnimClass;
	bool bCsvProfile = false;
	std::vector<std::string> TraceChannels;
};
}
