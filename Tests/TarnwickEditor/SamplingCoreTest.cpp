// The sampling pipeline without a host: accumulators integrating held values, cadences, the resolution grace
// and its latch, root destruction, kind flips, the retained-row cap, the end-of-session bookkeeping and the
// fail_fast mark.
#include "Expectations/ExpectationText.h"
#include "ScriptedTimeline.h"
#include "Sampling/SpecResolution.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Tarnwick::Sampling;
using namespace Tarnwick::Test;

namespace
{
/** A reader answering from a function of (spec name, time). */
class FFunctionReader final : public ISpecReader
{
public:
	FFunctionReader(const FSamplingCore& InCore, std::function<FReadResult(const std::string&, double)> InRead) : Core(InCore), ReadFn(std::move(InRead)) {}
	FReadResult Read(size_t Index, double T) override
	{
		++Reads[Core.GetSpecs()[Index].Name];
		return ReadFn(Core.GetSpecs()[Index].Name, T);
	}
	bool IsRootDestroyed(size_t Index, std::string& OutLabel) override
	{
		if (!Destroyed.count(Core.GetSpecs()[Index].Name)) return false;
		OutLabel = "Enemy";
		return true;
	}
	std::map<std::string, int> Reads;
	std::set<std::string> Destroyed;

private:
	const FSamplingCore& Core;
	std::function<FReadResult(const std::string&, double)> ReadFn;
};

FSamplingCore MakeCore(const char* Specs, FSamplingSettings Settings = FSamplingSettings(), const char* Expect = "null", double Duration = 5.0)
{
	FSamplingCore Core;
	std::string Refusal;
	EXPECT_TRUE(Core.ParseSampleSpecs(FJson{{"sample_spec", FJson::parse(Specs)}}, Refusal)) << Refusal;
	Core.SetSettings(Settings);
	std::vector<std::string> Unsatisfiable;
	EXPECT_TRUE(Core.ParseExpectations(FJson::parse(Expect), Duration, Refusal, Unsatisfiable)) << Refusal;
	return Core;
}

/** Passes at 60 frames per second from 0 to Until (inclusive), as the virtual clock steps them. */
void RunFrames(FSamplingCore& Core, ISpecReader& Reader, double Until)
{
	for (int Frame = 0; Frame <= static_cast<int>(Until * 60.0 + 1e-9); ++Frame)
	{
		double T = 0.0;
		for (int I = 0; I < Frame; ++I) T += 1.0 / 60.0; // summed like frame deltas, rounding and all
		Core.Tick(T, Reader);
		Core.AppendRow(T, static_cast<uint64>(Frame), nullptr);
	}
}

TEST(VarAccumulator, IntegratesTheHeldValueBetweenSparseReads)
{
	FVarAccumulator Number;
	Number.Add(0.0, FSampleValue::MakeNumber(0));
	Number.Add(2.0, FSampleValue::MakeNumber(10));
	Number.Add(3.0, FSampleValue::MakeNumber(10));
	const FJson S = Number.ToSummaryJson();
	EXPECT_EQ(S["total_seconds"], 3.0);
	EXPECT_NEAR(S["time_weighted_mean"].get<double>(), 10.0 / 3.0, 1e-12) << "0 held for 2 s, then 10 for 1 s";
	EXPECT_NEAR(S["mean"].get<double>(), 20.0 / 3.0, 1e-12);

	FVarAccumulator Bool;
	Bool.Add(0.0, FSampleValue::MakeBool(true));
	Bool.Add(4.0, FSampleValue::MakeBool(false));
	Bool.Add(5.0, FSampleValue::MakeBool(false));
	EXPECT_EQ(Bool.Bool.TrueSeconds, 4.0);
	EXPECT_EQ(Bool.Bool.LongestTrueRun, 4.0);
	EXPECT_EQ(Bool.Bool.LongestFalseRun, 1.0);
	EXPECT_EQ(Bool.ToSummaryJson()["duty_cycle"], 0.8);

	FVarAccumulator Vec;
	Vec.Add(0.0, FSampleValue::MakeVector(3, 4, 0));
	Vec.Add(1.0, FSampleValue::MakeVector(0, 0, 0));
	EXPECT_EQ(Vec.Len.Integral, 5.0);
	EXPECT_EQ(Vec.ToSummaryJson(), FJson::parse(R"({"kind": "vector", "sample_count": 2, "total_seconds": 1.0, "len_min": 0.0, "len_max": 5.0, "len_last": 0.0})"));
}

TEST(VarAccumulator, AFailedReadDropsOnlyTheGapBeforeIt)
{
	FVarAccumulator Acc;
	Acc.Add(0.0, FSampleValue::MakeBool(true));
	Acc.MarkFailedRead(1.0);
	Acc.Add(2.0, FSampleValue::MakeBool(true));
	EXPECT_EQ(Acc.TotalSeconds, 1.0);
	EXPECT_EQ(Acc.Bool.TrueSeconds, 1.0);
	EXPECT_EQ(Acc.SampleCount, 2);
	Acc.Add(3.0, FSampleValue::MakeNumber(1)) /* another kind: ignored like a failed read */;
	Acc.Add(4.0, FSampleValue::MakeBool(true));
	EXPECT_EQ(Acc.SampleCount, 3);
	EXPECT_EQ(Acc.TotalSeconds, 2.0);
}

TEST(VarAccumulator, BoolSummaryKeysAndEdges)
{
	FVarAccumulator Acc;
	const bool Values[] = {false, true, true, false, true};
	for (int I = 0; I < 5; ++I) Acc.Add(0.5 * I, FSampleValue::MakeBool(Values[I]));
	EXPECT_EQ(Acc.ToSummaryJson().dump(),
		R"({"kind":"bool","sample_count":5,"total_seconds":2.0,"last":true,"ever_true":true,"always_true":false,"transitions":3,"rising_edges":2,)"
		R"("falling_edges":1,"true_seconds":1.0,"duty_cycle":0.5,"first_true_t":0.5,"longest_true_run":1.0,"longest_false_run":0.5})");
	EXPECT_EQ(Acc.Bool.FirstChangeT, 0.5);
	EXPECT_EQ(Acc.Bool.FirstFalseIndex, 0);
	EXPECT_TRUE(Acc.Bool.bInitial == false && Acc.Bool.bHasInitial);
}

TEST(VarAccumulator, FortyDistinctStringsOverflowTheThirtyTwoEntryDwellMap)
{
	FVarAccumulator Acc;
	for (int I = 0; I < 40; ++I) Acc.Add(static_cast<double>(I), FSampleValue::MakeString("State" + std::to_string(I)));
	Acc.Advance(40.0);
	const FJson S = Acc.ToSummaryJson();
	EXPECT_EQ(S["distinct_values"], 40);
	EXPECT_EQ(S["time_in_state"].size(), 32u);
	EXPECT_EQ(S["time_in_state"]["State31"], 1.0);
	EXPECT_FALSE(S["time_in_state"].contains("State32"));
	EXPECT_EQ(S["distinct_overflow"], true);
	EXPECT_EQ(S["last"], "State39");
	EXPECT_EQ(S["total_seconds"], 40.0);
	const std::string Observed = Tarnwick::Expectations::ObservedValuesText(Acc);
	EXPECT_TRUE(Observed.starts_with(" Observed value(s): 'State0', 'State1', ")) << Observed;
	EXPECT_TRUE(Observed.ends_with(", 'State31', ... (map overflowed 32 distinct values).")) << Observed;
}

TEST(SamplingCore, SparseDispatchCadenceStillIntegratesTheWholeRun)
{
	FSamplingSettings Settings;
	Settings.DispatchInterval = 1.0;
	FSamplingCore Core = MakeCore(R"([{"name": "alive", "source": "blackboard", "key": "bAlive"}, {"name": "speed", "path": "Speed"}])", Settings);
	FFunctionReader Reader(Core, [](const std::string& Name, double T) {
		return Name == "alive" ? FReadResult::Ok(FSampleValue::MakeBool(true)) : FReadResult::Ok(FSampleValue::MakeNumber(T));
	});
	RunFrames(Core, Reader, 5.0);
	EXPECT_EQ(Reader.Reads["alive"], 6) << "read at t=0, 1, 2, 3, 4, 5 only";
	EXPECT_EQ(Reader.Reads["speed"], 301) << "the cheap sources are read on every pass by default";
	FJson Report = FJson::object();
	Core.WriteVarSummary(Report);
	EXPECT_NEAR(Report["var_summary"]["alive"]["duty_cycle"].get<double>(), 1.0, 1e-12);
	EXPECT_NEAR(Report["var_summary"]["alive"]["total_seconds"].get<double>(), 5.0, 1e-9);
	EXPECT_EQ(Report["var_summary"]["alive"]["sample_count"], 301) << "held between reads, re-emitted on every pass";
}

TEST(SamplingCore, ALateSpecResolvesWithinTheGraceAMisspelledOneLatches)
{
	FSamplingCore Core = MakeCore(R"([{"name": "boss", "root": "actor:Boss", "path": "Health"}, {"name": "typo", "path": "Mesh.Helth"},
		{"name": "optional", "path": "Nope", "required": false}])");
	FFunctionReader Reader(Core, [](const std::string& Name, double T) {
		if (Name == "boss") return T < 1.0 ? FReadResult::Failed("no actor matching 'Boss'") : FReadResult::Ok(FSampleValue::MakeNumber(100));
		return FReadResult::Failed(Name == "typo" ? "property 'Helth' not found on SkeletalMeshComponent" : "property 'Nope' not found on BP_Hero_C");
	});
	RunFrames(Core, Reader, 5.0);
	EXPECT_EQ(Core.GetRuntime(0).State, EResolveState::Resolved);
	EXPECT_NEAR(Core.GetRuntime(0).FirstReadT, 1.0, 1e-9);
	EXPECT_EQ(Core.GetRuntime(1).State, EResolveState::Unresolved);
	EXPECT_EQ(Core.GetRuntime(1).Reason, "property 'Helth' not found on SkeletalMeshComponent");
	EXPECT_EQ(Reader.Reads["typo"], 121) << "retried each pass up to t=2.0, then never again";
	EXPECT_NEAR(Core.GetRuntime(1).LatchedT, 2.0, 1e-9);
	EXPECT_FALSE(Core.SampleOk()) << "a required spec that never resolved fails sample_ok";

