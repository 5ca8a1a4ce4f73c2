// Smoke sessions on the simulated editor, through the public actions, on the virtual clock with frames stepped by
// hand: every refusal family, every end path (duration, watchdog before and after the clock started, stop of one
// and of all, PIE ended from outside, a world that never begins play), the settle gate, the shared observer and
// throttle suppression, scheduled input through the "pie" namespace, stages and probes, the log verdict, clips.
#include "EditorPerformanceSettings.h"
#include "InputCoreTypes.h"
#include "PieSmoke/PieSmokeMapLoader.h"
#include "PieSmoke/PieSmokeObserver.h"
#include "PieSmoke/ThrottleSuppression.h"
#include "PythonScriptPlugin.h"
#include "SimHost.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickGameplayModuleScope.h"
#include "TarnwickLog.h"
#include "TarnwickLogCapture.h"
#include "TarnwickTestHelpers.h"
#include "Ticker.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Tarnwick::PieSmoke;
using Tarnwick::Sim::ESimBusySubsystem;
using Tarnwick::Sim::FSimQuiescence;

namespace
{
class PieSmokeSessionTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		FTSTicker::GetCoreTicker().Reset();
		FPieSmokeObserver::Get().Reset();
		UEditorPerformanceSettings::GetMutableDefault()->bThrottleCPUWhenNotForeground = true;
		GLog->AddOutputDevice(&Capture);
		Tarnwick::Editor::AddPieSmokeHandlers(Table, &Capture);
		Tarnwick::Editor::AddPieHandlers(Table);
		Gameplay = std::make_unique<Tarnwick::Test::FGameplayModuleScope>();
	}
	void TearDown() override
	{
		FPieSmokeObserver::Get().Reset();
		Host.reset();
		Gameplay.reset();
		GLog->RemoveOutputDevice(&Capture);
		FTSTicker::GetCoreTicker().Reset();
		FRegistryTest::TearDown();
	}
	void CreateHost(const std::string& ProjectDir = TARNWICK_SOURCE_DIR "/Samples/Arena", int32 PIELoadFrames = -1)
	{
		Tarnwick::Sim::FSimHostOptions Options;
		Options.ProjectDir = ProjectDir;
		Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
		Options.PIELoadFrames = PIELoadFrames;
		std::string Error;
		Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
		ASSERT_TRUE(Host) << Error;
	}
	FTarnwickActionResult Call(const char* Action, FJson Params = FJson::object())
	{
		return (*Table.Find("editor", Action))(MakeJsonObject(std::move(Params)));
	}
	FJson Succeed(const char* Action, FJson Params = FJson::object())
	{
		const FTarnwickActionResult R = Call(Action, std::move(Params));
		EXPECT_TRUE(R.bSuccess) << Action << ": " << R.ErrorMessage;
		return R.Result ? *R.Result : FJson();
	}
	std::string Start(FJson Params = FJson::object(), const char* Action = "run_pie_smoke")
	{
		return Succeed(Action, std::move(Params))["session_id"].get<std::string>();
	}
	FJson Poll(const std::string& Id, bool bSamples = false)
	{
		return Succeed("poll_pie_smoke", FJson{{"session_id", Id}, {"include_samples", bSamples}});
	}
	/** Frames until the session is no longer running; false after MaxFrames. */
	bool RunToEnd(const std::string& Id, int32 MaxFrames = 2000)
	{
		FPieSmokeSession* Session = FPieSmokeObserver::Get().Find(Id);
		return Host->StepUntil([Session] { return Session->Runtime.Status != ESessionStatus::Running; }, MaxFrames);
	}
	void ExpectRefusal(const char* Action, FJson Params, const std::string& Message, int32 Code = -32603)
	{
		const FTarnwickActionResult R = Call(Action, std::move(Params));
		EXPECT_FALSE(R.bSuccess) << Action;
		EXPECT_EQ(R.ErrorCode, Code);
		EXPECT_EQ(R.ErrorMessage, Message);
		EXPECT_EQ(GEditor ? GEditor->GetPlayWorld() : nullptr, nullptr) << "a refusal leaves no PIE behind";
		EXPECT_EQ(FPieSmokeObserver::Get().RunningCount(), 0);
	}
	bool ObserverTicking() const
	{
		const std::vector<std::string> Names = FTSTicker::GetCoreTicker().GetTickerNames();
		return std::count(Names.begin(), Names.end(), ObserverTickerName) == 1;
	}
	bool Throttled() const { return UEditorPerformanceSettings::GetMutableDefault()->bThrottleCPUWhenNotForeground; }

	/** The "pie" namespace that input events go through, as the executable has it. */
	std::unique_ptr<Tarnwick::Test::FGameplayModuleScope> Gameplay;
	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
	FTarnwickLogCapture Capture;
	FTarnwickHandlerTable Table;
};
}

