// The HTTP/1.1 request parser and response writer, without sockets: framing at every split point, pipelining,
// chunked bodies, the size limits and the malformed inputs a client (or an attacker) can send.
#include "Mcp/TarnwickHttpRequestParser.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Mcp::Http;

namespace
{
/** Everything the parser gives back for a stream: the requests in order, then the error status if any. */
struct FOutcome
{
	std::vector<FHttpRequest> Requests;
	int ErrorStatus = 0;
};

void Drain(FHttpRequestParser& Parser, FOutcome& Outcome)
{
	FHttpRequest Request;
	while (true)
	{
		const EHttpParse Result = Parser.Next(Request);
		if (Result == EHttpParse::NeedMore)
		{
			return;
		}
		if (Result == EHttpParse::Error)
		{
			Outcome.ErrorStatus = Parser.GetErrorStatus();
			return;
		}
		Outcome.Requests.push_back(std::move(Request));
	}
}

FOutcome ParseInPieces(std::string_view Stream, const std::vector<size_t>& Splits, FHttpLimits Limits = {})
{
	FHttpRequestParser Parser(Limits);
	FOutcome Outcome;
	size_t From = 0;
	for (size_t Split : Splits)
	{
		Parser.Feed(Stream.substr(From, Split - From));
		Drain(Parser, Outcome);
		From = Split;
	}
	Parser.Feed(Stream.substr(From));
	Drain(Parser, Outcome);
	return Outcome;
}

FOutcome Parse(std::string_view Stream, FHttpLimits Limits = {})
{
	return ParseInPieces(Stream, {}, Limits);
}

const std::string Pipelined =
	"POST /mcp HTTP/1.1\r\nHost: localhost\r\nContent-Length: 12\r\n\r\n{\"id\":1}\r\n\r\n"
	"POST /mcp?x=1 HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n4;ext=1\r\nab\r\n\r\n3\r\ncde\r\n0\r\nX-Trailer: t\r\n\r\n"
	"DELETE /mcp HTTP/1.1\r\nmcp-session-id: s1\r\nConnection: close\r\n\r\n";

void ExpectPipelined(const FOutcome& Outcome, const std::string& Context)
{
	ASSERT_EQ(Outcome.ErrorStatus, 0) << Context;
	ASSERT_EQ(Outcome.Requests.size(), 3u) << Context;
	EXPECT_EQ(Outcome.Requests[0].Body, "{\"id\":1}\r\n\r\n") << Context;
	EXPECT_TRUE(Outcome.Requests[0].bKeepAlive) << Context;
	EXPECT_EQ(Outcome.Requests[1].Body, "ab\r\ncde") << Context;
	EXPECT_EQ(Outcome.Requests[1].Path(), "/mcp") << Context;
	EXPECT_EQ(Outcome.Requests[1].Target, "/mcp?x=1") << Context;
	EXPECT_EQ(Outcome.Requests[2].Method, "DELETE") << Context;
	EXPECT_EQ(Outcome.Requests[2].HeaderValue("Mcp-Session-Id"), "s1") << Context;
	EXPECT_FALSE(Outcome.Requests[2].bKeepAlive) << Context;
}
}

TEST(FHttpRequestParserTest, PipelinedRequestsSplitAtEveryByteBoundary)
{
	ExpectPipelined(Parse(Pipelined), "whole");
	for (size_t Split = 1; Split < Pipelined.size(); ++Split)
	{
		ExpectPipelined(ParseInPieces(Pipelined, {Split}), "split at " + std::to_string(Split));
	}
	std::vector<size_t> EveryByte;
	for (size_t Split = 1; Split < Pipelined.size(); ++Split)
	{
		EveryByte.push_back(Split);
	}
	ExpectPipelined(ParseInPieces(Pipelined, EveryByte), "one byte at a time");
}