	FJson Report = FJson::object();
	Core.WriteResolutionAndExpectations(Report);
	EXPECT_EQ(Report["sample_resolution"][1].dump(),
		R"({"name":"typo","source":"property","source_inferred":true,"root":"pawn","path":"Mesh.Helth","required":true,"state":"unresolved",)"
		R"("reason":"property 'Helth' not found on SkeletalMeshComponent","read_ok":0,"read_fail":121,"dispatch_fail":0,"kind":"missing"})");
	EXPECT_FALSE(Report.contains("expectations")) << "nothing evaluated yet";
}

TEST(SamplingCore, GraceZeroLatchesOnTheFirstFailureAndTheAttemptCapBoundsALongGrace)
{
	FSpecRuntime Zero;
	RecordFailure(Zero, 0.0, EReadStatus::ReadFailed, "no game state", 0.0);
	EXPECT_EQ(Zero.State, EResolveState::Unresolved);

	FSpecRuntime Capped;
	for (int I = 0; I < 3; ++I) RecordFailure(Capped, 0.01 * I, EReadStatus::DispatchFailed, "gas dispatch failed", 100.0, 3);
	EXPECT_EQ(Capped.State, EResolveState::Pending);
	RecordFailure(Capped, 0.03, EReadStatus::DispatchFailed, "gas dispatch failed", 100.0, 3);
	EXPECT_EQ(Capped.State, EResolveState::Unresolved);
	EXPECT_EQ(Capped.DispatchFail, 4);
	EXPECT_FALSE(IsDue(Capped, 0.0, 10.0)) << "a latched spec is never retried";
	EXPECT_EQ(MaxFailedAttempts, 10000);
}

