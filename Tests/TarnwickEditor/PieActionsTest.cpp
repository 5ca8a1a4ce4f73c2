// The PIE actions on the simulated editor (virtual clock, frames stepped by hand): starts and stops that land on
// a later frame, pause and resume, the step ticker's exact tick count and its cancellation, the state report,
// the compile-error list, and the failures without an editor or a PIE.
#include "Catalogue/TarnwickCatalogueRegistration.h"
#include "Pie/PieRules.h"
#include "Pie/PieStepTicker.h"
#include "SimHost.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickTestHelpers.h"
#include "Ticker.h"
#include "UObjectGlobals.h"

#include <gtest/gtest.h>

using Tarnwick::Pie::GetPieStepTicksLeft;
using Tarnwick::Pie::IsPieStepPending;

namespace
{
class PieActionsTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		FTSTicker::GetCoreTicker().Reset();
		Tarnwick::Pie::CancelPieStep();
		Tarnwick::Editor::AddPieHandlers(Table);
	}
	void TearDown() override
	{
		Host.reset();
		Tarnwick::Pie::CancelPieStep();
		FTSTicker::GetCoreTicker().Reset();
		FRegistryTest::TearDown();
	}
	void CreateHost(const std::string& ProjectDir = TARNWICK_SOURCE_DIR "/Samples/Arena", const std::string& Map = "")
	{
		Tarnwick::Sim::FSimHostOptions Options;
		Options.ProjectDir = ProjectDir;
		Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
		Options.StartupMap = Map;
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
	void ExpectFailure(const char* Action, const std::string& Message)
	{
		const FTarnwickActionResult R = Call(Action);
		EXPECT_FALSE(R.bSuccess) << Action;
		EXPECT_EQ(R.ErrorCode, -32603) << Action;
		EXPECT_EQ(R.ErrorMessage, Message) << Action;
	}
	bool IsActive() { return Succeed("is_pie_active")["active"].get<bool>(); }
	/** start_pie, then frames until play has begun (a world still loading has no player to pause). */
	UWorld* StartPlaying()
	{
		EXPECT_EQ(Succeed("start_pie"), FJson::parse(R"({"started": true, "mode": "in_viewport"})"));
		UWorld* World = GEditor->GetPlayWorld();
		EXPECT_TRUE(World && Host->StepUntil([World] { return World->HasBegunPlay(); }, 10));
		return World;
	}
	/** Frames stepped one by one until World is paused; -1 when Max frames were not enough. */
	int FramesUntilPaused(const UWorld* World, int Max)
	{
		for (int Frame = 1; Frame <= Max; ++Frame)
		{
			Host->StepFrame();
			if (World->IsPaused()) return Frame;
		}
		return -1;
	}

	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
	FTarnwickHandlerTable Table;
};
}

TEST(PieRulesTest, StepFramesAreTruncatedClampedOrDefaulted)
{
	const std::pair<const char*, int32> Cases[] = {{"{}", 1}, {R"({"frames": 0})", 1}, {R"({"frames": -5})", 1},
		{R"({"frames": 1})", 1}, {R"({"frames": 1.9})", 1}, {R"({"frames": 2})", 2}, {R"({"frames": 7.8})", 7},
		{R"({"frames": 120})", 120}, {R"({"frames": 121})", 120}, {R"({"frames": 500})", 120},
		{R"({"frames": 1e30})", 120}, {R"({"frames": -1e30})", 1}, {R"({"frames": 18446744073709551615})", 120},
		{R"({"frames": "5"})", 5}, {R"({"frames": "five"})", 1}, {R"({"frames": true})", 1}, {R"({"frames": null})", 1}};
	for (const auto& [Params, Expected] : Cases)
	{
		EXPECT_EQ(Tarnwick::Pie::ReadStepFrames(MakeJsonObject(FJson::parse(Params))), Expected) << Params;
	}
	EXPECT_EQ(Tarnwick::Pie::ReadStepFrames(nullptr), 1);

	EXPECT_STREQ(Tarnwick::Pie::WorldTypeName(EWorldType::PIE), "PIE");
	EXPECT_STREQ(Tarnwick::Pie::WorldTypeName(EWorldType::Game), "Game");
	EXPECT_STREQ(Tarnwick::Pie::WorldTypeName(EWorldType::Editor), "Other");
	EXPECT_STREQ(Tarnwick::Pie::WorldTypeName(EWorldType::GamePreview), "Other");
}

