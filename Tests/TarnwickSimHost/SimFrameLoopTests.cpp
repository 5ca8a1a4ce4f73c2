// The frame loop: the order of a frame's phases, the virtual clock and its determinism, quiescence held and
// released, log lines from the game and render threads, viewports, the background throttle, and the real-time
// loop's stop flag.
#include "SimTestUtils.h"

#include "EditorPerformanceSettings.h"
#include "FrameLoop.h"
#include "GameThread.h"
#include "ModalHooks.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "Quiescence.h"
#include "RenderingThread.h"

#include <atomic>

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
FLogCategory LogTemp("LogTemp");
}

TEST(SimFrameLoop, AFrameRunsCallsThenWorldsThenTickers)
{
	auto Host = MakeArenaHost();
	std::vector<std::string> Order;
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	FGameThreadTaskQueue::Get().Post([&] { Order.push_back(GEditor->GetPlayWorld() ? "call:pie" : "call:nopie"); });
	const auto Ticker = FTSTicker::GetCoreTicker().AddTicker("Order", 0.0f, [&](float Delta) {
		Order.push_back(Tarnwick::Printf("ticker:%s:%.4f", GEditor->GetPlayWorld() ? "pie" : "nopie", static_cast<double>(Delta)));
		return Order.size() < 3;
	});
	const double Start = FPlatformTime::Seconds();
	Host->StepFrame();
	Host->StepFrame();
	FTSTicker::GetCoreTicker().RemoveTicker(Ticker);
	// The queued request starts PIE in the first frame's editor tick, before the ticker sees the frame.
	EXPECT_EQ(Order, (std::vector<std::string>{"call:nopie", "ticker:pie:0.0167", "ticker:pie:0.0167"}));
	EXPECT_EQ(FApp::GetFrameCounter(), 2u);
	EXPECT_NEAR(FApp::GetDeltaTime(), 1.0 / 60.0, 1e-15);
	EXPECT_NEAR(FPlatformTime::Seconds() - Start, 2.0 / 60.0, 1e-12);
	EXPECT_NEAR(Tarnwick::Host::GetClock().UtcNow(), 1700000000.0 + 2.0 / 60.0, 1e-6);
	EXPECT_TRUE(FApp::HasFocus());
	Host->SetHasFocus(false);
	EXPECT_FALSE(FApp::HasFocus());
}

TEST(SimFrameLoop, TheVirtualClockIsDeterministic)
{
	auto Run = [] {
		FLogRecorder Log;
		auto Host = MakeArenaHost();
		GEditor->RequestPlaySession(FRequestPlaySessionParams());
		Host->StepFrames(5);
		UWorld* Pie = GEditor->GetPlayWorld();
		APawn* Pawn = Pie->GetFirstPlayerController()->GetPawn();
		UActorComponent* Move = Cast<UActorComponent>(ReadProperty(Pawn, "CharacterMovement").ObjectValue.Get());
		std::string Error;
		Move->SetPropertyValue(*Move->GetClass()->FindPropertyByName("Velocity"), FPropertyValue::MakeVector(FVector(123.5, -7, 0)), &Error);
		UGameplayStatics::SetGlobalTimeDilation(Pie, 0.7);
		std::string SpawnError;
		Pie->SpawnActor(Tarnwick::Host::GetObjectSystem()->LoadClass("/Script/Engine.TargetPoint", &SpawnError), FActorSpawnParameters(), &SpawnError);
		Host->StepFrames(50);
		UGameplayStatics::SetGamePaused(Pie, true);
		Host->StepFrames(7);
		FSimJson State = Host->DumpState();
		std::string Lines;
		for (const FLogRecorder::FLine& L : Log.Snapshot()) Lines += L.Category + ": " + L.Message + "\n";
		return std::make_pair(State.dump(), Lines);
	};
	const auto First = Run();
	const auto Second = Run();
	EXPECT_EQ(First.first, Second.first);
	EXPECT_EQ(First.second, Second.second);
	EXPECT_NE(First.first.find("\"time_seconds\""), std::string::npos);
	EXPECT_NE(First.first.find("TargetPoint_0"), std::string::npos);
}

