// The stdio transport over real pipes: line framing, refusals, end of input and a client that goes away. The
// input is read on the game thread, which the test thread is: reading a reply pumps it.
#include "GameThread.h"
#include "Mcp/TarnwickMcpServer.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "Mcp/TarnwickTransportLog.h"
#include "TarnwickLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <regex>
#include <thread>
#include <unistd.h>

using namespace Tarnwick::Mcp;

namespace
{
/** Bounds every wait so a broken transport fails the test instead of hanging it. */
constexpr int SafetyTimeoutMs = 20000;

class FStdioTransportTest : public ::testing::Test
{
protected:
	FServer Server{FServerOptions{}};
	int ToServer[2] = {-1, -1};
	int FromServer[2] = {-1, -1};
	std::unique_ptr<FStdioTransport> Transport;
	std::string Pending;

	void SetUp() override
	{
		FGameThreadTaskQueue::Get().MarkGameThread();
		ASSERT_EQ(::pipe2(ToServer, O_CLOEXEC), 0);
		ASSERT_EQ(::pipe2(FromServer, O_CLOEXEC), 0);
		Transport = std::make_unique<FStdioTransport>(Server, ToServer[0], FromServer[1]);
		Transport->Start();
	}

	void TearDown() override
	{
		CloseInput();
		Transport.reset();
		// Calls still queued for the game thread hold replies to this transport's channel; run them out.
		FGameThreadTaskQueue::Get().RunPending();
		for (int Fd : {ToServer[0], FromServer[0], FromServer[1]})
		{
			if (Fd >= 0)
			{
				::close(Fd);
			}
		}
	}

	void Send(std::string_view Text)
	{
		size_t Offset = 0;
		while (Offset < Text.size())
		{
			const ssize_t Written = ::write(ToServer[1], Text.data() + Offset, Text.size() - Offset);
			ASSERT_GT(Written, 0) << "errno " << errno;
			Offset += static_cast<size_t>(Written);
		}
	}

	void CloseInput()
	{
		if (ToServer[1] >= 0)
		{
			::close(ToServer[1]);
			ToServer[1] = -1;
		}
	}

	/** The next line the server wrote, without its newline, pumping the game thread meanwhile; nullopt when the
	 *  output ended or nothing came. */
	std::optional<std::string> ReadLine()
	{
		const auto Deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(SafetyTimeoutMs);
		while (true)
		{
			if (const size_t End = Pending.find('\n'); End != std::string::npos)
			{
				std::string Line = Pending.substr(0, End);
				Pending.erase(0, End + 1);
				return Line;
			}
			FGameThreadTaskQueue::Get().RunPending();
			pollfd In{FromServer[0], POLLIN, 0};
			if (::poll(&In, 1, 2) <= 0)
			{
				if (std::chrono::steady_clock::now() > Deadline) return std::nullopt;
				continue;
			}
			char Buffer[65536];
			const ssize_t Got = ::read(FromServer[0], Buffer, sizeof(Buffer));
			if (Got <= 0)
			{
				return std::nullopt;
			}
			Pending.append(Buffer, static_cast<size_t>(Got));
		}
	}

	FJson ReadMessage()
	{
		const std::optional<std::string> Line = ReadLine();
		if (!Line)
		{
			ADD_FAILURE() << "no line from the server";
			return FJson();
		}
		return FJson::parse(*Line, nullptr, false);
	}

	/** True when nothing at all is waiting on the server's output right now. */
	bool OutputIsEmpty()
	{
		pollfd In{FromServer[0], POLLIN, 0};
		return Pending.empty() && ::poll(&In, 1, 0) == 0;
	}

	/** Pumps the game thread until the transport reports that it finished (or the safety bound passes). */
	bool WaitFinished()
	{
		const auto Deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(SafetyTimeoutMs);
		while (!Transport->IsFinished() && std::chrono::steady_clock::now() < Deadline)
		{
			FGameThreadTaskQueue::Get().RunPending();
			FGameThreadTaskQueue::Get().WaitForTasks(0.005);
		}
		return Transport->IsFinished();
	}
};

std::string Request(int Id, const std::string& Method)
{
	return FJson{{"jsonrpc", "2.0"}, {"id", Id}, {"method", Method}}.dump() + "\n";
}
}

TEST_F(FStdioTransportTest, SessionIdIsStableRandomVisibleAscii)
{
	EXPECT_TRUE(std::regex_match(Transport->GetSessionId(), std::regex("stdio-[0-9a-f]{32}")));
	FStdioTransport Other(Server, -1, -1);
	EXPECT_NE(Other.GetSessionId(), Transport->GetSessionId());
}

TEST_F(FStdioTransportTest, RequestsAreReadAndAnsweredOnTheGameThreadInOrder)
{
	Send(Request(1, "tools/list") + Request(2, "ping"));
	EXPECT_TRUE(OutputIsEmpty()) << "nothing is read until the game thread runs";
	const FJson First = ReadMessage();
	EXPECT_EQ(First["id"], 1);
	EXPECT_TRUE(First["result"].contains("tools"));
	const FJson Second = ReadMessage();
	EXPECT_EQ(Second["id"], 2);
	EXPECT_EQ(Second["result"], FJson::object());
	EXPECT_EQ(FGameThreadTaskQueue::Get().NumPending(), 0u) << "answered where they were read, with no hand-over";
}

