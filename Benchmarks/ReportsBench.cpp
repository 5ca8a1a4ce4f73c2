// What the report writers cost on the longest session a spec can ask for: 20 sampled variables (numbers,
// bools, strings, vectors) over 100,000 retained rows, the report already parsed, as `tarnwick smoke --html`
// holds it. Also the JUnit file for a suite of such sessions. The page size is reported as a counter, since
// a CI artifact must stay small too. The figures are in docs/performance.md.
#include "HtmlReport.h"
#include "JUnitReport.h"
#include "SyntheticSession.h"

#include <benchmark/benchmark.h>

namespace
{
const Tarnwick::Reports::FSmokeSpecResult& LongSession()
{
	static const Tarnwick::Reports::FSmokeSpecResult Session = Tarnwick::ReportFixtures::MakeSyntheticSession();
	return Session;
}

void BM_SessionHtml100kRows20Vars(benchmark::State& State)
{
	const Tarnwick::Reports::FSmokeSpecResult& Session = LongSession();
	size_t Bytes = 0;
	for (auto _ : State)
	{
		const std::string Html = Tarnwick::Reports::WriteSessionHtml(Session);
		Bytes = Html.size();
		benchmark::DoNotOptimize(Html.data());
	}
	State.counters["html_bytes"] = static_cast<double>(Bytes);
}
BENCHMARK(BM_SessionHtml100kRows20Vars)->Unit(benchmark::kMillisecond);

void BM_SessionHtmlFixtureSize(benchmark::State& State)
{
	// A typical spec: 5 variables over 360 rows (6 s at 60 frames per second).
	Tarnwick::ReportFixtures::FSyntheticShape Shape;
	Shape.Rows = 360;
	Shape.Numbers = 2;
	Shape.Bools = 1;
	Shape.Strings = 1;
	Shape.Vectors = 1;
	Shape.Duration = 6.0;
	const Tarnwick::Reports::FSmokeSpecResult Session = Tarnwick::ReportFixtures::MakeSyntheticSession(Shape);
	for (auto _ : State)
	{
		benchmark::DoNotOptimize(Tarnwick::Reports::WriteSessionHtml(Session).data());
	}
}
BENCHMARK(BM_SessionHtmlFixtureSize)->Unit(benchmark::kMicrosecond);

void BM_SuiteJUnit(benchmark::State& State)
{
	Tarnwick::Reports::FSmokeSuite Suite;
	for (int I = 0; I < 20; ++I)
	{
		Suite.Specs.push_back(LongSession());
		Suite.Specs.back().Name = "spec_" + std::to_string(I);
	}
	for (auto _ : State)
	{
		benchmark::DoNotOptimize(Tarnwick::Reports::WriteJUnitXml(Suite).data());
	}
}
BENCHMARK(BM_SuiteJUnit)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_MAIN();
