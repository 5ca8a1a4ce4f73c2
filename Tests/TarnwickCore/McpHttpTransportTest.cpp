// The Streamable HTTP transport: the header rules as tables, then every status code a real client can meet,
// driven over loopback with httplib's client against a transport on a free port.
#include "GameThread.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Mcp/TarnwickMcpTransports.h"

// The packaged library is built with these; the header must see the same ones or the client's layout differs.
#ifndef CPPHTTPLIB_OPENSSL_SUPPORT
#define CPPHTTPLIB_OPENSSL_SUPPORT
#endif
#ifndef CPPHTTPLIB_ZLIB_SUPPORT
#define CPPHTTPLIB_ZLIB_SUPPORT
#endif
#ifndef CPPHTTPLIB_BROTLI_SUPPORT
#define CPPHTTPLIB_BROTLI_SUPPORT
#endif
#include <httplib.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <regex>
#include <thread>

using namespace Tarnwick::Mcp;

TEST(FHttpRulesTest, LoopbackHostNames)
{
	struct FCase
	{
		const char* Name;
		bool bLoopback;
	};
	const FCase Cases[] = {
		{"localhost", true}, {"LocalHost", true}, {"127.0.0.1", true}, {"127.1.2.3", true}, {"::1", true},
		{"127.0.0.256", false}, {"127.0.0", false}, {"127.0.0.1.5", false}, {"128.0.0.1", false}, {"0.0.0.0", false},
		{"localhost.evil.example", false}, {"evil.example", false}, {"", false}, {"[::1]", false}, {"127.0.0.01x", false},
	};
	for (const FCase& Case : Cases)
	{
		EXPECT_EQ(HttpRules::IsLoopbackHostName(Case.Name), Case.bLoopback) << Case.Name;
	}
}

TEST(FHttpRulesTest, SplitHostPort)
{
	struct FCase
	{
		const char* Input;
		bool bOk;
		const char* Host;
		const char* Port;
	};
	const FCase Cases[] = {
		{"localhost:8765", true, "localhost", "8765"},
		{"127.0.0.1", true, "127.0.0.1", ""},
		{"[::1]:80", true, "::1", "80"},
		{"[::1]", true, "::1", ""},
		{"::1", false, "", ""},
		{"[::1", false, "", ""},
		{"[::1]x", false, "", ""},
		{"host:", false, "", ""},
		{"host:65536", false, "", ""},
		{"host:12a", false, "", ""},
		{":80", false, "", ""},
		{"", false, "", ""},
		{"user@host:80", false, "", ""},
		{"host/path", false, "", ""},
	};
	for (const FCase& Case : Cases)
	{
		std::string Host = "unchanged";
		std::string Port = "unchanged";
		EXPECT_EQ(HttpRules::SplitHostPort(Case.Input, Host, Port), Case.bOk) << Case.Input;
		if (Case.bOk)
		{
			EXPECT_EQ(Host, Case.Host) << Case.Input;
			EXPECT_EQ(Port, Case.Port) << Case.Input;
		}
	}
}

TEST(FHttpRulesTest, HostAndOriginHeaders)
{
	const std::string Bound = "192.168.1.20:8765";
	struct FCase
	{
		const char* Value;
		bool bHostAllowed;
		bool bOriginAllowedWithHttp;
	};
	const FCase Cases[] = {
		{"localhost:8765", true, true},
		{"localhost:1", true, true},
		{"127.0.0.1", true, true},
		{"[::1]:8765", true, true},
		{"192.168.1.20:8765", true, true},
		{"192.168.1.20:9999", false, false},
		{"192.168.1.20", false, false},
		{"evil.example", false, false},
		{"evil.example:8765", false, false},
		{"localhost.evil.example", false, false},
	};
	for (const FCase& Case : Cases)
	{
		EXPECT_EQ(HttpRules::IsAllowedHost(Case.Value, Bound), Case.bHostAllowed) << Case.Value;
		EXPECT_EQ(HttpRules::IsAllowedOrigin(std::string("http://") + Case.Value, Bound), Case.bOriginAllowedWithHttp) << Case.Value;
		EXPECT_EQ(HttpRules::IsAllowedOrigin(std::string("https://") + Case.Value, Bound), Case.bOriginAllowedWithHttp) << Case.Value;
	}
	for (const char* Origin : {"null", "localhost:8765", "file://localhost", "http://localhost/", "http://localhost:80/x", "ws://localhost", ""})
	{
		EXPECT_FALSE(HttpRules::IsAllowedOrigin(Origin, Bound)) << Origin;
	}
	EXPECT_TRUE(HttpRules::IsAllowedOrigin("HTTP://LOCALHOST:3000", Bound));
}

