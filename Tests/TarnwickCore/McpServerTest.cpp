#include "TarnwickTestHelpers.h"

#include "GameThread.h"
#include "Mcp/TarnwickMcpServer.h"
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
