// Play-In-Editor on the simulated editor: queued and immediate starts, the player at the PlayerStart, begin
// play after loading, pause and time dilation, the end of PIE with its teardown log and delegates, and the
// compile-error modal.
#include "SimTestUtils.h"

#include "GameThread.h"
#include "ModalHooks.h"

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
/** Records the editor's PIE delegates in order, with whether the PIE world still existed. */
struct FPieEvents
{
	std::vector<std::string> Events;
	FDelegateHandle Begin, Pre, End;
	FPieEvents()
	{
		Begin = FEditorDelegates::BeginPIE.Add([this](bool) { Events.push_back("BeginPIE"); });
		Pre = FEditorDelegates::PrePIEEnded.Add([this](bool) { Events.push_back(GEditor->GetPlayWorld() ? "PrePIEEnded(world)" : "PrePIEEnded"); });
		End = FEditorDelegates::EndPIE.Add([this](bool) { Events.push_back(GEditor->GetPlayWorld() ? "EndPIE(world)" : "EndPIE"); });
	}
	~FPieEvents()
	{
		FEditorDelegates::BeginPIE.Remove(Begin);
		FEditorDelegates::PrePIEEnded.Remove(Pre);
		FEditorDelegates::EndPIE.Remove(End);
	}
};

UWorld* StartPieNow(FSimHost& Host)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	std::string Error;
	EXPECT_TRUE(GEditor->StartQueuedPlaySessionRequest(&Error)) << Error;
	EXPECT_TRUE(Host.StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
	return GEditor->GetPlayWorld();
}
}

TEST(SimPie, QueuedRequestStartsOnTheNextFrameAndBeginsPlayAfterLoading)
{
	auto Host = MakeArenaHost();
	FPieEvents Events;
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	EXPECT_TRUE(GEditor->HasPlaySessionRequest());
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
	EXPECT_FALSE(GEditor->IsPlaySessionInProgress());

	Host->StepFrame();
	UWorld* Pie = GEditor->GetPlayWorld();
	ASSERT_TRUE(Pie);
	EXPECT_FALSE(GEditor->HasPlaySessionRequest());
	EXPECT_EQ(Events.Events, std::vector<std::string>{"BeginPIE"});
	EXPECT_EQ(Pie->GetWorldType(), EWorldType::PIE);
	EXPECT_EQ(Pie->GetName(), "Arena");
	EXPECT_EQ(Pie->GetMapName(), "Arena");
	EXPECT_EQ(Pie->GetPackageName(), "/Game/Maps/UEDPIE_0_Arena");
	EXPECT_EQ(FindActor(Pie, "Floor")->GetPathName(), "/Game/Maps/UEDPIE_0_Arena.Arena:PersistentLevel.Floor");
	EXPECT_FALSE(Pie->HasBegunPlay());
	EXPECT_EQ(Pie->GetFirstPlayerController(), nullptr);
	const std::vector<FWorldContext> Contexts = GEditor->GetWorldContexts();
	ASSERT_EQ(Contexts.size(), 2u);
	EXPECT_EQ(Contexts[1].WorldType, EWorldType::PIE);
	EXPECT_EQ(Contexts[1].World, Pie);

	// The project loads for two frames, then play begins.
	Host->StepFrame();
	EXPECT_FALSE(Pie->HasBegunPlay());
	Host->StepFrame();
	EXPECT_TRUE(Pie->HasBegunPlay());
	EXPECT_EQ(Pie->GetTimeSeconds(), 0.0);
	Host->StepFrame();
	EXPECT_NEAR(Pie->GetTimeSeconds(), 1.0 / 60.0, 1e-12);
	// The editor world is a separate world with its own actors.
	EXPECT_NE(FindActor(Pie, "Floor"), FindActor(GEditor->GetEditorWorld(), "Floor"));
	EXPECT_FALSE(GEditor->GetEditorWorld()->HasBegunPlay());
}

