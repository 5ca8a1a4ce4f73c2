#include "TarnwickTestHelpers.h"

#include "GameThread.h"
#include "Logging.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Mcp/TarnwickToolSchema.h"
#include "PlatformTime.h"
#include "TarnwickCoreTools.h"
#include "TarnwickDiagnostics.h"
#include "TarnwickDispatcher.h"
#include "TarnwickParamSchemaBuilder.h"

#include <thread>

using namespace Tarnwick::Mcp;

namespace
{
FJson Request(int Id, const std::string& Method, FJson Params = FJson::object())
{
	return FJson{{"jsonrpc", "2.0"}, {"id", Id}, {"method", Method}, {"params", std::move(Params)}};
}
}

class McpServerTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		FGameThreadTaskQueue::Get().MarkGameThread();
		Tarnwick::CoreTools::Register();
		FTarnwickToolRegistry::Get().RegisterAction("editor", "get_recent_logs", "Recent log lines.",
			[this](const FJsonPtr& Params) {
				LastParams = Params ? *Params : FJson();
				bRanOnGameThread = IsInGameThread();
				return FTarnwickActionResult::Success(FJson{{"count", 0}, {"entries", FJson::array()}});
			},
			FTarnwickParamSchemaBuilder().Optional("count", "integer", "How many.", "50").Build(), "");
		FTarnwickToolRegistry::Get().SetFamily("editor", "get_recent_logs", "logs");
		FTarnwickToolRegistry::Get().RegisterAction("editor", "pause_pie", "Pause.",
			[](const FJsonPtr&) { return FTarnwickActionResult("No PIE session is active", -32603); }, nullptr, "");
		FTarnwickToolRegistry::Get().SetFamily("editor", "pause_pie", "pie");
	}
	void TearDown() override
	{
		Tarnwick::Diagnostics::GAttachDispatchDiagnostics = nullptr;
		FRegistryTest::TearDown();
	}

	/** Sends one request and runs the game thread (this thread) until it is answered. */
	FJson Send(FServer& Server, const FJson& Req, const std::string& Session = "session-1")
	{
		std::optional<FJson> Reply;
		Server.HandleRequest(Req, FSessionContext{Session, "2025-11-25"}, [&](FJson R) { Reply = std::move(R); });
		FGameThreadTaskQueue::Get().RunPending();
		EXPECT_TRUE(Reply.has_value());
		return Reply.value_or(FJson());
	}

	FJson LastParams;
	bool bRanOnGameThread = false;
};

TEST_F(McpServerTest, InitializeNegotiatesTheProtocolVersion)
{
	FServer Server({});
	for (const auto& [Asked, Answered] : std::vector<std::pair<std::string, std::string>>{
			 {"2025-11-25", "2025-11-25"}, {"2025-06-18", "2025-06-18"}, {"2025-03-26", "2025-03-26"},
			 {"2024-11-05", "2025-11-25"}, {"", "2025-11-25"}})
	{
		const FJson R = Send(Server, Request(1, "initialize", FJson{{"protocolVersion", Asked}}));
		EXPECT_EQ(R["result"]["protocolVersion"], Answered) << Asked;
	}
	const FJson R = Send(Server, Request(1, "initialize", FJson{{"protocolVersion", "2025-06-18"}}));
	const FJson& Caps = R["result"]["capabilities"];
	for (const char* Cap : {"tools", "resources", "prompts", "logging", "completions"}) EXPECT_TRUE(Caps.contains(Cap)) << Cap;
	EXPECT_EQ(R["result"]["serverInfo"]["name"], "tarnwick");
	EXPECT_EQ(Send(Server, Request(2, "ping"))["result"], FJson::object());
}

