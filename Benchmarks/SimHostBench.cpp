// Speed of the simulated editor: loading the Arena sample, starting PIE until play begins, and ticking an
// Arena PIE world on the virtual clock. Figures are recorded in docs/performance.md.
#include "BenchPieFrames.h"
#include "GameViewport.h"
#include "SimHost.h"

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

std::unique_ptr<FSimHost> MakeHost()
{
	FSimHostOptions Options;
	Options.ProjectDir = ArenaDir();
	Options.ClockMode = ESimClockMode::Virtual;
	std::string Error;
	auto Host = FSimHost::Create(Options, &Error);
	if (!Host) std::fprintf(stderr, "cannot load %s: %s\n", Options.ProjectDir.c_str(), Error.c_str());
	return Host;
}

double ThreadCpuSeconds()
{
	timespec T{};
	clock_gettime(CLOCK_THREAD_CPUTIME_ID, &T);
	return static_cast<double>(T.tv_sec) + static_cast<double>(T.tv_nsec) * 1e-9;
}

/** Whole host creation: project, config, native classes, the Arena map with its Blueprints, render thread. */
void BM_LoadArena(benchmark::State& State)
{
	for (auto _ : State)
	{
		auto Host = MakeHost();
		if (!Host)
		{
			State.SkipWithError("Arena did not load");
			return;
		}
		benchmark::DoNotOptimize(Host.get());
		State.PauseTiming();
		Host.reset();
		State.ResumeTiming();
	}
}
BENCHMARK(BM_LoadArena)->Unit(benchmark::kMillisecond);

/** From RequestPlaySession to HasBegunPlay, in frames and in CPU time of the game thread. */
void BM_StartPieToBegunPlay(benchmark::State& State)
{
	auto Host = MakeHost();
	if (!Host)
	{
		State.SkipWithError("Arena did not load");
		return;
	}
	double Frames = 0.0, Cpu = 0.0;
	for (auto _ : State)
	{
		const double Cpu0 = ThreadCpuSeconds();
		GEditor->RequestPlaySession(FRequestPlaySessionParams());
		int N = 0;
		while (!(GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay()) && N < 100)
		{
			Host->StepFrame();
			++N;
		}
		Cpu += ThreadCpuSeconds() - Cpu0;
		Frames += N;
		State.PauseTiming();
		GEditor->RequestEndPlayMap();
		Host->StepFrame();
		State.ResumeTiming();
	}
	State.counters["frames"] = Frames / static_cast<double>(State.iterations());
	State.counters["cpu_ms"] = Cpu * 1000.0 / static_cast<double>(State.iterations());
}
BENCHMARK(BM_StartPieToBegunPlay)->Unit(benchmark::kMillisecond);

/** Frames of an Arena PIE world with a moving character, on the virtual clock. */
void BM_VirtualPieFrame(benchmark::State& State)
{
	auto Host = MakeHost();
	if (!Host)
	{
		State.SkipWithError("Arena did not load");
		return;
	}
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 100);
	UGameViewportClient* Viewport = GEditor->GetPlayWorld()->GetGameViewport();
	Tarnwick::Bench::StepWalkingFrames(State, *Host, Viewport);
}
BENCHMARK(BM_VirtualPieFrame);
}

BENCHMARK_MAIN();