TEST(SimPie, ThePawnIsSpawnedAtThePlayerStartAndPossessed)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPieNow(*Host);
	ASSERT_TRUE(Pie);
	EXPECT_EQ(Host->GetFrameCounter(), 2u);
	AActor* GameMode = Pie->GetAuthGameMode();
	ASSERT_TRUE(GameMode);
	EXPECT_EQ(GameMode->GetClass()->GetPathName(), "/Game/Blueprints/BP_ArenaGameMode.BP_ArenaGameMode_C");
	APlayerController* PC = Pie->GetFirstPlayerController();
	ASSERT_TRUE(PC);
	EXPECT_EQ(PC->GetName(), "PlayerController_0");
	APawn* Pawn = PC->GetPawn();
	ASSERT_TRUE(Pawn);
	EXPECT_EQ(Pawn->GetClass()->GetPathName(), "/Game/Blueprints/BP_Hero.BP_Hero_C");
	EXPECT_EQ(Pawn->GetName(), "BP_Hero_C_0");
	EXPECT_EQ(Pawn->GetController(), PC);
	EXPECT_EQ(Pawn->GetActorLocation(), FindActor(Pie, "PlayerStart")->GetActorLocation());
	EXPECT_TRUE(Pawn->HasActorBegunPlay());

	// The character's movement and animation come from the Blueprints.
	UActorComponent* Move = Cast<UActorComponent>(ReadProperty(Pawn, "CharacterMovement").ObjectValue.Get());
	ASSERT_TRUE(Move);
	EXPECT_EQ(ReadProperty(Move, "MaxWalkSpeed").DoubleValue, 500.0);
	UActorComponent* Mesh = Cast<UActorComponent>(ReadProperty(Pawn, "Mesh").ObjectValue.Get());
	UObject* Anim = ReadProperty(Mesh, "AnimScriptInstance").ObjectValue.Get();
	ASSERT_TRUE(Anim);
	EXPECT_EQ(Anim->GetClass()->GetPathName(), "/Game/Characters/ABP_Hero.ABP_Hero_C");
	EXPECT_EQ(Anim->GetOuter(), Mesh);
	for (const char* Var : {"GroundSpeed", "bShouldMove", "DesiredYawDelta"}) EXPECT_TRUE(Anim->GetClass()->FindPropertyByName(Var)) << Var;

	// A character given a velocity and no input brakes to a stop as the movement component does.
	const FProperty* Velocity = Move->GetClass()->FindPropertyByName("Velocity");
	std::string Error;
	ASSERT_TRUE(Move->SetPropertyValue(*Velocity, FPropertyValue::MakeVector(FVector(600, 0, 0)), &Error)) << Error;
	EXPECT_EQ(Pawn->GetVelocity(), FVector(600, 0, 0));
	const double X = Pawn->GetActorLocation().X;
	Host->StepFrames(12);
	EXPECT_EQ(Pawn->GetVelocity(), FVector());
	EXPECT_GT(Pawn->GetActorLocation().X - X, 10.0);
	EXPECT_LT(Pawn->GetActorLocation().X - X, 60.0);
}

TEST(SimPie, WithoutAPlayerStartThePlayerStartsAtTheOrigin)
{
	FTempProject P;
	P.Write("Content/Maps/Bare.umap", R"({"Type":"World","Actors":[]})");
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/Bare";
	Options.PIELoadFrames = 0;
	auto Host = MakeHost(P.Path(), Options);
	FLogRecorder Log;
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	std::string Error;
	ASSERT_TRUE(GEditor->StartQueuedPlaySessionRequest(&Error)) << Error;
	UWorld* Pie = GEditor->GetPlayWorld();
	ASSERT_TRUE(Pie);
	EXPECT_TRUE(Pie->HasBegunPlay()) << "no load frames: play begins with the start";
	EXPECT_EQ(Pie->GetAuthGameMode()->GetClass()->GetPathName(), "/Script/Engine.GameModeBase");
	APawn* Pawn = Pie->GetFirstPlayerController()->GetPawn();
	ASSERT_TRUE(Pawn);
	EXPECT_EQ(Pawn->GetClass()->GetPathName(), "/Script/Engine.DefaultPawn");
	EXPECT_EQ(Pawn->GetActorLocation(), FVector());
	EXPECT_TRUE(Log.Has("LogGameMode", "No PlayerStart in Bare: spawning the player at the world origin"));
}

TEST(SimPie, OnlyOnePieAtATime)
{
	auto Host = MakeArenaHost();
	StartPieNow(*Host);
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	std::string Error;
	EXPECT_FALSE(GEditor->StartQueuedPlaySessionRequest(&Error));
	EXPECT_EQ(Error, "PIE already running");
	EXPECT_FALSE(GEditor->StartQueuedPlaySessionRequest(&Error));
	EXPECT_EQ(Error, "no play session was requested");
	EXPECT_FALSE(GEditor->LoadMap("/Game/Maps/Empty", &Error));
	EXPECT_EQ(Error, "cannot open a map while PIE is running");
	// A request queued during PIE waits until PIE is gone.
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepFrame();
	EXPECT_TRUE(GEditor->HasPlaySessionRequest());
	EXPECT_EQ(GEditor->GetWorldContexts().size(), 2u);
}

