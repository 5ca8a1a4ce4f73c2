// The report as a function of a session record: its key order, live and frozen times, the clip section with its
// hint, and the verdicts; and the clip's directory rules and frame bookkeeping.
#include "PieSmoke/ClipCapture.h"
#include "PieSmoke/PieSmokeReport.h"
#include "TarnwickTestHelpers.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Tarnwick::PieSmoke;

namespace
{
std::vector<std::string> Keys(const FJson& Object)
{
	std::vector<std::string> Out;
	for (auto It = Object.begin(); It != Object.end(); ++It) Out.push_back(It.key());
	return Out;
}

FPieSmokeSession FinishedSession()
{
	FPieSmokeSession S;
	S.Id = "pie_smoke_3_101010";
	S.MapName = "Arena";
	S.Runtime.Status = ESessionStatus::Complete;
	S.Runtime.bBeganPlay = true;
	S.Runtime.bPieAlive = false;
	S.Runtime.RegistrationWall = 10.0;
	S.Runtime.bClockStarted = true;
	S.Runtime.ClockStartWall = 10.5;
	S.Runtime.bSettled = true;
	S.Runtime.SessionSeconds = 5.0;
	S.Runtime.WallSeconds = 5.0;
	S.Runtime.LastWall = 15.5;
	S.Runtime.Ticks = 300;
	S.Runtime.FrameAtClockStart = 10;
	S.Runtime.FrameNow = 310;
	S.Spec.LogPatterns.MustAbsent = {"Accessed None"};
	S.Spec.LogPatterns.Legacy = S.Spec.LogPatterns.MustAbsent;
	// As the end path does: a finished session's expectations are evaluated once, when it ends.
	S.Sampling.Evaluate(static_cast<int32>(ESessionStatus::Complete), S.Runtime.SessionSeconds);
	return S;
}
}

TEST(PieSmokeReport, KeysComeInTheirDocumentedOrder)
{
	const FPieSmokeSession S = FinishedSession();
	const FJson Report = BuildReport(S, FReportEnvironment{20.0, false, 0.0, nullptr}, false);
	const std::vector<std::string> Expected = {"session_id", "status", "marker", "map", "duration", "pie_active", "pie_ready", "lifecycle",
		"sample_count", "elapsed_seconds", "wall_seconds", "var_summary", "samples_truncated", "samples_retained", "view_target",
		"runtime_identity", "stages", "samples", "grouped_counts", "warnings", "missing_must_present", "post_marker_counts", "total_matches",
		"sample_resolution", "expectations", "expectations_summary", "expectations_failed", "determinism", "log_ok", "sample_ok",
		"expectations_ok", "stable_ok", "ok", "probes", "input_events", "input_events_summary", "actor_setup", "profiling"};
	EXPECT_EQ(Keys(Report), Expected);
	EXPECT_EQ(Report["status"], "complete");
	EXPECT_EQ(Report["lifecycle"], "teardown-complete");
	EXPECT_EQ(Report["elapsed_seconds"], 5.0);
	EXPECT_EQ(Report["wall_seconds"], 5.5) << "registration to the end";
	EXPECT_EQ(Report["determinism"]["frames"], 300);
	EXPECT_EQ(Report["determinism"]["clock_ratio"], 1.0);
	EXPECT_EQ(Report["ok"], true);
	EXPECT_EQ(Keys(Report["determinism"]), (std::vector<std::string>{"clock", "settle", "session_seconds", "wall_seconds", "clock_ratio",
											   "time_dilation", "frames", "ticks", "dt", "hitch_ticks", "stalled_ticks", "focus_lost",
											   "unthrottled", "watchdog_fired", "stable", "notes"}));
}

TEST(PieSmokeReport, ARunningSessionIsLiveAndShowsNoSamplesUnlessAsked)
{
	FPieSmokeSession S = FinishedSession();
	S.Runtime.Status = ESessionStatus::Running;
	S.Runtime.bPieAlive = true;
	S.Runtime.ClockStartGame = 1.0;
	S.Runtime.Error.clear();
	const FJson Report = BuildReport(S, FReportEnvironment{14.0, true, 3.5, nullptr}, false);
	EXPECT_EQ(Report["elapsed_seconds"], 2.5);
	EXPECT_EQ(Report["wall_seconds"], 4.0);
	EXPECT_EQ(Report["pie_active"], true);
	EXPECT_FALSE(Report.contains("samples"));
	EXPECT_EQ(Report["ok"], false) << "a running session is never ok";
	EXPECT_TRUE(BuildReport(S, FReportEnvironment{14.0, true, 3.5, nullptr}, true).contains("samples"));
}

TEST(PieSmokeReport, ErrorsLogLinesAndActorSetupAppearInTheReport)
{
	FPieSmokeSession S = FinishedSession();
	S.Runtime.Status = ESessionStatus::Error;
	S.Runtime.Error = "Session clock stalled: ...";
	FActorSetupEntry Entry;
	Entry.ClassPath = "/Game/BP_Crate";
	Entry.Count = 2;
	Entry.bClassResolved = true;
	FActorSetupActor Spawned;
	Spawned.bSpawned = true;
	Spawned.Name = "BP_Crate_C_0";
	FActorSetupActor Failed;
	Failed.Error = "SpawnActor returned null";
	Entry.Actors = {Spawned, Failed};
	S.Spec.ActorSetup.push_back(Entry);
	FTarnwickLogEntry Line;
	Line.Category = FTarnwickLogCategoryName("LogScript");
	Line.Message = "Accessed None";
	const std::vector<FTarnwickLogEntry> Lines = {Line};
	const FJson Report = BuildReport(S, FReportEnvironment{20.0, false, 0.0, &Lines}, false);
	EXPECT_EQ(Report["error"], "Session clock stalled: ...");
	EXPECT_EQ(Report["log_ok"], false);
	EXPECT_EQ(Report["total_matches"], 1);
	EXPECT_EQ(Report["actor_setup"][0]["spawned_count"], 1);
	EXPECT_EQ(Report["actor_setup"][0]["apply_data_asset"], nullptr);
	EXPECT_EQ(Report["actor_setup"][0]["actors"][1]["error"], "SpawnActor returned null");
	EXPECT_FALSE(Report["actor_setup"][0]["actors"][0].contains("error"));
}