TEST_F(PieSmokeSessionTest, ASessionRunsToItsDurationAndEndsItsPie)
{
	CreateHost();
	const FJson Started = Succeed("run_pie_smoke", FJson{{"duration", 1}});
	EXPECT_EQ(Started["status"], "running");
	EXPECT_EQ(Started["started"], true);
	EXPECT_EQ(Started["marker"], "TARNWICK_SMOKE");
	EXPECT_EQ(Started["duration"], 1.0);
	const std::string Id = Started["session_id"];
	EXPECT_EQ(Id.rfind("pie_smoke_0_", 0), 0u);
	EXPECT_TRUE(ObserverTicking());
	EXPECT_FALSE(Throttled()) << "the background throttle is off while the session runs";
	EXPECT_EQ(Capture.Search("TARNWICK_SMOKE begin (map=Arena)", "LogTarnwick", 7, 5).size(), 1u);

	const FJson Running = Poll(Id);
	EXPECT_EQ(Running["status"], "running");
	EXPECT_EQ(Running["lifecycle"], "running");
	EXPECT_EQ(Running["pie_active"], true);
	EXPECT_EQ(Running["ok"], false);

	ASSERT_TRUE(RunToEnd(Id));
	const FJson Done = Poll(Id);
	EXPECT_EQ(Done["status"], "complete");
	EXPECT_EQ(Done["lifecycle"], "teardown-started") << "the observer asked the editor to end PIE";
	EXPECT_GE(Done["elapsed_seconds"].get<double>(), 1.0);
	EXPECT_EQ(Done["pie_ready"], true);
	EXPECT_EQ(Done["determinism"]["settle"]["settled"], true);
	EXPECT_EQ(Done["ok"], true);
	EXPECT_FALSE(ObserverTicking()) << "an idle observer removes itself";
	EXPECT_TRUE(Throttled());
	Host->StepFrame();
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
	const FJson After = Poll(Id);
	EXPECT_EQ(After["lifecycle"], "teardown-complete");
	EXPECT_EQ(After["pie_active"], false);
	EXPECT_EQ(After["grouped_counts"]["teardown"]["entry_count"].get<int>() > 0, true) << "the teardown lines landed in their bucket";
	EXPECT_EQ(After["ok"], true);
}

TEST_F(PieSmokeSessionTest, DurationZeroCompletesOnTheFirstTickAfterTheClockStarts)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", -3}});
	ASSERT_TRUE(RunToEnd(Id, 20));
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["status"], "complete");
	EXPECT_EQ(Report["duration"], 0.0);
	EXPECT_EQ(Report["determinism"]["ticks"], 1);
}

TEST_F(PieSmokeSessionTest, RefusalsBeforePieStarts)
{
	ExpectRefusal("run_pie_smoke", FJson::object(), "run_pie_smoke requires editor context (GEditor/GUnrealEd).");
	ExpectRefusal("capture_pie_movement_clip", FJson::object(), "capture_pie_movement_clip requires editor context (GEditor/GUnrealEd).");
	CreateHost();
	ExpectRefusal("run_pie_smoke", FJson{{"map", "/Game/Maps/Nowhere"}},
		"Map '/Game/Maps/Nowhere' does not exist (no such package). Pass a level asset path like /Game/Maps/M_Foo, or omit `map` to use the "
		"currently-open level.");
	ExpectRefusal("run_pie_smoke", FJson{{"map", "not a path"}},
		"Map 'not a path' does not exist (no such package). Pass a level asset path like /Game/Maps/M_Foo, or omit `map` to use the "
		"currently-open level.");
	ExpectRefusal("run_pie_smoke", FJson{{"durration", 3}},
		"run_pie_smoke has no parameter 'durration' — its parameters are listed in its input schema. Nothing was started.", -32602);

	const FTarnwickActionResult Clock = Call("run_pie_smoke", FJson{{"clock", "real"}});
	EXPECT_EQ(Clock.ErrorMessage, "clock must be \"game\" (default, UWorld::TimeSeconds — pause- and dilation-aware) or \"wall\" "
								  "(FPlatformTime::Seconds, legacy); got \"real\".");
	ASSERT_TRUE(Clock.ErrorData);
	EXPECT_EQ(*Clock.ErrorData, FJson::parse(R"({"unsatisfiable_expectations": [], "sampled_vars": ["GroundSpeed", "bShouldMove", "DesiredYawDelta"]})"))
		<< "a spec without sample_spec or sample_vars samples the three AnimInstance defaults";
	// The clip creates its folder before it reads the rest of the spec; keep that out of the source tree.
	const std::string ClipDir = (std::filesystem::temp_directory_path() / "tarnwick-clip-refusal").string();
	const FTarnwickActionResult ClipClock = Call("capture_pie_movement_clip", FJson{{"clock", "real"}, {"output_path", ClipDir}});
	std::filesystem::remove_all(ClipDir);
	ASSERT_TRUE(ClipClock.ErrorData);
	EXPECT_EQ(*ClipClock.ErrorData, FJson::parse(R"({"unsatisfiable_expectations": []})")) << "the clip names no sampled vars";

	ExpectRefusal("run_pie_smoke", FJson{{"duration", 1}, {"input_events", FJson::parse(R"([{"event": "down", "key": "W", "at_seconds": 2}])")}},
		"input_events[0]: at_seconds=2 is beyond the session duration=1 — it would never fire");

	// A PIE someone else started refuses both actions, with nothing of theirs touched.
	Succeed("start_pie");
	for (const char* Action : {"run_pie_smoke", "capture_pie_movement_clip"})
	{
		const FTarnwickActionResult R = Call(Action);
		EXPECT_EQ(R.ErrorMessage, std::string("A PIE session is already running — stop it before ") + Action + ".");
	}
	EXPECT_NE(GEditor->GetPlayWorld(), nullptr);
}