TEST_F(FStdioTransportTest, InvalidLinesAreAnsweredAndOthersNeedNoAnswer)
{
	Send("{not json\n");
	Send("[" + Request(7, "ping").substr(0, Request(7, "ping").size() - 1) + "]\n");
	Send("\n  \r\n");
	Send(R"({"jsonrpc":"2.0","method":"notifications/initialized"})" "\n");
	Send(R"({"jsonrpc":"2.0","id":99,"result":{}})" "\n");
	Send(R"({"jsonrpc":"2.0","id":3,"method":"ping"})" "\r\n");

	const FJson Parse = ReadMessage();
	EXPECT_EQ(Parse["id"], nullptr);
	EXPECT_EQ(Parse["error"]["code"], ErrorCodes::ParseError);

	const FJson Batch = ReadMessage();
	EXPECT_EQ(Batch["id"], nullptr);
	EXPECT_EQ(Batch["error"]["code"], ErrorCodes::InvalidRequest);
	EXPECT_NE(Batch["error"]["message"].get<std::string>().find("batches are not supported"), std::string::npos);

	// Blank lines, the notification and the client's response produce nothing; the ping is next.
	const FJson Ping = ReadMessage();
	EXPECT_EQ(Ping["id"], 3);
	EXPECT_TRUE(Ping.contains("result"));
	EXPECT_TRUE(OutputIsEmpty());
}

TEST_F(FStdioTransportTest, OversizedLineIsRefusedOnceAndSkipped)
{
	// Far more than a pipe holds, so the writer runs beside the reader.
	std::thread Writer([this] {
		Send(std::string(MaxMessageBytes + 100000, 'x') + "\n" + Request(5, "ping"));
	});
	const FJson Refusal = ReadMessage();
	EXPECT_EQ(Refusal["id"], nullptr);
	EXPECT_EQ(Refusal["error"]["code"], ErrorCodes::InvalidRequest);
	EXPECT_NE(Refusal["error"]["message"].get<std::string>().find("4194304"), std::string::npos);
	const FJson Ping = ReadMessage();
	EXPECT_EQ(Ping["id"], 5);
	Writer.join();
	EXPECT_TRUE(OutputIsEmpty());
}

TEST_F(FStdioTransportTest, LineOfExactlyTheLimitIsStillParsed)
{
	// Padding inside the object keeps it valid JSON at exactly the limit.
	std::string Line = R"({"jsonrpc":"2.0","id":6,"method":"ping","params":{"pad":")";
	const std::string Tail = R"("}})";
	Line += std::string(MaxMessageBytes - Line.size() - Tail.size(), 'p') + Tail;
	ASSERT_EQ(Line.size(), MaxMessageBytes);
	std::thread Writer([this, &Line] { Send(Line + "\n"); });
	const FJson Ping = ReadMessage();
	Writer.join();
	EXPECT_EQ(Ping["id"], 6);
	EXPECT_TRUE(Ping.contains("result"));
}

TEST_F(FStdioTransportTest, EndOfInputAnswersTheLastLineThenFinishes)
{
	Send(Request(1, "tools/list"));
	// The last message may come without its newline.
	Send(R"({"jsonrpc":"2.0","id":2,"method":"ping"})");
	CloseInput();
	EXPECT_FALSE(Transport->IsFinished()) << "not before the input was read";
	ASSERT_TRUE(WaitFinished());
	EXPECT_EQ(ReadMessage()["id"], 1);
	EXPECT_EQ(ReadMessage()["id"], 2);
	EXPECT_EQ(FGameThreadTaskQueue::Get().NumFdWatches(), 1u) << "the input is no longer watched, only the output";
}

TEST_F(FStdioTransportTest, ClientThatStopsReadingEndsTheTransportWithoutASignal)
{
	::close(FromServer[0]);
	FromServer[0] = -1;
	// The reply meets a pipe with no reader: EPIPE, which must not kill the process with SIGPIPE.
	Send(Request(1, "ping"));
	ASSERT_TRUE(WaitFinished());
}

TEST_F(FStdioTransportTest, DestroyingWithInputOpenAndUnreadRequestsDoesNotHang)
{
	Send(Request(1, "ping"));
	EXPECT_EQ(ReadMessage()["id"], 1);
	Send(Request(2, "tools/list"));
	Transport.reset();
	// The unread request stays unread: the input is no longer watched and nothing more is written.
	FGameThreadTaskQueue::Get().RunPending();
	EXPECT_TRUE(OutputIsEmpty());
	EXPECT_EQ(FGameThreadTaskQueue::Get().NumFdWatches(), 0u);
}

