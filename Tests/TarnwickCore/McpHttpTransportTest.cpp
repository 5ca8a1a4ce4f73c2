// The Streamable HTTP transport: the header rules as tables, then every status code a real client can meet,
// driven over loopback with httplib's client against a transport on a free port.
#include "GameThread.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Mcp/TarnwickMcpTransports.h"

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

/** The status, or minus 100 minus the client's error when no answer came at all. */
int StatusOf(const httplib::Result& Res)
{
	return Res ? Res->status : -100 - static_cast<int>(Res.error());
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
	ASSERT_EQ(StatusOf(Init), 200);
	EXPECT_EQ(Init->get_header_value("Content-Type"), "application/json");
	const std::string Session = Init->get_header_value("Mcp-Session-Id");
	EXPECT_TRUE(std::regex_match(Session, std::regex("[0-9a-f]{32}")));
	EXPECT_EQ(BodyOf(Init)["result"]["protocolVersion"], "2025-06-18");
	EXPECT_NE(OpenSession(), Session);

	const httplib::Headers InSession = {{"Mcp-Session-Id", Session}, {"MCP-Protocol-Version", "2025-06-18"}};
	httplib::Result Initialized = Post(R"({"jsonrpc":"2.0","method":"notifications/initialized"})", InSession);
	EXPECT_EQ(StatusOf(Initialized), 202);
	EXPECT_TRUE(Initialized && Initialized->body.empty());

	httplib::Result List = Post(Rpc(2, "tools/list"), InSession);
	EXPECT_EQ(StatusOf(List), 200);
	EXPECT_EQ(BodyOf(List)["id"], 2);
	EXPECT_TRUE(BodyOf(List)["result"]["tools"].is_array());

	// A response from the client is accepted and needs no answer, like a notification.
	httplib::Result Answer = Post(R"({"jsonrpc":"2.0","id":"s1","result":{}})", InSession);
	EXPECT_EQ(StatusOf(Answer), 202);
	EXPECT_TRUE(Answer && Answer->body.empty());
}

TEST_F(FHttpTransportTest, SessionRules)
{
	StartTransport();
	const std::string Session = OpenSession();

	httplib::Result Missing = Post(Rpc(2, "ping"));
	EXPECT_EQ(StatusOf(Missing), 400);
	EXPECT_EQ(BodyOf(Missing)["id"], 2);
	EXPECT_EQ(StatusOf(Post(R"({"jsonrpc":"2.0","method":"notifications/initialized"})")), 400);
	EXPECT_EQ(StatusOf(Post(Rpc(3, "ping"), {{"Mcp-Session-Id", "not-a-session"}})), 404);
	EXPECT_EQ(StatusOf(Post(Rpc(4, "ping"), {{"Mcp-Session-Id", Session}})), 200);

	EXPECT_EQ(StatusOf(Client->Delete("/mcp", {{"Mcp-Session-Id", Session}})), 204);
	EXPECT_EQ(StatusOf(Post(Rpc(5, "ping"), {{"Mcp-Session-Id", Session}})), 404);
	EXPECT_EQ(StatusOf(Client->Delete("/mcp", {{"Mcp-Session-Id", Session}})), 404);
	EXPECT_EQ(StatusOf(Client->Delete("/mcp")), 400);
}

TEST_F(FHttpTransportTest, SessionsBeyondTheBoundEndTheLongestIdle)
{
	FHttpOptions Options;
	Options.MaxSessions = 3;
	StartTransport(Options);
	const std::string A = OpenSession();
	const std::string B = OpenSession();
	const std::string C = OpenSession();
	EXPECT_EQ(StatusOf(Post(Rpc(1, "ping"), {{"Mcp-Session-Id", A}})), 200) << "A is now the most recently used";
	const std::string D = OpenSession();
	EXPECT_EQ(StatusOf(Post(Rpc(2, "ping"), {{"Mcp-Session-Id", B}})), 404) << "B idled longest";
	for (const std::string& Live : {A, C, D})
	{
		EXPECT_EQ(StatusOf(Post(Rpc(3, "ping"), {{"Mcp-Session-Id", Live}})), 200);
	}
}