TEST_F(PieActionsTest, WithoutAnEditorOrAPieTheActionsFailOrAnswerInactive)
{
	ASSERT_EQ(GEditor, nullptr);
	ExpectFailure("start_pie", "GUnrealEd not available");
	for (const char* Action : {"stop_pie", "start_play", "stop_play"}) ExpectFailure(Action, "GEditor not available");
	const FJson Inactive = FJson::parse(R"({"active": false, "is_paused": false, "is_simulating": false})");
	EXPECT_EQ(Succeed("is_pie_active"), Inactive);

	CreateHost();
	for (const char* Action : {"pause_pie", "resume_pie", "step_pie"}) ExpectFailure(Action, "No PIE session is active");
	EXPECT_FALSE(IsPieStepPending());
	EXPECT_EQ(Succeed("stop_pie"), FJson::parse(R"({"stopped": true})"));
	EXPECT_EQ(Succeed("stop_play"), FJson::parse(R"({"ok": true, "requested": false, "was_active": false})"));
	EXPECT_EQ(Succeed("is_pie_active"), Inactive);
}

TEST_F(PieActionsTest, StartsAndStopsLandOnLaterFramesExceptStartPie)
{
	CreateHost();
	EXPECT_EQ(Succeed("start_play"), FJson::parse(R"({"ok": true, "requested": true, "already_active": false,
		"hint": "PIE starts asynchronously. Poll editor.is_pie_active until active==true.", "blueprint_compile_errors": []})"));
	EXPECT_FALSE(IsActive()) << "only queued";
	const uint64 Requested = Host->GetFrameCounter();
	EXPECT_TRUE(Host->StepUntil([&] { return IsActive(); }, 10));
	EXPECT_EQ(Host->GetFrameCounter(), Requested + 1);

	// While PIE runs, neither start asks for anything.
	EXPECT_EQ(Succeed("start_play"), FJson::parse(R"({"ok": true, "requested": false, "already_active": true, "world_name": "Arena"})"));
	EXPECT_EQ(Succeed("start_pie"), FJson::parse(R"({"started": false, "reason": "PIE already running"})"));
	EXPECT_FALSE(GEditor->HasPlaySessionRequest());

	EXPECT_EQ(Succeed("stop_play"), FJson::parse(R"({"ok": true, "requested": true, "was_active": true,
		"hint": "PIE tears down asynchronously. Poll editor.is_pie_active until active==false."})"));
	EXPECT_TRUE(IsActive()) << "teardown runs on a following frame";
	EXPECT_TRUE(Host->StepUntil([&] { return !IsActive(); }, 5));

	// start_pie starts within the call: active at once, though the world is still loading.
	EXPECT_EQ(Succeed("start_pie"), FJson::parse(R"({"started": true, "mode": "in_viewport"})"));
	EXPECT_TRUE(IsActive());
	EXPECT_FALSE(GEditor->GetPlayWorld()->HasBegunPlay());
	EXPECT_EQ(Succeed("stop_pie"), FJson::parse(R"({"stopped": true})"));
	EXPECT_TRUE(Host->StepUntil([&] { return !IsActive(); }, 5));
}

TEST_F(PieActionsTest, AStopWhileAStartIsStillQueuedCancelsTheStart)
{
	CreateHost();
	for (const char* Stop : {"stop_play", "stop_pie"})
	{
		EXPECT_EQ(Succeed("start_play")["requested"], true);
		ASSERT_TRUE(GEditor->HasPlaySessionRequest());
		// Answered as a stop without PIE, since none runs yet.
		const FJson Stopped = Succeed(Stop);
		EXPECT_EQ(Stopped, std::string(Stop) == "stop_play" ? FJson::parse(R"({"ok": true, "requested": false, "was_active": false})")
															  : FJson::parse(R"({"stopped": true})"))
			<< Stop;
		EXPECT_FALSE(GEditor->HasPlaySessionRequest()) << Stop;
		Host->StepFrames(5);
		EXPECT_FALSE(IsActive()) << "start then " << Stop << " leaves no PIE running";
	}
}