TEST_F(McpServerTest, ClassifyRefusesBadInput)
{
	auto Code = [](std::string_view Text) { return FServer::Classify(Text).ErrorResponse["error"]["code"]; };
	EXPECT_EQ(Code("{not json"), -32700);
	EXPECT_EQ(Code(R"([{"jsonrpc":"2.0","id":1,"method":"ping"}])"), -32600);
	EXPECT_NE(FServer::Classify("[]").ErrorResponse["error"]["message"].get<std::string>().find("batches are not supported"),
		std::string::npos);
	EXPECT_EQ(Code("42"), -32600);
	EXPECT_EQ(Code(R"({"id":1,"method":"ping"})"), -32600) << "jsonrpc missing";
	EXPECT_EQ(Code(R"({"jsonrpc":"2.0","id":1,"method":5})"), -32600);
	EXPECT_EQ(Code(R"({"jsonrpc":"2.0","id":{"a":1},"method":"ping"})"), -32600);
	EXPECT_EQ(Code(R"({"jsonrpc":"2.0","id":1,"method":"tools/list","params":[1]})"), -32602);
	EXPECT_EQ(FServer::Classify(R"({"jsonrpc":"2.0","id":7,"method":5})").ErrorResponse["id"], 7) << "the id is echoed when usable";
	EXPECT_EQ(Code(std::string(MaxMessageBytes + 1, ' ')), -32600);

	EXPECT_EQ(FServer::Classify(R"({"jsonrpc":"2.0","id":1,"method":"ping"})").Kind, EMessageKind::Request);
	EXPECT_EQ(FServer::Classify(R"({"jsonrpc":"2.0","method":"notifications/initialized"})").Kind, EMessageKind::Notification);
	EXPECT_EQ(FServer::Classify(R"({"jsonrpc":"2.0","id":3,"result":{}})").Kind, EMessageKind::Response);
}

TEST_F(McpServerTest, UnknownMethodAndBadLogLevel)
{
	FServer Server({});
	EXPECT_EQ(Send(Server, Request(1, "tools/frobnicate"))["error"]["code"], -32601);
	EXPECT_EQ(Send(Server, Request(2, "logging/setLevel", FJson{{"level", "loud"}}))["error"]["code"], -32602);
	EXPECT_EQ(Send(Server, Request(3, "logging/setLevel", FJson{{"level", "warning"}}))["result"], FJson::object());
}

TEST_F(McpServerTest, ToolCallRunsOnTheGameThreadWithTheSessionId)
{
	FServer Server({});
	std::optional<FJson> Reply;
	std::thread Transport([&] {
		Server.HandleRequest(Request(5, "tools/call", FJson{{"name", "editor_get_recent_logs"}, {"arguments", {{"count", 3}}}}),
			FSessionContext{"abc", "2025-11-25"}, [&](FJson R) { Reply = std::move(R); });
	});
	Transport.join();
	EXPECT_FALSE(Reply) << "the call waits for the game thread";
	FGameThreadTaskQueue::Get().RunPending();
	ASSERT_TRUE(Reply);
	EXPECT_TRUE(bRanOnGameThread);
	EXPECT_EQ(LastParams["_tarnwick_session_id"], "abc");
	EXPECT_EQ(LastParams["count"], 3);
	const FJson& Result = (*Reply)["result"];
	EXPECT_EQ(Result["structuredContent"]["count"], 0);
	EXPECT_EQ(Result["content"][0]["type"], "text");
	EXPECT_EQ(FJson::parse(Result["content"][0]["text"].get<std::string>()), Result["structuredContent"]);
	EXPECT_FALSE(Result.contains("isError"));

	const auto Calls = FTarnwickToolCallLog::Get().GetRecent(10);
	ASSERT_EQ(Calls.size(), 1u);
	EXPECT_EQ(Calls[0].Tool, "editor_get_recent_logs");
	EXPECT_EQ(Calls[0].SessionId, "abc");
	EXPECT_TRUE(Calls[0].bSuccess);
}

TEST_F(McpServerTest, OnTheGameThreadARequestIsAnsweredBeforeHandleRequestReturns)
{
	FServer Server({});
	std::optional<FJson> Reply;
	Server.HandleRequest(Request(1, "tools/call", FJson{{"name", "editor_get_recent_logs"}}), FSessionContext{"s", ""},
		[&](FJson R) { Reply = std::move(R); });
	ASSERT_TRUE(Reply);
	EXPECT_TRUE(bRanOnGameThread);
	EXPECT_EQ(FGameThreadTaskQueue::Get().NumPending(), 0u);
}