TEST(FHttpRequestParserTest, VersionsHeadersAndKeepAlive)
{
	struct FCase
	{
		const char* Stream;
		int MinorVersion;
		bool bKeepAlive;
	};
	const FCase Cases[] = {
		{"GET / HTTP/1.1\r\n\r\n", 1, true},
		{"GET / HTTP/1.1\r\nConnection: close\r\n\r\n", 1, false},
		{"GET / HTTP/1.1\r\nconnection: Upgrade, CLOSE\r\n\r\n", 1, false},
		{"GET / HTTP/1.0\r\n\r\n", 0, false},
		{"GET / HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n", 0, true},
		{"GET / HTTP/1.0\r\nConnection: keep-alive, close\r\n\r\n", 0, false},
		// A later 1.x is served as 1.1; bare LF line ends and empty lines before the request are tolerated.
		{"GET / HTTP/1.7\r\n\r\n", 1, true},
		{"GET / HTTP/1.1\nHost: a\n\n", 1, true},
		{"\r\n\r\nGET / HTTP/1.1\r\n\r\n", 1, true},
	};
	for (const FCase& Case : Cases)
	{
		const FOutcome Outcome = Parse(Case.Stream);
		ASSERT_EQ(Outcome.Requests.size(), 1u) << Case.Stream;
		EXPECT_EQ(Outcome.Requests[0].MinorVersion, Case.MinorVersion) << Case.Stream;
		EXPECT_EQ(Outcome.Requests[0].bKeepAlive, Case.bKeepAlive) << Case.Stream;
	}

	const FOutcome Headers = Parse("POST /mcp HTTP/1.1\r\nX-A:  padded \t\r\nx-a: second\r\nEmpty:\r\nContent-Length: 0\r\n\r\n");
	ASSERT_EQ(Headers.Requests.size(), 1u);
	const FHttpRequest& Request = Headers.Requests[0];
	EXPECT_EQ(Request.HeaderValue("X-A"), "padded") << "the first of repeated headers, trimmed";
	EXPECT_EQ(Request.HeaderValue("x-A"), "padded");
	EXPECT_TRUE(Request.HasHeader("EMPTY"));
	EXPECT_EQ(Request.HeaderValue("Empty"), "");
	EXPECT_FALSE(Request.HasHeader("Missing"));
	EXPECT_TRUE(Request.Body.empty());
}

TEST(FHttpRequestParserTest, MalformedInputEndsTheStream)
{
	struct FCase
	{
		const char* Stream;
		int Status;
	};
	const FCase Cases[] = {
		{"GET /\r\n\r\n", 400},
		{"GET  HTTP/1.1\r\n\r\n", 400},
		{"G(T / HTTP/1.1\r\n\r\n", 400},
		{"GET / / HTTP/1.1\r\n\r\n", 400},
		{"GET / HTTP/1.1x\r\n\r\n", 400},
		{"GET / http/1.1\r\n\r\n", 400},
		{"GET / HTTP/2.0\r\n\r\n", 505},
		{"GET / HTTP/1.1\r\nNoColon\r\n\r\n", 400},
		{"GET / HTTP/1.1\r\nName : v\r\n\r\n", 400},
		{"GET / HTTP/1.1\r\n: v\r\n\r\n", 400},
		{"GET / HTTP/1.1\r\nA: b\r\n folded\r\n\r\n", 400},
		{"GET / HTTP/1.1\r\nA: b\x01\r\n\r\n", 400},
		{"GET / HTTP/1.1\r\nA: b\rc\r\n\r\n", 400},
		{"POST / HTTP/1.1\r\nContent-Length: 1x\r\n\r\n", 400},
		{"POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n", 400},
		{"POST / HTTP/1.1\r\nContent-Length: 1, 1\r\n\r\n", 400},
		{"POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
		{"POST / HTTP/1.1\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n", 400},
		{"POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n", 400},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: gzip, chunked\r\n\r\n", 501},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n", 501},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", 400},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n\r\n", 400},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2 x\r\n", 400},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1000000000000000\r\n", 400},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nabc\r\n", 400},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nnot a trailer\r\n\r\n", 400},
	};
	for (const FCase& Case : Cases)
	{
		FHttpRequestParser Parser;
		FOutcome Outcome;
		Parser.Feed(Case.Stream);
		Drain(Parser, Outcome);
		EXPECT_EQ(Outcome.ErrorStatus, Case.Status) << Case.Stream;
		EXPECT_TRUE(Outcome.Requests.empty()) << Case.Stream;
		// Broken framing cannot be resynchronised: everything after is refused too.
		Parser.Feed("GET / HTTP/1.1\r\n\r\n");
		FHttpRequest Ignored;
		EXPECT_EQ(Parser.Next(Ignored), EHttpParse::Error) << Case.Stream;
	}
}

