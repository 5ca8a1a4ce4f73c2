// The pieces of the executable that read what a user or a server hands it: the loopback rule, the printed
// client configuration, and the HTTP answers `tarnwick call --url` parses.
#include "McpHttpClient.h"
#include "TarnwickProgram.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Program;

TEST(ProgramRulesTest, AnythingButLoopbackNeedsAllowRemoteAndAToken)
{
	EXPECT_EQ(CheckListenAddress("127.0.0.1", 8765, false, false), "");
	EXPECT_EQ(CheckListenAddress("localhost", 8765, false, false), "");
	EXPECT_EQ(CheckListenAddress("::1", 8765, false, false), "");
	EXPECT_EQ(CheckListenAddress("0.0.0.0", 8765, false, true).rfind("refusing to listen on 0.0.0.0:8765: it is not a loopback address", 0), 0u);
	EXPECT_EQ(CheckListenAddress("192.168.1.5", 9, true, false).rfind("--allow-remote needs a token", 0), 0u);
	EXPECT_EQ(CheckListenAddress("192.168.1.5", 9, true, true), "");
}

TEST(ProgramRulesTest, TheClientConfigurationIsOneJsonObject)
{
	const FJsonPtr Plain = FTarnwickJsonUtils::Parse(ClientConfigText("127.0.0.1:8765", false));
	ASSERT_TRUE(Plain);
	EXPECT_EQ((*Plain)["mcpServers"]["tarnwick"], FJson::parse(R"({"type": "http", "url": "http://127.0.0.1:8765/mcp"})"));
	const FJsonPtr WithToken = FTarnwickJsonUtils::Parse(ClientConfigText("127.0.0.1:9000", true));
	ASSERT_TRUE(WithToken);
	EXPECT_EQ((*WithToken)["mcpServers"]["tarnwick"]["headers"]["Authorization"], "Bearer ${TARNWICK_TOKEN}");
}

TEST(McpHttpClientTest, Urls)
{
	FHttpUrl Url;
	std::string Error;
	ASSERT_TRUE(ParseHttpUrl("http://127.0.0.1:8765/mcp", Url, Error)) << Error;
	EXPECT_EQ(Url.Host, "127.0.0.1");
	EXPECT_EQ(Url.Port, 8765);
	EXPECT_EQ(Url.Path, "/mcp");
	EXPECT_EQ(Url.Authority, "127.0.0.1:8765");
	ASSERT_TRUE(ParseHttpUrl("HTTP://[::1]:9/x?y=1", Url, Error)) << Error;
	EXPECT_EQ(Url.Host, "::1");
	EXPECT_EQ(Url.Path, "/x?y=1");
	ASSERT_TRUE(ParseHttpUrl("http://localhost", Url, Error));
	EXPECT_EQ(Url.Port, 80);
	EXPECT_EQ(Url.Path, "/");
	for (const char* Bad : {"https://x/mcp", "127.0.0.1:8765/mcp", "http://:80/", "http://x:0/", "http://x:70000/", "http://[::1/"})
	{
		EXPECT_FALSE(ParseHttpUrl(Bad, Url, Error)) << Bad;
		EXPECT_FALSE(Error.empty());
	}
}

TEST(McpHttpClientTest, ResponsesByLengthChunksOrClose)
{
	std::string Error;
	const std::string Full = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 7\r\n\r\n{\"a\":1}";
	for (size_t Cut = 0; Cut < Full.size(); ++Cut)
	{
		EXPECT_FALSE(ParseHttpResponse(Full.substr(0, Cut), false, Error)) << Cut;
	}
	const std::optional<FHttpResponse> Whole = ParseHttpResponse(Full, false, Error);
	ASSERT_TRUE(Whole);
	EXPECT_EQ(Whole->Status, 200);
	EXPECT_EQ(Whole->Header("content-type"), "application/json");
	EXPECT_EQ(Whole->Body, "{\"a\":1}");

	const std::string Chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2;x=y\r\nde\r\n0\r\n\r\n";
	EXPECT_FALSE(ParseHttpResponse(Chunked.substr(0, Chunked.size() - 2), false, Error));
	ASSERT_TRUE(ParseHttpResponse(Chunked, false, Error));
	EXPECT_EQ(ParseHttpResponse(Chunked, false, Error)->Body, "abcde");

	const std::string UntilClose = "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Bearer\r\n\r\nno";
	EXPECT_FALSE(ParseHttpResponse(UntilClose, false, Error));
	ASSERT_TRUE(ParseHttpResponse(UntilClose, true, Error));
	EXPECT_EQ(ParseHttpResponse(UntilClose, true, Error)->Body, "no");
	ASSERT_TRUE(ParseHttpResponse("HTTP/1.1 202 Accepted\r\nContent-Length: 0\r\n\r\n", false, Error));
	ASSERT_TRUE(ParseHttpResponse("HTTP/1.1 204 No Content\r\n\r\n", false, Error)) << "204 has no body by definition";

	Error.clear();
	EXPECT_FALSE(ParseHttpResponse("", true, Error));
	EXPECT_EQ(Error, "the server closed the connection without answering");
	Error.clear();
	EXPECT_FALSE(ParseHttpResponse("SSH-2.0-OpenSSH\r\n\r\n", true, Error));
	EXPECT_EQ(Error, "the answer is not an HTTP/1.x response");
	Error.clear();
	EXPECT_FALSE(ParseHttpResponse("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort", true, Error));
	EXPECT_EQ(Error, "the connection closed before the whole body came");
}

TEST(McpHttpClientTest, EventStreamsCarryMessagesInTheirDataLines)
{
	const std::vector<FJson> Messages = ParseEventStreamMessages(
		"retry: 1000\n\nid: 1\ndata: {\"jsonrpc\":\"2.0\",\"method\":\"n\"}\n\n: comment\n\nid: 2\ndata: {\"id\":1,\r\ndata: \"result\":{}}\r\n\r\n"
		"id: 3\ndata:\n\ndata: not json\n\n");
	ASSERT_EQ(Messages.size(), 2u);
	EXPECT_EQ(Messages[0]["method"], "n");
	EXPECT_EQ(Messages[1]["id"], 1) << "data lines of one event are joined";
}
