// Loading the hand-built fixture reports: "<name>.spec.json" with either "<name>.report.json" (a session that
// ran) or "<name>.refusal.json" ({message, code, data}: run_pie_smoke refused it). Shared by the unit tests and
// the program that writes the fixtures' JUnit and HTML files for the schema and browser checks.
#pragma once
#include "SmokeSuiteResult.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace Tarnwick::ReportFixtures
{
using namespace Tarnwick::Reports;

inline std::string ReadTextFile(const std::filesystem::path& Path)
{
	std::ifstream In(Path, std::ios::binary);
	std::ostringstream Text;
	Text << In.rdbuf();
	return Text.str();
}

inline FJson ReadJsonFile(const std::filesystem::path& Path)
{
	return FJson::parse(ReadTextFile(Path));
}

/** The fixture called Name from Dir; throws when its files are missing (a broken test tree, not a test result). */
inline FSmokeSpecResult LoadFixture(const std::filesystem::path& Dir, const std::string& Name)
{
	FSmokeSpecResult Result;
	Result.Name = Name;
	Result.SpecPath = "Samples/Arena/Smoke/" + Name + ".json";
	Result.Spec = ReadJsonFile(Dir / (Name + ".spec.json"));
	const std::filesystem::path Report = Dir / (Name + ".report.json");
	if (std::filesystem::exists(Report))
	{
		Result.Report = ReadJsonFile(Report);
		return Result;
	}
	const FJson Refusal = ReadJsonFile(Dir / (Name + ".refusal.json"));
	Result.Outcome = ESmokeOutcome::Refused;
	Result.ErrorMessage = Refusal.at("message").get<std::string>();
	Result.ErrorCode = Refusal.at("code").get<int>();
	Result.ErrorData = Refusal.at("data");
	return Result;
}

inline std::filesystem::path FixtureDir()
{
	return std::filesystem::path(TARNWICK_SOURCE_DIR) / "Tests" / "TarnwickReports" / "Fixtures";
}

/** Every fixture, in name order. */
inline std::vector<std::string> FixtureNames(const std::filesystem::path& Dir)
{
	std::vector<std::string> Names;
	for (const auto& Entry : std::filesystem::directory_iterator(Dir))
	{
		const std::string File = Entry.path().filename().string();
		const std::string Suffix = ".spec.json";
		if (File.size() > Suffix.size() && File.compare(File.size() - Suffix.size(), Suffix.size(), Suffix) == 0)
		{
			Names.push_back(File.substr(0, File.size() - Suffix.size()));
		}
	}
	std::sort(Names.begin(), Names.end());
	return Names;
}

/**
 * The lines behind the paused-stall fixture's must_absent counts, as a runner would have found them in the
 * log after the marker.
 */
inline std::vector<FMatchedLogLine> PausedStallLogLines()
{
	return {
		{0.412, "active_runtime", "Accessed None", "LogScript", "warning",
			"Script Msg: Accessed None trying to read property EnemyRef in BP_Hero_C /Game/Maps/Arena.Arena:PersistentLevel.BP_Hero_C_0"},
		{0.431, "active_runtime", "Accessed None", "LogScript", "warning",
			"Script Msg: Accessed None trying to read property EnemyRef in BP_Hero_C <Tick>"},
		{12.02, "teardown", "Accessed None", "LogScript", "warning", "Script Msg: Accessed None during EndPlay of BP_Hero_C_0"},
	};
}
}
