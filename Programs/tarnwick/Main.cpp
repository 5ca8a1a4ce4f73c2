// tarnwick: the executable. `serve` runs the MCP server on the editor's frame loop; `call` runs one tool.
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
	ServeCmd->add_option("--token", Serve.Token, "Require 'Authorization: Bearer <token>' on HTTP requests");
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
	CLI::App* CallCmd = App.add_subcommand("call", "Run one tool and print its result JSON (exit 1 on an error result)");
	CallCmd->add_option("--project", Call.Common.ProjectDir, "Project folder (holds the .uproject)")->capture_default_str();
	CallCmd->add_option("tool", Call.Tool, "Tool name, e.g. brindle_list_async_jobs or brindle.list_async_jobs")->required();
	CallCmd->add_option("json", Call.ArgumentsJson, "Arguments as one JSON object")->capture_default_str();
	CallCmd->add_option("--clock", Call.Common.Clock, "realtime, or virtual: frames on a simulated clock")
		->check(CLI::IsMember({"realtime", "virtual"}))
		->capture_default_str();
	CallCmd->add_option("--log-level", Call.Common.LogLevel, "stderr log level: error, warning, display, log, verbose")
		->check(CLI::IsMember({"error", "warning", "display", "log", "verbose"}))
		->capture_default_str();
	CallCmd->add_flag("--hidden-editor", Call.Common.bHiddenEditor, "Run the editor without a window: viewports are not drawn and read back black");

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
	return Tarnwick::Program::RunCall(Call);
}
