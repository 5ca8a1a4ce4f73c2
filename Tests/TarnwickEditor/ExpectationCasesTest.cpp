// The evaluator's cases as data: each file under ExpectationCases/ holds cases of a timeline, the expectations
// and the records they must produce (every key given must match; sentences exactly). A case runs the whole
// pipeline (cadence, accumulators, incremental trackers, evaluation) on a scripted timeline.
//
// Case keys: "name"; "sample_spec" (default: a property spec per timeline variable); "settings"
// (sample_interval, dispatch_interval, resolve_grace_seconds, max_samples, fail_fast); "duration" (default:
// the last pass's time); "timeline"; "status" (default 1, complete); "session_seconds" (default: the last
// pass's time); "expect"; "results" (records, in order); "summary"; "failed_ids"; "fail_fast_marked".
#include "ScriptedTimeline.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace
{
using namespace Tarnwick::Test;

std::vector<std::string> CaseFiles()
{
	std::vector<std::string> Files;
	for (const auto& Entry : std::filesystem::directory_iterator(TARNWICK_SOURCE_DIR "/Tests/TarnwickEditor/ExpectationCases"))
	{
		if (Entry.path().extension() == ".json") Files.push_back(Entry.path().stem().string());
	}
	std::sort(Files.begin(), Files.end());
	return Files;
}

void RunCase(const FJson& Case)
{
	SCOPED_TRACE(Case.value("name", std::string("<unnamed>")));
	FSamplingCore Core;
	const FJson Specs = Case.contains("sample_spec") ? Case["sample_spec"] : SpecsFromTimeline(Case["timeline"]);
	std::string Refusal;
	ASSERT_TRUE(Core.ParseSampleSpecs(FJson{{"sample_spec", Specs}}, Refusal)) << Refusal;

	const FJson Settings = Case.value("settings", FJson::object());
	FSamplingSettings S;
	S.SampleInterval = Settings.value("sample_interval", 0.0);
	S.DispatchInterval = Settings.value("dispatch_interval", 0.1);
	S.ResolveGraceSeconds = Settings.value("resolve_grace_seconds", 2.0);
	S.MaxSamples = Settings.value("max_samples", 2000);
	S.bFailFast = Settings.value("fail_fast", false);
	Core.SetSettings(S);

	const std::vector<std::pair<double, FJson>> Passes = ExpandTimeline(Case["timeline"]);
	const double LastT = Passes.empty() ? 0.0 : Passes.back().first;
	std::vector<std::string> Unsatisfiable;
	ASSERT_TRUE(Core.ParseExpectations(Case["expect"], Case.value("duration", LastT), Refusal, Unsatisfiable)) << Refusal;

	FScriptedReader Reader(Core);
	RunTimeline(Core, Reader, Case["timeline"]);
	const double SessionSeconds = Case.value("session_seconds", LastT);
	Core.Finish(SessionSeconds);
	Core.Evaluate(Case.value("status", 1), SessionSeconds);

	FJson Report = FJson::object();
	Core.WriteResolutionAndExpectations(Report);
	const FJson& Records = Report["expectations"];
	const FJson& Expected = Case["results"];
	ASSERT_EQ(Records.size(), Expected.size()) << Records.dump(1);
	for (size_t I = 0; I < Expected.size(); ++I) ExpectSubset(Expected[I], Records[I], "results[" + std::to_string(I) + "]");
	if (Case.contains("summary")) ExpectSubset(Case["summary"], Report["expectations_summary"], "summary");
	if (Case.contains("failed_ids"))
	{
		EXPECT_EQ(Case["failed_ids"], Report["expectations_failed"]);
	}
	if (Case.contains("fail_fast_marked"))
	{
		EXPECT_EQ(Case["fail_fast_marked"].get<bool>(), Core.IsFailFastMarked());
	}
}

class ExpectationCases : public ::testing::TestWithParam<std::string>
{
};

TEST_P(ExpectationCases, EveryCaseProducesItsRecords)
{
	const std::string File = TARNWICK_SOURCE_DIR "/Tests/TarnwickEditor/ExpectationCases/" + GetParam() + ".json";
	std::ifstream In(File);
	ASSERT_TRUE(In) << File;
	const FJson Cases = FJson::parse(In);
	for (const FJson& Case : Cases["cases"]) RunCase(Case);
}

INSTANTIATE_TEST_SUITE_P(Files, ExpectationCases, ::testing::ValuesIn(CaseFiles()), [](const auto& Info) { return Info.param; });
}