TEST_F(McpServerTest, DottedNameAndErrorResults)
{
	FServer Server({});
	FJson R = Send(Server, Request(1, "tools/call", FJson{{"name", "editor.pause_pie"}}));
	EXPECT_EQ(R["result"]["isError"], true);
	EXPECT_EQ(R["result"]["content"][0]["text"], "No PIE session is active");
	EXPECT_EQ(R["result"]["structuredContent"].dump(), R"({"error":{"code":-32603,"message":"No PIE session is active"}})");

	R = Send(Server, Request(2, "tools/call", FJson{{"name", "editor_nope"}}));
	EXPECT_EQ(R["error"]["code"], -32602);
	EXPECT_EQ(R["error"]["message"], "Unknown tool: editor_nope");
	R = Send(Server, Request(20, "tools/call", FJson{{"name", "editor_get_recent_log"}}));
	EXPECT_EQ(R["error"]["message"], "Unknown tool: editor_get_recent_log (did you mean 'editor_get_recent_logs'?)");
	R = Send(Server, Request(21, "tools/call", FJson{{"name", "editor.paus_pie"}}));
	EXPECT_EQ(R["error"]["message"], "Unknown tool: editor.paus_pie (did you mean 'editor_pause_pie'?)");
	EXPECT_EQ(Send(Server, Request(3, "tools/call", FJson::object()))["error"]["code"], -32602);
	EXPECT_EQ(Send(Server, Request(4, "tools/call", FJson{{"name", "editor_pause_pie"}, {"arguments", 3}}))["error"]["code"], -32602);

	const auto Calls = FTarnwickToolCallLog::Get().GetRecent(10);
	ASSERT_EQ(Calls.size(), 1u) << "only calls that reached an action are recorded";
	EXPECT_EQ(Calls[0].Error, "No PIE session is active");
}

TEST_F(McpServerTest, ErrorDataTravelsInStructuredContent)
{
	FServer Server({});
	const FJson R = Send(Server, Request(1, "tools/call", FJson{{"name", "brindle_get_async_job"}, {"arguments", FJson::object()}}));
	EXPECT_EQ(R["result"]["structuredContent"]["error"]["data"]["field"], "job_id");
}

TEST_F(McpServerTest, DispatchDiagnosticsHookSeesEveryCall)
{
	std::vector<std::string> Seen;
	Tarnwick::Diagnostics::GAttachDispatchDiagnostics = [&](const std::string& Ns, const std::string& Action, double, FJson& Result) {
		Seen.push_back(Ns + "." + Action);
		Result["dialogs"] = FJson::array();
	};
	FServer Server({});
	FJson R = Send(Server, Request(1, "tools/call", FJson{{"name", "editor_get_recent_logs"}}));
	EXPECT_TRUE(R["result"]["structuredContent"].contains("dialogs"));
	R = Send(Server, Request(2, "tools/call", FJson{{"name", "editor_pause_pie"}}));
	EXPECT_TRUE(R["result"]["structuredContent"]["error"]["data"].contains("dialogs"));
	EXPECT_EQ(Seen, (std::vector<std::string>{"editor.get_recent_logs", "editor.pause_pie"}));
}

TEST_F(McpServerTest, DisabledNamespaceCallsAnswerTheReason)
{
	FTarnwickToolRegistry::Get().MarkNamespaceDisabled("blueprint", "blueprint namespace disabled by user");
	FServer Server({});
	const FJson R = Send(Server, Request(1, "tools/call", FJson{{"name", "blueprint_create_blueprint"}}));
	EXPECT_EQ(R["result"]["isError"], true);
	EXPECT_EQ(R["result"]["content"][0]["text"], "blueprint namespace disabled by user");
}

