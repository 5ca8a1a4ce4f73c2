// The Streamable HTTP transport: the header rules as tables, then every status code a real client can meet,
// driven over loopback with httplib's client against a transport on a free port, served by a game thread that
// loops as the frame loop does.
#include "GameThread.h"
#include "TarnwickToolRegistry.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Logging.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "PlatformTime.h"

#include <httplib.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <future>
#include <regex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

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
/** Runs queued game-thread work and watched descriptors until stopped, as the frame loop does. */
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

/** A client that writes bytes exactly as given, to test framing that httplib's client never produces. */
class FRawClient
{
public:
	explicit FRawClient(int Port) : Fd(::socket(AF_INET, SOCK_STREAM, 0))
	{
		timeval Timeout{20, 0};
		::setsockopt(Fd, SOL_SOCKET, SO_RCVTIMEO, &Timeout, sizeof(Timeout));
		sockaddr_in Address{};
		Address.sin_family = AF_INET;
		Address.sin_port = htons(static_cast<uint16_t>(Port));
		Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
		bConnected = ::connect(Fd, reinterpret_cast<sockaddr*>(&Address), sizeof(Address)) == 0;
	}
	~FRawClient() { ::close(Fd); }

	bool IsConnected() const { return bConnected; }
	void Send(const std::string& Bytes) { EXPECT_EQ(::send(Fd, Bytes.data(), Bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(Bytes.size())); }
	/** Everything until the server closes (or the 20 s guard runs out). */
	std::string ReadToEnd()
	{
		std::string All;
		char Buffer[4096];
		ssize_t Count = 0;
		while ((Count = ::recv(Fd, Buffer, sizeof(Buffer), 0)) > 0)
		{
			All.append(Buffer, static_cast<size_t>(Count));
		}
		return All;
	}
	/** Reads until Marker has been seen; what came so far. */
	std::string ReadUntil(const std::string& Marker)
	{
		std::string All;
		char Buffer[4096];
		while (All.find(Marker) == std::string::npos)
		{
			const ssize_t Count = ::recv(Fd, Buffer, sizeof(Buffer), 0);
			if (Count <= 0)
			{
				break;
			}
			All.append(Buffer, static_cast<size_t>(Count));
		}
		return All;
	}

private:
	int Fd;
	bool bConnected = false;
};

std::string RawPost(const std::string& Body, const std::string& ExtraHeaders = "")
{
	return "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n" + ExtraHeaders +
		"Content-Length: " + std::to_string(Body.size()) + "\r\n\r\n" + Body;
}

size_t CountOf(const std::string& Text, const std::string& Part)
{
	size_t Count = 0;
	for (size_t At = Text.find(Part); At != std::string::npos; At = Text.find(Part, At + 1))
	{
		++Count;
	}
	return Count;
}

class FHttpTransportTest : public ::testing::Test
{
protected:
	FServer Server{FServerOptions{}};
	std::unique_ptr<FGameThreadPump> Pump;
	std::unique_ptr<FHttpTransport> Transport;
	std::unique_ptr<httplib::Client> Client;

