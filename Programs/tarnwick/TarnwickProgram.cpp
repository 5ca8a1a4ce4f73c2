#include "TarnwickProgram.h"

#include "GameThread.h"
#include "Logging.h"
#include "McpHttpClient.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "Mcp/TarnwickTransportLog.h"
#include "Printf.h"
#include "SimHost.h"
#include "SmokeSuite.h"
#include "TarnwickCoreTools.h"
#include "TarnwickDispatcher.h"
#include "TarnwickEditorModule.h"
#include "TarnwickGameplayModule.h"
#include "TarnwickLog.h"
#include "TarnwickToolRegistry.h"
#include "Ticker.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

namespace Tarnwick::Program
{
namespace
{
std::atomic<bool> GStopRequested{false};

void OnSignal(int)
{
	GStopRequested.store(true);
	FGameThreadTaskQueue::Get().Wake();
}

ELogVerbosity::Type ParseLogLevel(const std::string& Level)
{
	if (Level == "error") return ELogVerbosity::Error;
	if (Level == "display") return ELogVerbosity::Display;
	if (Level == "log") return ELogVerbosity::Log;
	if (Level == "verbose") return ELogVerbosity::Verbose;
	return ELogVerbosity::Warning;
}

/** What both subcommands run on: stderr logging, the simulated editor on the project, the core's tools. */
class FRuntime
{
public:
	bool StartUp(const FCommonOptions& Options, bool bServing = false)
	{
		StdErr.SetMaxVerbosity(ParseLogLevel(Options.LogLevel));
		GLog->AddOutputDevice(&StdErr);
		// The transports' own lines (sessions, connections, refusals) go to stderr only, never into the editor
		// log that agents read.
		Mcp::SetTransportLogVerbosity(ParseLogLevel(Options.LogLevel));
		Mcp::SetTransportLogSink([this](ELogVerbosity::Type Verbosity, std::string_view Line) { StdErr.Serialize(Line, Verbosity, "mcp", 0.0); });
		Sim::FSimHostOptions HostOptions;
		HostOptions.ProjectDir = Options.ProjectDir;
		// No person sits at a served editor: a modal nobody can answer must not stop every later call.
		HostOptions.ModalTimeoutFrames = 600;
		HostOptions.bHiddenEditor = Options.bHiddenEditor;
		// A served editor starts Python with itself, so that the first probe of a session does not pay for it.
		HostOptions.bStartPythonAtLaunch = bServing;
		if (!Sim::ParseClockMode(Options.Clock, HostOptions.ClockMode))
		{
			std::fprintf(stderr, "tarnwick: --clock must be realtime or virtual, got '%s'\n", Options.Clock.c_str());
			return false;
		}
		std::string Error;
		Host = Sim::FSimHost::Create(HostOptions, &Error);
		if (!Host)
		{
			std::fprintf(stderr, "tarnwick: %s\n", Error.c_str());
			return false;
		}
		CoreTools::Register();
		EditorModule.StartupModule();
		GameplayModule.StartupModule();
		return true;
	}

	~FRuntime()
	{
		Mcp::SetTransportLogSink(nullptr);
		if (Host) GameplayModule.ShutdownModule();
		if (Host) EditorModule.ShutdownModule();
		CoreTools::Unregister();
		Host.reset();
		GLog->RemoveOutputDevice(&StdErr);
	}