TEST(SimFrameLoop, QuiescenceIsHeldAndReleased)
{
	auto Host = MakeArenaHost();
	IQuiescence* Q = Tarnwick::Host::GetQuiescence();
	ASSERT_TRUE(Q);
	EXPECT_FALSE(Q->IsAsyncLoading());
	EXPECT_EQ(Q->GetNumWantingResources(), 0);
	EXPECT_EQ(Q->GetNumRemainingShaderJobs(), 0);
	EXPECT_EQ(Q->GetNumRemainingAssets(), 0);
	EXPECT_TRUE(Q->IsWorldPartitionStreamingCompleted(GEditor->GetEditorWorld()));

	FSimQuiescence& Sim = Host->GetQuiescence();
	Sim.HoldBusy(ESimBusySubsystem::TextureStreaming, 3, 12);
	Sim.HoldBusy(ESimBusySubsystem::ShaderCompilation, FSimQuiescence::Forever, 40);
	EXPECT_EQ(Q->GetNumWantingResources(), 12);
	EXPECT_EQ(Q->GetNumRemainingShaderJobs(), 40);
	EXPECT_TRUE(Q->HasShaderJobsOutstanding());
	Host->StepFrames(2);
	EXPECT_EQ(Q->GetNumWantingResources(), 12);
	Host->StepFrame();
	EXPECT_EQ(Q->GetNumWantingResources(), 0);
	Host->StepFrames(1000);
	EXPECT_EQ(Q->GetNumRemainingShaderJobs(), 40) << "held forever until released";
	Sim.Release(ESimBusySubsystem::ShaderCompilation);
	EXPECT_EQ(Q->GetNumRemainingShaderJobs(), 0);
	EXPECT_FALSE(Q->HasShaderJobsOutstanding());
	EXPECT_STREQ(LexToString(ESimBusySubsystem::WorldPartitionStreaming), "world_partition_streaming");
}

TEST(SimFrameLoop, MapsKeepStreamingBusyAfterLoadAndAtPieStart)
{
	FTempProject P;
	P.Write("Content/Maps/Streamed.umap", R"({"Type":"World","StreamingLevels":[{"Package":"/Game/Maps/Streamed_Audio","LoadFrames":4}],
		"WorldPartition":{"StreamingFrames":6},"Actors":[]})");
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/Streamed";
	auto Host = MakeHost(P.Path(), Options);
	IQuiescence* Q = Tarnwick::Host::GetQuiescence();
	UWorld* Editor = GEditor->GetEditorWorld();
	EXPECT_TRUE(Q->IsAsyncLoading());
	EXPECT_TRUE(Q->HasWorldPartitionSubsystem(Editor));
	EXPECT_FALSE(Q->IsWorldPartitionStreamingCompleted(Editor));
	Host->StepFrames(4);
	EXPECT_FALSE(Q->IsAsyncLoading());
	EXPECT_FALSE(Q->IsWorldPartitionStreamingCompleted(Editor));
	Host->StepFrames(2);
	EXPECT_TRUE(Q->IsWorldPartitionStreamingCompleted(Editor));

	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepFrame();
	EXPECT_TRUE(Q->IsAsyncLoading()) << "the PIE world streams its levels again";
	EXPECT_TRUE(Q->HasWorldPartitionSubsystem(GEditor->GetPlayWorld()));
	EXPECT_TRUE(Host->StepUntil([&] { return !Q->IsAsyncLoading() && Q->IsWorldPartitionStreamingCompleted(GEditor->GetPlayWorld()); }, 10));
}

TEST(SimFrameLoop, LogLinesComeFromTheGameAndRenderThreadsOneAtATime)
{
	FLogRecorder Log;
	auto Host = MakeArenaHost();
	const std::thread::id GameThread = std::this_thread::get_id();
	const std::thread::id RenderThread = Host->GetRenderThread().GetThreadId();
	ASSERT_NE(GameThread, RenderThread);
	Host->StepFrame();

	bool bSawGame = false, bSawRender = false;
	for (const FLogRecorder::FLine& L : Log.Snapshot())
	{
		if (L.Thread == GameThread && L.Category == "LogInit") bSawGame = true;
		if (L.Thread == RenderThread && L.Category == "LogRHI") bSawRender = true;
	}
	EXPECT_TRUE(bSawGame);
	EXPECT_TRUE(bSawRender);
	// The first draw of the visible viewport allocates its render targets, on the render thread.
	const int Realloc = Log.IndexOf("LogRenderer", "Reallocating scene render targets to support 1280x720 NumSamples 1 (Frame:1).");
	ASSERT_GE(Realloc, 0);
	EXPECT_EQ(Log.Snapshot()[static_cast<size_t>(Realloc)].Thread, RenderThread);

	// Lines logged from both threads at once reach a device that is not thread-safe one caller at a time.
	for (int I = 0; I < 200; ++I)
	{
		EnqueueRenderCommand("Spam", [I] { TW_LOG(LogTemp, Log, "render %d", I); });
	}
	for (int I = 0; I < 200; ++I) TW_LOG(LogTemp, Log, "game %d", I);
	FlushRenderingCommands();
	EXPECT_FALSE(Log.bOverlap);
	int Render = 0, Game = 0;
	for (const FLogRecorder::FLine& L : Log.Snapshot())
	{
		if (L.Category != "LogTemp") continue;
		(L.Message.rfind("render", 0) == 0 ? Render : Game)++;
		if (L.Message.rfind("render", 0) == 0)
		{
			EXPECT_EQ(L.Thread, RenderThread);
		}
	}
	EXPECT_EQ(Render, 200);
	EXPECT_EQ(Game, 200);
}