TEST(FHttpRulesTest, BearerToken)
{
	EXPECT_TRUE(HttpRules::IsAuthorized("Bearer s3cret", "s3cret"));
	EXPECT_TRUE(HttpRules::IsAuthorized("bearer s3cret", "s3cret"));
	EXPECT_TRUE(HttpRules::IsAuthorized("Bearer   s3cret ", "s3cret"));
	EXPECT_FALSE(HttpRules::IsAuthorized("Bearer s3cre", "s3cret"));
	EXPECT_FALSE(HttpRules::IsAuthorized("Bearer s3cret2", "s3cret"));
	EXPECT_FALSE(HttpRules::IsAuthorized("Basic s3cret", "s3cret"));
	EXPECT_FALSE(HttpRules::IsAuthorized("s3cret", "s3cret"));
	EXPECT_FALSE(HttpRules::IsAuthorized("", "s3cret"));
	EXPECT_FALSE(HttpRules::IsAuthorized("Bearer ", "s3cret"));
	// No token configured: nothing to check.
	EXPECT_TRUE(HttpRules::IsAuthorized("", ""));
}

namespace
{
/** Runs queued game-thread work until stopped, as the frame loop does. */
class FGameThreadPump
{
public:
	FGameThreadPump()
		: Thread([this] {
			  FGameThreadTaskQueue::Get().MarkGameThread();
			  while (!bStop)
			  {
				  FGameThreadTaskQueue::Get().RunPending();
				  FGameThreadTaskQueue::Get().WaitForTasks(0.01);
			  }
			  FGameThreadTaskQueue::Get().RunPending();
		  })
	{
	}
	~FGameThreadPump()
	{
		bStop = true;
		FGameThreadTaskQueue::Get().Wake();
		Thread.join();
	}

private:
	std::atomic<bool> bStop = false;
	std::thread Thread;
};

const httplib::Headers JsonAccept = {{"Accept", "application/json, text/event-stream"}};

std::string Rpc(int Id, const std::string& Method, FJson Params = FJson::object())
{
	return FJson{{"jsonrpc", "2.0"}, {"id", Id}, {"method", Method}, {"params", std::move(Params)}}.dump();
}

std::string InitializeBody()
{
	return Rpc(1, "initialize",
		FJson{{"protocolVersion", "2025-06-18"}, {"capabilities", FJson::object()}, {"clientInfo", {{"name", "test"}, {"version", "1"}}}});
}

FJson BodyOf(const httplib::Result& Res)
{
	return Res ? FJson::parse(Res->body, nullptr, false) : FJson();
}

class FHttpTransportTest : public ::testing::Test
{
protected:
	FServer Server{FServerOptions{}};
	std::unique_ptr<FHttpTransport> Transport;
	std::unique_ptr<httplib::Client> Client;

	void StartTransport(FHttpOptions Options = {})
	{
		Options.Port = 0;
		Transport = std::make_unique<FHttpTransport>(Server, Options);
		std::string Error;
		ASSERT_TRUE(Transport->Start(Error)) << Error;
		ASSERT_GT(Transport->GetPort(), 0);
		Client = std::make_unique<httplib::Client>("127.0.0.1", Transport->GetPort());
		Client->set_read_timeout(20, 0);
	}

	void TearDown() override
	{
		Client.reset();
		if (Transport)
		{
			Transport->Stop();
		}
		FGameThreadTaskQueue::Get().RunPending();
	}

	httplib::Result Post(const std::string& Body, httplib::Headers Headers = {})
	{
		Headers.insert(JsonAccept.begin(), JsonAccept.end());
		return Client->Post("/mcp", Headers, Body, "application/json");
	}