TEST_F(McpServerTest, ToolsetAndGroupedListings)
{
	auto Names = [](const FJson& List) {
		std::vector<std::string> Out;
		for (const FJson& T : List["result"]["tools"]) Out.push_back(T["name"]);
		return Out;
	};
	FServer Flat({});
	EXPECT_EQ(Names(Send(Flat, Request(1, "tools/list"))),
		(std::vector<std::string>{"brindle_get_async_job", "brindle_list_async_jobs", "brindle_cancel_async_job",
			"editor_get_recent_logs", "editor_pause_pie"}));

	FServerOptions Only;
	Only.Toolset = {"editor.logs"};
	FServer Filtered(Only);
	EXPECT_EQ(Names(Send(Filtered, Request(1, "tools/list"))),
		(std::vector<std::string>{"brindle_get_async_job", "brindle_list_async_jobs", "brindle_cancel_async_job",
			"editor_get_recent_logs"}));
	EXPECT_EQ(Send(Filtered, Request(2, "tools/call", FJson{{"name", "editor_pause_pie"}}))["result"]["isError"], true)
		<< "an unlisted tool is still callable";

	FServerOptions GroupedOptions;
	GroupedOptions.ToolMode = EToolMode::Grouped;
	FServer Grouped(GroupedOptions);
	const FJson List = Send(Grouped, Request(1, "tools/list"));
	EXPECT_EQ(Names(List), (std::vector<std::string>{"brindle_get_async_job", "brindle_list_async_jobs",
							   "brindle_cancel_async_job", "brindle_describe_action", "editor"}));
	EXPECT_EQ(List["result"]["tools"][4]["inputSchema"]["properties"]["action"]["enum"].dump(), R"(["get_recent_logs","pause_pie"])");

	FJson R = Send(Grouped, Request(2, "tools/call",
		FJson{{"name", "editor"}, {"arguments", {{"action", "get_recent_logs"}, {"params", {{"count", 7}}}}}}));
	EXPECT_EQ(R["result"]["structuredContent"]["count"], 0);
	EXPECT_EQ(LastParams["count"], 7);
	R = Send(Grouped, Request(3, "tools/call", FJson{{"name", "editor"}, {"arguments", {{"action", "nope"}}}}));
	EXPECT_EQ(R["result"]["isError"], true);
	R = Send(Grouped, Request(4, "tools/call", FJson{{"name", "brindle_describe_action"}, {"arguments", {{"action", "editor.get_recent_logs"}}}}));
	EXPECT_EQ(R["result"]["structuredContent"]["input_schema"]["properties"]["count"]["default"], 50);
	EXPECT_EQ(R["result"]["structuredContent"]["family"], "editor.logs");
	// Flat names keep working in grouped mode.
	EXPECT_FALSE(Send(Grouped, Request(5, "tools/call", FJson{{"name", "editor_get_recent_logs"}}))["result"].contains("isError"));
}

TEST_F(McpServerTest, ResourcesPromptsAndCompletion)
{
	FTarnwickResourceRegistry::Get().Register({"unreal://editor/log", "Editor Log", "Last lines.", "text/plain",
		[](const std::string&) { return FTarnwickResourceContent{"text/plain", "[1.000][log][LogTemp] hi"}; }});
	FTarnwickPromptInfo Prompt;
	Prompt.Name = "world_builder";
	Prompt.Description = "Best practices.";
	Prompt.Arguments = {{"style", "Environment style", std::string("realistic"), {"realistic", "stylized", "sci-fi"}, false}};
	Prompt.Render = [](const std::map<std::string, std::string>& Args) {
		return std::vector<FTarnwickPromptMessage>{{"user", "STYLE: " + (Args.contains("style") ? Args.at("style") : "?")}};
	};
	FTarnwickPromptRegistry::Get().Register(Prompt);
	FServer Server({});

	FJson R = Send(Server, Request(1, "resources/list"));
	EXPECT_EQ(R["result"]["resources"][0]["mimeType"], "text/plain");
	R = Send(Server, Request(2, "resources/read", FJson{{"uri", "unreal://editor/log"}}));
	EXPECT_EQ(R["result"]["contents"][0]["text"], "[1.000][log][LogTemp] hi");
	R = Send(Server, Request(3, "resources/read", FJson{{"uri", "unreal://nope"}}));
	EXPECT_EQ(R["error"]["code"], -32002);

	R = Send(Server, Request(4, "prompts/list"));
	EXPECT_EQ(R["result"]["prompts"][0]["arguments"][0]["name"], "style");
	R = Send(Server, Request(5, "prompts/get", FJson{{"name", "world_builder"}, {"arguments", {{"style", "sci-fi"}}}}));
	EXPECT_EQ(R["result"]["messages"][0]["content"]["text"], "STYLE: sci-fi");
	EXPECT_EQ(Send(Server, Request(6, "prompts/get", FJson{{"name", "nope"}}))["error"]["code"], -32602);

	R = Send(Server, Request(7, "completion/complete",
		FJson{{"ref", {{"type", "ref/prompt"}, {"name", "world_builder"}}}, {"argument", {{"name", "style"}, {"value", "s"}}}}));
	EXPECT_EQ(R["result"]["completion"]["values"].dump(), R"(["stylized","sci-fi"])");
}

