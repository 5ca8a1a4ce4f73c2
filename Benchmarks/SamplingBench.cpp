// Speed of sampling and expectations: one sampling pass of 20 property and AnimInstance specs on the Arena's
// PIE hero, one accumulator update per value kind, and one expectation of each of the 22 operators judged over
// 100,000 samples. Figures are recorded in docs/performance.md.
#include "Editor.h"
#include "Expectations/ExpectationParser.h"
#include "Expectations/ExpectationSet.h"
#include "Sampling/SamplingCore.h"
#include "Sampling/SessionSampling.h"
#include "SimHost.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>

using namespace Tarnwick::Sampling;

namespace
{
std::unique_ptr<Tarnwick::Sim::FSimHost> StartArenaPie()
{
	Tarnwick::Sim::FSimHostOptions Options;
	const char* Dir = std::getenv("TARNWICK_SOURCE_DIR");
	Options.ProjectDir = std::string(Dir ? Dir : TARNWICK_SOURCE_DIR) + "/Samples/Arena";
	Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
	std::string Error;
	auto Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
	if (!Host)
	{
		std::fprintf(stderr, "cannot load %s: %s\n", Options.ProjectDir.c_str(), Error.c_str());
		return nullptr;
	}
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	if (!Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 30)) return nullptr;
	return Host;
}

// Twenty reads a session typically asks of its pawn: movement, the character's own variables, components by
// reference, struct and enum values, and the AnimInstance's variables.
constexpr const char* TwentySpecs = R"({"sample_spec": [
	{"name": "vel", "path": "CharacterMovement.Velocity"},
	{"name": "mode", "path": "CharacterMovement.MovementMode"},
	{"name": "max_walk", "path": "CharacterMovement.MaxWalkSpeed"},
	{"name": "accel", "path": "CharacterMovement.MaxAcceleration"},
	{"name": "gravity", "path": "CharacterMovement.GravityScale"},
	{"name": "orient", "path": "CharacterMovement.bOrientRotationToMovement"},
	{"name": "rot_rate", "path": "CharacterMovement.RotationRate"},
	{"name": "health", "source": "property", "path": "Health"},
	{"name": "sprinting", "source": "property", "path": "bIsSprinting"},
	{"name": "score", "source": "property", "path": "Score"},
	{"name": "possess", "source": "property", "path": "AutoPossessAI"},
	{"name": "eye", "source": "property", "path": "BaseEyeHeight"},
	{"name": "half_height", "path": "CapsuleComponent.CapsuleHalfHeight"},
	{"name": "radius", "path": "CapsuleComponent.CapsuleRadius"},
	{"name": "mesh_visible", "path": "Mesh.bVisible"},
	{"name": "mesh_offset", "path": "Mesh.RelativeLocation"},
	{"name": "anim_class", "path": "Mesh.AnimClass"},
	{"name": "GroundSpeed", "path": "GroundSpeed"},
	{"name": "bShouldMove", "path": "bShouldMove"},
	{"name": "DesiredYawDelta", "path": "DesiredYawDelta"}
]})";

/** One sampling pass (Tick) over 20 specs on the live PIE hero; arg 1 also arms one expectation for each spec. */
void BM_SamplingTick20Specs(benchmark::State& State)
{
	auto Host = StartArenaPie();
	if (!Host)
	{
		State.SkipWithError("PIE did not begin play");
		return;
	}
	UWorld* World = GEditor->GetPlayWorld();
	APawn* Hero = World->GetFirstPlayerController()->GetPawn();
	FSessionSampling Sampling;
	std::string Refusal;
	std::vector<std::string> Unsatisfiable;
	if (!Sampling.ParseSampleSpecs(FJson::parse(TwentySpecs), Refusal)) State.SkipWithError(Refusal.c_str());
	FSamplingSettings Settings;
	Settings.MaxSamples = 100000;
	Sampling.SetSettings(Settings);
	if (State.range(0) == 1)
	{
		FJson Expect = FJson::array();
		for (const std::string& Name : Sampling.GetSampleNames())
		{
			Expect.push_back({{"op", "neq"}, {"var", Name == "vel" || Name == "rot_rate" || Name == "mesh_offset" ? Name + ".len" : Name}, {"value", -1}});
		}
		for (FJson& E : Expect)
		{
			const std::string Var = E["var"];
			if (Var == "mode" || Var == "anim_class") E = {{"op", "contains"}, {"var", Var}, {"value", "_"}, {"when", "ever"}};
			if (Var == "orient" || Var == "sprinting" || Var == "mesh_visible" || Var == "bShouldMove") E = {{"op", "transitions"}, {"var", Var}, {"max", 5}};
		}
		if (!Sampling.ParseExpectations(Expect, 120.0, Refusal, Unsatisfiable)) State.SkipWithError(Refusal.c_str());
	}
	double T = 0.0;
	for (auto _ : State)
	{
		Sampling.Tick(T, FSamplingWorld{World, Hero});
		T += 1.0 / 60.0;
	}
	Sampling.Evaluate(1, T);
	if (!Sampling.SampleOk()) State.SkipWithError("a spec did not resolve");
	State.SetItemsProcessed(State.iterations() * 20);
}
BENCHMARK(BM_SamplingTick20Specs)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