TEST(FHttpRequestParserTest, HeadLimit)
{
	FHttpLimits Limits;
	Limits.MaxHeaderBytes = 64;
	const std::string Fits = "GET / HTTP/1.1\r\nX: " + std::string(64 - 23, 'a') + "\r\n\r\n";
	ASSERT_EQ(Fits.size(), 64u);
	EXPECT_EQ(Parse(Fits, Limits).Requests.size(), 1u);
	EXPECT_EQ(Parse("GET / HTTP/1.1\r\nX: " + std::string(64 - 22, 'a') + "\r\n\r\n", Limits).ErrorStatus, 431);
	// A head that never ends is refused as soon as it passes the limit, without waiting for its end.
	EXPECT_EQ(Parse("GET / HTTP/1.1\r\nX: " + std::string(100, 'a'), Limits).ErrorStatus, 431);
	EXPECT_EQ(Parse("GET / HTTP/1.1\r\nX: " + std::string(40, 'a'), Limits).ErrorStatus, 0);
	EXPECT_EQ(Parse("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nT: " + std::string(100, 'a') + "\r\n\r\n", Limits).ErrorStatus, 431);
}

TEST(FHttpRequestParserTest, OversizedBodiesAreRefusedAndSkipped)
{
	FHttpLimits Limits;
	Limits.MaxBodyBytes = 8;
	const std::string Next = "GET /next HTTP/1.1\r\n\r\n";

	// Declared too large: refused from the head, before any body byte arrives.
	FHttpRequestParser Parser(Limits);
	FOutcome Outcome;
	Parser.Feed("POST /mcp HTTP/1.1\r\nContent-Length: 20\r\n\r\n");
	Drain(Parser, Outcome);
	ASSERT_EQ(Outcome.Requests.size(), 1u);
	EXPECT_EQ(Outcome.Requests[0].RefusalStatus, 413);
	EXPECT_TRUE(Outcome.Requests[0].bKeepAlive);
	Parser.Feed(std::string(20, 'x') + Next);
	Drain(Parser, Outcome);
	ASSERT_EQ(Outcome.Requests.size(), 2u);
	EXPECT_EQ(Outcome.Requests[1].Target, "/next");
	EXPECT_EQ(Outcome.Requests[1].RefusalStatus, 0);

	struct FCase
	{
		std::string Stream;
		int FirstRefusal;
		std::string FirstBody;
	};
	const FCase Cases[] = {
		{"POST / HTTP/1.1\r\nContent-Length: 8\r\n\r\n12345678" + Next, 0, "12345678"},
		{"POST / HTTP/1.1\r\nContent-Length: 9\r\n\r\n123456789" + Next, 413, ""},
		{"POST / HTTP/1.1\r\nContent-Length: 99999999999999999999999\r\n\r\n", 413, ""},
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n4\r\n1234\r\n4\r\n5678\r\n0\r\n\r\n" + Next, 0, "12345678"},
		// Passes the limit in its second chunk; the chunks after it are skipped, trailers included.
		{"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n4\r\n1234\r\n5\r\n56789\r\n3\r\nabc\r\n0\r\nT: x\r\n\r\n" + Next, 413, ""},
	};
	for (const FCase& Case : Cases)
	{
		for (size_t Split = 1; Split < Case.Stream.size(); ++Split)
		{
			const FOutcome Split2 = ParseInPieces(Case.Stream, {Split}, Limits);
			ASSERT_EQ(Split2.ErrorStatus, 0) << Case.Stream << " split at " << Split;
			ASSERT_GE(Split2.Requests.size(), 1u) << Case.Stream << " split at " << Split;
			EXPECT_EQ(Split2.Requests[0].RefusalStatus, Case.FirstRefusal) << Case.Stream;
			EXPECT_EQ(Split2.Requests[0].Body, Case.FirstBody) << Case.Stream;
			if (Case.Stream.ends_with(Next))
			{
				ASSERT_EQ(Split2.Requests.size(), 2u) << Case.Stream << " split at " << Split;
				EXPECT_EQ(Split2.Requests[1].Target, "/next");
			}
		}
	}
}