TEST_F(McpServerTest, CancelledRequestDoesNotRun)
{
	FServer Server({});
	std::optional<FJson> Reply;
	// From a transport thread the request waits for the game thread, which gives a cancellation time to land.
	std::thread([&] {
		Server.HandleRequest(Request(9, "tools/call", FJson{{"name", "editor_get_recent_logs"}}), FSessionContext{"s", ""},
			[&](FJson R) { Reply = std::move(R); });
	}).join();
	Server.HandleNotification(FJson{{"jsonrpc", "2.0"}, {"method", "notifications/cancelled"}, {"params", {{"requestId", 9}}}},
		FSessionContext{"s", ""});
	FGameThreadTaskQueue::Get().RunPending();
	ASSERT_TRUE(Reply);
	EXPECT_EQ((*Reply)["error"]["code"], -32800);
	EXPECT_TRUE(FTarnwickToolCallLog::Get().GetRecent(5).empty());
}

namespace
{
/** A host clock the test moves by hand. */
class FManualClock final : public Tarnwick::Host::IPlatformClock
{
public:
	double Now = 100.0;
	double Seconds() const override { return Now; }
	double UtcNow() const override { return 1.7e9 + Now; }
};

FJson CallArgs(const char* Name, FJson Arguments)
{
	return FJson{{"name", Name}, {"arguments", std::move(Arguments)}};
}
}

TEST_F(McpServerTest, ArgumentsAreCheckedBeforeTheHandlerRuns)
{
	FServer Server({});
	FJson R = Send(Server, Request(1, "tools/call", CallArgs("editor_get_recent_logs", {{"cuont", 3}})));
	EXPECT_EQ(R["result"]["isError"], true);
	EXPECT_EQ(R["result"]["structuredContent"]["error"]["code"], -32602);
	EXPECT_EQ(R["result"]["content"][0]["text"],
		"Unknown parameter 'cuont' (did you mean 'count'?) for editor_get_recent_logs; it takes 'count'.");
	EXPECT_TRUE(LastParams.is_null()) << "the handler never ran";

	R = Send(Server, Request(2, "tools/call", CallArgs("editor_get_recent_logs", {{"count", "five"}})));
	EXPECT_EQ(R["result"]["content"][0]["text"],
		"Wrong type for editor_get_recent_logs: 'count' must be an integer, got the string \"five\".");
	EXPECT_TRUE(LastParams.is_null());

	// Text holding an exact number is that number; null is absent.
	R = Send(Server, Request(3, "tools/call", CallArgs("editor.get_recent_logs", {{"count", "5"}})));
	EXPECT_FALSE(R["result"].contains("isError"));
	EXPECT_EQ(LastParams["count"], 5);
	Send(Server, Request(4, "tools/call", CallArgs("editor_get_recent_logs", {{"count", nullptr}})));
	EXPECT_FALSE(LastParams.contains("count"));

	R = Send(Server, Request(5, "tools/call", CallArgs("editor_pause_pie", {{"world", "x"}})));
	EXPECT_EQ(R["result"]["content"][0]["text"], "Unknown parameter 'world' for editor_pause_pie; it takes no parameters.");

	// Inside the editor, the handler's own tolerant reading stays.
	const FTarnwickActionResult Direct =
		FTarnwickToolRegistry::Get().ExecuteAction("editor", "get_recent_logs", MakeJsonObject(FJson{{"cuont", "x"}}));
	EXPECT_TRUE(Direct.bSuccess);
	EXPECT_EQ(LastParams["cuont"], "x");
}