TEST_F(PieActionsTest, CompileErrorsAreListedByStartPlayAndStopStartPie)
{
	Tarnwick::Test::FTempDir Project;
	Project.Write("Test.uproject", R"({"FileVersion": 3, "EngineAssociation": "5.4"})");
	const char* Actor = R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor")";
	Project.Write("Content/BP_Bad.uasset", Actor + std::string(R"(,"Status":"Error"})"));
	Project.Write("Content/BP_Quiet.uasset", Actor + std::string(R"(,"Status":"Error","DisplayCompilePIEWarning":false})"));
	Project.Write("Content/BP_Fine.uasset", Actor + std::string("}"));
	Project.Write("Content/Maps/M.umap", R"({"Type":"World","Actors":[{"Name":"B","Class":"/Game/BP_Bad.BP_Bad_C"},
		{"Name":"Q","Class":"/Game/BP_Quiet.BP_Quiet_C"},{"Name":"F","Class":"/Game/BP_Fine.BP_Fine_C"}]})");
	CreateHost(Project.Str(), "/Game/Maps/M");
	ASSERT_EQ(Tarnwick::Host::GetObjectSystem()->GetLoadedBlueprints().size(), 3u) << "the rule, not loading, filters";

	// The editor's compile-error modal refuses the synchronous start, and nothing stays queued behind it.
	ExpectFailure("start_pie", "Failed to start PIE: Blueprint compile errors: a modal dialog asks whether to play anyway");
	EXPECT_FALSE(GEditor->HasPlaySessionRequest());
	Host->GetEditor().AnswerModal(false);
	EXPECT_EQ(Succeed("start_play")["blueprint_compile_errors"],
		FJson::parse(R"([{"name": "BP_Bad", "path": "/Game/BP_Bad.BP_Bad"}])"));
}

TEST_F(PieActionsTest, PauseFreezesGameTimeAndResumeReleasesIt)
{
	CreateHost();
	UWorld* World = StartPlaying();
	EXPECT_EQ(Succeed("pause_pie"), FJson::parse(R"({"paused": true, "world_name": "Arena"})"));
	EXPECT_EQ(Succeed("is_pie_active")["is_paused"], true);
	const double Frozen = World->GetTimeSeconds();
	Host->StepFrames(5);
	EXPECT_EQ(World->GetTimeSeconds(), Frozen);

	EXPECT_EQ(Succeed("resume_pie"), FJson::parse(R"({"paused": false, "world_name": "Arena"})"));
	EXPECT_EQ(Succeed("is_pie_active")["is_paused"], false);
	Host->StepFrames(3);
	EXPECT_NEAR(World->GetTimeSeconds(), Frozen + 3 * Host->GetOptions().FixedDeltaSeconds, 1e-9);
}

TEST_F(PieActionsTest, StepRunsExactlyTheClampedNumberOfCoreTicksThenPausesAgain)
{
	CreateHost();
	UWorld* World = StartPlaying();
	const std::pair<FJson, int32> Cases[] = {{FJson::object(), 1}, {FJson{{"frames", 0}}, 1}, {FJson{{"frames", -5}}, 1},
		{FJson{{"frames", 1}}, 1}, {FJson{{"frames", 4}}, 4}, {FJson{{"frames", 500}}, 120}};
	for (const auto& [Params, Stepped] : Cases)
	{
		SCOPED_TRACE(Params.dump());
		Succeed("pause_pie");
		const double Before = World->GetTimeSeconds();
		EXPECT_EQ(Succeed("step_pie", Params), (FJson{{"success", true}, {"stepped", Stepped}, {"will_repause", true}}));
		EXPECT_FALSE(World->IsPaused()) << "unpaused at once";
		EXPECT_EQ(GetPieStepTicksLeft(), Stepped);

		EXPECT_EQ(FramesUntilPaused(World, 200), Stepped);
		EXPECT_FALSE(IsPieStepPending());
		EXPECT_EQ(FTSTicker::GetCoreTicker().Num(), 0u) << "the step ticker removed itself";
		// The core ticker runs after the worlds in each frame, so N step ticks let exactly N frames play.
		const double Expected = Stepped * Host->GetOptions().FixedDeltaSeconds;
		EXPECT_NEAR(World->GetTimeSeconds() - Before, Expected, 1e-9);
		Host->StepFrames(3);
		EXPECT_NEAR(World->GetTimeSeconds() - Before, Expected, 1e-9) << "stays paused";
	}
}