TEST(SimPie, PauseStopsGameTimeAndDilationScalesIt)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPieNow(*Host);
	ASSERT_TRUE(Pie);
	EXPECT_FALSE(UGameplayStatics::SetGamePaused(GEditor->GetEditorWorld(), true)) << "no player controller in the editor world";
	const double T0 = Pie->GetTimeSeconds();
	const double Real0 = Pie->GetRealTimeSeconds();
	EXPECT_TRUE(UGameplayStatics::SetGamePaused(Pie, true));
	EXPECT_TRUE(UGameplayStatics::IsGamePaused(Pie));
	Host->StepFrames(10);
	EXPECT_EQ(Pie->GetTimeSeconds(), T0);
	EXPECT_EQ(Pie->GetDeltaSeconds(), 0.0);
	EXPECT_NEAR(Pie->GetRealTimeSeconds() - Real0, 10.0 / 60.0, 1e-9);
	EXPECT_TRUE(UGameplayStatics::SetGamePaused(Pie, false));
	Host->StepFrames(6);
	EXPECT_NEAR(Pie->GetTimeSeconds() - T0, 0.1, 1e-9);

	UGameplayStatics::SetGlobalTimeDilation(Pie, 0.5);
	EXPECT_EQ(UGameplayStatics::GetGlobalTimeDilation(Pie), 0.5);
	EXPECT_EQ(ReadProperty(Pie->GetWorldSettings(), "TimeDilation").DoubleValue, 0.5);
	const double T1 = Pie->GetTimeSeconds();
	Host->StepFrames(6);
	EXPECT_NEAR(Pie->GetTimeSeconds() - T1, 0.05, 1e-9);
	EXPECT_NEAR(Pie->GetDeltaSeconds(), 0.5 / 60.0, 1e-12);
	// Dilation is clamped to the WorldSettings' bounds, as the engine does.
	EXPECT_EQ(Pie->SetGlobalTimeDilation(100.0), 20.0);
	EXPECT_EQ(Pie->SetGlobalTimeDilation(0.0), static_cast<double>(0.0001f));
	// The editor world's dilation is its own.
	EXPECT_EQ(UGameplayStatics::GetGlobalTimeDilation(GEditor->GetEditorWorld()), 1.0);
}

TEST(SimPie, EndingPieTearsDownOnTheNextFrameWithLogAndDelegates)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPieNow(*Host);
	ASSERT_TRUE(Pie);
	FWeakObjectPtr WeakPie(Pie);
	FWeakObjectPtr WeakPawn(Pie->GetFirstPlayerController()->GetPawn());
	FWeakObjectPtr WeakFloor(FindActor(Pie, "Floor"));
	FPieEvents Events;
	FLogRecorder Log;

	GEditor->RequestEndPlayMap();
	EXPECT_TRUE(GEditor->ShouldEndPlayMap());
	EXPECT_TRUE(GEditor->GetPlayWorld()) << "PIE ends on a following frame";
	Host->StepFrame();
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
	EXPECT_FALSE(GEditor->IsPlaySessionInProgress());
	EXPECT_FALSE(GEditor->ShouldEndPlayMap());
	EXPECT_EQ(Events.Events, (std::vector<std::string>{"PrePIEEnded(world)", "EndPIE"}));
	EXPECT_FALSE(WeakPie.IsValid());
	EXPECT_FALSE(WeakPawn.IsValid());
	EXPECT_FALSE(WeakFloor.IsValid());
	EXPECT_EQ(GEditor->GetWorldContexts().size(), 1u);
	ASSERT_TRUE(FindActor(GEditor->GetEditorWorld(), "Floor"));

	const int Teardown = Log.IndexOf("LogWorld", "BeginTearingDown for /Game/Maps/UEDPIE_0_Arena");
	ASSERT_GE(Teardown, 0);
	EXPECT_EQ(Log.Snapshot()[static_cast<size_t>(Teardown)].Verbosity, ELogVerbosity::Log);
	EXPECT_LT(Log.IndexOf("LogPlayLevel", "Shutting down PIE"), Teardown);

	// Ending without PIE does nothing; PIE can start again.
	GEditor->RequestEndPlayMap();
	EXPECT_FALSE(GEditor->ShouldEndPlayMap());
	ASSERT_TRUE(StartPieNow(*Host));
	EXPECT_EQ(GEditor->GetPlayWorld()->GetPackageName(), "/Game/Maps/UEDPIE_0_Arena");
}

TEST(SimPie, PieStartLogsAsTheEngineDoes)
{
	auto Host = MakeArenaHost();
	FLogRecorder Log;
	StartPieNow(*Host);
	EXPECT_TRUE(Log.Has("LogPlayLevel", "Creating play world package: /Game/Maps/UEDPIE_0_Arena"));
	EXPECT_TRUE(Log.Has("LogLoad", "Game class is 'BP_ArenaGameMode_C'"));
	EXPECT_TRUE(Log.Has("LogWorld", "Bringing World /Game/Maps/UEDPIE_0_Arena.Arena up for play"));
	EXPECT_LT(Log.IndexOf("LogPlayLevel", "Creating play world"), Log.IndexOf("LogWorld", "Bringing World"));
}