TEST_F(McpServerTest, GroupedCallsSayWhereParametersGoAndSuggestActions)
{
	FServerOptions Options;
	Options.ToolMode = EToolMode::Grouped;
	FServer Server(Options);
	const auto Text = [&](FJson Arguments) {
		const FJson R = Send(Server, Request(1, "tools/call", CallArgs("editor", std::move(Arguments))));
		EXPECT_EQ(R["result"]["structuredContent"]["error"]["code"], -32602) << R.dump();
		return R["result"]["content"][0]["text"].get<std::string>();
	};
	EXPECT_EQ(Text({{"action", "get_recent_logs"}, {"count", 2}}),
		"The parameters of editor.get_recent_logs go under \"params\", as in {\"action\": \"get_recent_logs\", "
		"\"params\": {\"count\": 2}}; 'count' was given at the top level");
	EXPECT_EQ(Text({{"action", "get_recent_log"}}),
		"Unknown action 'get_recent_log' in namespace 'editor' (did you mean 'get_recent_logs'?); see the tool's action list");
	EXPECT_EQ(Text(FJson::object()),
		"Missing \"action\" for editor: call it as {\"action\": name, \"params\": {...}} with one of its actions "
		"(get_recent_logs, pause_pie)");
	EXPECT_EQ(Text({{"action", "get_recent_logs"}, {"params", "count=2"}}),
		"'params' of editor must be an object holding editor.get_recent_logs's parameters, got the string \"count=2\"");
	EXPECT_EQ(Text({{"action", "pause_pie"}, {"parms", FJson::object()}}),
		"Unknown argument 'parms' (did you mean 'params'?) for editor; it takes 'action' and 'params'");
	EXPECT_EQ(Text({{"action", "get_recent_logs"}, {"params", {{"count", true}}}}),
		"Wrong type for editor.get_recent_logs: 'count' must be an integer, got true.");
	EXPECT_TRUE(LastParams.is_null());
	const FJson R = Send(Server, Request(2, "tools/call", CallArgs("editor", {{"action", "get_recent_logs"}, {"params", {{"count", "4"}}}})));
	EXPECT_FALSE(R["result"].contains("isError"));
	EXPECT_EQ(LastParams["count"], 4);
}

