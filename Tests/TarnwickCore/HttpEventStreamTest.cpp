// The event stream's wire form and replay record, the Accept rule that opens it, and what the request parser
// holds in memory, which the transport's buffer bounds are counted from.
#include "Mcp/TarnwickHttpEventStream.h"
#include "Mcp/TarnwickHttpRequestParser.h"
#include "Mcp/TarnwickMcpTransports.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Mcp;

TEST(HttpEventStreamTest, EventsChunksAndIds)
{
	EXPECT_EQ(Http::FormatEvent(7, R"({"a":1})"), "id: 7\ndata: {\"a\":1}\n\n");
	std::string Out;
	Http::AppendChunk(Out, "hello");
	Http::AppendChunk(Out, std::string(26, 'z'));
	Http::AppendChunk(Out, "");
	EXPECT_EQ(Out, "5\r\nhello\r\n1a\r\n" + std::string(26, 'z') + "\r\n");
	EXPECT_EQ(Http::LastChunk(), "0\r\n\r\n");
	const std::pair<const char*, std::optional<uint64>> Ids[] = {{"12", 12}, {" 3 ", 3}, {"0", 0}, {"", std::nullopt},
		{"abc", std::nullopt}, {"-1", std::nullopt}, {"12x", std::nullopt}, {"99999999999999999999999", std::nullopt}};
	for (const auto& [Text, Id] : Ids)
	{
		EXPECT_EQ(Http::ParseEventId(Text), Id) << Text;
	}
}

TEST(HttpEventStreamTest, TheReplayKeepsTheLatestEventsAndGivesThoseAfterTheOneSeen)
{
	Http::FEventReplay Replay(3);
	for (const char* Data : {"a", "b", "c", "d"}) Replay.Add(Data);
	EXPECT_EQ(Replay.Num(), 3u);
	EXPECT_EQ(Replay.GetLastId(), 4u);
	EXPECT_EQ(Replay.Since(2), "id: 3\ndata: c\n\nid: 4\ndata: d\n\n");
	EXPECT_EQ(Replay.Since(0), "id: 2\ndata: b\n\nid: 3\ndata: c\n\nid: 4\ndata: d\n\n") << "event 1 is gone";
	EXPECT_EQ(Replay.Since(4), "");
	EXPECT_EQ(Replay.Since(100), "") << "an id from another life of the session gives nothing";
	Http::FEventReplay Tiny(0);
	Tiny.Add("x");
	EXPECT_EQ(Tiny.Num(), 1u) << "at least the last event is kept";
}

TEST(HttpEventStreamTest, AcceptHeadersThatAskForAStream)
{
	const std::pair<const char*, bool> Cases[] = {{"text/event-stream", true}, {"application/json, text/event-stream", true},
		{"TEXT/EVENT-STREAM;q=0.9", true}, {"*/*", true}, {"text/*", true}, {"application/json", false}, {"", false},
		{"text/event-streams", false}, {"text/html, application/xhtml+xml", false}};
	for (const auto& [Accept, bAccepted] : Cases)
	{
		EXPECT_EQ(HttpRules::AcceptsEventStream(Accept), bAccepted) << Accept;
	}
}

TEST(HttpRequestParserMemoryTest, ABodyIsHeldOnceAndNeverPastItsDeclaredSize)
{
	Http::FHttpRequestParser Parser;
	const size_t Length = 900 * 1024;
	Parser.Feed("POST /mcp HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(Length) + "\r\n\r\n");
	Http::FHttpRequest Request;
	ASSERT_EQ(Parser.Next(Request), Http::EHttpParse::NeedMore);
	for (size_t Sent = 0; Sent < Length - 1; Sent += 64 * 1024)
	{
		Parser.Feed(std::string(std::min<size_t>(64 * 1024, Length - 1 - Sent), 'b'));
		ASSERT_EQ(Parser.Next(Request), Http::EHttpParse::NeedMore);
		EXPECT_LE(Parser.NumHeldBytes(), Length + 64) << "after " << Sent;
	}
	EXPECT_TRUE(Parser.IsInBody());
	Parser.Feed("b");
	ASSERT_EQ(Parser.Next(Request), Http::EHttpParse::Request);
	EXPECT_EQ(Request.Body.size(), Length);

	// A connection that reads no more requests gives everything back.
	Parser.Feed("POST /mcp HTTP/1.1\r\nContent-Length: 100\r\n\r\n" + std::string(50, 'c'));
	ASSERT_EQ(Parser.Next(Request), Http::EHttpParse::NeedMore);
	EXPECT_GT(Parser.NumHeldBytes(), 50u);
	Parser.Discard();
	EXPECT_LT(Parser.NumHeldBytes(), 64u);
	EXPECT_EQ(Parser.Next(Request), Http::EHttpParse::Error);
}