TEST_F(FHttpTransportTest, ForeignOriginsAndHostsAreForbidden)
{
	StartTransport();
	const std::string Session = OpenSession();
	const std::string Port = std::to_string(Transport->GetPort());

	EXPECT_EQ(StatusOf(Post(Rpc(2, "ping"), {{"Mcp-Session-Id", Session}, {"Origin", "http://evil.example"}})), 403);
	httplib::Result EvilInit = Post(InitializeBody(), {{"Origin", "http://evil.example"}});
	EXPECT_EQ(StatusOf(EvilInit), 403);
	EXPECT_FALSE(EvilInit && EvilInit->has_header("Mcp-Session-Id"));
	// A rebound DNS name reaches us with its own name in Host.
	EXPECT_EQ(StatusOf(Post(Rpc(3, "ping"), {{"Mcp-Session-Id", Session}, {"Host", "evil.example:" + Port}})), 403);
	EXPECT_EQ(StatusOf(Post(Rpc(4, "ping"), {{"Mcp-Session-Id", Session}, {"Origin", "http://localhost:3000"}, {"Host", "localhost"}})), 200);
}

TEST_F(FHttpTransportTest, ProtocolVersionHeader)
{
	StartTransport();
	const std::string Session = OpenSession();

	httplib::Result Bad = Post(Rpc(2, "ping"), {{"Mcp-Session-Id", Session}, {"MCP-Protocol-Version", "1999-01-01"}});
	EXPECT_EQ(StatusOf(Bad), 400);
	EXPECT_NE(BodyOf(Bad)["error"].value("message", "").find("1999-01-01"), std::string::npos);
	EXPECT_EQ(StatusOf(Post(InitializeBody(), {{"MCP-Protocol-Version", "garbage"}})), 400);
	for (const char* Version : {"2025-03-26", "2025-06-18"})
	{
		EXPECT_EQ(StatusOf(Post(Rpc(3, "ping"), {{"Mcp-Session-Id", Session}, {"MCP-Protocol-Version", Version}})), 200) << Version;
	}
}

TEST_F(FHttpTransportTest, BearerTokenIsRequiredWhenConfigured)
{
	FHttpOptions Options;
	Options.Token = "s3cret";
	StartTransport(Options);

	httplib::Result Without = Post(InitializeBody());
	ASSERT_EQ(StatusOf(Without), 401);
	EXPECT_EQ(Without->get_header_value("WWW-Authenticate"), "Bearer");
	EXPECT_EQ(StatusOf(Post(InitializeBody(), {{"Authorization", "Bearer wrong"}})), 401);

	httplib::Result Right = Post(InitializeBody(), {{"Authorization", "Bearer s3cret"}});
	ASSERT_EQ(StatusOf(Right), 200);
	ASSERT_TRUE(Right->has_header("Mcp-Session-Id"));
	EXPECT_EQ(StatusOf(Client->Delete("/mcp", {{"Mcp-Session-Id", Right->get_header_value("Mcp-Session-Id")}})), 401);
}

TEST_F(FHttpTransportTest, MethodsPathsAndBodies)
{
	StartTransport();
	const std::string Session = OpenSession();
	const httplib::Headers InSession = {{"Mcp-Session-Id", Session}};

	httplib::Result Get = Client->Get("/mcp", {{"Mcp-Session-Id", Session}, {"Accept", "text/event-stream"}});
	ASSERT_EQ(StatusOf(Get), 405);
	EXPECT_EQ(Get->get_header_value("Allow"), "POST, DELETE");
	EXPECT_EQ(StatusOf(Client->Post("/other", InitializeBody(), "application/json")), 404);

	httplib::Result Malformed = Post("{\"jsonrpc\":", InSession);
	EXPECT_EQ(StatusOf(Malformed), 400);
	EXPECT_EQ(BodyOf(Malformed)["error"]["code"], ErrorCodes::ParseError);
	EXPECT_EQ(BodyOf(Malformed)["id"], nullptr);

	httplib::Result Batch = Post("[" + Rpc(2, "ping") + "]", InSession);
	EXPECT_EQ(StatusOf(Batch), 400);
	EXPECT_NE(BodyOf(Batch)["error"].value("message", "").find("batches are not supported"), std::string::npos);

	httplib::Result TooBig = Post(std::string(MaxMessageBytes + 1, ' '), InSession);
	EXPECT_EQ(StatusOf(TooBig), 413);
	EXPECT_EQ(BodyOf(TooBig)["error"]["code"], ErrorCodes::InvalidRequest);

	// The connection is still usable after each refusal.
	EXPECT_EQ(StatusOf(Post(Rpc(3, "ping"), InSession)), 200);
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
	EXPECT_EQ(StatusOf(Res), 413);
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
			return StatusOf(Res) == 200 ? BodyOf(Res)["id"].get<int>() : -1;
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
		return StatusOf(Post(Rpc(2, "tools/list"), {{"Mcp-Session-Id", Session}}));
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
