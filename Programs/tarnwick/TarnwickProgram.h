// What the executable's subcommands do, apart from command-line parsing.
#pragma once
#include <string>
#include <vector>

namespace Tarnwick::Program
{
struct FCommonOptions
{
	std::string ProjectDir = TARNWICK_DEFAULT_PROJECT;
	std::string LogLevel = "warning";
	/** "realtime" (frames paced at 60 per second) or "virtual" (back to back, fixed delta, deterministic). */
	std::string Clock = "realtime";
};

struct FServeOptions
{
	FCommonOptions Common;
	bool bStdio = false;
	std::string HttpAddress;
	std::string Token;
	std::vector<std::string> Toolset;
	std::string ToolMode = "flat";
};

struct FCallOptions
{
	FCommonOptions Common;
	std::string Tool;
	std::string ArgumentsJson = "{}";
};

struct FSmokeOptions
{
	FCommonOptions Common;
	/** A JSON file holding run_pie_smoke's parameters. */
	std::string SpecFile;
	/** Where to write the report; empty: not written. */
	std::string ReportFile;
};

int RunServe(const FServeOptions& Options);
int RunCall(const FCallOptions& Options);
/** Runs one smoke session on the virtual clock: 0 ok, 1 not ok, 2 refused or a bad spec file. */
int RunSmoke(const FSmokeOptions& Options);
}
