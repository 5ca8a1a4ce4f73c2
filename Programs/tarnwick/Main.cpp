// tarnwick: the executable. `serve` runs the MCP server on the editor's frame loop; `call` runs one tool; `smoke`
// runs PIE smoke sessions to their end.
#include "TarnwickProgram.h"

#include <CLI/CLI.hpp>

#include <cstdio>

int main(int Argc, char** Argv)
{
	CLI::App App{"Tarnwick: an MCP tool server for the Unreal Editor"};
	App.set_version_flag("--version", std::string("tarnwick ") + TARNWICK_VERSION);
	App.require_subcommand(1);

	Tarnwick::Program::FServeOptions Serve;
	CLI::App* ServeCmd = App.add_subcommand("serve", "Serve MCP over stdio (default) or Streamable HTTP");
	ServeCmd->add_option("--project", Serve.Common.ProjectDir, "Project folder (holds the .uproject)")->capture_default_str();
	auto* StdioFlag = ServeCmd->add_flag("--stdio", Serve.bStdio, "Serve newline-delimited JSON-RPC on stdin/stdout (default)");
	ServeCmd->add_option("--http", Serve.HttpAddress, "Serve Streamable HTTP on HOST:PORT, endpoint /mcp")->excludes(StdioFlag);
	ServeCmd->add_option("--token", Serve.Token,
		"Require 'Authorization: Bearer <token>' on HTTP requests (or set TARNWICK_TOKEN, which ps does not show)")
		->envname("TARNWICK_TOKEN");
	ServeCmd->add_flag("--allow-remote", Serve.bAllowRemote,
		"Allow --http on an address other than loopback (needs a token: whoever reaches the port drives the editor)");
	ServeCmd->add_flag("--print-client-config", Serve.bPrintClientConfig,
		"Once the HTTP port is bound, print the .mcp.json entry for it to stderr");
	ServeCmd->add_option("--toolset", Serve.Toolset,
		"List only these namespaces or families (comma-separated, e.g. editor.logs,editor.pie); calls are unaffected")
		->delimiter(',');
	ServeCmd->add_option("--tool-mode", Serve.ToolMode, "flat: one tool per action; grouped: one tool per namespace")
		->check(CLI::IsMember({"flat", "grouped"}))
		->capture_default_str();
	ServeCmd->add_option("--clock", Serve.Common.Clock, "realtime, or virtual: frames back to back on a simulated clock")
		->check(CLI::IsMember({"realtime", "virtual"}))
		->capture_default_str();
	ServeCmd->add_option("--log-level", Serve.Common.LogLevel, "stderr log level: error, warning, display, log, verbose")
		->check(CLI::IsMember({"error", "warning", "display", "log", "verbose"}))
		->capture_default_str();
	ServeCmd->add_flag("--hidden-editor", Serve.Common.bHiddenEditor, "Run the editor without a window: viewports are not drawn and read back black");

	Tarnwick::Program::FCallOptions Call;
	CLI::App* CallCmd = App.add_subcommand("call",
		"Run one tool and print its result JSON (exit 1 on an error result). Starts an editor of its own on --project, "
		"or calls a running server with --url");
	CallCmd->add_option("--project", Call.Common.ProjectDir, "Project folder (holds the .uproject)")->capture_default_str();
	CallCmd->add_option("tool", Call.Tool, "Tool name, e.g. brindle_list_async_jobs or brindle.list_async_jobs")->required();
	CallCmd->add_option("json", Call.ArgumentsJson, "Arguments as one JSON object")->capture_default_str();
	CallCmd->add_option("--url", Call.Url,
		"Call a running server at this MCP endpoint (e.g. http://127.0.0.1:8765/mcp) instead of starting an editor");
	CallCmd->add_option("--token", Call.Token, "Bearer token for --url (or set TARNWICK_TOKEN)")->envname("TARNWICK_TOKEN");
	CallCmd->add_option("--clock", Call.Common.Clock, "realtime, or virtual: frames on a simulated clock")
		->check(CLI::IsMember({"realtime", "virtual"}))
		->capture_default_str();
	CallCmd->add_option("--log-level", Call.Common.LogLevel, "stderr log level: error, warning, display, log, verbose")
		->check(CLI::IsMember({"error", "warning", "display", "log", "verbose"}))
		->capture_default_str();
	CallCmd->add_flag("--hidden-editor", Call.Common.bHiddenEditor, "Run the editor without a window: viewports are not drawn and read back black");

	Tarnwick::Program::FSmokeOptions Smoke;
	CLI::App* SmokeCmd = App.add_subcommand("smoke",
		"Run PIE smoke sessions to their end on the virtual clock, one spec after another; exit 0 when every session is ok, "
		"1 when any is not, 2 on a refusal or a bad spec");
	SmokeCmd->add_option("--project", Smoke.Common.ProjectDir, "Project folder (holds the .uproject)")->capture_default_str();
	SmokeCmd->add_option("spec", Smoke.Specs,
		"JSON files holding run_pie_smoke's parameters, or folders of them (their *.json files in name order)")->required();
	SmokeCmd->add_option("--report", Smoke.ReportFile,
		"Write the session's report (JSON) to this file; with a folder or several specs, a folder that gets one <spec>.json each");
	SmokeCmd->add_option("--junit", Smoke.JUnitFile, "Write a JUnit XML file: a test suite for each spec, a test case for each expectation");
	SmokeCmd->add_option("--html", Smoke.HtmlFile, "Write one self-contained HTML page: verdicts, a plot per sampled variable, the log");
	SmokeCmd->add_option("--log-level", Smoke.Common.LogLevel, "stderr log level: error, warning, display, log, verbose")
		->check(CLI::IsMember({"error", "warning", "display", "log", "verbose"}))
		->capture_default_str();

	try
	{
		App.parse(Argc, Argv);
	}
	catch (const CLI::ParseError& Error)
	{
		return App.exit(Error);
	}

	if (ServeCmd->parsed())
	{
		return Tarnwick::Program::RunServe(Serve);
	}
	if (SmokeCmd->parsed())
	{
		return Tarnwick::Program::RunSmoke(Smoke);
	}
	return Tarnwick::Program::RunCall(Call);
}