	void StartTransport(FHttpOptions Options = {})
	{
		// A client writing to a connection we closed must get EPIPE, as the server does, not die of SIGPIPE.
		std::signal(SIGPIPE, SIG_IGN);
		Pump = std::make_unique<FGameThreadPump>();
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
		Pump.reset();
		FGameThreadTaskQueue::Get().RunPending();
		EXPECT_EQ(FGameThreadTaskQueue::Get().NumFdWatches(), 0u) << "Stop removes every watch";
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

	EXPECT_EQ(StatusOf(Client->Get("/mcp", {{"Accept", "text/event-stream"}})), 400) << "a stream belongs to a session";
	EXPECT_EQ(StatusOf(Client->Get("/mcp", {{"Mcp-Session-Id", Session}, {"Accept", "application/json"}})), 406);
	httplib::Result Put = Client->Put("/mcp", InitializeBody(), "application/json");
	ASSERT_EQ(StatusOf(Put), 405);
	EXPECT_EQ(Put->get_header_value("Allow"), "GET, POST, DELETE");
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

	// The server is still usable after each refusal (a refused body ends its connection; the client opens another).
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

TEST_F(FHttpTransportTest, PipelinedRequestsAreAnsweredInOrderAndCloseEndsTheConnection)
{
	StartTransport();
	const std::string Session = OpenSession();
	FRawClient Raw(Transport->GetPort());
	ASSERT_TRUE(Raw.IsConnected());
	const std::string InSession = "Mcp-Session-Id: " + Session + "\r\n";
	// One write holding three requests; the last one asks to close, and what follows it is never answered.
	Raw.Send(RawPost(Rpc(1, "tools/list"), InSession) + RawPost(Rpc(2, "ping"), InSession) +
		RawPost(Rpc(3, "ping"), InSession + "Connection: close\r\n") + RawPost(Rpc(4, "ping"), InSession));
	const std::string Answers = Raw.ReadToEnd();
	EXPECT_EQ(CountOf(Answers, "HTTP/1.1 200 OK\r\n"), 3u) << Answers;
	const size_t First = Answers.find("\"id\":1");
	const size_t Second = Answers.find("\"id\":2");
	const size_t Third = Answers.find("\"id\":3");
	ASSERT_NE(Third, std::string::npos) << Answers;
	EXPECT_LT(First, Second);
	EXPECT_LT(Second, Third);
	EXPECT_EQ(Answers.find("\"id\":4"), std::string::npos);
	EXPECT_NE(Answers.find("Connection: close\r\n"), std::string::npos);
}

TEST_F(FHttpTransportTest, MalformedHttpIsRefusedAndTheConnectionEnds)
{
	StartTransport();
	struct FCase
	{
		std::string Bytes;
		const char* StatusLine;
	};
	const FCase Cases[] = {
		{"POST /mcp HTTP/1.1\r\nContent-Length: nope\r\n\r\n", "HTTP/1.1 400 Bad Request\r\n"},
		{"GET /mcp HTTP/3.0\r\n\r\n", "HTTP/1.1 505 HTTP Version Not Supported\r\n"},
		{"POST /mcp HTTP/1.1\r\nX: " + std::string(70 * 1024, 'a') + "\r\n\r\n", "HTTP/1.1 431 Request Header Fields Too Large\r\n"},
	};
	for (const FCase& Case : Cases)
	{
		FRawClient Raw(Transport->GetPort());
		Raw.Send(Case.Bytes);
		const std::string Answer = Raw.ReadToEnd();
		EXPECT_EQ(Answer.rfind(Case.StatusLine, 0), 0u) << Answer.substr(0, 200);
		EXPECT_NE(Answer.find("\"code\":-32000"), std::string::npos) << Answer.substr(0, 200);
	}
	// HTTP/1.0 closes after its answer unless it asks to keep the connection.
	FRawClient Old(Transport->GetPort());
	Old.Send("POST /other HTTP/1.0\r\n\r\n");
	EXPECT_EQ(Old.ReadToEnd().rfind("HTTP/1.1 404 Not Found\r\n", 0), 0u);
}

TEST_F(FHttpTransportTest, AStalledClientDoesNotHoldUpOthers)
{
	StartTransport();
	FRawClient Stalled(Transport->GetPort());
	Stalled.Send("POST /mcp HTTP/1.1\r\nContent-Length: 100\r\n\r\n{\"jsonrpc\"");
	const std::string Session = OpenSession();
	EXPECT_EQ(StatusOf(Post(Rpc(2, "ping"), {{"Mcp-Session-Id", Session}})), 200);
}

TEST_F(FHttpTransportTest, IdleConnectionsAreClosed)
{
	FHttpOptions Options;
	Options.KeepAliveSeconds = 0.0;
	StartTransport(Options);
	FRawClient Idle(Transport->GetPort());
	Idle.Send(RawPost(InitializeBody()));
	ASSERT_NE(Idle.ReadUntil("}}").find("HTTP/1.1 200 OK"), std::string::npos);
	// The next connection accepted looks for idle ones; the answered one has no request in progress.
	FRawClient Next(Transport->GetPort());
	Next.Send(RawPost(InitializeBody()));
	EXPECT_EQ(Idle.ReadToEnd(), "");
	EXPECT_NE(Next.ReadUntil("}}").find("HTTP/1.1 200 OK"), std::string::npos);
}

TEST_F(FHttpTransportTest, TakenPortIsReportedAndStopAnswersRequestsInProgress)
{
	StartTransport();
	FHttpOptions Same;
	Same.Port = Transport->GetPort();
	FHttpTransport Second(Server, Same);
	std::string Error;
	EXPECT_FALSE(Second.Start(Error));
	EXPECT_NE(Error.find("cannot listen on 127.0.0.1:" + std::to_string(Same.Port) + ": "), std::string::npos) << Error;

	// A tool that stops the transport while its own call is in progress: that call is answered 503, an idle
	// keep-alive connection is closed, and the port is free again at once.
	ASSERT_TRUE(FTarnwickToolRegistry::Get().RegisterAction("test", "stop_transport", "Stops the HTTP transport.",
		[this](const FJsonPtr&) {
			Transport->Stop();
			return FTarnwickActionResult::Success(FJson::object());
		},
		nullptr, ""));
	const std::string Session = OpenSession();
	FRawClient Idle(Transport->GetPort());
	Idle.Send(RawPost(Rpc(1, "ping"), "Mcp-Session-Id: " + Session + "\r\n"));
	ASSERT_NE(Idle.ReadUntil("}").find("HTTP/1.1 200 OK"), std::string::npos);

	httplib::Result Stopped = Post(Rpc(7, "tools/call", FJson{{"name", "test_stop_transport"}, {"arguments", FJson::object()}}), {{"Mcp-Session-Id", Session}});
	EXPECT_EQ(StatusOf(Stopped), 503);
	EXPECT_EQ(BodyOf(Stopped)["id"], 7);
	EXPECT_EQ(Idle.ReadToEnd(), "");
	FTarnwickToolRegistry::Get().UnregisterNamespace("test");

	FHttpTransport Again(Server, Same);
	EXPECT_TRUE(Again.Start(Error)) << Error;
	Again.Stop();
	// Stopping twice, from another thread than the one that served, is harmless.
	Transport->Stop();
}

namespace
{
/** A host clock the test moves by hand; the transport's deadlines read it. */
class FManualClock final : public Tarnwick::Host::IPlatformClock
{
public:
	std::atomic<double> Now = 1000.0;
	double Seconds() const override { return Now.load(); }
	double UtcNow() const override { return 1.7e9 + Now.load(); }
};

/** initialize over a raw connection; the session id. */
std::string RawInitialize(FRawClient& Raw)
{
	Raw.Send(RawPost(InitializeBody()));
	const std::string Answer = Raw.ReadUntil("}}");
	const size_t At = Answer.find("Mcp-Session-Id: ");
	return At == std::string::npos ? std::string() : Answer.substr(At + 16, 32);
}

std::string RawGetStream(const std::string& Session, const std::string& Extra = "")
{
	return "GET /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nAccept: text/event-stream\r\nMcp-Session-Id: " + Session + "\r\n" + Extra + "\r\n";
}

FLogCategory LogStreamTest("LogStreamTest");
}

TEST_F(FHttpTransportTest, TheGetStreamCarriesLogLinesAndListChanges)
{
	StartTransport();
	const std::string Session = OpenSession();
	EXPECT_EQ(StatusOf(Post(Rpc(2, "logging/setLevel", FJson{{"level", "warning"}}), {{"Mcp-Session-Id", Session}})), 200);

	FRawClient Stream(Transport->GetPort());
	Stream.Send(RawGetStream(Session));
	const std::string Head = Stream.ReadUntil("retry: 1000");
	EXPECT_EQ(Head.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << Head;
	EXPECT_NE(Head.find("Content-Type: text/event-stream\r\n"), std::string::npos);
	EXPECT_NE(Head.find("Transfer-Encoding: chunked\r\n"), std::string::npos);

	TW_LOG(LogStreamTest, Warning, "the stream carries this");
	const std::string Event = Stream.ReadUntil("the stream carries this\"}}");
	EXPECT_NE(Event.find("id: 1\ndata: {\"jsonrpc\":\"2.0\",\"method\":\"notifications/message\",\"params\":{\"level\":\"warning\","
						 "\"logger\":\"LogStreamTest\",\"data\":\"the stream carries this\"}}\n\n"),
		std::string::npos)
		<< Event;

	// The registry belongs to the game thread (the pump).
	FGameThreadTaskQueue::Get().Post([] { FTarnwickToolRegistry::Get().RegisterAction("streamtest", "added", "Added later.", nullptr, nullptr, ""); });
	EXPECT_NE(Stream.ReadUntil("tools/list_changed").find("id: 2\ndata: {\"jsonrpc\":\"2.0\",\"method\":\"notifications/tools/list_changed\"}"),
		std::string::npos);
	FGameThreadTaskQueue::Get().Post([] { FTarnwickToolRegistry::Get().UnregisterNamespace("streamtest"); });

	// Ending the session ends its stream cleanly.
	EXPECT_EQ(StatusOf(Client->Delete("/mcp", {{"Mcp-Session-Id", Session}})), 204);
	EXPECT_NE(Stream.ReadToEnd().find("0\r\n\r\n"), std::string::npos);
}

TEST_F(FHttpTransportTest, AReconnectedStreamReplaysWhatItMissedAndReplacesTheOldOne)
{
	StartTransport();
	const std::string Session = OpenSession();
	Post(Rpc(2, "logging/setLevel", FJson{{"level", "error"}}), {{"Mcp-Session-Id", Session}});
	FRawClient First(Transport->GetPort());
	First.Send(RawGetStream(Session));
	First.ReadUntil("retry: 1000");
	TW_LOG(LogStreamTest, Error, "one");
	First.ReadUntil("\"one\"}}");
	TW_LOG(LogStreamTest, Error, "two");
	TW_LOG(LogStreamTest, Error, "three");
	First.ReadUntil("\"three\"}}");

	// The client saw only event 1 (say); it reconnects from there and gets 2 and 3 again; the first stream ends.
	FRawClient Second(Transport->GetPort());
	Second.Send(RawGetStream(Session, "Last-Event-ID: 1\r\n"));
	const std::string Replayed = Second.ReadUntil("\"three\"}}");
	EXPECT_EQ(Replayed.find("\"one\""), std::string::npos) << Replayed;
	EXPECT_NE(Replayed.find("id: 2\ndata: "), std::string::npos) << Replayed;
	EXPECT_NE(Replayed.find("id: 3\ndata: "), std::string::npos) << Replayed;
	EXPECT_NE(First.ReadToEnd().find("0\r\n\r\n"), std::string::npos) << "one stream per session";

	TW_LOG(LogStreamTest, Error, "four");
	EXPECT_NE(Second.ReadUntil("\"four\"}}").find("id: 4\n"), std::string::npos);
}

TEST_F(FHttpTransportTest, DuplicateOrMissingHostAndDuplicateOriginAreRefused)
{
	StartTransport();
	const std::string Session = OpenSession();
	const std::string InSession = "Mcp-Session-Id: " + Session + "\r\n";
	struct FCase
	{
		std::string Bytes;
		const char* StatusLine;
		const char* Message;
	};
	const std::string Body = Rpc(1, "ping");
	const std::string Length = "Content-Length: " + std::to_string(Body.size()) + "\r\n\r\n" + Body;
	const FCase Cases[] = {
		{"POST /mcp HTTP/1.1\r\n" + InSession + Length, "HTTP/1.1 400 Bad Request\r\n", "the Host header is required"},
		{"POST /mcp HTTP/1.0\r\n" + InSession + Length, "HTTP/1.1 400 Bad Request\r\n", "the Host header is required"},
		{"POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nHost: evil.example\r\n" + InSession + Length, "HTTP/1.1 400 Bad Request\r\n",
			"more than one Host header"},
		{"POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nOrigin: http://localhost\r\nOrigin: http://evil.example\r\n" + InSession + Length,
			"HTTP/1.1 403 Forbidden\r\n", "more than one Origin header"},
		{"GET /mcp HTTP/1.1\r\nAccept: text/event-stream\r\n" + InSession + "\r\n", "HTTP/1.1 400 Bad Request\r\n",
			"the Host header is required"},
	};
	for (const FCase& Case : Cases)
	{
		FRawClient Raw(Transport->GetPort());
		Raw.Send(Case.Bytes);
		const std::string Answer = Raw.ReadUntil("}}");
		EXPECT_EQ(Answer.rfind(Case.StatusLine, 0), 0u) << Answer;
		EXPECT_NE(Answer.find(Case.Message), std::string::npos) << Answer;
	}
}

TEST_F(FHttpTransportTest, ARefusedBodyIsNotReadTheConnectionCloses)
{
	FHttpOptions Options;
	Options.MaxBodyBytes = 1024;
	StartTransport(Options);
	FRawClient Raw(Transport->GetPort());
	// Far more is announced than allowed; the client sends a first part and would go on.
	Raw.Send("POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 100000000\r\n\r\n" + std::string(64 * 1024, 'x'));
	const std::string Answer = Raw.ReadToEnd();
	EXPECT_EQ(Answer.rfind("HTTP/1.1 413 Content Too Large\r\n", 0), 0u) << Answer.substr(0, 200);
	EXPECT_NE(Answer.find("Connection: close\r\n"), std::string::npos);
}

TEST_F(FHttpTransportTest, UnfinishedRequestsTogetherHoldABoundedAmountTheLargestGoesFirst)
{
	FHttpOptions Options;
	Options.MaxBufferedBytes = 1024 * 1024;
	StartTransport(Options);
	const std::string Session = OpenSession();
	const std::string Body = Rpc(9, "ping", FJson{{"pad", std::string(900 * 1024, 'p')}});
	const std::string Head = "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nMcp-Session-Id: " + Session +
		"\r\nContent-Length: " + std::to_string(Body.size()) + "\r\n\r\n";
	FRawClient Small(Transport->GetPort());
	Small.Send(Head + Body.substr(0, 100 * 1024));
	FRawClient Large(Transport->GetPort());
	Large.Send(Head + Body.substr(0, 800 * 1024));
	// More than a MiB held between them: the larger request is dropped with 503, the smaller one completes.
	const std::string Dropped = Large.ReadToEnd();
	EXPECT_EQ(Dropped.rfind("HTTP/1.1 503 Service Unavailable\r\n", 0), 0u) << Dropped.substr(0, 200);
	Small.Send(Body.substr(100 * 1024));
	EXPECT_NE(Small.ReadUntil("}").find("HTTP/1.1 200 OK"), std::string::npos);
}

TEST_F(FHttpTransportTest, RequestsThatArriveTooSlowlyAreAnswered408OnTheHostClock)
{
	FManualClock Clock;
	Tarnwick::Host::SetClock(&Clock);
	StartTransport();
	const std::string Session = OpenSession();
	FRawClient SlowHead(Transport->GetPort());
	SlowHead.Send("POST /mcp HTTP/1.1\r\nHost: 127.");
	FRawClient SlowBody(Transport->GetPort());
	SlowBody.Send(RawPost(Rpc(1, "ping"), "Mcp-Session-Id: " + Session + "\r\n").substr(0, 150));
	// Accepting a connection sweeps the others; nothing is late yet.
	{
		FRawClient Probe(Transport->GetPort());
		Probe.Send(RawPost(Rpc(2, "ping"), "Mcp-Session-Id: " + Session + "\r\n"));
		EXPECT_NE(Probe.ReadUntil("}").find("200 OK"), std::string::npos);
	}
	Clock.Now = Clock.Now + 10.5;
	FRawClient(Transport->GetPort()).Send("");
	EXPECT_NE(SlowHead.ReadToEnd().find("408 Request Timeout\r\n"), std::string::npos);
	Clock.Now = Clock.Now + 30.0;
	FRawClient(Transport->GetPort()).Send("");
	const std::string Late = SlowBody.ReadToEnd();
	EXPECT_NE(Late.find("408 Request Timeout\r\n"), std::string::npos) << Late;
	EXPECT_NE(Late.find("body did not arrive in time"), std::string::npos) << Late;
	Transport->Stop();
	Tarnwick::Host::SetClock(nullptr);
}

TEST_F(FHttpTransportTest, ANewConnectionPastTheLimitClosesOneThatNeverFinishedARequest)
{
	FManualClock Clock;
	Tarnwick::Host::SetClock(&Clock);
	FHttpOptions Options;
	Options.MaxConnections = 3;
	StartTransport(Options);
	FRawClient Working(Transport->GetPort());
	const std::string Session = RawInitialize(Working);
	ASSERT_EQ(Session.size(), 32u);
	const std::string InSession = "Mcp-Session-Id: " + Session + "\r\n";
	int Id = 10;
	// A round trip on Working after each connect: by its answer the server has taken in the new connection.
	const auto Ping = [&](FRawClient& Raw) {
		const std::string Marker = "\"id\":" + std::to_string(++Id);
		Raw.Send(RawPost(Rpc(Id, "ping"), InSession));
		return Raw.ReadUntil(Marker).find("200 OK") != std::string::npos;
	};
	Clock.Now = Clock.Now + 1.0;
	FRawClient TrickleA(Transport->GetPort());
	TrickleA.Send("POST /mcp HTTP/1.1\r\n");
	ASSERT_TRUE(Ping(Working));
	Clock.Now = Clock.Now + 1.0;
	FRawClient TrickleB(Transport->GetPort());
	TrickleB.Send("POST /mcp HTTP/1.1\r\n");
	ASSERT_TRUE(Ping(Working));
	Clock.Now = Clock.Now + 1.0;

	// A fourth connection is not refused: the oldest of those that never finished a request makes room.
	FRawClient Fresh(Transport->GetPort());
	EXPECT_TRUE(Ping(Fresh));
	EXPECT_EQ(TrickleA.ReadToEnd(), "");
	FRawClient Another(Transport->GetPort());
	EXPECT_TRUE(Ping(Another));
	EXPECT_EQ(TrickleB.ReadToEnd(), "");
	// The connections that did their work survive both.
	EXPECT_TRUE(Ping(Working));
	EXPECT_TRUE(Ping(Fresh));
	Transport->Stop();
	Tarnwick::Host::SetClock(nullptr);
}

TEST_F(FHttpTransportTest, PipelinedRequestsBeyondATurnAreServedOnLaterTurnsInOrder)
{
	FHttpOptions Options;
	Options.MaxRequestsPerTurn = 1;
	StartTransport(Options);
	const std::string Session = OpenSession();
	std::string Burst;
	for (int Id = 1; Id <= 20; ++Id) Burst += RawPost(Rpc(Id, "ping"), "Mcp-Session-Id: " + Session + "\r\n");
	FRawClient Raw(Transport->GetPort());
	Raw.Send(Burst);
	const std::string Answers = Raw.ReadUntil("\"id\":20");
	size_t At = 0;
	for (int Id = 1; Id <= 20; ++Id)
	{
		const size_t Next = Answers.find("\"id\":" + std::to_string(Id) + ",", At);
		ASSERT_NE(Next, std::string::npos) << Id;
		At = Next;
	}
}