TEST(PieSmokeReport, AClipOfOnlyUniformFramesGivesTheHint)
{
	FPieSmokeSession S = FinishedSession();
	S.Clip.bIsClip = true;
	S.Clip.OutputDir = "/p/Saved/Clip/";
	S.Clip.CaptureInterval = 0.25;
	// frame_000 is written but not judged; the others are uniform.
	for (double T : {0.0, 0.25, 0.5}) RecordGrab(S.Clip, FFrameGrab{true, true}, T, S.Clip.OutputDir + FrameFileName(S.Clip.FrameIndex));
	const FJson Report = BuildReport(S, FReportEnvironment{20.0, false, 0.0, nullptr}, false);
	EXPECT_EQ(Report["frame_count"], 3);
	EXPECT_EQ(Report["valid_frames"], 0);
	EXPECT_EQ(Report["invalid_frames"], 2);
	EXPECT_EQ(Report["captured_ok"], false);
	EXPECT_EQ(Report["hint"], AllFramesUniformHint);
	EXPECT_EQ(Report["frame_paths"][0], "/p/Saved/Clip/frame_000.png");
	EXPECT_EQ(Report["capture_validity"][0]["counted"], false);
	EXPECT_FALSE(Report.contains("capture_status"));
	const std::vector<std::string> K = Keys(Report);
	EXPECT_EQ(std::find(K.begin(), K.end(), "output_dir") - K.begin(), 14) << "clip keys follow the sampling summary";
}

TEST(PieSmokeClip, FramesAreDueOnTheFirstPassThenEveryInterval)
{
	FClipState Clip;
	Clip.bIsClip = true;
	Clip.CaptureInterval = 0.25;
	EXPECT_TRUE(IsCaptureDue(Clip, 0.0));
	RecordGrab(Clip, FFrameGrab{true, false}, 0.0, "f0");
	EXPECT_FALSE(IsCaptureDue(Clip, 0.2));
	EXPECT_TRUE(IsCaptureDue(Clip, 0.25));
	RecordGrab(Clip, FFrameGrab{true, false}, 0.3, "f1");
	EXPECT_EQ(Clip.ValidFrames, 1) << "frame 0 is discarded by default";
	EXPECT_EQ(Clip.LastCaptureTime, 0.3);
	EXPECT_EQ(FrameFileName(7), "frame_007.png");
}

TEST(PieSmokeClip, AnUnreadableViewportDefersOnlyWellAfterTheFirstFrameWasDue)
{
	FClipState Clip;
	Clip.bIsClip = true;
	Clip.CaptureInterval = 0.25;
	EXPECT_FALSE(RecordGrab(Clip, FFrameGrab{}, 0.1, "f"));
	EXPECT_FALSE(RecordGrab(Clip, FFrameGrab{}, 0.5, "f")) << "exactly twice the interval still retries";
	EXPECT_TRUE(IsCaptureDue(Clip, 0.5));
	EXPECT_TRUE(RecordGrab(Clip, FFrameGrab{}, 0.51, "f"));
	EXPECT_TRUE(Clip.bDeferred);
	EXPECT_FALSE(IsCaptureDue(Clip, 10.0));
}

TEST(PieSmokeClip, OutputDirectoriesResolveAgainstTheProject)
{
	EXPECT_EQ(ResolveOutputDirectory("", "/proj/", "20240102_030405").Directory, "/proj/Saved/Screenshots/Tarnwick/PieClip/20240102_030405/");
	EXPECT_EQ(ResolveOutputDirectory("Saved/Runs/../Clips", "/proj/", "x").Directory, "/proj/Saved/Clips/");
	FPaths::SetProjectDir("/proj/");
	EXPECT_EQ(ResolveOutputDirectory("/Game/Captures/Run1", "/proj/", "x").Directory, "/proj/Content/Captures/Run1/");
	EXPECT_EQ(ResolveOutputDirectory("/Plugin/Captures", "/proj/", "x").Error,
		"Could not convert virtual path '/Plugin/Captures/' to an on-disk directory (no content root mounted for that prefix).");
	// Absolute disk paths also start with '/': a first element that is a folder of the root is one of them.
	const Tarnwick::Test::FTempDir Temp;
	EXPECT_EQ(ResolveOutputDirectory(Temp.Str() + "/clips", "/proj/", "x").Directory, Temp.Str() + "/clips/");
}

TEST(PieSmokeClip, TheOutputDirectoryIsCreatedOrTheStartIsRefused)
{
	const Tarnwick::Test::FTempDir Temp;
	FPaths::SetProjectDir(Temp.Str());
	const FOutputDirectory Made = ResolveAndCreateOutputDirectory("Saved/Clips/A", "x");
	EXPECT_EQ(Made.Error, "");
	EXPECT_TRUE(std::filesystem::is_directory(Made.Directory));
	Temp.Write("Saved/File", "not a folder");
	const FOutputDirectory Blocked = ResolveAndCreateOutputDirectory("Saved/File/Clips", "x");
	EXPECT_EQ(Blocked.Error, "Could not create capture output directory '" + Temp.Str() + "/Saved/File/Clips/' (resolved from 'Saved/File/Clips').");
}