TEST_F(McpServerTest, ListedToolsCarryTitlesCompleteHintsAndClosedSchemas)
{
	FTarnwickToolRegistry::Get().SetAnnotations("editor", "get_recent_logs", FTarnwickToolAnnotations::ReadOnly());
	for (EToolMode Mode : {EToolMode::Flat, EToolMode::Grouped})
	{
		FServerOptions Options;
		Options.ToolMode = Mode;
		FServer Server(Options);
		const FJson Tools = Send(Server, Request(1, "tools/list"))["result"]["tools"];
		for (const FJson& Tool : Tools)
		{
			EXPECT_FALSE(Tool.value("title", std::string()).empty()) << Tool["name"];
			EXPECT_EQ(Tool["inputSchema"]["additionalProperties"], false) << Tool["name"];
			for (const char* Hint : {"readOnlyHint", "destructiveHint", "idempotentHint", "openWorldHint"})
			{
				EXPECT_TRUE(Tool["annotations"][Hint].is_boolean()) << Tool["name"] << " " << Hint;
			}
		}
	}
	FServer Flat({});
	const FJson Tools = Send(Flat, Request(1, "tools/list"))["result"]["tools"];
	const auto Find = [&](const char* Name) {
		for (const FJson& Tool : Tools)
		{
			if (Tool["name"] == Name) return Tool;
		}
		return FJson();
	};
	EXPECT_EQ(Find("editor_get_recent_logs")["title"], "Get Recent Logs");
	EXPECT_EQ(Find("editor_get_recent_logs")["annotations"].dump(),
		R"({"title":"Get Recent Logs","readOnlyHint":true,"destructiveHint":false,"idempotentHint":true,"openWorldHint":false})");
	// An action that said nothing is listed as a client would assume: it may write and destroy.
	EXPECT_EQ(Find("editor_pause_pie")["title"], "Pause PIE");
	EXPECT_EQ(Find("editor_pause_pie")["annotations"].dump(),
		R"({"title":"Pause PIE","readOnlyHint":false,"destructiveHint":true,"idempotentHint":false,"openWorldHint":false})");
	EXPECT_EQ(Tarnwick::Mcp::MakeToolTitle("editor_utility", "spawn_tab_with_id"), "Editor Utility: Spawn Tab With ID");
	EXPECT_EQ(Tarnwick::Mcp::MakeToolTitle("editor", "set_fov"), "Set FOV");
	EXPECT_EQ(Tarnwick::Mcp::MakeToolTitle("editor_utility", ""), "Editor Utility actions");
}

TEST_F(McpServerTest, TemplatesListAndDisabledNamespacesInTheInstructions)
{
	FServerOptions Options;
	Options.Instructions = "Tarnwick drives the Unreal Editor.";
	FServer Server(Options);
	EXPECT_EQ(Send(Server, Request(1, "resources/templates/list"))["result"], FJson::parse(R"({"resourceTemplates": []})"));
	EXPECT_EQ(Send(Server, Request(2, "initialize"))["result"]["instructions"], "Tarnwick drives the Unreal Editor.");
	FTarnwickToolRegistry::Get().MarkNamespaceDisabled("editor_utility", "editor_utility disabled by user");
	EXPECT_EQ(Send(Server, Request(3, "initialize"))["result"]["instructions"],
		"Tarnwick drives the Unreal Editor.\nThe 'editor_utility' tools are not listed because the namespace is disabled: "
		"editor_utility disabled by user");
	const FJson R = Send(Server, Request(4, "tools/call", CallArgs("editor_utility_run", FJson::object())));
	EXPECT_EQ(R["result"]["content"][0]["text"], "editor_utility disabled by user") << "not a suggestion of 'editor_...'";
}

TEST_F(McpServerTest, ListChangesReachInitializedSessionsOncePerBurst)
{
	FServer Server({});
	std::vector<FJson> ToA;
	std::vector<FJson> ToB;
	Server.AttachNotificationSink("a", [&](const FJson& N) { ToA.push_back(N); });
	Server.AttachNotificationSink("b", [&](const FJson& N) { ToB.push_back(N); });
	Send(Server, Request(1, "initialize"), "a");
	for (const char* Action : {"one", "two", "three"})
	{
		FTarnwickToolRegistry::Get().RegisterAction("extra", Action, "", nullptr, nullptr, "");
	}
	FTarnwickResourceRegistry::Get().Register({"unreal://x", "X", "", "text/plain", nullptr});
	FGameThreadTaskQueue::Get().RunPending();
	ASSERT_EQ(ToA.size(), 2u);
	EXPECT_EQ(ToA[0].dump(), R"({"jsonrpc":"2.0","method":"notifications/tools/list_changed"})");
	EXPECT_EQ(ToA[1].dump(), R"({"jsonrpc":"2.0","method":"notifications/resources/list_changed"})");
	EXPECT_TRUE(ToB.empty()) << "a session that has not initialized is told nothing";
	FTarnwickToolRegistry::Get().UnregisterNamespace("extra");
	FGameThreadTaskQueue::Get().RunPending();
	EXPECT_EQ(ToA.size(), 3u);
	Server.DetachSession("a");
	Server.DetachSession("b");
}

