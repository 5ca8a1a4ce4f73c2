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
	/** JSON files holding run_pie_smoke's parameters, or folders of them: one spec, or a suite run in turn. */
	std::vector<std::string> Specs;
	/** Where to write the report (one spec file) or the folder of reports (a suite); empty: not written. */
	std::string ReportFile;
	/** Where to write the JUnit XML file; empty: not written. */
	std::string JUnitFile;
	/** Where to write the HTML page; empty: not written. */
	std::string HtmlFile;
};

int RunServe(const FServeOptions& Options);
int RunCall(const FCallOptions& Options);
/** Runs smoke sessions on the virtual clock, one spec after another: 0 all ok, 1 any not ok, 2 any refused or a
 *  bad spec file. */
int RunSmoke(const FSmokeOptions& Options);
}