TEST(SamplingCore, ADestroyedRootEndsTheSpecAndItsHeldValue)
{
	FSamplingCore Core = MakeCore(R"([{"name": "hp", "root": "actor:Enemy", "path": "Health"}])");
	FFunctionReader Reader(Core, [](const std::string&, double) { return FReadResult::Ok(FSampleValue::MakeNumber(50)); });
	for (int I = 0; I <= 6; ++I)
	{
		if (I == 3) Reader.Destroyed.insert("hp");
		Core.Tick(0.5 * I, Reader);
		Core.AppendRow(0.5 * I, static_cast<uint64>(I), nullptr);
	}
	const FSpecRuntime& R = Core.GetRuntime(0);
	EXPECT_EQ(R.Reason, "root_destroyed");
	EXPECT_EQ(R.Error, "root 'Enemy' was destroyed at t=1.50s");
	EXPECT_EQ(R.State, EResolveState::Resolved) << "what was sampled before stays valid";
	EXPECT_EQ(Core.GetAccumulator(0).SampleCount, 3);
	EXPECT_TRUE(Core.SampleOk());
	FJson Report = FJson::object();
	Core.WriteSamples(Report);
	EXPECT_EQ(Report["samples"][2]["values"], FJson::parse(R"({"hp": 50.0})"));
	EXPECT_EQ(Report["samples"][3]["values"], FJson::object()) << "nothing is held for a destroyed root";
}