TEST(SimPie, BlueprintCompileErrorsRaiseTheBlockingModal)
{
	FTempProject P;
	P.Write("Content/BP_Bad.uasset",
		R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Status":"Error","CompileErrors":["Unknown node 'Foo'"]})");
	P.Write("Content/BP_Quiet.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Status":"Error","DisplayCompilePIEWarning":false})");
	P.Write("Content/Maps/M.umap", R"({"Type":"World","Actors":[{"Name":"B","Class":"/Game/BP_Bad.BP_Bad_C"}]})");
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/M";
	FLogRecorder Log;
	auto Host = MakeHost(P.Path(), Options);
	EXPECT_TRUE(Log.Has("LogBlueprint", "[Compiler] Unknown node 'Foo' from Source: /Game/BP_Bad.BP_Bad"));
	std::vector<FSlateModalContext> Opened, Closed;
	const FDelegateHandle Pre = FCoreDelegates::PreSlateModalWithContext.Add([&](const FSlateModalContext& M) { Opened.push_back(M); });
	const FDelegateHandle Post = FCoreDelegates::PostSlateModalWithContext.Add([&](const FSlateModalContext& M) { Closed.push_back(M); });

	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	std::string Error;
	EXPECT_FALSE(GEditor->StartQueuedPlaySessionRequest(&Error));
	EXPECT_EQ(Error, "Blueprint compile errors: a modal dialog asks whether to play anyway");
	ASSERT_EQ(Opened.size(), 1u);
	EXPECT_EQ(Opened[0].Title, "Blueprint Compilation Errors");
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);

	// While the modal is open the editor is frozen: neither queued calls nor tickers run.
	bool bTaskRan = false;
	int Ticks = 0;
	FGameThreadTaskQueue::Get().Post([&] { bTaskRan = true; });
	const auto Ticker = FTSTicker::GetCoreTicker().AddTicker("Count", 0.0f, [&](float) { return ++Ticks > 0; });
	Host->StepFrames(5);
	EXPECT_FALSE(bTaskRan);
	EXPECT_EQ(Ticks, 0);

	Host->GetEditor().AnswerModal(true);
	ASSERT_EQ(Closed.size(), 1u);
	EXPECT_EQ(Closed[0].ModalId, Opened[0].ModalId);
	EXPECT_TRUE(GEditor->GetPlayWorld()) << "answering Yes plays anyway";
	Host->StepFrame();
	EXPECT_TRUE(bTaskRan);
	EXPECT_EQ(Ticks, 1);
	FTSTicker::GetCoreTicker().RemoveTicker(Ticker);
	GEditor->RequestEndPlayMap();
	Host->StepFrame();

	// Suppressing the modal starts at once; the quiet Blueprint never raises it.
	FRequestPlaySessionParams Suppress;
	Suppress.bSuppressBlueprintCompileErrorModal = true;
	GEditor->RequestPlaySession(Suppress);
	EXPECT_TRUE(GEditor->StartQueuedPlaySessionRequest(&Error)) << Error;
	EXPECT_EQ(Opened.size(), 1u);
	FCoreDelegates::PreSlateModalWithContext.Remove(Pre);
	FCoreDelegates::PostSlateModalWithContext.Remove(Post);
}

TEST(SimPie, AnUnansweredModalTimesOutAsNo)
{
	FTempProject P;
	P.Write("Content/BP_Bad.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Status":"Error"})");
	FSimHostOptions Options;
	Options.ModalTimeoutFrames = 3;
	auto Host = MakeHost(P.Path(), Options);
	std::string Error;
	ASSERT_TRUE(Tarnwick::Host::GetObjectSystem()->LoadClass("/Game/BP_Bad.BP_Bad_C", &Error)) << Error;
	FLogRecorder Log;
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepFrame();
	EXPECT_TRUE(Host->GetEditor().GetOpenModal());
	Host->StepFrames(3);
	EXPECT_FALSE(Host->GetEditor().GetOpenModal());
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
	// The unattended editor's own record of what it answered, which the action diagnostics read back.
	EXPECT_TRUE(Log.Has("LogSlate", "Message Dialog was triggered in unattended script mode"));
	EXPECT_TRUE(Log.Has("LogSlate", "Message dialog closed, result: No, title: Blueprint Compilation Errors, text: "));
}
