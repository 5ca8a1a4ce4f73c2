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
	/** Run the editor without a visible window: viewports are never drawn and read back black. */
	bool bHiddenEditor = false;
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

int RunServe(const FServeOptions& Options);
int RunCall(const FCallOptions& Options);
}