TEST_F(PieSmokeSessionTest, SpecsThatCanNeverHoldRefuseWithTheirEntriesNamed)
{
	CreateHost();
	const FTarnwickActionResult Unsatisfiable = Call("run_pie_smoke", FJson::parse(R"({"duration": 3,
		"sample_spec": [{"name": "velocity", "path": "CharacterMovement.Velocity"}],
		"expect": [{"id": "speed", "op": "gte", "var": "ground_speed", "value": 450},
			{"id": "late", "op": "becomes_true_within", "var": "velocity", "seconds": 10},
			{"id": "fine", "op": "gte", "var": "velocity.len", "value": 1}]})"));
	EXPECT_EQ(Unsatisfiable.ErrorCode, -32603);
	EXPECT_EQ(Unsatisfiable.ErrorMessage, "2 expectation(s) can never be satisfied — refusing to start PIE.");
	ASSERT_TRUE(Unsatisfiable.ErrorData);
	EXPECT_EQ(*Unsatisfiable.ErrorData, FJson::parse(R"({"unsatisfiable_expectations": [
		"expect[speed] references unknown var 'ground_speed' — sampled vars are: velocity",
		"expect[late] can never be satisfied: seconds=10 exceeds session duration=3"], "sampled_vars": ["velocity"]})"));

	// The sampling grammar's own refusals pass through unchanged, before the clock or the expectations are read.
	ExpectRefusal("run_pie_smoke", FJson::parse(R"({"clock": "real", "sample_spec": [{"name": "a", "source": "audio", "path": "X"}]})"),
		"sample_spec[0]: unknown source 'audio' — expected anim|property|gas|blackboard");
	ExpectRefusal("run_pie_smoke", FJson::parse(R"({"expect": [{"op": "eq", "var": "GroundSpeed"}]})"), "expect[e0]: op 'eq' requires 'value'");
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
}

TEST_F(PieSmokeSessionTest, MapsAndFoldersThatCannotBeUsedRefuse)
{
	EXPECT_EQ(LoadSmokeMap("/Game/Maps/Arena"), std::optional<std::string>("GEditor unavailable — cannot load map for PIE smoke."))
		<< "the loader's own guard, behind the actions' editor-context check";
	const Tarnwick::Test::FTempDir Project;
	std::filesystem::copy(TARNWICK_SOURCE_DIR "/Samples/Arena", Project.Get(), std::filesystem::copy_options::recursive);
	Project.Write("Content/Maps/Broken.umap", R"({"Type": "World", "Actors": [{"Name": "A"}]})");
	Project.Write("Saved/NotAFolder", "a file where the clip's folder would go");
	CreateHost(Project.Str());
	ExpectRefusal("run_pie_smoke", FJson{{"map", "/Game/Maps/Broken"}}, "Failed to load map '/Game/Maps/Broken' for PIE smoke.");
	EXPECT_EQ(GEditor->GetEditorWorld()->GetMapName(), "Arena") << "the open level stays open";
	const std::string Blocked = Project.Str() + "/Saved/NotAFolder/Clips";
	ExpectRefusal("capture_pie_movement_clip", FJson{{"output_path", "Saved/NotAFolder/Clips"}},
		"Could not create capture output directory '" + Blocked + "/' (resolved from 'Saved/NotAFolder/Clips').");
}

TEST_F(PieSmokeSessionTest, BlueprintCompileErrorsRefuseUnlessSuppressed)
{
	const Tarnwick::Test::FTempDir Project;
	std::filesystem::copy(TARNWICK_SOURCE_DIR "/Samples/Arena", Project.Get(), std::filesystem::copy_options::recursive);
	Project.Write("Content/Blueprints/BP_Broken.uasset", R"({"Type": "Blueprint", "ParentClass": "/Script/Engine.Actor", "Status": "Error"})");
	CreateHost(Project.Str());
	ASSERT_TRUE(Tarnwick::Host::GetObjectSystem()->LoadObject("/Game/Blueprints/BP_Broken", nullptr));

	const FTarnwickActionResult Refused = Call("run_pie_smoke", FJson{{"on_compile_errors", "ignore"}});
	EXPECT_EQ(Refused.ErrorMessage, "run_pie_smoke refused: 1 Blueprint(s) have unresolved compile errors. Starting PIE would raise a blocking "
									"modal that freezes the editor + MCP server. Fix the Blueprints, or pass on_compile_errors=\"suppress\" to "
									"PIE anyway.");
	ASSERT_TRUE(Refused.ErrorData);
	EXPECT_EQ((*Refused.ErrorData)["errored_blueprint_count"], 1);
	EXPECT_EQ((*Refused.ErrorData)["errored_blueprints"][0]["name"], "BP_Broken");
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);

	// The clip has no policy: it asks the editor to play, and the editor's modal is what answers.
	const FTarnwickActionResult Clip = Call("capture_pie_movement_clip", FJson{{"output_path", "Saved/Clips/Broken"}});
	EXPECT_EQ(Clip.ErrorMessage, "Failed to start PIE: Blueprint compile errors: a modal dialog asks whether to play anyway");
	Host->GetEditor().AnswerModal(false);

	const std::string Id = Start(FJson{{"on_compile_errors", "SUPPRESS"}, {"duration", 0.5}});
	EXPECT_NE(GEditor->GetPlayWorld(), nullptr);
	ASSERT_TRUE(RunToEnd(Id));
}