/** Recording the pass as a retained row (20 values), below the cap. */
void BM_AppendRow20Values(benchmark::State& State)
{
	auto Host = StartArenaPie();
	if (!Host)
	{
		State.SkipWithError("PIE did not begin play");
		return;
	}
	UWorld* World = GEditor->GetPlayWorld();
	APawn* Hero = World->GetFirstPlayerController()->GetPawn();
	FSessionSampling Sampling;
	std::string Refusal;
	Sampling.ParseSampleSpecs(FJson::parse(TwentySpecs), Refusal);
	FSamplingSettings Settings;
	Settings.MaxSamples = 100000;
	Sampling.SetSettings(Settings);
	Sampling.Tick(0.0, FSamplingWorld{World, Hero});
	uint64 Frame = 0;
	for (auto _ : State)
	{
		if (Sampling.NumRetainedRows() >= 100000)
		{
			State.PauseTiming();
			Sampling = FSessionSampling();
			Sampling.ParseSampleSpecs(FJson::parse(TwentySpecs), Refusal);
			Sampling.SetSettings(Settings);
			Sampling.Tick(0.0, FSamplingWorld{World, Hero});
			State.ResumeTiming();
		}
		Sampling.AppendRow(0.0, ++Frame, nullptr);
	}
}
BENCHMARK(BM_AppendRow20Values)->Unit(benchmark::kNanosecond);

/** One accumulator update (a good read) per value kind: 0 number, 1 bool, 2 string, 3 vector. */
void BM_AccumulatorUpdate(benchmark::State& State)
{
	const FSampleValue Values[4][2] = {
		{FSampleValue::MakeNumber(1.5), FSampleValue::MakeNumber(2.5)},
		{FSampleValue::MakeBool(true), FSampleValue::MakeBool(false)},
		{FSampleValue::MakeString("MOVE_Walking"), FSampleValue::MakeString("MOVE_Falling")},
		{FSampleValue::MakeVector(300, 10, 0), FSampleValue::MakeVector(310, 0, 5)},
	};
	const auto& Pair = Values[State.range(0)];
	FVarAccumulator Acc;
	double T = 0.0;
	int64 I = 0;
	for (auto _ : State)
	{
		// A value that changes every 16 reads: mostly repeats, as sampled state mostly does.
		Acc.Add(T, Pair[(I++ >> 4) & 1]);
		T += 1.0 / 60.0;
	}
	benchmark::DoNotOptimize(Acc.TotalSeconds);
}
BENCHMARK(BM_AccumulatorUpdate)->DenseRange(0, 3)->Unit(benchmark::kNanosecond);

/** A reader over precomputed values, so that only sampling bookkeeping and evaluation are timed. */
class FSeriesReader final : public ISpecReader
{
public:
	FReadResult Read(size_t Index, double) override
	{
		FReadResult R;
		R.Status = EReadStatus::Ok;
		R.Value = Current[Index];
		return R;
	}
	bool IsRootDestroyed(size_t, std::string&) override { return false; }
	FSampleValue Current[4];
};

constexpr const char* EveryOperator = R"([
	{"op": "eq", "var": "speed", "value": 150, "when": "ever"},
	{"op": "neq", "var": "speed", "value": -1},
	{"op": "gt", "var": "speed", "value": -1},
	{"op": "gte", "var": "speed", "value": 0},
	{"op": "lt", "var": "speed", "value": 1000},
	{"op": "lte", "var": "vel.len", "value": 1000},
	{"op": "between", "var": "vel.x", "min": -1000, "max": 1000},
	{"op": "contains", "var": "state", "value": "walk", "when": "ever"},
	{"op": "becomes_true_within", "var": "moving", "seconds": 10},
	{"op": "becomes_within", "var": "speed", "predicate": {"op": "gt", "value": 100}, "seconds": 10},
	{"op": "stays_true_for", "var": "moving", "seconds": 0.5},
	{"op": "stays_within_for", "var": "speed", "min": 0, "max": 300, "seconds": 1},
	{"op": "transitions", "var": "state", "min": 1},
	{"op": "rising_edges", "var": "moving", "min": 1},
	{"op": "falling_edges", "var": "moving", "max": 100000},
	{"op": "duty_cycle", "var": "moving", "min": 0.1, "max": 0.9},
	{"op": "time_in_state", "var": "state", "value": "Walking", "min_seconds": 1},
	{"op": "before", "var": "moving", "other_var": "state", "other_event": "change", "allow_simultaneous": true},
	{"op": "before_or_same", "var": "speed", "event": "change", "other_var": "moving", "other_event": "false"},
	{"op": "monotonic", "var": "speed"},
	{"op": "stable", "var": "vel.z", "max_delta": 1},
	{"op": "no_error"}
])";