TEST(FHttpRequestParserTest, ExpectContinue)
{
	FHttpRequestParser Parser;
	FOutcome Outcome;
	Parser.Feed("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n");
	Drain(Parser, Outcome);
	EXPECT_TRUE(Parser.TakeContinueDue());
	EXPECT_FALSE(Parser.TakeContinueDue()) << "once per request";
	Parser.Feed("ok");
	Drain(Parser, Outcome);
	ASSERT_EQ(Outcome.Requests.size(), 1u);
	EXPECT_EQ(Outcome.Requests[0].Body, "ok");

	// The body came with the head: nothing to wait for. HTTP/1.0 knows no 100.
	for (const char* Stream : {"POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\nok",
			 "POST / HTTP/1.0\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n"})
	{
		FHttpRequestParser Other;
		FOutcome Ignored;
		Other.Feed(Stream);
		Drain(Other, Ignored);
		EXPECT_FALSE(Other.TakeContinueDue()) << Stream;
	}

	// Refused before its body was sent: the client may send its next request instead, so the connection ends.
	FHttpLimits Limits;
	Limits.MaxBodyBytes = 1;
	const FOutcome Refused = Parse("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n", Limits);
	ASSERT_EQ(Refused.Requests.size(), 1u);
	EXPECT_EQ(Refused.Requests[0].RefusalStatus, 413);
	EXPECT_FALSE(Refused.Requests[0].bKeepAlive);
}

TEST(FHttpResponseWriterTest, OneBufferPerResponse)
{
	std::string Out;
	AppendResponse(Out, 200, {{"Content-Type", "application/json"}, {"Mcp-Session-Id", "abc"}}, "{}", EConnectionHeader::None);
	EXPECT_EQ(Out, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nMcp-Session-Id: abc\r\nContent-Length: 2\r\n\r\n{}");

	Out.clear();
	AppendResponse(Out, 202, {}, "", EConnectionHeader::Close);
	EXPECT_EQ(Out, "HTTP/1.1 202 Accepted\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");

	Out.clear();
	AppendResponse(Out, 204, {}, "", EConnectionHeader::KeepAlive);
	EXPECT_EQ(Out, "HTTP/1.1 204 No Content\r\nConnection: keep-alive\r\n\r\n");

	Out = "kept";
	AppendResponse(Out, 405, {{"Allow", "POST, DELETE"}}, "body", EConnectionHeader::None, true);
	EXPECT_EQ(Out, "keptHTTP/1.1 405 Method Not Allowed\r\nAllow: POST, DELETE\r\nContent-Length: 4\r\n\r\n") << "HEAD: length without body";

	EXPECT_STREQ(ReasonPhrase(413), "Content Too Large");
	EXPECT_STREQ(ReasonPhrase(299), "Unknown");
}