TEST_F(PieSmokeSessionTest, AMapIsLoadedBeforePieAndReported)
{
	CreateHost();
	const std::string Id = Start(FJson{{"map", "/Game/Maps/Empty"}, {"duration", 0.2}});
	EXPECT_EQ(GEditor->GetEditorWorld()->GetPackageName(), "/Game/Maps/Empty");
	EXPECT_EQ(Poll(Id)["map"], "Empty");
	ASSERT_TRUE(RunToEnd(Id));
	EXPECT_EQ(Poll(Id)["pie_ready"], true);
}

TEST_F(PieSmokeSessionTest, StopEndsOneSessionOrAllAndNeverChangesAFinishedOne)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 5}});
	Host->StepFrames(30);
	const FJson Stopped = Succeed("stop_pie_smoke", FJson{{"session_id", Id}});
	EXPECT_EQ(Stopped["stopped"], 1);
	EXPECT_EQ(Stopped["report"]["status"], "stopped");
	EXPECT_EQ(Stopped["report"]["lifecycle"], "stopped-by-tool");
	EXPECT_EQ(Stopped["report"]["ok"], false);
	const double Frozen = Stopped["report"]["elapsed_seconds"];
	EXPECT_GT(Frozen, 0.0);
	EXPECT_FALSE(ObserverTicking());
	Host->StepFrames(5);
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr) << "stopping the last session ends its PIE";

	const FJson Again = Succeed("stop_pie_smoke", FJson{{"session_id", Id}});
	EXPECT_EQ(Again["stopped"], 0);
	EXPECT_EQ(Again["report"]["elapsed_seconds"], Frozen);
	EXPECT_EQ(Succeed("stop_pie_smoke", FJson{{"session_id", "pie_smoke_9_000000"}}),
		FJson::parse(R"({"stopped": 0, "warning": "Unknown session 'pie_smoke_9_000000' — nothing to stop."})"));

	// Without an id every running session stops; afterwards a PIE left open (here the user's) is ended.
	const std::string Second = Start(FJson{{"duration", 5}});
	Host->StepFrames(3);
	EXPECT_EQ(Succeed("stop_pie_smoke"), FJson::parse(R"({"stopped": 1})"));
	EXPECT_EQ(Poll(Second)["status"], "stopped");
	Host->StepFrames(3);
	Succeed("start_pie");
	EXPECT_EQ(Succeed("stop_pie_smoke")["stopped"], 0);
	Host->StepFrames(3);
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
}

TEST_F(PieSmokeSessionTest, PollAndIdsAreCaseInsensitiveAndUnknownIdsFail)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 0.1}});
	std::string Upper = Id;
	for (char& C : Upper) C = static_cast<char>(std::toupper(static_cast<unsigned char>(C)));
	EXPECT_EQ(Poll(Upper)["session_id"], Id);
	EXPECT_EQ(Call("poll_pie_smoke", FJson::object()).ErrorMessage, "poll_pie_smoke requires a session_id.");
	EXPECT_EQ(Call("poll_pie_smoke", FJson{{"session_id", "nope"}}).ErrorMessage, "Unknown PIE-smoke session 'nope'.");
	EXPECT_EQ(Call("poll_pie_smoke", FJson{{"session_id", "nope"}}).ErrorCode, -32603);
}

TEST_F(PieSmokeSessionTest, PieEndedFromOutsideCompletesTheSession)
{
	CreateHost();
	for (const char* Ender : {"stop_pie", "stop_play"})
	{
		const std::string Id = Start(FJson{{"duration", 5}});
		Host->StepFrames(20);
		Succeed(Ender);
		ASSERT_TRUE(RunToEnd(Id, 5)) << Ender;
		const FJson Report = Poll(Id);
		EXPECT_EQ(Report["status"], "complete") << Ender;
		EXPECT_EQ(Report["pie_active"], false) << Ender;
		EXPECT_FALSE(Report.contains("error")) << Ender;
		EXPECT_LT(Report["elapsed_seconds"].get<double>(), 5.0) << Ender;
		EXPECT_EQ(Report["ok"], true) << "it measured what it measured, and passed";
		EXPECT_TRUE(Throttled()) << Ender;
		EXPECT_FALSE(ObserverTicking()) << Ender;
	}
}

