// Speed of PIE smoke sessions on the simulated editor (virtual clock): the observer's cost per frame with eight
// running sessions of 20 sample specs and 10 expectations each, and building a finished session's report with
// 2,000 retained rows. The specs are in Benchmarks/smoke/. Figures are recorded in docs/performance.md.
#include "PieSmoke/PieSmokeObserver.h"
#include "PieSmoke/PieSmokeSpecParser.h"
#include "PlatformTime.h"
#include "SimHost.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickLogCapture.h"
#include "TarnwickToolRegistry.h"
#include "Ticker.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <sstream>

using namespace Tarnwick::PieSmoke;
using namespace Tarnwick::Sim;

namespace
{
std::string SourceDir()
{
	const char* Dir = std::getenv("TARNWICK_SOURCE_DIR");
	return Dir ? Dir : TARNWICK_SOURCE_DIR;
}

FJson ReadSpec(const char* Name)
{
	std::ifstream File(SourceDir() + "/Benchmarks/smoke/" + Name);
	std::stringstream Text;
	Text << File.rdbuf();
	return FJson::parse(Text.str());
}

/** A simulated editor with the smoke actions and a log capture, torn down in reverse. */
class FSmokeBench
{
public:
	FSmokeBench()
	{
		FTSTicker::GetCoreTicker().Reset();
		FPieSmokeObserver::Get().Reset();
		FSimHostOptions Options;
		Options.ProjectDir = SourceDir() + "/Samples/Arena";
		Options.ClockMode = ESimClockMode::Virtual;
		std::string Error;
		Host = FSimHost::Create(Options, &Error);
		if (!Host) return;
		GLog->AddOutputDevice(&Capture);
		Tarnwick::Editor::AddPieSmokeHandlers(Table, &Capture);
	}
	~FSmokeBench()
	{
		FPieSmokeObserver::Get().Reset();
		FPieSmokeObserver::Get().SetLogCapture(nullptr);
		GLog->RemoveOutputDevice(&Capture);
		Host.reset();
		FTSTicker::GetCoreTicker().Reset();
	}
	std::string Start(const FJson& Spec)
	{
		const FTarnwickActionResult R = (*Table.Find("editor", "run_pie_smoke"))(MakeJsonObject(Spec));
		return R.bSuccess ? (*R.Result)["session_id"].get<std::string>() : std::string();
	}
	/** Another session on the PIE the first one started, as the registry would hold it. */
	bool AddSession(const FJson& Spec)
	{
		auto Session = std::make_unique<FPieSmokeSession>();
		Session->Spec.Duration = FPieSmokeSpecParser::ReadDuration(Spec);
		FSpecRefusal Refusal;
		if (!FPieSmokeSpecParser::Parse(Spec, Session->Spec, Session->Sampling, Refusal)) return false;
		Session->Runtime.RegistrationWall = FPlatformTime::Seconds();
		Session->Runtime.WallDeadline = Session->Runtime.RegistrationWall + Session->Spec.MaxWallSeconds;
		Session->PieWorld = GEditor->GetPlayWorld();
		FPieSmokeObserver::Get().Register(std::move(Session));
		return true;
	}

	std::unique_ptr<FSimHost> Host;
	FTarnwickLogCapture Capture;
	FTarnwickHandlerTable Table;
};

/**
 * One observer pass over eight running sessions (each reading 20 specs and evaluating 10 expectations), the
 * world advancing a frame between passes outside the timing. Sessions last 120 s of game time, longer than the
 * iterations run.
 */
void BM_ObserverFrame_8Sessions(benchmark::State& State)
{
	FSmokeBench Bench;
	const FJson Spec = ReadSpec("observer-20-specs.json");
	if (!Bench.Host || Bench.Start(Spec).empty())
	{
		State.SkipWithError("the first session did not start");
		return;
	}
	for (int I = 1; I < 8; ++I)
	{
		if (!Bench.AddSession(Spec))
		{
			State.SkipWithError("a session spec was refused");
			return;
		}
	}
	// Past the PIE load and the settle pre-roll, so every pass samples.
	Bench.Host->StepFrames(10);
	FPieSmokeObserver& Observer = FPieSmokeObserver::Get();
	for (auto _ : State)
	{
		State.PauseTiming();
		Bench.Host->GetEditor().Tick(1.0 / 60.0);
		State.ResumeTiming();
		benchmark::DoNotOptimize(Observer.Tick());
	}
	if (Observer.RunningCount() != 8) State.SkipWithError("a session ended during the measurement");
	State.counters["sessions"] = Observer.RunningCount();
}
BENCHMARK(BM_ObserverFrame_8Sessions)->Iterations(3000)->Unit(benchmark::kMicrosecond);

/** The report of a finished session holding 2,000 retained rows (10 specs), samples included. */
void BM_BuildReport_2000Rows(benchmark::State& State)
{
	FSmokeBench Bench;
	FJson Spec = ReadSpec("session-120s-10-specs.json");
	Spec["duration"] = 40;
	Spec["max_samples"] = 2000;
	const std::string Id = Bench.Host ? Bench.Start(Spec) : std::string();
	FPieSmokeSession* Session = Id.empty() ? nullptr : FPieSmokeObserver::Get().Find(Id);
	if (!Session)
	{
		State.SkipWithError("the session did not start");
		return;
	}
	Bench.Host->StepUntil([Session] { return Session->Runtime.Status != ESessionStatus::Running; }, 5000);
	Bench.Host->StepFrames(3);
	for (auto _ : State) benchmark::DoNotOptimize(FPieSmokeObserver::Get().BuildReport(*Session, true));
	State.counters["rows"] = static_cast<double>(Session->Sampling.NumRetainedRows());
	State.counters["log_lines"] = Bench.Capture.Num();
}
BENCHMARK(BM_BuildReport_2000Rows)->Unit(benchmark::kMillisecond);
}

BENCHMARK_MAIN();