TEST(SimFrameLoop, EnsuresOnTheRenderThreadGoToTheHandler)
{
	auto Host = MakeArenaHost();
	FLogRecorder Log;
	std::vector<std::string> Seen;
	std::thread::id HandlerThread;
	FEnsureHandler Previous = SetEnsureHandler([&](const std::string& Text) {
		Seen.push_back(Text);
		HandlerThread = std::this_thread::get_id();
		return Text.find("ShouldPrecachePermutation") != std::string::npos;
	});
	Host->GetRenderThread().FireEnsure("ShouldPrecachePermutation failed for FooShader");
	Host->GetRenderThread().FireEnsure("Something else");
	FlushRenderingCommands();
	SetEnsureHandler(Previous);
	EXPECT_EQ(Seen.size(), 2u);
	EXPECT_EQ(HandlerThread, Host->GetRenderThread().GetThreadId());
	EXPECT_FALSE(Log.Has("LogOutputDevice", "ShouldPrecachePermutation"));
	EXPECT_TRUE(Log.Has("LogOutputDevice", "Ensure condition failed: Something else"));
}

TEST(SimFrameLoop, ViewportsHaveSizesCamerasAndFlags)
{
	auto Host = MakeArenaHost();
	FLogRecorder Log;
	const std::vector<FEditorViewportClient*> Clients = GEditor->GetLevelViewportClients();
	ASSERT_EQ(Clients.size(), 4u);
	FEditorViewportClient* Active = GEditor->GetCurrentLevelEditingViewportClient();
	ASSERT_EQ(Active, Clients[0]);
	EXPECT_TRUE(Active->IsPerspective());
	EXPECT_EQ(Active->GetViewport()->GetSizeXY(), (FIntPoint{1280, 720}));
	EXPECT_EQ(Clients[1]->GetViewport()->GetSizeXY(), (FIntPoint{0, 0}));
	EXPECT_FALSE(Clients[1]->IsPerspective());
	EXPECT_EQ(Active->GetViewModeIndex(), EViewModeIndex::VMI_Lit);
	EXPECT_TRUE(Active->IsRealtime());
	EXPECT_FALSE(Active->IsInGameView());
	EXPECT_EQ(Active->GetViewFOV(), 90.0f);

	Active->SetViewLocation(FVector(1, 2, 3));
	Active->SetViewRotation(FRotator(-10, 45, 0));
	Active->SetViewFOV(60.0f);
	Active->SetViewModeIndex(EViewModeIndex::VMI_BrushWireframe);
	Active->SetRealtime(false);
	Active->SetGameView(true);
	EXPECT_EQ(Active->GetViewLocation(), FVector(1, 2, 3));
	EXPECT_EQ(Active->GetViewRotation(), FRotator(-10, 45, 0));
	EXPECT_EQ(Active->GetViewModeIndex(), 0);
	EXPECT_TRUE(Log.Has("LogEditorViewport", "Viewport 0: view mode Brush Wireframe (0)"));
	EXPECT_TRUE(Log.Has("LogEditorViewport", "Viewport 0: field of view 60.0"));
	// Orthographic views keep their own camera.
	Active->SetViewportType(ELevelViewportType::LVT_OrthoXY);
	EXPECT_NE(Active->GetViewLocation(), FVector(1, 2, 3));
	Active->SetViewportType(ELevelViewportType::LVT_Perspective);
	EXPECT_EQ(Active->GetViewLocation(), FVector(1, 2, 3));

	// A non-realtime viewport draws only when invalidated; resizing reallocates on the next draw.
	FSimLevelViewportClient* Sim = Host->GetEditor().GetViewportClient(0);
	Host->StepFrame();
	const uint64 Draws = Sim->Viewport.DrawCount;
	Host->StepFrames(3);
	EXPECT_EQ(Sim->Viewport.DrawCount, Draws);
	Active->Invalidate();
	Sim->Viewport.Resize(FIntPoint{800, 600});
	Host->StepFrame();
	EXPECT_EQ(Sim->Viewport.DrawCount, Draws + 1);
	EXPECT_TRUE(Log.Has("LogRenderer", "Reallocating scene render targets to support 800x600"));

	// The PIE game viewport exists only while PIE runs, at the active viewport's size.
	EXPECT_EQ(GEditor->GetGameViewport(), nullptr);
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepFrame();
	ASSERT_TRUE(GEditor->GetGameViewport());
	EXPECT_EQ(GEditor->GetGameViewport()->GetSizeXY(), (FIntPoint{800, 600}));
}