TEST_F(PieSmokeSessionTest, AWorldThatNeverBeginsPlayWaitsForAStopWithoutAWatchdog)
{
	CreateHost(TARNWICK_SOURCE_DIR "/Samples/Arena", 1000000);
	const std::string Id = Start(FJson{{"duration", 1}, {"max_wall_seconds", 1}});
	Host->StepFrames(240);
	const FJson Waiting = Poll(Id);
	EXPECT_EQ(Waiting["status"], "running");
	EXPECT_EQ(Waiting["pie_ready"], false);
	EXPECT_EQ(Waiting["elapsed_seconds"], 0.0);
	EXPECT_EQ(Succeed("stop_pie_smoke", FJson{{"session_id", Id}})["report"]["status"], "stopped");
	EXPECT_EQ(Poll(Id)["ok"], false);
}

TEST_F(PieSmokeSessionTest, TheWatchdogEndsAPreRollThatNeverSettles)
{
	CreateHost();
	Host->GetQuiescence().HoldBusy(ESimBusySubsystem::AsyncLoading, FSimQuiescence::Forever);
	const std::string Id = Start(FJson{{"settle_timeout", 60}, {"max_wall_seconds", 2}});
	ASSERT_TRUE(RunToEnd(Id, 200));
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["status"], "error");
	EXPECT_EQ(Report["error"], "Session timed out during the settle pre-roll after 2.0s of wall clock (async_loading still busy). Raise "
							   "settle_timeout / max_wall_seconds, or pass settle:false to start sampling immediately.");
	EXPECT_EQ(Report["determinism"]["watchdog_fired"], true);
	EXPECT_EQ(Report["determinism"]["settle"]["blocked_by"], "async_loading");
	EXPECT_EQ(Report["elapsed_seconds"], 0.0);
	EXPECT_EQ(Report["ok"], false);
}

TEST_F(PieSmokeSessionTest, AWorldThatStreamsForeverStartsTheClockAtTheSettleCap)
{
	CreateHost();
	Host->GetQuiescence().HoldBusy(ESimBusySubsystem::TextureStreaming, FSimQuiescence::Forever);
	const std::string Id = Start(FJson{{"settle_timeout", 1}, {"duration", 0.5}});
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["status"], "complete");
	EXPECT_EQ(Report["determinism"]["settle"]["settled"], false);
	EXPECT_GE(Report["determinism"]["settle"]["waited_seconds"].get<double>(), 1.0);
	EXPECT_EQ(Report["determinism"]["stable"], false);
	EXPECT_EQ(Report["determinism"]["notes"][0].get<std::string>().rfind("The world never went quiescent — the 1.0s settle cap expired", 0), 0u);
	EXPECT_EQ(Report["ok"], true) << "instability is only fatal with require_stable";
	EXPECT_EQ(Capture.Search("settle cap (1.0s) expired for session " + Id, "LogTarnwick", 3, 5).size(), 1u);
}

TEST_F(PieSmokeSessionTest, SettleOffStartsTheClockOnTheFirstPlayingTick)
{
	CreateHost();
	Host->GetQuiescence().HoldBusy(ESimBusySubsystem::ShaderCompilation, FSimQuiescence::Forever);
	const std::string Id = Start(FJson{{"settle", false}, {"duration", 0.2}, {"require_stable", true}});
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["determinism"]["settle"], FJson::parse(R"({"requested": false, "settled": false, "waited_seconds": 0.0,
		"cap_seconds": 10.0, "blocked_by": ""})"));
	EXPECT_EQ(Report["determinism"]["stable"], true);
	EXPECT_EQ(Report["stable_ok"], true);
}

TEST_F(PieSmokeSessionTest, APausedPieEndsByTheWatchdogOnTheGameClockAndCompletesOnTheWallClock)
{
	CreateHost();
	const std::string Game = Start(FJson{{"duration", 2}, {"max_wall_seconds", 3}});
	Host->StepFrames(10);
	Succeed("pause_pie");
	ASSERT_TRUE(RunToEnd(Game, 400));
	const FJson Stalled = Poll(Game);
	EXPECT_EQ(Stalled["status"], "error");
	EXPECT_EQ(Stalled["error"].get<std::string>().rfind("Session clock stalled: ", 0), 0u);
	EXPECT_NE(Stalled["error"].get<std::string>().find("of 2.00s game seconds elapsed after 3.0s of wall clock"), std::string::npos);
	EXPECT_GT(Stalled["determinism"]["stalled_ticks"].get<int>(), 100);
	EXPECT_EQ(Stalled["determinism"]["watchdog_fired"], true);
	EXPECT_EQ(Stalled["determinism"]["stable"], false);
	Host->StepFrames(3);

	const std::string Wall = Start(FJson{{"duration", 2}, {"max_wall_seconds", 3}, {"clock", "wall"}});
	Host->StepFrames(10);
	Succeed("pause_pie");
	ASSERT_TRUE(RunToEnd(Wall, 400));
	const FJson OnSchedule = Poll(Wall);
	EXPECT_EQ(OnSchedule["status"], "complete");
	EXPECT_NEAR(OnSchedule["elapsed_seconds"].get<double>(), 2.0, 0.02);
	EXPECT_EQ(OnSchedule["determinism"]["clock"], "wall");
}

