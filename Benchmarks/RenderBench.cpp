// Speed of the simulated editor's viewport pixels: one 1280x720 frame of the Arena rendered and read back
// (the PIE view through the hero's camera, the level viewport lit and in wireframe), the same frame written as
// PNG (what one clip frame costs), and the viewports' share of a frame that nobody reads. Figures are recorded in
// docs/performance.md.
#include "ImageUtils.h"
#include "SimHost.h"

#include <benchmark/benchmark.h>

using namespace Tarnwick::Sim;

namespace
{
std::string ArenaDir()
{
	const char* Dir = std::getenv("TARNWICK_SOURCE_DIR");
	return std::string(Dir ? Dir : ".") + "/Samples/Arena";
}

std::unique_ptr<FSimHost> MakeHost(bool bHidden = false)
{
	FSimHostOptions Options;
	Options.ProjectDir = ArenaDir();
	Options.ClockMode = ESimClockMode::Virtual;
	Options.bHiddenEditor = bHidden;
	std::string Error;
	auto Host = FSimHost::Create(Options, &Error);
	if (!Host) std::fprintf(stderr, "cannot load %s: %s\n", Options.ProjectDir.c_str(), Error.c_str());
	return Host;
}

bool StartPie(FSimHost& Host)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	return Host.StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 100);
}

/** A fresh frame is drawn (untimed), then read back: the read rasterises it. */
void ReadBackEachFrame(benchmark::State& State, FSimHost& Host, FViewport* Viewport)
{
	std::vector<FColor> Pixels;
	for (auto _ : State)
	{
		State.PauseTiming();
		Host.StepFrame();
		State.ResumeTiming();
		if (!Viewport->ReadPixels(Pixels)) State.SkipWithError("ReadPixels failed");
		benchmark::DoNotOptimize(Pixels.data());
	}
	State.counters["pixels"] = static_cast<double>(Pixels.size());
}

void BM_RenderPieFrameAndReadBack(benchmark::State& State)
{
	auto Host = MakeHost();
	if (!Host || !StartPie(*Host)) return State.SkipWithError("Arena PIE did not start");
	ReadBackEachFrame(State, *Host, GEditor->GetGameViewport());
}
BENCHMARK(BM_RenderPieFrameAndReadBack)->Unit(benchmark::kMillisecond);

void BM_RenderLevelViewportAndReadBack(benchmark::State& State)
{
	auto Host = MakeHost();
	if (!Host) return State.SkipWithError("Arena did not load");
	FSimLevelViewportClient* Client = Host->GetEditor().GetViewportClient(0);
	Client->SetViewModeIndex(static_cast<int32>(State.range(0)));
	ReadBackEachFrame(State, *Host, &Client->Viewport);
	State.SetLabel(ViewModeDisplayName(static_cast<int32>(State.range(0))));
}
BENCHMARK(BM_RenderLevelViewportAndReadBack)->Arg(EViewModeIndex::VMI_Lit)->Arg(EViewModeIndex::VMI_BrushWireframe)->Unit(benchmark::kMillisecond);

/** What one clip frame costs: the read-back and the PNG in memory (the file write is left to the disk). */
void BM_ClipFrameToPng(benchmark::State& State)
{
	auto Host = MakeHost();
	if (!Host || !StartPie(*Host)) return State.SkipWithError("Arena PIE did not start");
	std::vector<FColor> Pixels;
	std::vector<uint8> Png;
	for (auto _ : State)
	{
		State.PauseTiming();
		Host->StepFrame();
		State.ResumeTiming();
		GEditor->GetGameViewport()->ReadPixels(Pixels);
		for (FColor& C : Pixels) C.A = 255;
		FImageUtils::PNGCompressImageArray(1280, 720, Pixels, Png);
		benchmark::DoNotOptimize(Png.data());
	}
	State.counters["png_kb"] = static_cast<double>(Png.size()) / 1024.0;
}
BENCHMARK(BM_ClipFrameToPng)->Unit(benchmark::kMillisecond);

/** A PIE frame nobody reads, with the viewports drawing (0) and with the editor hidden (1). */
void BM_PieFrameDrawnNotRead(benchmark::State& State)
{
	auto Host = MakeHost(State.range(0) != 0);
	if (!Host || !StartPie(*Host)) return State.SkipWithError("Arena PIE did not start");
	for (auto _ : State) Host->StepFrame();
	State.SetLabel(State.range(0) ? "hidden editor" : "visible editor");
	State.counters["frames_per_s"] = benchmark::Counter(static_cast<double>(State.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PieFrameDrawnNotRead)->Arg(0)->Arg(1);
}

BENCHMARK_MAIN();