TEST_F(McpServerTest, LogLinesAreForwardedAtTheSessionsLevelWithinARate)
{
	FManualClock Clock;
	Tarnwick::Host::SetClock(&Clock);
	FServer Server({});
	std::vector<FJson> Notes;
	Server.AttachNotificationSink("s", [&](const FJson& N) { Notes.push_back(N); });
	static FLogCategory LogRate("LogRate");
	TW_LOG(LogRate, Error, "before any level");
	EXPECT_TRUE(Notes.empty()) << "nothing until the client sets a level";
	Send(Server, Request(1, "logging/setLevel", FJson{{"level", "warning"}}), "s");
	TW_LOG(LogRate, Display, "too chatty for warning");
	TW_LOG(LogRate, Warning, "first");
	ASSERT_EQ(Notes.size(), 1u);
	EXPECT_EQ(Notes[0]["params"].dump(), R"({"level":"warning","logger":"LogRate","data":"first"})");

	// A flood: a burst gets through, the rest is counted and owned up to once the rate allows again.
	for (int I = 0; I < 500; ++I) TW_LOG(LogRate, Error, "flood %d", I);
	EXPECT_EQ(Notes.size(), static_cast<size_t>(LogNotificationBurst));
	Clock.Now += 1.0;
	TW_LOG(LogRate, Error, "after a second");
	ASSERT_EQ(Notes.size(), static_cast<size_t>(LogNotificationBurst) + 2);
	const FJson& Owned = Notes[Notes.size() - 2]["params"];
	EXPECT_EQ(Owned["level"], "warning");
	EXPECT_EQ(Owned["logger"], "tarnwick");
	EXPECT_EQ(Owned["data"], "401 log lines were not forwarded: at most 50 a second (bursts of 100) reach a client; read the "
							 "editor log for all of them");
	EXPECT_EQ(Notes.back()["params"]["data"], "after a second");
	Server.DetachSession("s");
	Tarnwick::Host::SetClock(nullptr);
}

TEST_F(McpServerTest, DeepNestingIsRefusedUnderTheRequestsOwnId)
{
	const std::string Deep = std::string(53000, '[') + std::string(53000, ']');
	const FIncomingMessage In =
		FServer::Classify(R"({"jsonrpc":"2.0","id":"deep-1","method":"initialize","params":{"x":)" + Deep + "}}");
	EXPECT_EQ(In.Kind, EMessageKind::Invalid);
	EXPECT_EQ(In.ErrorResponse.dump(), R"({"jsonrpc":"2.0","id":"deep-1","error":{"code":-32600,"message":)"
									   R"("Invalid Request: the message nests arrays and objects deeper than 256 levels"}})");
	// The id may come after the deep part; a nested "id" is not the message's.
	EXPECT_EQ(FServer::Classify(R"({"params":{"id":5,"x":)" + Deep + R"(},"id":9,"jsonrpc":"2.0","method":"ping"})").ErrorResponse["id"], 9);
	EXPECT_EQ(FServer::Classify(Deep).ErrorResponse["id"], nullptr);
	const std::string Fine = std::string(200, '[') + std::string(200, ']');
	EXPECT_EQ(FServer::Classify(R"({"jsonrpc":"2.0","id":1,"method":"ping","params":{"x":)" + Fine + "}}").Kind, EMessageKind::Request);
}

TEST_F(McpServerTest, ToolsetEntriesMustExist)
{
	EXPECT_EQ(CheckToolset({"editor", "editor.logs", "editor.pie"}), std::nullopt);
	EXPECT_EQ(CheckToolset({"editor.log"}), "unknown --toolset entry 'editor.log' (did you mean 'editor.logs'?); the namespaces "
											"and families are: editor, editor.logs, editor.pie");
	EXPECT_EQ(CheckToolset({"gameplay"}).value_or("").rfind("unknown --toolset entry 'gameplay'; ", 0), 0u);
	FTarnwickToolRegistry::Get().MarkNamespaceDisabled("blueprint", "off");
	EXPECT_EQ(CheckToolset({"blueprint", "blueprint.graphs"}), std::nullopt) << "a disabled namespace lists nothing, but exists";
}