TEST_F(PieSmokeSessionTest, TwoSessionsShareOneObserverAndOneThrottleSuppression)
{
	CreateHost();
	const std::string First = Start(FJson{{"duration", 1}});
	// A second session observing the same PIE, as the registry takes it from a start handler.
	auto Second = std::make_unique<FPieSmokeSession>();
	Second->Spec.Duration = 2.0;
	Second->Runtime.RegistrationWall = FPlatformTime::Seconds();
	Second->Runtime.WallDeadline = Second->Runtime.RegistrationWall + 60.0;
	Second->PieWorld = GEditor->GetPlayWorld();
	const std::string SecondId = FPieSmokeObserver::Get().Register(std::move(Second));
	EXPECT_EQ(SecondId.rfind("pie_smoke_1_", 0), 0u);
	EXPECT_TRUE(ObserverTicking());
	EXPECT_EQ(FThrottleSuppression::Get().GetReferenceCount(), 2);

	ASSERT_TRUE(RunToEnd(First));
	EXPECT_FALSE(Throttled()) << "the preference comes back only when the last session ends";
	EXPECT_NE(GEditor->GetPlayWorld(), nullptr) << "the PIE stays while a session still runs";
	ASSERT_TRUE(RunToEnd(SecondId));
	EXPECT_TRUE(Throttled());
	EXPECT_EQ(FThrottleSuppression::Get().GetReferenceCount(), 0);
	EXPECT_FALSE(ObserverTicking());
	Host->StepFrames(2);
	EXPECT_EQ(FThrottleSuppression::Get().GetReferenceCount(), 0) << "the end of PIE cleans up nothing twice";
	EXPECT_EQ(Poll(First)["lifecycle"], "teardown-complete");
}

TEST_F(PieSmokeSessionTest, IsPieActiveNamesTheOwningSession)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 0.5}});
	const FJson Loading = Succeed("is_pie_active");
	EXPECT_EQ(Loading["owner"], "smoke");
	EXPECT_EQ(Loading["session_id"], Id);
	EXPECT_EQ(Loading["session_ready"], false);
	Host->StepFrames(6);
	EXPECT_EQ(Succeed("is_pie_active")["session_ready"], true);
	ASSERT_TRUE(RunToEnd(Id));
	EXPECT_EQ(Succeed("is_pie_active")["owner"], "user") << "a finished session owns nothing";
}

TEST_F(PieSmokeSessionTest, LogLinesAfterTheMarkerDecideLogOk)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 0.5}, {"log_patterns", FJson::parse(R"({"must_present": ["Checkpoint reached"], "warn": ["Slow"]})")}});
	Host->StepFrames(10);
	TW_LOG(LogTarnwick, Warning, "Slow path taken");
	EXPECT_EQ(Poll(Id)["missing_must_present"], FJson::parse(R"(["Checkpoint reached"])"));
	TW_LOG(LogTarnwick, Log, "Checkpoint reached");
	TW_LOG(LogTarnwick, Error, "Accessed None trying to read property Target");
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["missing_must_present"], FJson::array());
	EXPECT_EQ(Report["warnings"], FJson::array({"Slow (x1)"}));
	EXPECT_EQ(Report["post_marker_counts"]["Accessed None"], 1);
	EXPECT_EQ(Report["log_ok"], false);
	EXPECT_EQ(Report["ok"], false);
}

TEST_F(PieSmokeSessionTest, InputGoesThroughThePieActionsAndHeldKeysAreReleased)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 1}, {"input_events", FJson::parse(R"([
		{"event": "down", "key": "W", "at_seconds": 0.2},
		{"event": "down", "key": "LeftShift", "at_seconds": 0.3},
		{"event": "up", "key": "LeftShift", "at_seconds": 0.5},
		{"event": "click", "x": 5, "y": 6, "button": "right", "at_seconds": 0.6},
		{"event": "press", "key": "Space", "at_seconds": 0.7}])")}});
	APlayerController* PC = nullptr;
	ASSERT_TRUE(Host->StepUntil([&] {
		PC = GEditor->GetPlayWorld() ? GEditor->GetPlayWorld()->GetFirstPlayerController() : nullptr;
		return PC && PC->IsInputKeyDown(FKey("W"));
	}, 100));
	APawn* Hero = PC->GetPawn();
	const double StartX = Hero->GetActorLocation().X;
	Host->StepFrames(20);
	EXPECT_GT(Hero->GetActorLocation().X, StartX + 50.0) << "the game saw W held across frames";
	ASSERT_TRUE(RunToEnd(Id));
	EXPECT_FALSE(PC->IsInputKeyDown(FKey("W"))) << "the session's end released the key it left held";
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["input_events"][0]["fired"], true);
	EXPECT_GE(Report["input_events"][0]["fired_at_seconds"].get<double>(), 0.2);
	EXPECT_EQ(Report["input_events"][0]["ok"], true);
	EXPECT_EQ(Report["input_events"][3]["event"], "click");
	EXPECT_EQ(Report["input_events"][3]["ok"], true);
	EXPECT_EQ(Report["input_events"][4]["ok"], false) << "the key name is the receiving action's to judge";
	EXPECT_TRUE(Report["input_events"][4]["error"].get<std::string>().starts_with("Unknown key 'Space' — did you mean 'SpaceBar'?"))
		<< Report["input_events"][4].dump();
	EXPECT_EQ(Report["input_events_summary"], FJson::parse(R"({"total": 5, "fired": 5, "failed": 1, "released_keys": ["W"]})"));
	EXPECT_EQ(Capture.Search("input_events: pie.press_key at t=", "LogTarnwick", 3, 5).size(), 1u);
}

