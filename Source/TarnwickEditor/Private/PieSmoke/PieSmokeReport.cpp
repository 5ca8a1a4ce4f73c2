#include "PieSmoke/PieSmokeReport.h"

#include "PieSmoke/LogPatternBuckets.h"
#include "PieSmoke/SessionRules.h"

#include <algorithm>

namespace Tarnwick::PieSmoke
{
namespace
{
/** More than the report's top-level keys, clip keys and the optional ones included. */
constexpr size_t ReportKeyCapacity = 64;

FJson StringArray(const std::vector<std::string>& Values)
{
	FJson Out = FJson::array();
	for (const std::string& Value : Values) Out.push_back(Value);
	return Out;
}

FJson StageJson(const FStage& Stage, bool bWithN)
{
	FJson Out = FJson::object();
	Out["present"] = Stage.bPresent;
	if (bWithN) Out["n"] = Stage.N;
	Out["fired"] = Stage.bFired;
	Out["fired_at_seconds"] = Stage.FiredAt;
	Out["python_ok"] = Stage.Outcome.bPythonOk;
	Out["python_output"] = Stage.Outcome.PythonOutput;
	Out["console_command_count"] = Stage.Outcome.ConsoleCommandCount;
	return Out;
}

void WriteClip(const FClipState& Clip, FJson& Report)
{
	Report["output_dir"] = Clip.OutputDir;
	Report["frame_count"] = static_cast<int32>(Clip.Frames.size());
	if (Clip.bDeferred) Report["capture_status"] = "deferred";
	FJson Paths = FJson::array();
	FJson Validity = FJson::array();
	for (const FClipFrame& Frame : Clip.Frames)
	{
		Paths.push_back(Frame.Path);
		FJson Entry = FJson::object();
		Entry["frame_index"] = Frame.Index;
		Entry["path"] = Frame.Path;
		Entry["session_seconds"] = Frame.SessionSeconds;
		Entry["uniform"] = Frame.bUniform;
		Entry["counted"] = Frame.bCounted;
		Entry["valid"] = Frame.bCounted && !Frame.bUniform;
		Validity.push_back(std::move(Entry));
	}
	Report["frame_paths"] = std::move(Paths);
	Report["valid_frames"] = Clip.ValidFrames;
	Report["invalid_frames"] = Clip.InvalidFrames;
	Report["captured_ok"] = Clip.ValidFrames > 0 && Clip.InvalidFrames == 0;
	if (Clip.InvalidFrames >= 1 && Clip.ValidFrames == 0) Report["hint"] = AllFramesUniformHint;
	Report["capture_validity"] = std::move(Validity);
}

FJson DeterminismJson(const FPieSmokeSession& Session, const FReportEnvironment& Env, double SessionSeconds, const FDeterminismVerdict& Verdict)
{
	const FPieSmokeRuntime& R = Session.Runtime;
	const FPieSmokeSpec& Spec = Session.Spec;
	double WallSeconds = R.WallSeconds;
	if (R.Status == ESessionStatus::Running) WallSeconds = R.bClockStarted ? std::max(0.0, Env.Now - R.ClockStartWall) : 0.0;

	FJson Out = FJson::object();
	Out["clock"] = LexToString(Spec.Clock);
	Out["settle"] = FJson{{"requested", R.bSettleRequested}, {"settled", R.bSettled}, {"waited_seconds", R.WaitedSeconds},
		{"cap_seconds", Spec.SettleTimeout}, {"blocked_by", R.BlockedBy}};
	Out["session_seconds"] = SessionSeconds;
	Out["wall_seconds"] = WallSeconds;
	Out["clock_ratio"] = WallSeconds > 0.0 ? SessionSeconds / WallSeconds : 0.0;
	Out["time_dilation"] = Spec.TimeDilation;
	Out["frames"] = R.bClockStarted && R.FrameNow >= R.FrameAtClockStart ? R.FrameNow - R.FrameAtClockStart : 0;
	Out["ticks"] = R.Ticks;
	Out["dt"] = FJson{{"min", R.bDeltaSeen ? R.DeltaMin : 0.0}, {"mean", R.DeltaCount > 0 ? R.DeltaSum / R.DeltaCount : 0.0},
		{"max", R.bDeltaSeen ? R.DeltaMax : 0.0}};
	Out["hitch_ticks"] = R.HitchTicks;
	Out["stalled_ticks"] = R.StalledTicks;
	Out["focus_lost"] = R.bFocusLost;
	Out["unthrottled"] = R.bUnthrottleApplied;
	Out["watchdog_fired"] = R.bWatchdogFired;
	Out["stable"] = Verdict.bStable;
	Out["notes"] = StringArray(Verdict.Notes);
	return Out;
}

FJson ProbesJson(const std::vector<FProbe>& Probes)
{
	FJson Out = FJson::array();
	for (const FProbe& Probe : Probes)
	{
		Out.push_back(FJson{{"at_seconds", Probe.AtSeconds}, {"fired", Probe.bFired}, {"fired_at_seconds", Probe.FiredAt},
			{"python_ok", Probe.Outcome.bPythonOk}, {"python_output", Probe.Outcome.PythonOutput},
			{"console_command_count", Probe.Outcome.ConsoleCommandCount}});
	}
	return Out;
}

void WriteInputEvents(const std::vector<FInputEvent>& Events, const std::vector<std::string>& ReleasedKeys, FJson& Report)
{
	FJson List = FJson::array();
	int32 Fired = 0;
	int32 Failed = 0;
	for (const FInputEvent& Event : Events)
	{
		FJson Entry = FJson{{"at_seconds", Event.AtSeconds}, {"event", LexToString(Event.Kind)}, {"key", Event.Key},
			{"fired", Event.bFired}, {"fired_at_seconds", Event.FiredAt}, {"ok", Event.bOk}};
		if (!Event.Error.empty()) Entry["error"] = Event.Error;
		List.push_back(std::move(Entry));
		if (Event.bFired) ++Fired;
		if (Event.bFired && !Event.bOk) ++Failed;
	}
	Report["input_events"] = std::move(List);
	Report["input_events_summary"] = FJson{{"total", static_cast<int32>(Events.size())}, {"fired", Fired}, {"failed", Failed},
		{"released_keys", StringArray(ReleasedKeys)}};
}

FJson ActorSetupJson(const std::vector<FActorSetupEntry>& Entries)
{
	FJson Out = FJson::array();
	for (const FActorSetupEntry& Entry : Entries)
	{
		FJson Actors = FJson::array();
		int32 Spawned = 0;
		for (const FActorSetupActor& Actor : Entry.Actors)
		{
			FJson A = FJson::object();
			A["spawned"] = Actor.bSpawned;
			A["name"] = Actor.Name;
			A["runtime_class"] = Actor.RuntimeClass;
			A["applied"] = StringArray(Actor.Applied);
			A["unmatched"] = StringArray(Actor.Unmatched);
			A["move_to"] = Entry.bHasMoveTo ? FJson{{"issued", Actor.bMoveIssued}, {"result", Actor.MoveResult}} : FJson();
			if (!Actor.Error.empty()) A["error"] = Actor.Error;
			Actors.push_back(std::move(A));
			if (Actor.bSpawned) ++Spawned;
		}
		FJson E = FJson::object();
		E["class"] = Entry.ClassPath;
		E["class_resolved"] = Entry.bClassResolved;
		E["requested_count"] = Entry.Count;
		E["spawned_count"] = Spawned;
		E["apply_data_asset"] = Entry.ApplyDataAsset.empty() ? FJson() : FJson(Entry.ApplyDataAsset);
		E["data_asset_loaded"] = Entry.bDataAssetLoaded;
		E["data_asset_error"] = Entry.DataAssetError.empty() ? FJson() : FJson(Entry.DataAssetError);
		E["actors"] = std::move(Actors);
		Out.push_back(std::move(E));
	}
	return Out;
}

FJson ProfilingJson(const FProfilingState& P)
{
	FJson Csv = FJson{{"requested", P.bCsvRequested}, {"available", P.bCsvAvailable}, {"capturing", P.bCsvStarted},
		{"status", P.CsvStatus}, {"csv_path", P.CsvPath}};
	FJson Trace = FJson{{"requested", !P.TraceChannels.empty()}, {"tracing", P.bTraceStarted}, {"channels", StringArray(P.TraceChannels)},
		{"status", P.TraceStatus}, {"trace_path", P.TracePath}};
	return FJson{{"csv", std::move(Csv)}, {"trace", std::move(Trace)}};
}
}

FJson BuildReport(const FPieSmokeSession& Session, const FReportEnvironment& Env, bool bIncludeSamples)
{
	const FPieSmokeRuntime& R = Session.Runtime;
	const FPieSmokeSpec& Spec = Session.Spec;
	const bool bRunning = R.Status == ESessionStatus::Running;
	const double Elapsed = ElapsedSeconds(R, Spec.Clock, Env.Now, Env.PieWorldTimeSeconds);

	FJson Report = FJson::object();
	// An ordered object is a vector of (const key, value) pairs, which it copies, not moves, when it grows: room
	// for every key up front keeps the retained rows from being deep-copied each time a later key goes in.
	Report.get_ref<FJson::object_t&>().reserve(ReportKeyCapacity);
	Report["session_id"] = Session.Id;
	Report["status"] = LexToString(R.Status);
	Report["marker"] = Spec.Marker;
	Report["map"] = Session.MapName;
	Report["duration"] = Spec.Duration;
	Report["pie_active"] = R.bPieAlive && Env.bPieWorldExists;
	Report["pie_ready"] = R.bBeganPlay;
	Report["lifecycle"] = LifecycleLabel(R, Env.bPieWorldExists);
	Report["sample_count"] = Session.Sampling.NumRetainedRows();
	Report["elapsed_seconds"] = Elapsed;
	Report["wall_seconds"] = std::max(0.0, (bRunning ? Env.Now : R.LastWall) - R.RegistrationWall);
	if (!R.Error.empty()) Report["error"] = R.Error;
	Session.Sampling.WriteVarSummary(Report);
	if (Session.Clip.bIsClip) WriteClip(Session.Clip, Report);

	const FViewTargetState& View = Session.ViewTarget;
	Report["view_target"] = FJson{{"active_actor", View.ActiveActor}, {"active_class", View.ActiveClass}, {"requested", View.Requested},
		{"resolved_actor", View.ResolvedActor}, {"resolved_class", View.ResolvedClass}, {"resolved", View.bResolved}};
	const FRuntimeIdentity& Id = Session.Identity;
	Report["runtime_identity"] = FJson{{"actor", Id.Actor}, {"actor_class", Id.ActorClass}, {"skel_comp", Id.SkelComp},
		{"anim_instance_class", Id.AnimInstanceClass}, {"mesh_anim_class", Id.MeshAnimClass}, {"animation_mode", Id.AnimationMode},
		{"anim_class_changed", Id.bAnimClassChanged}, {"expected_anim_class", Id.ExpectedAnimClass},
		{"expected_mismatch", Id.bExpectedMismatch}};
	Report["stages"] = FJson{{"pre_pie", StageJson(Spec.Stages.PrePie, false)}, {"on_begin_play", StageJson(Spec.Stages.OnBeginPlay, false)},
		{"after_n_ticks", StageJson(Spec.Stages.AfterNTicks, true)}, {"before_capture", StageJson(Spec.Stages.BeforeCapture, false)}};
	if (bIncludeSamples || !bRunning) Session.Sampling.WriteSamples(Report);

	static const std::vector<FTarnwickLogEntry> NoLines;
	const FLogEvaluation Log =
		EvaluateLogBuckets(Spec.LogPatterns, Spec.IgnoreAfterPattern, Spec.bTeardownAllowed, Env.LogLines ? *Env.LogLines : NoLines);
	WriteLogSection(Spec.LogPatterns, Spec.IgnoreAfterPattern, Spec.bTeardownAllowed, Log, Report);
	Session.Sampling.WriteResolutionAndExpectations(Report);

	const FDeterminismVerdict Determinism = EvaluateDeterminism(R, Spec);
	Report["determinism"] = DeterminismJson(Session, Env, Elapsed, Determinism);
	const FSessionVerdicts Verdicts = CombineVerdicts(R, Spec.bRequireStable, Log.bLogOk, Session.Sampling.SampleOk(),
		Session.Sampling.ExpectationsOk(), Determinism.bStable);
	Report["log_ok"] = Verdicts.bLogOk;
	Report["sample_ok"] = Verdicts.bSampleOk;
	Report["expectations_ok"] = Verdicts.bExpectationsOk;
	Report["stable_ok"] = Verdicts.bStableOk;
	Report["ok"] = Verdicts.bOk;

	Report["probes"] = ProbesJson(Spec.Probes);
	WriteInputEvents(Spec.InputEvents, Session.ReleasedKeys, Report);
	Report["actor_setup"] = ActorSetupJson(Spec.ActorSetup);
	Report["profiling"] = ProfilingJson(Session.Profiling);
	return Report;
}
}