TEST_F(PieActionsTest, APendingStepIsReplacedByTheNextAndCancelledByResumeStopPlayOrTheEndOfPie)
{
	CreateHost();
	UWorld* World = StartPlaying();
	Succeed("pause_pie");
	Succeed("step_pie", FJson{{"frames", 10}});
	Host->StepFrames(2);
	EXPECT_EQ(GetPieStepTicksLeft(), 8);
	Succeed("step_pie", FJson{{"frames", 3}});
	EXPECT_EQ(FTSTicker::GetCoreTicker().GetTickerNames(), std::vector<std::string>{"TarnwickPieStep"}) << "replaced, not joined";
	EXPECT_EQ(FramesUntilPaused(World, 20), 3);

	Succeed("step_pie", FJson{{"frames", 10}});
	Host->StepFrames(2);
	Succeed("resume_pie");
	EXPECT_FALSE(IsPieStepPending());
	EXPECT_EQ(GetPieStepTicksLeft(), 0);
	EXPECT_EQ(FramesUntilPaused(World, 20), -1) << "a cancelled step never re-pauses the resumed game";

	Succeed("step_pie", FJson{{"frames", 10}});
	Succeed("stop_play");
	EXPECT_FALSE(IsPieStepPending());
	EXPECT_EQ(FTSTicker::GetCoreTicker().Num(), 0u);
	Host->StepFrames(2);

	// stop_pie leaves a step alone: its ticker finds no PIE world after the teardown and stops by itself.
	StartPlaying();
	Succeed("step_pie", FJson{{"frames", 50}});
	Succeed("stop_pie");
	Host->StepFrames(3);
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
	EXPECT_FALSE(IsPieStepPending());
	EXPECT_EQ(GetPieStepTicksLeft(), 0);
	EXPECT_EQ(FTSTicker::GetCoreTicker().Num(), 0u);
}

TEST_F(PieActionsTest, IsPieActiveReportsTheWorldAndItsOwner)
{
	CreateHost();
	StartPlaying();
	EXPECT_EQ(Succeed("is_pie_active"), FJson::parse(R"({"active": true, "is_paused": false, "is_simulating": false,
		"world_name": "Arena", "world_type": "PIE", "owner": "user"})"));
	Succeed("stop_play");
	Host->StepFrames(2);

	FRequestPlaySessionParams Simulate;
	Simulate.bSimulateInEditor = true;
	GEditor->RequestPlaySession(Simulate);
	Host->StepFrame();
	EXPECT_EQ(Succeed("is_pie_active"), FJson::parse(R"({"active": true, "is_paused": false, "is_simulating": true,
		"world_name": "Arena", "world_type": "PIE", "owner": "user"})"));
}

TEST_F(PieActionsTest, CallsThroughTheToolRegistryReachTheHandlers)
{
	CreateHost();
	Tarnwick::Editor::RegisterCatalogueGroup(ETarnwickRegistrationGroup::EditorMain, Table);
	const FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	FTarnwickActionResult R = Registry.ExecuteAction("editor", "pause_pie", nullptr);
	EXPECT_EQ(R.ErrorCode, -32603);
	EXPECT_EQ(R.ErrorMessage, "No PIE session is active");

	StartPlaying();
	R = Registry.ExecuteAction("editor", "pause_pie", nullptr);
	ASSERT_TRUE(R.bSuccess) << R.ErrorMessage;
	EXPECT_EQ(*R.Result, FJson::parse(R"({"paused": true, "world_name": "Arena"})"));
}
