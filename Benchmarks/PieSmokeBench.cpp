// Speed of PIE smoke sessions on the simulated editor (virtual clock), on the living Arena with the gameplay
// module's "pie", "ai" and "gas" namespaces registered as the executable has them: the observer's cost per frame
// with eight running sessions of 20 sample specs and 10 expectations each (the hero walking back and forth under
// the sessions' own input events), and building a finished session's report with 2,000 retained rows. The specs
// are in Benchmarks/smoke/. The 120-second session through `tarnwick smoke` is timed by
// Benchmarks/smoke-session-bench.sh. Figures are recorded in docs/performance.md.
#include "PieSmoke/PieSmokeObserver.h"
#include "PieSmoke/PieSmokeSpecParser.h"
#include "PlatformTime.h"
#include "SimHost.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickGameplayModule.h"
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

/** The spec cut to Duration seconds: its input events past the end are dropped, as a refusal would demand. */
FJson Shortened(FJson Spec, double Duration)
{
	Spec["duration"] = Duration;
	FJson Events = FJson::array();
	for (const FJson& Event : Spec["input_events"])
	{
		if (Event["at_seconds"].get<double>() <= Duration) Events.push_back(Event);
	}
	Spec["input_events"] = std::move(Events);
	return Spec;
}

/** A simulated editor with the smoke actions, the gameplay namespaces and a log capture, torn down in reverse. */
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
		Gameplay.StartupModule();
	}
	~FSmokeBench()
	{
		FPieSmokeObserver::Get().Reset();
		FPieSmokeObserver::Get().SetLogCapture(nullptr);
		Gameplay.ShutdownModule();
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
	FTarnwickGameplayModule Gameplay;
};

/**
 * One observer pass over eight running sessions (each reading 20 specs and evaluating 10 expectations, firing
 * its input events when they fall due), the world advancing a frame between passes outside the timing.
 * Sessions last 120 s of game time, longer than the iterations run (3,000 frames, 50 s), so 2,000 of the passes
 * also retain a row (the default max_samples) and the rest only sample.
 *   /0: every spec a reflection read (properties and AnimInstance variables over the pawn, its controller, the
 *       player state, the game mode and actors found by label).
 *   /1: two of the 20 dispatched instead, at their default 10 Hz: the hero's USet.Health through
 *       gas.get_attribute_value and the enemy's State through ai.runtime_get_all_bb_values.
 */
void BM_ObserverFrame_8Sessions(benchmark::State& State)
{
	FSmokeBench Bench;
	FJson Spec = ReadSpec("observer-20-specs.json");
	if (State.range(0) == 1)
	{
		Spec["sample_spec"][18] = FJson{{"name", "health_attribute"}, {"attribute", "USet.Health"}};
		Spec["sample_spec"][19] = FJson{{"name", "enemy_state"}, {"root", "actor:Enemy"}, {"key", "State"}};
	}
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
BENCHMARK(BM_ObserverFrame_8Sessions)->Arg(0)->Arg(1)->Iterations(3000)->Unit(benchmark::kMicrosecond);

/**
 * The report of a finished 40-second session of the 120-second spec (10 specs, 10 expectations, the hero
 * walking) holding 2,000 retained rows, samples included, with the log lines the session saw judged.
 */
void BM_BuildReport_2000Rows(benchmark::State& State)
{
	FSmokeBench Bench;
	FJson Spec = Shortened(ReadSpec("session-120s-10-specs.json"), 40.0);
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
	if (Session->Sampling.NumRetainedRows() != 2000) State.SkipWithError("the session did not retain 2,000 rows");
	for (auto _ : State) benchmark::DoNotOptimize(FPieSmokeObserver::Get().BuildReport(*Session, true));
	State.counters["rows"] = static_cast<double>(Session->Sampling.NumRetainedRows());
	State.counters["log_lines"] = Bench.Capture.Num();
}
BENCHMARK(BM_BuildReport_2000Rows)->Unit(benchmark::kMillisecond);
}

BENCHMARK_MAIN();
