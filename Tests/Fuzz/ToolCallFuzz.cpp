// libFuzzer target: the whole path of a tools/call, from the bytes of the message to an action's handler and
// back, against every tool the editor and gameplay modules register on the simulated editor. The first byte picks
// the tool (and the listing mode), the rest is the call's "arguments" text as a client would send it. Whatever
// comes, exactly one well-formed JSON-RPC answer goes back, and the editor keeps running frames.
#include "GameThread.h"
#include "Mcp/TarnwickMcpServer.h"
#include "SimHost.h"
#include "TarnwickCoreTools.h"
#include "TarnwickEditorModule.h"
#include "TarnwickGameplayModule.h"
#include "TarnwickToolRegistry.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

using namespace Tarnwick;

namespace
{
struct FWorld
{
	std::unique_ptr<Sim::FSimHost> Host;
	FTarnwickEditorModule Module;
	FTarnwickGameplayModule Gameplay;
	std::unique_ptr<Mcp::FServer> Flat;
	std::unique_ptr<Mcp::FServer> Grouped;
	std::vector<std::string> Names;
};

FWorld& World()
{
	static FWorld* Instance = [] {
		auto* W = new FWorld();
		// A copy of the sample project, so that nothing a tool writes lands in the source tree.
		const std::filesystem::path Project = std::filesystem::temp_directory_path() / "tarnwick-fuzz-project";
		std::filesystem::remove_all(Project);
		std::filesystem::copy(TARNWICK_SOURCE_DIR "/Samples/Arena", Project, std::filesystem::copy_options::recursive);
		Sim::FSimHostOptions Options;
		Options.ProjectDir = Project.string();
		Options.ClockMode = Sim::ESimClockMode::Virtual;
		Options.ModalTimeoutFrames = 10;
		std::string Error;
		W->Host = Sim::FSimHost::Create(Options, &Error);
		if (!W->Host) std::abort();
		FGameThreadTaskQueue::Get().MarkGameThread();
		CoreTools::Register();
		W->Module.StartupModule();
		W->Gameplay.StartupModule();
		W->Flat = std::make_unique<Mcp::FServer>(Mcp::FServerOptions{});
		Mcp::FServerOptions GroupedOptions;
		GroupedOptions.ToolMode = Mcp::EToolMode::Grouped;
		W->Grouped = std::make_unique<Mcp::FServer>(GroupedOptions);
		for (const FTarnwickActionInfo& Info : FTarnwickToolRegistry::Get().GetAllActions()) W->Names.push_back(Info.ToolName());
		for (const std::string& Namespace : FTarnwickToolRegistry::Get().GetNamespaces()) W->Names.push_back(Namespace);
		return W;
	}();
	return *Instance;
}
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size)
{
	if (Size < 1) return 0;
	FWorld& W = World();
	const size_t Pick = Data[0] % W.Names.size();
	Mcp::FServer& Server = (Data[0] & 0x80) ? *W.Grouped : *W.Flat;
	const std::string Arguments(reinterpret_cast<const char*>(Data + 1), Size - 1);
	const std::string Message = R"({"jsonrpc":"2.0","id":7,"method":"tools/call","params":{"name":")" + W.Names[Pick] +
		R"(","arguments":)" + Arguments + "}}";

	const Mcp::FIncomingMessage In = Mcp::FServer::Classify(Message);
	if (In.Kind == Mcp::EMessageKind::Invalid)
	{
		if (!In.ErrorResponse.contains("error")) std::abort();
		return 0;
	}
	if (In.Kind != Mcp::EMessageKind::Request) return 0;
	int Replies = 0;
	Server.HandleRequest(In.Message, Mcp::FSessionContext{"fuzz", "2025-11-25"}, [&Replies](FJson Response) {
		++Replies;
		if (Response.value("id", FJson()) != 7) std::abort();
		if (Response.contains("result") == Response.contains("error")) std::abort();
		(void)FTarnwickJsonUtils::Write(Response);
	});
	FGameThreadTaskQueue::Get().RunPending();
	if (Replies != 1) std::abort();
	// Work a call queued for later frames (PIE starts and stops, steps) runs too.
	W.Host->StepFrames(2);
	return 0;
}