	/** Initializes and returns the issued session id. */
	std::string OpenSession()
	{
		httplib::Result Res = Post(InitializeBody());
		if (!Res || Res->status != 200 || !Res->has_header("Mcp-Session-Id"))
		{
			ADD_FAILURE() << "initialize failed";
			return {};
		}
		return Res->get_header_value("Mcp-Session-Id");
	}
};
}

TEST_F(FHttpTransportTest, InitializeIssuesASessionThatLaterRequestsUse)
{
	FGameThreadPump Pump;
	StartTransport();
	httplib::Result Init = Post(InitializeBody());
	ASSERT_TRUE(Init);
	EXPECT_EQ(Init->status, 200);
	EXPECT_EQ(Init->get_header_value("Content-Type"), "application/json");
	const std::string Session = Init->get_header_value("Mcp-Session-Id");
	EXPECT_TRUE(std::regex_match(Session, std::regex("[0-9a-f]{32}")));
	EXPECT_EQ(BodyOf(Init)["result"]["protocolVersion"], "2025-06-18");
	EXPECT_NE(OpenSession(), Session);

	httplib::Result Initialized = Post(R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
		{{"Mcp-Session-Id", Session}, {"MCP-Protocol-Version", "2025-06-18"}});
	ASSERT_TRUE(Initialized);
	EXPECT_EQ(Initialized->status, 202);
	EXPECT_TRUE(Initialized->body.empty());

	httplib::Result List = Post(Rpc(2, "tools/list"), {{"Mcp-Session-Id", Session}, {"MCP-Protocol-Version", "2025-06-18"}});
	ASSERT_TRUE(List);
	EXPECT_EQ(List->status, 200);
	EXPECT_EQ(BodyOf(List)["id"], 2);
	EXPECT_TRUE(BodyOf(List)["result"]["tools"].is_array());

	// A response from the client is accepted and needs no answer, like a notification.
	httplib::Result Answer = Post(R"({"jsonrpc":"2.0","id":"s1","result":{}})", {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(Answer);
	EXPECT_EQ(Answer->status, 202);
	EXPECT_TRUE(Answer->body.empty());
}

TEST_F(FHttpTransportTest, SessionRules)
{
	StartTransport();
	const std::string Session = OpenSession();

	httplib::Result Missing = Post(Rpc(2, "ping"));
	ASSERT_TRUE(Missing);
	EXPECT_EQ(Missing->status, 400);
	EXPECT_EQ(BodyOf(Missing)["id"], 2);

	httplib::Result Unknown = Post(Rpc(3, "ping"), {{"Mcp-Session-Id", "not-a-session"}});
	ASSERT_TRUE(Unknown);
	EXPECT_EQ(Unknown->status, 404);

	httplib::Result Known = Post(Rpc(4, "ping"), {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(Known);
	EXPECT_EQ(Known->status, 200);
	EXPECT_EQ(BodyOf(Known)["result"], FJson::object());

	// Notifications need a session too.
	httplib::Result Note = Post(R"({"jsonrpc":"2.0","method":"notifications/initialized"})");
	ASSERT_TRUE(Note);
	EXPECT_EQ(Note->status, 400);

	httplib::Result Deleted = Client->Delete("/mcp", {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(Deleted);
	EXPECT_EQ(Deleted->status, 204);

	httplib::Result Reused = Post(Rpc(5, "ping"), {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(Reused);
	EXPECT_EQ(Reused->status, 404);
	httplib::Result DeletedAgain = Client->Delete("/mcp", {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(DeletedAgain);
	EXPECT_EQ(DeletedAgain->status, 404);
	httplib::Result DeleteWithout = Client->Delete("/mcp");
	ASSERT_TRUE(DeleteWithout);
	EXPECT_EQ(DeleteWithout->status, 400);
}

TEST_F(FHttpTransportTest, ForeignOriginsAndHostsAreForbidden)
{
	StartTransport();
	const std::string Session = OpenSession();

	httplib::Result Evil = Post(Rpc(2, "ping"), {{"Mcp-Session-Id", Session}, {"Origin", "http://evil.example"}});
	ASSERT_TRUE(Evil);
	EXPECT_EQ(Evil->status, 403);
	httplib::Result EvilInit = Post(InitializeBody(), {{"Origin", "http://evil.example"}});
	ASSERT_TRUE(EvilInit);
	EXPECT_EQ(EvilInit->status, 403);
	EXPECT_FALSE(EvilInit->has_header("Mcp-Session-Id"));

	// A rebound DNS name reaches us with its own name in Host.
	httplib::Result Rebound = Post(Rpc(3, "ping"), {{"Mcp-Session-Id", Session}, {"Host", "evil.example:" + std::to_string(Transport->GetPort())}});
	ASSERT_TRUE(Rebound);
	EXPECT_EQ(Rebound->status, 403);

	httplib::Result Local = Post(Rpc(4, "ping"), {{"Mcp-Session-Id", Session}, {"Origin", "http://localhost:3000"}, {"Host", "localhost"}});
	ASSERT_TRUE(Local);
	EXPECT_EQ(Local->status, 200);
}

TEST_F(FHttpTransportTest, ProtocolVersionHeader)
{
	StartTransport();
	const std::string Session = OpenSession();

	httplib::Result Bad = Post(Rpc(2, "ping"), {{"Mcp-Session-Id", Session}, {"MCP-Protocol-Version", "1999-01-01"}});
	ASSERT_TRUE(Bad);
	EXPECT_EQ(Bad->status, 400);
	EXPECT_NE(BodyOf(Bad)["error"]["message"].get<std::string>().find("1999-01-01"), std::string::npos);

	httplib::Result BadInit = Post(InitializeBody(), {{"MCP-Protocol-Version", "garbage"}});
	ASSERT_TRUE(BadInit);
	EXPECT_EQ(BadInit->status, 400);

	for (const char* Version : {"2025-03-26", "2025-06-18"})
	{
		httplib::Result Good = Post(Rpc(3, "ping"), {{"Mcp-Session-Id", Session}, {"MCP-Protocol-Version", Version}});
		ASSERT_TRUE(Good);
		EXPECT_EQ(Good->status, 200) << Version;
	}
}

TEST_F(FHttpTransportTest, BearerTokenIsRequiredWhenConfigured)
{
	FHttpOptions Options;
	Options.Token = "s3cret";
	StartTransport(Options);

	httplib::Result Without = Post(InitializeBody());
	ASSERT_TRUE(Without);
	EXPECT_EQ(Without->status, 401);
	EXPECT_EQ(Without->get_header_value("WWW-Authenticate"), "Bearer");

	httplib::Result Wrong = Post(InitializeBody(), {{"Authorization", "Bearer wrong"}});
	ASSERT_TRUE(Wrong);
	EXPECT_EQ(Wrong->status, 401);

	httplib::Result Right = Post(InitializeBody(), {{"Authorization", "Bearer s3cret"}});
	ASSERT_TRUE(Right);
	EXPECT_EQ(Right->status, 200);
	EXPECT_TRUE(Right->has_header("Mcp-Session-Id"));

	httplib::Result DeleteWithout = Client->Delete("/mcp", {{"Mcp-Session-Id", Right->get_header_value("Mcp-Session-Id")}});
	ASSERT_TRUE(DeleteWithout);
	EXPECT_EQ(DeleteWithout->status, 401);
}

TEST_F(FHttpTransportTest, MethodsPathsAndBodies)
{
	StartTransport();
	const std::string Session = OpenSession();

	httplib::Result Get = Client->Get("/mcp", {{"Mcp-Session-Id", Session}, {"Accept", "text/event-stream"}});
	ASSERT_TRUE(Get);
	EXPECT_EQ(Get->status, 405);
	EXPECT_EQ(Get->get_header_value("Allow"), "POST, DELETE");

	httplib::Result Elsewhere = Client->Post("/other", InitializeBody(), "application/json");
	ASSERT_TRUE(Elsewhere);
	EXPECT_EQ(Elsewhere->status, 404);

	httplib::Result Malformed = Post("{\"jsonrpc\":", {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(Malformed);
	EXPECT_EQ(Malformed->status, 400);
	EXPECT_EQ(BodyOf(Malformed)["error"]["code"], ErrorCodes::ParseError);
	EXPECT_EQ(BodyOf(Malformed)["id"], nullptr);

	httplib::Result Batch = Post("[" + Rpc(2, "ping") + "]", {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(Batch);
	EXPECT_EQ(Batch->status, 400);
	EXPECT_NE(BodyOf(Batch)["error"]["message"].get<std::string>().find("batches are not supported"), std::string::npos);

	httplib::Result TooBig = Post(std::string(MaxMessageBytes + 1, ' '), {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(TooBig);
	EXPECT_EQ(TooBig->status, 413);
	EXPECT_EQ(BodyOf(TooBig)["error"]["code"], ErrorCodes::InvalidRequest);

	// The connection is still usable after each refusal.
	httplib::Result After = Post(Rpc(3, "ping"), {{"Mcp-Session-Id", Session}});
	ASSERT_TRUE(After);
	EXPECT_EQ(After->status, 200);
}

TEST_F(FHttpTransportTest, ChunkedBodyOverTheLimitIsRefusedToo)
{
	FHttpOptions Options;
	Options.MaxBodyBytes = 64;
	StartTransport(Options);
	const std::string Big = Rpc(1, "initialize", FJson{{"pad", std::string(200, 'x')}});
	// Without a length the client sends it chunked, past the library's own Content-Length check.
	httplib::Result Res = Client->Post(
		"/mcp",
		[&Big](size_t, httplib::DataSink& Sink) {
			for (size_t Offset = 0; Offset < Big.size(); Offset += 16)
			{
				Sink.write(Big.data() + Offset, std::min<size_t>(16, Big.size() - Offset));
			}
			Sink.done();
			return true;
		},
		"application/json");
	ASSERT_TRUE(Res);
	EXPECT_EQ(Res->status, 413);
}

TEST_F(FHttpTransportTest, ConcurrentRequestsAreAnsweredIndependently)
{
	FGameThreadPump Pump;
	StartTransport();
	const std::string Session = OpenSession();
	const int Port = Transport->GetPort();
	std::vector<std::future<int>> Answers;
	for (int Index = 0; Index < 12; ++Index)
	{
		Answers.push_back(std::async(std::launch::async, [Port, Session, Index] {
			httplib::Client Own("127.0.0.1", Port);
			httplib::Result Res = Own.Post("/mcp", {{"Mcp-Session-Id", Session}}, Rpc(100 + Index, "tools/list"), "application/json");
			return Res && Res->status == 200 ? BodyOf(Res)["id"].get<int>() : -1;
		}));
	}
	for (int Index = 0; Index < 12; ++Index)
	{
		EXPECT_EQ(Answers[static_cast<size_t>(Index)].get(), 100 + Index);
	}
}

TEST_F(FHttpTransportTest, TakenPortIsReportedAndStopReleasesBlockedWorkers)
{
	StartTransport();
	FHttpOptions Same;
	Same.Port = Transport->GetPort();
	FHttpTransport Second(Server, Same);
	std::string Error;
	EXPECT_FALSE(Second.Start(Error));
	EXPECT_NE(Error.find("127.0.0.1:" + std::to_string(Same.Port)), std::string::npos) << Error;

	// No game thread runs, so tools/list blocks its worker until Stop answers it.
	const std::string Session = OpenSession();
	const size_t QueuedBefore = FGameThreadTaskQueue::Get().NumPending();
	std::future<int> Blocked = std::async(std::launch::async, [this, &Session] {
		httplib::Result Res = Post(Rpc(2, "tools/list"), {{"Mcp-Session-Id", Session}});
		return Res ? Res->status : -100 - static_cast<int>(Res.error());
	});
	const auto Deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
	while (FGameThreadTaskQueue::Get().NumPending() == QueuedBefore && std::chrono::steady_clock::now() < Deadline)
	{
		std::this_thread::yield();
	}
	ASSERT_GT(FGameThreadTaskQueue::Get().NumPending(), QueuedBefore);
	Transport->Stop();
	EXPECT_EQ(Blocked.get(), 503);
}