TEST_F(PieSmokeSessionTest, AFailingInputActionIsReportedFiredAndNotOk)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 0.5}, {"input_events", FJson::parse(R"([{"event": "down", "key": "Wubble"},
		{"event": "down", "key": "A", "at_seconds": 0.5}])")}});
	Host->StepFrames(8);
	const FJson Early = Poll(Id);
	EXPECT_EQ(Early["input_events"][0]["fired"], true);
	EXPECT_EQ(Early["input_events"][0]["ok"], false);
	EXPECT_TRUE(Early["input_events"][0]["error"].get<std::string>().starts_with("Unknown key 'Wubble'")) << Early["input_events"][0].dump();
	EXPECT_EQ(Early["input_events"][1]["fired"], false);
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["input_events"][1]["ok"], true);
	EXPECT_EQ(Report["input_events_summary"]["released_keys"], FJson::parse(R"(["A"])")) << "a failed down holds nothing; the one that took is released";
}

TEST_F(PieSmokeSessionTest, StagesAndProbesFireOnceOnTheLiveWorld)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 1},
		{"stages", FJson::parse(R"({"pre_pie": {"console": ["stat unit"]}, "on_begin_play": {"console": ["stat fps"], "python": "x = 1"},
			"after_n_ticks": {"n": 0, "console": ["stat game"]}})")},
		{"probe_scripts", FJson::parse(R"([{"at_seconds": 0.5, "console": ["stat fps", "stat unit"]}, {"at_seconds": 2}])")}});
	const FJson Early = Poll(Id);
	EXPECT_EQ(Early["stages"]["pre_pie"]["fired"], true);
	EXPECT_EQ(Early["stages"]["pre_pie"]["fired_at_seconds"], 0.0);
	EXPECT_EQ(Early["stages"]["pre_pie"]["console_command_count"], 1);
	EXPECT_EQ(Early["stages"]["on_begin_play"]["fired"], false);
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	EXPECT_EQ(Report["stages"]["on_begin_play"]["fired"], true);
	EXPECT_EQ(Report["stages"]["on_begin_play"]["fired_at_seconds"], 0.0);
	// The Arena enables the Python plug-in; whether it has an interpreter depends on the build.
	const bool bPython = IPythonScriptPlugin::Get() && IPythonScriptPlugin::Get()->IsPythonAvailable();
	EXPECT_EQ(Report["stages"]["on_begin_play"]["python_ok"], bPython);
	EXPECT_EQ(Report["stages"]["on_begin_play"]["python_output"], bPython ? "" : "Python not available in this build.");
	EXPECT_EQ(Report["stages"]["after_n_ticks"]["fired"], true);
	EXPECT_EQ(Report["stages"]["before_capture"]["fired"], false);
	ASSERT_EQ(Report["probes"].size(), 1u) << "a probe with nothing to run is dropped";
	EXPECT_GE(Report["probes"][0]["fired_at_seconds"].get<double>(), 0.5);
	EXPECT_EQ(Report["probes"][0]["console_command_count"], 2);
	// The commands ran on the PIE world's console ("stat fps" toggles: on at begin-play, off again in the probe).
	EXPECT_EQ(Capture.Search("FPS", "LogConsoleResponse", 7, 10).size(), 1u);
	EXPECT_EQ(Capture.Search("World tick", "LogConsoleResponse", 7, 10).size(), 1u);
}

TEST_F(PieSmokeSessionTest, TimeDilationSlowsGameTimeAcrossMoreFrames)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 0.5}, {"time_dilation", 0.5}});
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	EXPECT_NEAR(Report["determinism"]["clock_ratio"].get<double>(), 0.5, 0.05);
	EXPECT_GE(Report["determinism"]["ticks"].get<int>(), 59);
}