TEST(SamplingCore, AKindFlipIsRecordedOnce)
{
	FSamplingCore Core = MakeCore(R"([{"name": "target", "source": "blackboard", "key": "Target"}])");
	FFunctionReader Reader(Core, [](const std::string&, double T) {
		return T < 1.0 ? FReadResult::Ok(FSampleValue::MakeObject("/Game/Maps/Arena.Arena:PersistentLevel.Hero"))
					   : FReadResult::Ok(FSampleValue::MakeVector(1, 2, 3));
	});
	for (int I = 0; I <= 4; ++I) Core.Tick(0.5 * I, Reader);
	FJson Report = FJson::object();
	Core.WriteResolutionAndExpectations(Report);
	const FJson& R = Report["sample_resolution"][0];
	EXPECT_EQ(R["kind"], "object");
	EXPECT_EQ(R["kind_unstable"], true);
	EXPECT_EQ(R["kind_flipped_to"], "vector");
	EXPECT_EQ(R["kind_flip_t"], 1.0);
	EXPECT_EQ(R["read_ok"], 5);
	EXPECT_EQ(Core.GetAccumulator(0).SampleCount, 2) << "values of the new kind are not folded into the summary";
}

TEST(SamplingCore, RowsStopAtMaxSamplesWhileTheSummaryCoversTheWholeRun)
{
	FSamplingSettings Settings;
	Settings.MaxSamples = 3;
	FSamplingCore Core = MakeCore(R"([{"name": "speed", "path": "Speed"}, {"name": "late", "path": "Late", "required": false}])", Settings,
		R"([{"id": "fast", "op": "lt", "var": "speed", "value": 4}])");
	FFunctionReader Reader(Core, [](const std::string& Name, double T) {
		if (Name == "late" && T < 1.0) return FReadResult::Failed("not yet");
		return FReadResult::Ok(FSampleValue::MakeNumber(T * 2.0));
	});
	const FJson Clip = {{"frame_path", "/tmp/frame_000.png"}, {"frame_valid", true}};
	for (int I = 0; I <= 4; ++I)
	{
		Core.Tick(0.5 * I, Reader);
		Core.AppendRow(0.5 * I, static_cast<uint64>(100 + I), I == 0 ? &Clip : nullptr);
	}
	Core.Finish(2.0);
	Core.Evaluate(1, 2.0);
	FJson Report = FJson::object();
	Core.WriteVarSummary(Report);
	Core.WriteSamples(Report);
	EXPECT_EQ(Report["samples_truncated"], true);
	EXPECT_EQ(Report["samples_retained"], 3);
	EXPECT_EQ(Report["var_summary"]["speed"]["sample_count"], 5);
	EXPECT_EQ(Report["var_summary"]["speed"]["max"], 4.0);
	EXPECT_EQ(Report["samples"][0].dump(), R"({"t":0.0,"frame":100,"frame_path":"/tmp/frame_000.png","frame_valid":true,"values":{"speed":0.0}})");
	EXPECT_EQ(Report["samples"][2].dump(), R"({"t":1.0,"frame":102,"values":{"speed":2.0,"late":2.0}})");
	// The verdict covers the sample past the cap.
	const FJson& Record = Core.GetEvaluation()->Records[0];
	EXPECT_EQ(Record["passed"], false);
	EXPECT_EQ(Record["first_violation"]["sample_index"], 4);
	EXPECT_FALSE(Core.ExpectationsOk());
}

