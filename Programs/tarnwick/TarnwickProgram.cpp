#include "TarnwickProgram.h"

#include "GameThread.h"
#include "Logging.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "SimHost.h"
#include "TarnwickCoreTools.h"
#include "TarnwickDispatcher.h"
#include "TarnwickEditorModule.h"
#include "TarnwickLog.h"
#include "TarnwickToolRegistry.h"
#include "Ticker.h"

#include <atomic>
#include <csignal>
#include <cstdio>
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
		return true;
	}

	~FRuntime()
	{
		if (Host) EditorModule.ShutdownModule();
		CoreTools::Unregister();
		Host.reset();
		GLog->RemoveOutputDevice(&StdErr);
	}

	Sim::FSimHost& GetHost() { return *Host; }

private:
	FOutputDeviceStdErr StdErr;
	std::unique_ptr<Sim::FSimHost> Host;
	FTarnwickEditorModule EditorModule;
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

int RunServe(const FServeOptions& Options)
{
	FRuntime Runtime;
	if (!Runtime.StartUp(Options.Common, true)) return 2;

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
		Mcp::FHttpOptions HttpOptions;
		if (!SplitHostPort(Options.HttpAddress, HttpOptions.Host, HttpOptions.Port))
		{
			std::fprintf(stderr, "tarnwick: --http wants HOST:PORT, got '%s'\n", Options.HttpAddress.c_str());
			return 2;
		}
		HttpOptions.Token = Options.Token;
		Http = std::make_unique<Mcp::FHttpTransport>(Server, HttpOptions);
		std::string Error;
		if (!Http->Start(Error))
		{
			std::fprintf(stderr, "tarnwick: %s\n", Error.c_str());
			return 2;
		}
		TW_LOG(LogTarnwick, Display, "Serving MCP on http://%s:%d/mcp", HttpOptions.Host.c_str(), Http->GetPort());
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

int RunCall(const FCallOptions& Options)
{
	FRuntime Runtime;
	if (!Runtime.StartUp(Options.Common)) return 2;
	const FJsonPtr Arguments = FTarnwickJsonUtils::Parse(Options.ArgumentsJson);
	if (!Arguments)
	{
		std::fprintf(stderr, "tarnwick: the arguments must be one JSON object, got '%s'\n", Options.ArgumentsJson.c_str());
		return 2;
	}
	const std::optional<FTarnwickActionInfo> Info = FTarnwickToolRegistry::Get().FindTool(Options.Tool);
	FJson Out;
	bool bSuccess = false;
	if (!Info)
	{
		Out = FJson{{"error", FJson{{"code", Mcp::ErrorCodes::InvalidParams}, {"message", "Unknown tool: " + Options.Tool}}}};
	}
	else
	{
		const FTarnwickActionResult Result = Dispatch::RunToolCall(Info->Namespace, Info->Action, Arguments, "cli", Info->ToolName());
		bSuccess = Result.bSuccess;
		if (bSuccess)
		{
			Out = Result.Result ? *Result.Result : FJson::object();
		}
		else
		{
			FJson Error = FJson{{"code", Result.ErrorCode}, {"message", Result.ErrorMessage}};
			if (Result.ErrorData && !Result.ErrorData->empty()) Error["data"] = *Result.ErrorData;
			Out = FJson{{"error", std::move(Error)}};
		}
	}
	// Let work the call queued for the next frame happen before the editor goes away.
	Runtime.GetHost().StepFrame();
	std::cout << Out.dump(2, ' ', false, nlohmann::detail::error_handler_t::replace) << std::endl;
	return bSuccess ? 0 : 1;
}
}