TEST_F(FStdioTransportTest, LogLinesReachTheClientAsNotificationsAfterSetLevel)
{
	Send(FJson{{"jsonrpc", "2.0"}, {"id", 1}, {"method", "logging/setLevel"}, {"params", {{"level", "warning"}}}}.dump() + "\n");
	EXPECT_EQ(ReadMessage()["id"], 1);
	TW_LOG(LogTarnwick, Warning, "stdio notification probe %d", 42);
	const FJson Note = ReadMessage();
	EXPECT_EQ(Note["method"], "notifications/message");
	EXPECT_EQ(Note["params"]["level"], "warning");
	EXPECT_EQ(Note["params"]["data"], "stdio notification probe 42");
}

TEST_F(FStdioTransportTest, AClientThatStopsReadingNeverBlocksTheGameThreadAndIsReadAgainOnceItCatchesUp)
{
	// A small output pipe fills quickly; the transport is rebuilt with a low pause mark to match.
	Transport.reset();
	ASSERT_GT(::fcntl(FromServer[1], F_SETPIPE_SZ, 4096), 0);
	FStdioOptions Options;
	Options.PauseInputAboveBytes = 2048;
	Transport = std::make_unique<FStdioTransport>(Server, ToServer[0], FromServer[1], Options);
	Transport->Start();

	constexpr int Requests = 2000;
	std::string Burst;
	for (int Id = 1; Id <= Requests; ++Id) Burst += Request(Id, "ping");
	std::thread Writer([this, &Burst] { Send(Burst); });
	// Nobody reads: a write that waited for the reader would hang right here.
	for (int Turn = 0; Turn < 200; ++Turn)
	{
		FGameThreadTaskQueue::Get().RunPending();
		FGameThreadTaskQueue::Get().WaitForTasks(0.001);
	}
	EXPECT_GE(Transport->NumQueuedBytes(), Options.PauseInputAboveBytes) << "replies wait in the queue, not in write()";
	EXPECT_LT(Transport->NumQueuedBytes(), Options.PauseInputAboveBytes + 64 * 1024) << "and reading stopped soon after";

	// Reading resumes the input: every request is answered, in order.
	for (int Id = 1; Id <= Requests; ++Id)
	{
		const FJson Reply = ReadMessage();
		ASSERT_EQ(Reply["id"], Id);
	}
	Writer.join();
}

TEST_F(FStdioTransportTest, AQueueThatKeepsGrowingIsGivenUpWithTheReasonOnTheTransportLog)
{
	Transport.reset();
	ASSERT_GT(::fcntl(FromServer[1], F_SETPIPE_SZ, 4096), 0);
	FStdioOptions Options;
	Options.PauseInputAboveBytes = 1024;
	Options.MaxQueuedBytes = 16 * 1024;
	Transport = std::make_unique<FStdioTransport>(Server, ToServer[0], FromServer[1], Options);
	Transport->Start();
	std::vector<std::string> TransportLines;
	SetTransportLogSink([&](ELogVerbosity::Type, std::string_view Line) { TransportLines.emplace_back(Line); });

	Send(FJson{{"jsonrpc", "2.0"}, {"id", 1}, {"method", "logging/setLevel"}, {"params", {{"level", "warning"}}}}.dump() + "\n");
	EXPECT_EQ(ReadMessage()["id"], 1);
	// Notifications keep coming while the client reads nothing; the queue reaches its bound.
	for (int Line = 0; Line < 100 && !Transport->IsFinished(); ++Line)
	{
		TW_LOG(LogTarnwick, Warning, "%s", std::string(400, 'w').c_str());
	}
	EXPECT_TRUE(Transport->IsFinished());
	SetTransportLogSink(nullptr);
	ASSERT_FALSE(TransportLines.empty());
	EXPECT_NE(TransportLines.back().find("stdio: giving up on the client: it has not read"), std::string::npos) << TransportLines.back();
	EXPECT_NE(TransportLines.back().find("(the limit is 16384)"), std::string::npos);
}

TEST_F(FStdioTransportTest, ARequestBurstRunsAFewPerTurnOfThePoll)
{
	std::string Burst;
	for (int Id = 1; Id <= 40; ++Id) Burst += Request(Id, "ping");
	Send(Burst);
	const auto Answered = [this] {
		char Buffer[65536];
		pollfd In{FromServer[0], POLLIN, 0};
		while (::poll(&In, 1, 0) > 0)
		{
			const ssize_t Got = ::read(FromServer[0], Buffer, sizeof(Buffer));
			if (Got <= 0) break;
			Pending.append(Buffer, static_cast<size_t>(Got));
		}
		return std::count(Pending.begin(), Pending.end(), '\n');
	};
	// One read brings all forty; each turn runs at most sixteen of them, so a frame is never held for long.
	FGameThreadTaskQueue::Get().RunPending();
	EXPECT_EQ(Answered(), 16);
	FGameThreadTaskQueue::Get().RunPending();
	EXPECT_EQ(Answered(), 32);
	FGameThreadTaskQueue::Get().RunPending();
	EXPECT_EQ(Answered(), 40);
	for (int Id = 1; Id <= 40; ++Id)
	{
		EXPECT_EQ(ReadMessage()["id"], Id);
	}
}