TEST(SimFrameLoop, RealtimeRunStopsOnTheFlagAndRunsCallsBetweenFrames)
{
	FSimHostOptions Options;
	Options.ProjectDir = ArenaDir();
	Options.ClockMode = ESimClockMode::Realtime;
	Options.TargetFrameRate = 1000.0;
	std::string Error;
	auto Host = FSimHost::Create(Options, &Error);
	ASSERT_TRUE(Host) << Error;
	std::atomic<bool> bStop{false};
	std::atomic<uint64> FrameAtCall{0};
	std::thread Transport([&] {
		// Stands in for a transport thread: it posts a call and, once it ran, asks the loop to stop.
		std::atomic<bool> bDone{false};
		FGameThreadTaskQueue::Get().Post([&] {
			FrameAtCall = FApp::GetFrameCounter();
			bDone = true;
		});
		while (!bDone) std::this_thread::yield();
		bStop = true;
		FGameThreadTaskQueue::Get().Wake();
	});
	Host->Run(bStop);
	Transport.join();
	EXPECT_GE(FrameAtCall.load(), 1u);
	EXPECT_GE(Host->GetFrameCounter(), FrameAtCall.load());
}

TEST(SimFrameLoop, VirtualRunStopsWhenAsked)
{
	auto Host = MakeArenaHost();
	Host->Run([&] { return Host->GetFrameCounter() >= 10; });
	EXPECT_EQ(Host->GetFrameCounter(), 10u);
	EXPECT_NEAR(FPlatformTime::Seconds(), 1.0 + 10.0 / 60.0, 1e-12);
}

TEST(SimFrameLoop, ClockModeNames)
{
	ESimClockMode Mode = ESimClockMode::Realtime;
	EXPECT_TRUE(ParseClockMode("virtual", Mode));
	EXPECT_EQ(Mode, ESimClockMode::Virtual);
	EXPECT_TRUE(ParseClockMode("realtime", Mode));
	EXPECT_EQ(Mode, ESimClockMode::Realtime);
	EXPECT_FALSE(ParseClockMode("Virtual", Mode));
	EXPECT_FALSE(ParseClockMode("", Mode));
}

TEST(SimFrameLoop, ABackgroundedEditorThatSavesCpuDrawsNothing)
{
	auto Host = MakeArenaHost();
	FSimLevelViewportClient* Viewport = Host->GetEditor().GetViewportClient(0);
	UEditorPerformanceSettings* Settings = UEditorPerformanceSettings::GetMutableDefault();
	Settings->bThrottleCPUWhenNotForeground = true;
	Host->StepFrame();
	const uint64 Draws = Viewport->Viewport.DrawCount;
	Host->SetHasFocus(false);
	EXPECT_TRUE(Host->IsThrottled());
	Host->StepFrames(3);
	EXPECT_EQ(Viewport->Viewport.DrawCount, Draws);
	// With the preference off (as smoke sessions set it in memory) a background editor keeps rendering.
	Settings->bThrottleCPUWhenNotForeground = false;
	EXPECT_FALSE(Host->IsThrottled());
	Host->StepFrames(3);
	EXPECT_EQ(Viewport->Viewport.DrawCount, Draws + 3);
	Settings->bThrottleCPUWhenNotForeground = true;
}