TEST_F(PieSmokeSessionTest, AClipResolvesItsFolderAndJudgesItsFrames)
{
	const Tarnwick::Test::FTempDir Project;
	std::filesystem::copy(TARNWICK_SOURCE_DIR "/Samples/Arena", Project.Get(), std::filesystem::copy_options::recursive);
	CreateHost(Project.Str());
	const FJson Started = Succeed("capture_pie_movement_clip",
		FJson{{"duration", 1}, {"capture_interval", 0.25}, {"output_path", "/Game/Captures/Run1"},
			{"stages", FJson::parse(R"({"before_capture": {"console": ["stat fps"]}})")}});
	const std::string Dir = Project.Str() + "/Content/Captures/Run1/";
	EXPECT_EQ(Started["output_dir"], Dir);
	EXPECT_EQ(Started["resolved_output_dir"], Dir);
	EXPECT_EQ(Started["capture_interval"], 0.25);
	EXPECT_EQ(Started["marker"], "TARNWICK_CLIP");
	EXPECT_TRUE(std::filesystem::is_directory(Dir));
	EXPECT_EQ(Capture.Search("TARNWICK_CLIP begin", "LogTarnwick", 7, 5).size(), 1u);
	const std::string Id = Started["session_id"];
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id, true);
	EXPECT_EQ(Report["frame_count"], 5) << "t = 0, 0.25, 0.5, 0.75 and 1.0";
	EXPECT_TRUE(std::filesystem::is_regular_file(Dir + "frame_000.png"));
	EXPECT_TRUE(std::filesystem::is_regular_file(Dir + "frame_004.png"));
	EXPECT_EQ(Report["stages"]["before_capture"]["fired"], true);
	// The PIE viewport draws the Arena through the hero's camera, so no judged frame is uniform.
	EXPECT_EQ(Report["valid_frames"], 4);
	EXPECT_EQ(Report["invalid_frames"], 0);
	EXPECT_EQ(Report["captured_ok"], true);
	EXPECT_FALSE(Report.contains("hint"));

	Host->StepFrames(3);
	ExpectRefusal("capture_pie_movement_clip", FJson{{"output_path", "/Nowhere/Clips"}},
		"Could not convert virtual path '/Nowhere/Clips/' to an on-disk directory (no content root mounted for that prefix).");
}

TEST_F(PieSmokeSessionTest, ActorSetupSpawnsIntoTheSessionFolder)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 0.2}, {"actor_setup", FJson::parse(R"([
		{"class": "/Script/Engine.TargetPoint", "count": 3, "locations": [[100, 0, 0]]},
		{"class": "/Game/Blueprints/BP_Hero", "move_to": [0, 0, 92]},
		{"class": "/Script/Engine.StaticMeshActor", "move_to": [0, 0, 0]},
		{"class": "/Game/Nothing"}])")}});
	Host->StepFrames(8);
	const FJson Report = Poll(Id);
	const FJson& Setup = Report["actor_setup"];
	EXPECT_EQ(Setup[0]["spawned_count"], 3);
	std::vector<AActor*> Spawned;
	for (AActor* Actor : GEditor->GetPlayWorld()->GetActors())
	{
		if (Actor->GetFolderPath() == "Tarnwick/ActorSetup") Spawned.push_back(Actor);
	}
	ASSERT_EQ(Spawned.size(), 5u);
	EXPECT_EQ(Spawned[0]->GetActorLocation(), FVector(100, 0, 0));
	EXPECT_EQ(Spawned[1]->GetActorLocation(), FVector()) << "an actor without a location goes to the origin";
	EXPECT_EQ(Setup[1]["class_resolved"], true) << "a Blueprint path without _C finds its class";
	EXPECT_EQ(Setup[1]["actors"][0]["runtime_class"], "BP_Hero_C");
	EXPECT_EQ(Setup[2]["actors"][0]["move_to"], FJson::parse(R"({"issued": false, "result": "not_a_pawn"})"));
	EXPECT_EQ(Setup[3]["class_resolved"], false);
	EXPECT_EQ(Setup[3]["actors"], FJson::array());
	ASSERT_TRUE(RunToEnd(Id));
}

TEST_F(PieSmokeSessionTest, TheRuntimeIdentityNamesThePawnsAnimationSetup)
{
	CreateHost();
	const std::string Id = Start(FJson{{"duration", 0.1}, {"expected_anim_class", "ABP_Villain"}, {"pawn_class", "hero"}});
	ASSERT_TRUE(RunToEnd(Id));
	EXPECT_EQ(Poll(Id)["runtime_identity"], FJson::parse(R"({"actor": "BP_Hero_C_0", "actor_class": "BP_Hero_C", "skel_comp": "CharacterMesh0",
		"anim_instance_class": "ABP_Hero_C", "mesh_anim_class": "/Game/Characters/ABP_Hero.ABP_Hero_C", "animation_mode": "AnimationBlueprint",
		"anim_class_changed": false, "expected_anim_class": "ABP_Villain", "expected_mismatch": true})"));
	Host->StepFrames(3);
	const std::string Other = Start(FJson{{"duration", 0.1}, {"expected_anim_class", "abp_hero"}, {"pawn_class", "NoSuchPawn"}});
	ASSERT_TRUE(RunToEnd(Other));
	EXPECT_EQ(Poll(Other)["runtime_identity"]["actor"], "") << "no pawn of that class, so nothing is observed";
}
