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
	/** From --token or the environment variable TARNWICK_TOKEN (which `ps` does not show). */
	std::string Token;
	/** Listening on an address other than loopback is refused unless this is set, and then needs a token. */
	bool bAllowRemote = false;
	/** Print the .mcp.json entry to stderr once the port is bound (what `make run` shows). */
	bool bPrintClientConfig = false;
	std::vector<std::string> Toolset;
	std::string ToolMode = "flat";
};

struct FCallOptions
{
	FCommonOptions Common;
	std::string Tool;
	std::string ArgumentsJson = "{}";
	/** Call a running server at this MCP endpoint instead of starting an editor of our own. */
	std::string Url;
	std::string Token;
};

/** Why serving on Host is refused, or "" when it may go ahead: anything but loopback needs bAllowRemote and a
 *  token, since whoever reaches the port drives the editor. */
std::string CheckListenAddress(const std::string& Host, int Port, bool bAllowRemote, bool bHasToken);

/** The .mcp.json entry for a server at Address (host:port), with an Authorization header when bToken. */
std::string ClientConfigText(const std::string& Address, bool bToken);

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