TEST(SamplingCore, FinishLatchesWhatIsStillPendingAndIntegratesHeldValuesToTheEnd)
{
	FSamplingSettings Settings;
	Settings.ResolveGraceSeconds = 10.0;
	FSamplingCore Core = MakeCore(R"([{"name": "flag", "path": "bFlag"}, {"name": "never", "path": "Never"}])", Settings);
	FFunctionReader Reader(Core, [](const std::string& Name, double) {
		return Name == "flag" ? FReadResult::Ok(FSampleValue::MakeBool(true)) : FReadResult::Failed("no target pawn resolved yet");
	});
	Core.Tick(0.0, Reader);
	Core.Tick(1.0, Reader);
	EXPECT_EQ(Core.GetRuntime(1).State, EResolveState::Pending);
	Core.Finish(1.5);
	Core.Finish(9.0);
	EXPECT_EQ(Core.GetRuntime(1).State, EResolveState::Unresolved);
	EXPECT_EQ(Core.GetRuntime(1).Reason, "no target pawn resolved yet");
	EXPECT_EQ(Core.GetAccumulator(0).TotalSeconds, 1.5) << "finishing twice changes nothing";
	EXPECT_EQ(Core.GetAccumulator(0).Bool.TrueSeconds, 1.5);
}

TEST(SamplingCore, FailFastMarksOnlyAFailureNoLaterSampleCanRepair)
{
	struct FCase
	{
		const char* Expect;
		double MarkedFrom; // -1: never marked within the run
	};
	// speed = t * 100 for t in [0, 3], read every 0.5 s; grounded turns true at 2.0.
	const FCase Cases[] = {
		{R"({"op": "lt", "var": "speed", "value": 120})", 1.5},
		{R"({"op": "lt", "var": "speed", "value": 120, "severity": "warn"})", -1},
		{R"({"op": "gt", "var": "speed", "value": 1000, "when": "ever"})", -1},
		{R"({"op": "gt", "var": "speed", "value": 220, "when": "never"})", 2.5},
		{R"({"op": "gt", "var": "speed", "value": 10, "when": "initial"})", 0.0},
		{R"({"op": "becomes_true_within", "var": "grounded", "seconds": 1})", 1.5},
		{R"({"op": "becomes_true_within", "var": "grounded", "seconds": 2.5})", -1},
		{R"({"op": "stays_true_for", "var": "grounded", "seconds": 2})", 1.5},
		{R"({"op": "rising_edges", "var": "grounded", "max": 0})", 2.0},
		{R"({"op": "monotonic", "var": "speed", "direction": "decreasing"})", 0.5},
		{R"({"op": "stable", "var": "speed", "max_delta": 100})", 1.5},
		{R"({"op": "before", "var": "grounded", "other_var": "speed", "other_event": "change"})", 0.5},
		{R"({"op": "before", "var": "speed", "event": "change", "other_var": "grounded", "max_gap": 1})", 2.0},
		{R"({"op": "duty_cycle", "var": "grounded", "min": 0.9})", -1},
	};
	for (const FCase& C : Cases)
	{
		SCOPED_TRACE(C.Expect);
		FSamplingSettings Settings;
		Settings.bFailFast = true;
		FSamplingCore Core = MakeCore(R"([{"name": "speed", "path": "Speed"}, {"name": "grounded", "path": "bGrounded"}])", Settings,
			(std::string("[") + C.Expect + "]").c_str(), 3.0);
		FFunctionReader Reader(Core, [](const std::string& Name, double T) {
			return Name == "speed" ? FReadResult::Ok(FSampleValue::MakeNumber(T * 100.0)) : FReadResult::Ok(FSampleValue::MakeBool(T >= 2.0));
		});
		double MarkedAt = -1.0;
		for (int I = 0; I <= 6 && MarkedAt < 0.0; ++I)
		{
			Core.Tick(0.5 * I, Reader);
			if (Core.IsFailFastMarked()) MarkedAt = 0.5 * I;
		}
		EXPECT_EQ(MarkedAt, C.MarkedFrom);
	}
}

