// A long session made in code: the report of a run with many variables of every plottable kind and as many
// retained rows as max_samples allows (100,000), for the size and speed checks of the HTML writer. Values are
// deterministic functions of time with a known violation, so tests can say where the marker must be.
#pragma once
#include "SmokeSuiteResult.h"

#include <cmath>
#include <string>

namespace Tarnwick::ReportFixtures
{
using namespace Tarnwick::Reports;

struct FSyntheticShape
{
	int Rows = 100000;
	int Numbers = 10;
	int Bools = 4;
	int Strings = 3;
	int Vectors = 3;
	double Duration = 120.0;
};

/** Number variable 0 ("Num0") peaks at 1234.5 at exactly this time; an always-lt-1000 expectation fails there. */
constexpr double SyntheticPeakT = 77.7;

inline FSmokeSpecResult MakeSyntheticSession(const FSyntheticShape& Shape = {})
{
	FSmokeSpecResult Result;
	Result.Name = "synthetic_long_session";
	Result.SpecPath = "generated";
	FJson& Report = Result.Report;
	const double Dt = Shape.Duration / Shape.Rows;
	const int PeakRow = static_cast<int>(std::lround(SyntheticPeakT / Dt));
	static const char* States[] = {"Idle", "Walking", "Running", "Jumping", "Falling"};

	FJson Rows = FJson::array();
	for (int K = 0; K < Shape.Rows; ++K)
	{
		const double T = K * Dt;
		FJson Values = FJson::object();
		for (int I = 0; I < Shape.Numbers; ++I)
		{
			double V = 500.0 + 300.0 * std::sin(T * (0.05 + 0.01 * I) + I) + 20.0 * std::sin(T * 13.0 + I);
			if (I == 0 && K == PeakRow)
			{
				V = 1234.5;
			}
			Values["Num" + std::to_string(I)] = V;
		}
		for (int I = 0; I < Shape.Bools; ++I)
		{
			// Bool 0 flickers every row: the bands must merge rather than draw 50,000 rectangles.
			Values["Flag" + std::to_string(I)] = I == 0 ? (K % 2 == 0) : std::sin(T * (0.2 + 0.1 * I)) > 0.0;
		}
		for (int I = 0; I < Shape.Strings; ++I)
		{
			const int State = static_cast<int>(std::fmod(T * (0.1 + 0.3 * I), 5.0));
			Values["State" + std::to_string(I)] = States[State];
		}
		for (int I = 0; I < Shape.Vectors; ++I)
		{
			Values["Vec" + std::to_string(I)] = FJson::array({400.0 * std::cos(T * 0.3 + I), 400.0 * std::sin(T * 0.3 + I), 10.0 * std::sin(T)});
		}
		Rows.push_back({{"t", T}, {"frame", 1000 + K}, {"values", std::move(Values)}});
	}

	Report["session_id"] = "pie_smoke_9_120000";
	Report["status"] = "complete";
	Report["marker"] = "TARNWICK_SMOKE";
	Report["map"] = "/Game/Maps/Arena";
	Report["duration"] = Shape.Duration;
	Report["pie_active"] = false;
	Report["pie_ready"] = true;
	Report["lifecycle"] = "teardown-complete";
	Report["sample_count"] = Shape.Rows;
	Report["elapsed_seconds"] = Shape.Duration;
	Report["wall_seconds"] = 3.1;
	FJson Summary = FJson::object();
	for (int I = 0; I < Shape.Numbers; ++I)
	{
		Summary["Num" + std::to_string(I)] = {{"kind", "number"}, {"sample_count", Shape.Rows}, {"total_seconds", Shape.Duration}};
	}
	for (int I = 0; I < Shape.Bools; ++I)
	{
		Summary["Flag" + std::to_string(I)] = {{"kind", "bool"}, {"sample_count", Shape.Rows}, {"total_seconds", Shape.Duration}};
	}
	for (int I = 0; I < Shape.Strings; ++I)
	{
		Summary["State" + std::to_string(I)] = {{"kind", "string"}, {"sample_count", Shape.Rows}, {"total_seconds", Shape.Duration}};
	}
	for (int I = 0; I < Shape.Vectors; ++I)
	{
		Summary["Vec" + std::to_string(I)] = {{"kind", "vector"}, {"sample_count", Shape.Rows}, {"total_seconds", Shape.Duration}};
	}
	Report["var_summary"] = std::move(Summary);
	Report["samples_truncated"] = false;
	Report["samples_retained"] = Shape.Rows;
	Report["samples"] = std::move(Rows);
	Report["expectations"] = FJson::array({
		{{"id", "below_1000"}, {"op", "lt"}, {"passed", false}, {"severity", "error"}, {"spec", "Num0 < 1000"}, {"when", "always"},
			{"value", 1000}, {"value_kind", "number"}, {"tolerance", 1e-6}, {"reason", "violated_at_sample"},
			{"message", "Expected 'Num0 < 1000' for EVERY sample in the session, but sample #" + std::to_string(PeakRow) +
				" at t=77.70s had Num0 = 1234.5. Context: ..."},
			{"first_violation", {{"sample_index", PeakRow}, {"actual", 1234.5}}}, {"margin", -234.5}, {"decided_at", PeakRow * Dt}},
	});
	Report["expectations_summary"] = {{"total", 1}, {"failed", 1}, {"warned", 0}};
	Report["expectations_failed"] = FJson::array({"below_1000"});
	Report["log_ok"] = true;
	Report["sample_ok"] = true;
	Report["expectations_ok"] = false;
	Report["stable_ok"] = true;
	Report["ok"] = false;
	Result.Spec = {{"duration", Shape.Duration}, {"max_samples", 100000},
		{"expect", FJson::array({{{"id", "below_1000"}, {"op", "lt"}, {"var", "Num0"}, {"value", 1000}}})}};
	return Result;
}
}