	Sim::FSimHost& GetHost() { return *Host; }
	FOutputDevice& GetStdErr() { return StdErr; }

private:
	FOutputDeviceStdErr StdErr;
	std::unique_ptr<Sim::FSimHost> Host;
	FTarnwickEditorModule EditorModule;
	FTarnwickGameplayModule GameplayModule;
};

bool SplitHostPort(const std::string& Address, std::string& OutHost, int& OutPort)
{
	std::string Port;
	if (!Mcp::HttpRules::SplitHostPort(Address, OutHost, Port) || OutHost.empty() || Port.empty() || Port.size() > 5) return false;
	for (char C : Port)
	{
		if (C < '0' || C > '9') return false;
	}
	OutPort = std::stoi(Port);
	return OutPort <= 65535;
}
}

std::string CheckListenAddress(const std::string& Host, int Port, bool bAllowRemote, bool bHasToken)
{
	if (Mcp::HttpRules::IsLoopbackHostName(Host)) return std::string();
	if (!bAllowRemote)
	{
		return Printf("refusing to listen on %s:%d: it is not a loopback address, so other machines could drive this editor. "
					  "Pass --allow-remote (with a token) if that is what you want, or use --http 127.0.0.1:%d",
			Host.c_str(), Port, Port);
	}
	if (!bHasToken)
	{
		return Printf("--allow-remote needs a token (--token or the TARNWICK_TOKEN environment variable): without one, anyone "
					  "who reaches %s:%d could drive this editor",
			Host.c_str(), Port);
	}
	return std::string();
}

std::string ClientConfigText(const std::string& Address, bool bToken)
{
	std::string Entry = Printf(R"({ "type": "http", "url": "http://%s/mcp")", Address.c_str());
	if (bToken) Entry += R"(, "headers": { "Authorization": "Bearer ${TARNWICK_TOKEN}" })";
	Entry += " }";
	return Printf(R"({ "mcpServers": { "tarnwick": %s } })", Entry.c_str());
}

int RunServe(const FServeOptions& Options)
{
	Mcp::FHttpOptions HttpOptions;
	if (!Options.HttpAddress.empty())
	{
		if (!SplitHostPort(Options.HttpAddress, HttpOptions.Host, HttpOptions.Port))
		{
			std::fprintf(stderr, "tarnwick: --http wants HOST:PORT, got '%s'\n", Options.HttpAddress.c_str());
			return 2;
		}
		if (const std::string Refused = CheckListenAddress(HttpOptions.Host, HttpOptions.Port, Options.bAllowRemote, !Options.Token.empty());
			!Refused.empty())
		{
			std::fprintf(stderr, "tarnwick: %s\n", Refused.c_str());
			return 2;
		}
		HttpOptions.Token = Options.Token;
		HttpOptions.bAllowRemote = Options.bAllowRemote;
	}

	FRuntime Runtime;
	if (!Runtime.StartUp(Options.Common, true)) return 2;
	if (const std::optional<std::string> Unknown = Mcp::CheckToolset(Options.Toolset))
	{
		std::fprintf(stderr, "tarnwick: %s\n", Unknown->c_str());
		return 2;
	}

	Mcp::FServerOptions ServerOptions;
	ServerOptions.ToolMode = Options.ToolMode == "grouped" ? Mcp::EToolMode::Grouped : Mcp::EToolMode::Flat;
	ServerOptions.Toolset = Options.Toolset;
	ServerOptions.Instructions =
		"Tarnwick drives the Unreal Editor. Long work returns an async_job_id: poll it with brindle_get_async_job.";
	Mcp::FServer Server(ServerOptions);

	std::signal(SIGINT, OnSignal);
	std::signal(SIGTERM, OnSignal);
	std::signal(SIGPIPE, SIG_IGN);

	std::unique_ptr<Mcp::FStdioTransport> Stdio;
	std::unique_ptr<Mcp::FHttpTransport> Http;
	if (!Options.HttpAddress.empty())
	{
		Http = std::make_unique<Mcp::FHttpTransport>(Server, HttpOptions);
		std::string Error;
		if (!Http->Start(Error))
		{
			std::fprintf(stderr, "tarnwick: %s\n", Error.c_str());
			if (Error.find(std::strerror(EADDRINUSE)) != std::string::npos)
			{
				std::fprintf(stderr, "tarnwick: port %d on %s is taken (another tarnwick, or another program, listens there); "
									 "choose a free one with --http %s:PORT (make run HTTP=%s:PORT)\n",
					HttpOptions.Port, HttpOptions.Host.c_str(), HttpOptions.Host.c_str(), HttpOptions.Host.c_str());
			}
			return 2;
		}
		const std::string Bound = HttpOptions.Host + ":" + std::to_string(Http->GetPort());
		if (Options.bPrintClientConfig)
		{
			// Printed only now that the port is ours, so what the user pastes points at this server.
			std::fprintf(stderr, "\nTarnwick is serving http://%s/mcp\nPaste this into your MCP client's configuration (.mcp.json):\n\n  %s\n\n%s",
				Bound.c_str(), ClientConfigText(Bound, !Options.Token.empty()).c_str(),
				Options.Token.empty() ? "" : "(the client reads the token from its TARNWICK_TOKEN environment variable)\n\n");
			std::fflush(stderr);
		}
	}
	else
	{
		Stdio = std::make_unique<Mcp::FStdioTransport>(Server);
		Stdio->Start();
	}

	// The stdio session ends the process when its input ends; the check rides on the frame loop.
	FTSTicker::FDelegateHandle StdioWatch;
	if (Stdio)
	{
		StdioWatch = FTSTicker::GetCoreTicker().AddTicker("TarnwickStdioWatch", 0.0f, [&](float) {
			if (Stdio->IsFinished()) GStopRequested.store(true);
			return true;
		});
	}
	Runtime.GetHost().Run(GStopRequested);
	FTSTicker::GetCoreTicker().RemoveTicker(StdioWatch);
	if (Http) Http->Stop();
	FGameThreadTaskQueue::Get().RunPending();
	return 0;
}

namespace
{
/** The JSON `tarnwick call` prints for a tools/call answer, and whether it was a success. */
std::pair<FJson, bool> CallOutput(const FJson& ToolResult)
{
	const bool bError = ToolResult.value("isError", false);
	FJson Out = ToolResult.contains("structuredContent") ? ToolResult["structuredContent"] : FJson::object();
	return {std::move(Out), !bError};
}

int PrintCallOutput(const FJson& Out, bool bSuccess)
{
	std::cout << Out.dump(2, ' ', false, nlohmann::detail::error_handler_t::replace) << std::endl;
	return bSuccess ? 0 : 1;
}

int RunRemoteCall(const FCallOptions& Options, const FJsonPtr& Arguments)
{
	FHttpUrl Url;
	std::string Error;
	if (!ParseHttpUrl(Options.Url, Url, Error))
	{
		std::fprintf(stderr, "tarnwick: --url: %s\n", Error.c_str());
		return 2;
	}
	FMcpHttpClient Client(Url, Options.Token);
	if (!Client.Connect(Error))
	{
		std::fprintf(stderr, "tarnwick: %s\n", Error.c_str());
		return 2;
	}
	const std::optional<FJson> Answer = Client.Request("tools/call", FJson{{"name", Options.Tool}, {"arguments", *Arguments}}, Error);
	Client.Close();
	if (!Answer)
	{
		std::fprintf(stderr, "tarnwick: %s\n", Error.c_str());
		return 2;
	}
	if (Answer->contains("error"))
	{
		return PrintCallOutput(FJson{{"error", (*Answer)["error"]}}, false);
	}
	const auto [Out, bSuccess] = CallOutput((*Answer)["result"]);
	return PrintCallOutput(Out, bSuccess);
}
}

int RunCall(const FCallOptions& Options)
{
	const FJsonPtr Arguments = FTarnwickJsonUtils::Parse(Options.ArgumentsJson);
	if (!Arguments)
	{
		std::fprintf(stderr, "tarnwick: the arguments must be one JSON object, got '%s'\n", Options.ArgumentsJson.c_str());
		return 2;
	}
	if (!Options.Url.empty()) return RunRemoteCall(Options, Arguments);

	FRuntime Runtime;
	if (!Runtime.StartUp(Options.Common)) return 2;
	// The same path as an MCP client's call: names resolved (with suggestions), arguments checked, a disabled
	// namespace answering its reason.
	const Mcp::FServer Server(Mcp::FServerOptions{});
	int RpcCode = 0;
	std::string RpcMessage;
	const FJson Result = Server.CallTool(FJson{{"name", Options.Tool}, {"arguments", *Arguments}}, Mcp::FSessionContext{"cli", ""}, RpcCode, RpcMessage);
	// Let work the call queued for the next frame happen before the editor goes away.
	Runtime.GetHost().StepFrame();
	if (RpcCode != 0)
	{
		return PrintCallOutput(FJson{{"error", FJson{{"code", RpcCode}, {"message", RpcMessage}}}}, false);
	}
	const auto [Out, bSuccess] = CallOutput(Result);
	return PrintCallOutput(Out, bSuccess);
}

int RunSmoke(const FSmokeOptions& Options)
{
	FCommonOptions Common = Options.Common;
	// The harness is deterministic only on the virtual clock, and a CI run should not wait on real time.
	Common.Clock = "virtual";
	FRuntime Runtime;
	return RunSmokeSuite(Options, [&]() {
		if (!Runtime.StartUp(Common)) return FSmokeEditor{};
		return FSmokeEditor{&Runtime.GetHost(), &Runtime.GetStdErr(), ParseLogLevel(Common.LogLevel)};
	});
}
}