constexpr int Passes = 100000;

/** Speed ramps up and drops back every 150 s; the state changes every 10 s. */
const std::vector<std::array<FSampleValue, 4>>& SeriesOf100kPasses()
{
	static const std::vector<std::array<FSampleValue, 4>> Series = [] {
		const char* States[3] = {"Idle", "Walking", "Running"};
		std::vector<std::array<FSampleValue, 4>> Out(Passes);
		for (int I = 0; I < Passes; ++I)
		{
			const double Speed = static_cast<double>((I / 30) % 300);
			Out[static_cast<size_t>(I)] = {FSampleValue::MakeNumber(Speed), FSampleValue::MakeVector(Speed, 0.0, 0.0),
				FSampleValue::MakeBool(Speed > 0.0), FSampleValue::MakeString(States[(I / 600) % 3])};
		}
		return Out;
	}();
	return Series;
}

/**
 * One expectation of each of the 22 operators over 100,000 samples of four variables: every sample is fed to the
 * trackers that watch its variable (the incremental evaluation a session does as it samples), then the final
 * records are built. The variables' own accumulators are filled beforehand, outside the timing: they belong to
 * sampling, whose cost the next benchmark gives.
 */
void BM_Evaluate22OperatorsOver100kRows(benchmark::State& State)
{
	namespace Ex = Tarnwick::Expectations;
	const auto& Series = SeriesOf100kPasses();
	const std::vector<std::string> Names = {"speed", "vel", "moving", "state"};
	const Ex::FParsedExpectations Parsed = Ex::ParseExpectations(FJson::parse(EveryOperator), Names, 2000.0);
	if (!Parsed.IsOk() || Parsed.Entries.size() != 22)
	{
		State.SkipWithError("the 22 expectations did not parse");
		return;
	}
	std::vector<FVarAccumulator> Accumulators(4);
	std::vector<double> Times(Passes);
	double T = 0.0;
	for (int I = 0; I < Passes; ++I)
	{
		Times[static_cast<size_t>(I)] = T;
		for (size_t V = 0; V < 4; ++V) Accumulators[V].Add(T, Series[static_cast<size_t>(I)][V]);
		T += 1.0 / 60.0;
	}
	Ex::FEvalContext Context;
	Context.SessionStatus = 1;
	Context.SessionSeconds = Times.back();
	for (size_t V = 0; V < 4; ++V) Context.Vars.push_back({Names[V], true, "", false, -1.0, false, ESampleKind::Missing, -1.0, &Accumulators[V]});

	for (auto _ : State)
	{
		State.PauseTiming();
		Ex::FExpectationSet Set;
		Set.Init(Parsed.Entries, Names, 2000.0);
		State.ResumeTiming();
		Ex::FSamplePoint Point;
		for (int I = 0; I < Passes; ++I)
		{
			Point.T = Times[static_cast<size_t>(I)];
			Point.Pass = I;
			Point.Index = I;
			for (int32 V = 0; V < 4; ++V)
			{
				Point.Value = &Series[static_cast<size_t>(I)][static_cast<size_t>(V)];
				Set.OnSample(V, Point);
			}
		}
		const Ex::FEvalSummary Summary = Set.Evaluate(Context);
		benchmark::DoNotOptimize(Summary.Records.size());
		if (Summary.Records.size() != 22) State.SkipWithError("not every operator was evaluated");
	}
}
BENCHMARK(BM_Evaluate22OperatorsOver100kRows)->Unit(benchmark::kMillisecond);

/**
 * The sampling side of the same 100,000 passes, without expectations: cadence, accumulators and retained rows
 * (capped at 100,000), reads precomputed.
 */
void BM_SamplingBookkeepingOver100kRows(benchmark::State& State)
{
	const auto& Series = SeriesOf100kPasses();
	for (auto _ : State)
	{
		State.PauseTiming();
		FSamplingCore Core;
		std::string Refusal;
		Core.ParseSampleSpecs(FJson::parse(R"({"sample_spec": [{"name": "speed", "path": "S"}, {"name": "vel", "path": "V"},
			{"name": "moving", "path": "M"}, {"name": "state", "path": "St"}]})"),
			Refusal);
		FSamplingSettings Settings;
		Settings.MaxSamples = Passes;
		Core.SetSettings(Settings);
		FSeriesReader Reader;
		State.ResumeTiming();
		double T = 0.0;
		for (int I = 0; I < Passes; ++I)
		{
			for (int V = 0; V < 4; ++V) Reader.Current[V] = Series[static_cast<size_t>(I)][static_cast<size_t>(V)];
			Core.Tick(T, Reader);
			Core.AppendRow(T, static_cast<uint64>(I), nullptr);
			T += 1.0 / 60.0;
		}
		benchmark::DoNotOptimize(Core.NumRetainedRows());
	}
}
BENCHMARK(BM_SamplingBookkeepingOver100kRows)->Unit(benchmark::kMillisecond);
}

BENCHMARK_MAIN();