TEST(SamplingCore, FailFastMarksNothingUnlessAsked)
{
	FSamplingCore Core = MakeCore(R"([{"name": "speed", "path": "Speed"}])", FSamplingSettings(), R"([{"op": "lt", "var": "speed", "value": 0}])");
	FFunctionReader Reader(Core, [](const std::string&, double) { return FReadResult::Ok(FSampleValue::MakeNumber(1)); });
	Core.Tick(0.0, Reader);
	EXPECT_FALSE(Core.IsFailFastMarked());
}

TEST(Evaluator, AResolvedVariableWithoutSamplesFailsAsNoSamples)
{
	Tarnwick::Expectations::FExpectation E;
	E.Id = "e0";
	E.Op = Tarnwick::Expectations::EOp::Lt;
	E.Var = SplitVarRef("speed");
	E.Value.Kind = Tarnwick::Expectations::ELiteralKind::Number;
	E.Value.Number = 3;
	Tarnwick::Expectations::FExpectationTracker Tracker(E, 0, -1, 5.0);
	FVarAccumulator Empty;
	Tarnwick::Expectations::FEvalContext Context;
	Context.SessionSeconds = 5.0;
	Context.Vars.push_back({"speed", true, "", false, -1.0, false, ESampleKind::Missing, -1.0, &Empty});
	const Tarnwick::Expectations::FEvalResult R = Tarnwick::Expectations::EvaluateExpectation(Tracker, Context);
	EXPECT_FALSE(R.bPassed);
	EXPECT_EQ(R.Record["reason"], "no_samples");
	EXPECT_EQ(R.Record["message"],
		"Expected 'speed < 3', but no samples were recorded for 'speed' (the session). An expectation over an empty sample set fails rather than passing "
		"vacuously.");
	EXPECT_EQ(R.Record["decided_at"], 5.0);
}

TEST(Evaluator, AStateMissingFromAnOverflowedDwellMapNeverPasses)
{
	FSamplingCore Core = MakeCore(R"([{"name": "state", "path": "State"}])", FSamplingSettings(),
		R"([{"id": "rare", "op": "time_in_state", "var": "state", "value": "State39", "max_seconds": 5},
			{"id": "known", "op": "time_in_state", "var": "state", "value": "state0", "max_seconds": 5}])",
		60.0);
	FFunctionReader Reader(Core, [](const std::string&, double T) { return FReadResult::Ok(FSampleValue::MakeString("State" + std::to_string(static_cast<int>(T)))); });
	for (int I = 0; I < 40; ++I) Core.Tick(static_cast<double>(I), Reader);
	Core.Finish(40.0);
	Core.Evaluate(1, 40.0);
	const FJson& Rare = Core.GetEvaluation()->Records[0];
	EXPECT_EQ(Rare["passed"], false);
	EXPECT_EQ(Rare["margin"], nullptr);
	EXPECT_TRUE(Rare["message"].get<std::string>().starts_with(
		"Expected 'state dwells in 'State39'', but state dwelled in 'State39' for 0.00s (dwell map overflowed 32 distinct values). Context: 40 "))
		<< Rare["message"];
	EXPECT_EQ(Core.GetEvaluation()->Records[1]["passed"], true);
}
}
