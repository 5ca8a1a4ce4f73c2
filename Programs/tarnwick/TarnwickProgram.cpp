#include "TarnwickProgram.h"

#include "GameThread.h"
#include "Logging.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "Paths.h"
#include "PlatformTime.h"
#include "TarnwickCoreTools.h"
#include "TarnwickDispatcher.h"
#include "TarnwickLog.h"
#include "TarnwickToolRegistry.h"
#include "Ticker.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
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

/** Sets up what both subcommands need: stderr logging, the project folder, the registrations. */
bool StartUp(const FCommonOptions& Options, FOutputDeviceStdErr& StdErr)
{
	StdErr.SetMaxVerbosity(ParseLogLevel(Options.LogLevel));
	GLog->AddOutputDevice(&StdErr);
	std::error_code Ec;
	if (!std::filesystem::is_directory(Options.ProjectDir, Ec))
	{
		std::fprintf(stderr, "tarnwick: project folder '%s' does not exist\n", Options.ProjectDir.c_str());
		return false;
	}
	FPaths::SetProjectDir(Options.ProjectDir);
	FGameThreadTaskQueue::Get().MarkGameThread();
	CoreTools::Register();
	return true;
}

bool SplitHostPort(const std::string& Address, std::string& OutHost, int& OutPort)
{
	const size_t Colon = Address.rfind(':');
	if (Colon == std::string::npos) return false;
	OutHost = Address.substr(0, Colon);
	if (OutHost.size() >= 2 && OutHost.front() == '[' && OutHost.back() == ']') OutHost = OutHost.substr(1, OutHost.size() - 2);
	try
	{
		size_t Used = 0;
		OutPort = std::stoi(Address.substr(Colon + 1), &Used);
		return Used == Address.size() - Colon - 1 && OutPort >= 0 && OutPort <= 65535 && !OutHost.empty();
	}
	catch (...)
	{
		return false;
	}
}
}

int RunServe(const FServeOptions& Options)
{
	FOutputDeviceStdErr StdErr;
	if (!StartUp(Options.Common, StdErr)) return 2;

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

	// The frame loop: queued calls as soon as they arrive, the core ticker at 60 frames per second.
	constexpr double FrameSeconds = 1.0 / 60.0;
	FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
	double LastFrame = FPlatformTime::Seconds();
	while (!GStopRequested.load())
	{
		Queue.RunPending();
		const double Now = FPlatformTime::Seconds();
		if (Now - LastFrame >= FrameSeconds)
		{
			FTSTicker::GetCoreTicker().Tick(static_cast<float>(Now - LastFrame));
			LastFrame = Now;
		}
		if (Stdio && Stdio->IsFinished()) break;
		Queue.WaitForTasks(std::max(0.0, LastFrame + FrameSeconds - FPlatformTime::Seconds()));
	}
	if (Http) Http->Stop();
	Queue.RunPending();
	GLog->RemoveOutputDevice(&StdErr);
	return 0;
}

int RunCall(const FCallOptions& Options)
{
	FOutputDeviceStdErr StdErr;
	if (!StartUp(Options.Common, StdErr)) return 2;
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
	FGameThreadTaskQueue::Get().RunPending();
	std::cout << Out.dump(2, ' ', false, nlohmann::detail::error_handler_t::replace) << std::endl;
	GLog->RemoveOutputDevice(&StdErr);
	return bSuccess ? 0 : 1;
}
}
