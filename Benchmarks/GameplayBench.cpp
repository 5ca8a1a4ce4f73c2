// Speed of the living Arena: a PIE frame with the player walking, the enemy following its path and the event
// graphs running; a whole navmesh rebuild of the Arena's bounds; A* paths across the Arena; a pie action through
// the registry. Figures are recorded in docs/performance.md.
#include "BenchPieFrames.h"
#include "GameViewport.h"
#include "NavigationSystem.h"
#include "SimHost.h"
#include "TarnwickGameplayModule.h"
#include "TarnwickToolRegistry.h"

#include <benchmark/benchmark.h>

#include <ctime>

using namespace Tarnwick::Sim;

namespace
{
std::string ArenaDir()
{
	const char* Dir = std::getenv("TARNWICK_SOURCE_DIR");
	return std::string(Dir ? Dir : ".") + "/Samples/Arena";
}

std::unique_ptr<FSimHost> MakePlayingHost()
{
	FSimHostOptions Options;
	Options.ProjectDir = ArenaDir();
	Options.ClockMode = ESimClockMode::Virtual;
	std::string Error;
	auto Host = FSimHost::Create(Options, &Error);
	if (!Host)
	{
		std::fprintf(stderr, "cannot load %s: %s\n", Options.ProjectDir.c_str(), Error.c_str());
		return nullptr;
	}
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 100);
	return Host;
}

double ThreadCpuSeconds()
{
	timespec T{};
	clock_gettime(CLOCK_THREAD_CPUTIME_ID, &T);
	return static_cast<double>(T.tv_sec) + static_cast<double>(T.tv_nsec) * 1e-9;
}

/**
 * PIE frames of the Arena with everything moving: the hero walks back and forth (W and S in turn every 100
 * frames, so it stays on the floor), the enemy walks its patrol path, the fire pit and the pickup spawner run
 * their graphs, the navigation system checks for edits.
 */
void BM_ArenaLivingPieFrame(benchmark::State& State)
{
	auto Host = MakePlayingHost();
	if (!Host)
	{
		State.SkipWithError("Arena did not load");
		return;
	}
	UGameViewportClient* Viewport = GEditor->GetPlayWorld()->GetGameViewport();
	Tarnwick::Bench::StepWalkingFrames(State, *Host, Viewport);
}
BENCHMARK(BM_ArenaLivingPieFrame);

/** Build() of the Arena's navmesh: 16 tiles of 25 x 25 cells over 40 x 40 m, every box of the map. */
void BM_ArenaNavmeshRebuild(benchmark::State& State)
{
	auto Host = MakePlayingHost();
	UNavigationSystemV1* Nav = Host ? UNavigationSystemV1::GetCurrent(GEditor->GetEditorWorld()) : nullptr;
	if (!Nav)
	{
		State.SkipWithError("Arena did not load");
		return;
	}
	double Cpu = 0.0;
	for (auto _ : State)
	{
		const double Cpu0 = ThreadCpuSeconds();
		Nav->Build();
		Cpu += ThreadCpuSeconds() - Cpu0;
	}
	State.counters["cpu_ms"] = Cpu * 1000.0 / static_cast<double>(State.iterations());
	State.counters["tiles"] = Nav->GetNavMeshTilesCount();
}
BENCHMARK(BM_ArenaNavmeshRebuild)->Unit(benchmark::kMillisecond);

/** One tile regenerated, as the world does once a frame after an edit. */
void BM_ArenaNavmeshOneTile(benchmark::State& State)
{
	auto Host = MakePlayingHost();
	UNavigationSystemV1* Nav = Host ? UNavigationSystemV1::GetCurrent(GEditor->GetEditorWorld()) : nullptr;
	if (!Nav)
	{
		State.SkipWithError("Arena did not load");
		return;
	}
	for (auto _ : State)
	{
		State.PauseTiming();
		Nav->RebuildAll();
		State.ResumeTiming();
		Nav->Tick(0.0f);
	}
}
BENCHMARK(BM_ArenaNavmeshOneTile)->Unit(benchmark::kMicrosecond);

/** A* corner to corner across the Arena (about 53 m of straight line), and one that must go around the crates. */
void BM_ArenaPathAcross(benchmark::State& State)
{
	auto Host = MakePlayingHost();
	UNavigationSystemV1* Nav = Host ? UNavigationSystemV1::GetCurrent(GEditor->GetPlayWorld()) : nullptr;
	if (!Nav)
	{
		State.SkipWithError("Arena did not load");
		return;
	}
	const bool bAroundCrates = State.range(0) == 1;
	const FVector From = bAroundCrates ? FVector(300, -200, 0) : FVector(-1900, -1900, 0);
	const FVector To = bAroundCrates ? FVector(300, 700, 0) : FVector(1900, 1900, 0);
	size_t Points = 0;
	for (auto _ : State)
	{
		const FNavigationPath Path = Nav->FindPathToLocationSynchronously(From, To);
		Points = Path.PathPoints.size();
		benchmark::DoNotOptimize(Points);
	}
	State.counters["path_points"] = static_cast<double>(Points);
}
BENCHMARK(BM_ArenaPathAcross)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

/** pie.key_down and pie.key_up through FTarnwickToolRegistry::ExecuteAction, as the smoke harness fires input. */
void BM_PieKeyThroughRegistry(benchmark::State& State)
{
	auto Host = MakePlayingHost();
	if (!Host)
	{
		State.SkipWithError("Arena did not load");
		return;
	}
	FTarnwickGameplayModule Module;
	Module.StartupModule();
	const FJsonPtr Params = MakeJsonObject(FJson{{"key", "W"}});
	for (auto _ : State)
	{
		benchmark::DoNotOptimize(FTarnwickToolRegistry::Get().ExecuteAction("pie", "key_down", Params));
		benchmark::DoNotOptimize(FTarnwickToolRegistry::Get().ExecuteAction("pie", "key_up", Params));
	}
	Module.ShutdownModule();
}
BENCHMARK(BM_PieKeyThroughRegistry)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_MAIN();
