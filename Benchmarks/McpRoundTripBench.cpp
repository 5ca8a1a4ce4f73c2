// What one MCP tool call costs inside the server, with no transport: the request handed to FServer::HandleRequest
// on a caller thread, run on a game thread that waits on FGameThreadTaskQueue as the frame loop does between
// frames, and the reply handed back through a condition variable, as the HTTP workers wait for theirs.
//
// The round-trip benchmarks time every iteration and report the p50/p90/p99 latencies (µs) as counters beside
// the mean; the rest take the pieces apart (the JSON work a transport does around a call, the call itself
// without the thread hop) so that a regression can be placed. scripts/bench-all runs this; the figures are in
// docs/performance.md.
#include "GameThread.h"
#include "Mcp/TarnwickMcpServer.h"
#include "TarnwickCoreTools.h"
#include "TarnwickJson.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace Tarnwick::Mcp;

namespace
{
const char* const ToolName = "brindle_list_async_jobs";

FJson ToolsCallRequest(int Id)
{
	return FJson{{"jsonrpc", "2.0"}, {"id", Id}, {"method", "tools/call"},
		{"params", FJson{{"name", ToolName}, {"arguments", FJson::object()}}}};
}

const FSessionContext& BenchSession()
{
	static const FSessionContext Session{"bench-session", LatestProtocolVersion};
	return Session;
}

/** A game thread that only runs queued tasks, as soon as they arrive. The core tools are registered on it for
 *  its lifetime, so each benchmark run starts from the same registry. */
class FGameThreadRunner
{
public:
	FGameThreadRunner()
	{
		RunOnGameThread([] { Tarnwick::CoreTools::Register(); });
		Thread = std::thread([this] { Run(); });
		Registered.wait();
	}

	~FGameThreadRunner()
	{
		std::promise<void> Done;
		FGameThreadTaskQueue::Get().Post([&Done] {
			Tarnwick::CoreTools::Unregister();
			Done.set_value();
		});
		Done.get_future().wait();
		bStop = true;
		FGameThreadTaskQueue::Get().Wake();
		Thread.join();
	}

	FGameThreadRunner(const FGameThreadRunner&) = delete;
	FGameThreadRunner& operator=(const FGameThreadRunner&) = delete;

private:
	void RunOnGameThread(std::function<void()> Task)
	{
		auto Promise = std::make_shared<std::promise<void>>();
		Registered = Promise->get_future();
		FGameThreadTaskQueue::Get().Post([Task = std::move(Task), Promise] {
			Task();
			Promise->set_value();
		});
	}

	void Run()
	{
		FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
		Queue.MarkGameThread();
		while (!bStop.load())
		{
			Queue.RunPending();
			Queue.WaitForTasks(1.0);
		}
		Queue.RunPending();
	}

	std::thread Thread;
	std::atomic<bool> bStop = false;
	std::future<void> Registered;
};

/** Where the caller blocks until the reply callback (on the game thread) has fired. */
template <typename TReply>
struct FReplyWaiter
{
	std::mutex Mutex;
	std::condition_variable Cv;
	bool bDone = false;
	TReply Reply;

	void Reset()
	{
		std::lock_guard Lock(Mutex);
		bDone = false;
	}

	void Deliver(TReply InReply)
	{
		{
			std::lock_guard Lock(Mutex);
			Reply = std::move(InReply);
			bDone = true;
		}
		Cv.notify_one();
	}

	void Wait()
	{
		std::unique_lock Lock(Mutex);
		Cv.wait(Lock, [this] { return bDone; });
	}
};

bool IsEmptyJobList(const FJson& Response)
{
	const auto Result = Response.find("result");
	if (Result == Response.end() || Result->contains("isError")) return false;
	const FJson& Structured = Result->value("structuredContent", FJson());
	return Structured == FJson{{"jobs", FJson::array()}, {"count", 0}, {"running_count", 0}};
}

/** Mean of manual times is what Google Benchmark reports; the percentiles come from every iteration's time. */
void ReportPercentiles(benchmark::State& State, std::vector<double>& LatenciesMicros)
{
	if (LatenciesMicros.empty()) return;
	std::sort(LatenciesMicros.begin(), LatenciesMicros.end());
	const auto At = [&](double Fraction) {
		const size_t Index = std::min(LatenciesMicros.size() - 1, static_cast<size_t>(Fraction * static_cast<double>(LatenciesMicros.size())));
		return LatenciesMicros[Index];
	};
	State.counters["p50_us"] = At(0.50);
	State.counters["p90_us"] = At(0.90);
	State.counters["p99_us"] = At(0.99);
}

using FClock = std::chrono::steady_clock;

double SecondsBetween(FClock::time_point Start, FClock::time_point End)
{
	return std::chrono::duration<double>(End - Start).count();
}

/** tools/call as a parsed request in, the response object out: the protocol layer and the game-thread hop. */
void BM_ToolsCallRoundTrip(benchmark::State& State)
{
	FGameThreadRunner GameThread;
	FServer Server({});
	FReplyWaiter<FJson> Waiter;
	const FJson Request = ToolsCallRequest(7);

	Server.HandleRequest(Request, BenchSession(), [&Waiter](FJson Response) { Waiter.Deliver(std::move(Response)); });
	Waiter.Wait();
	if (!IsEmptyJobList(Waiter.Reply))
	{
		State.SkipWithError(("unexpected answer: " + Waiter.Reply.dump()).c_str());
		return;
	}

	std::vector<double> Latencies;
	Latencies.reserve(1 << 20);
	for (auto _ : State)
	{
		Waiter.Reset();
		const FClock::time_point Start = FClock::now();
		Server.HandleRequest(Request, BenchSession(), [&Waiter](FJson Response) { Waiter.Deliver(std::move(Response)); });
		Waiter.Wait();
		const double Seconds = SecondsBetween(Start, FClock::now());
		State.SetIterationTime(Seconds);
		if (Latencies.size() < Latencies.capacity()) Latencies.push_back(Seconds * 1e6);
	}
	ReportPercentiles(State, Latencies);
}
BENCHMARK(BM_ToolsCallRoundTrip)->UseManualTime()->Unit(benchmark::kMicrosecond)->MinTime(2.0);

/** The same round trip from request text to response text, as a transport sees it: classify and parse on the
 *  caller's thread, serialise on the game thread (where the stdio transport writes its line). */
void BM_ToolsCallRoundTripFromText(benchmark::State& State)
{
	FGameThreadRunner GameThread;
	FServer Server({});
	FReplyWaiter<std::string> Waiter;
	const std::string RequestText = FTarnwickJsonUtils::Write(ToolsCallRequest(7));

	std::vector<double> Latencies;
	Latencies.reserve(1 << 20);
	for (auto _ : State)
	{
		Waiter.Reset();
		const FClock::time_point Start = FClock::now();
		FIncomingMessage Incoming = FServer::Classify(RequestText);
		Server.HandleRequest(Incoming.Message, BenchSession(),
			[&Waiter](FJson Response) { Waiter.Deliver(FTarnwickJsonUtils::Write(Response)); });
		Waiter.Wait();
		const double Seconds = SecondsBetween(Start, FClock::now());
		State.SetIterationTime(Seconds);
		if (Latencies.size() < Latencies.capacity()) Latencies.push_back(Seconds * 1e6);
	}
	if (!IsEmptyJobList(FJson::parse(Waiter.Reply, nullptr, false)))
	{
		State.SkipWithError(("unexpected answer: " + Waiter.Reply).c_str());
		return;
	}
	ReportPercentiles(State, Latencies);
}
BENCHMARK(BM_ToolsCallRoundTripFromText)->UseManualTime()->Unit(benchmark::kMicrosecond)->MinTime(2.0);

/** The transport's JSON work alone: classify (parse and check) one tools/call line, serialise its answer. */
void BM_ClassifyAndSerialise(benchmark::State& State)
{
	const std::string RequestText = FTarnwickJsonUtils::Write(ToolsCallRequest(7));
	const FJson Payload = FJson{{"jobs", FJson::array()}, {"count", 0}, {"running_count", 0}};
	FJson Result = FJson::object();
	Result["content"] = FJson::array({FJson{{"type", "text"}, {"text", FTarnwickJsonUtils::Write(Payload)}}});
	Result["structuredContent"] = Payload;
	const FJson Response = MakeResultResponse(7, Result);
	for (auto _ : State)
	{
		FIncomingMessage Incoming = FServer::Classify(RequestText);
		benchmark::DoNotOptimize(Incoming);
		std::string Line = FTarnwickJsonUtils::Write(Response);
		benchmark::DoNotOptimize(Line);
	}
}
BENCHMARK(BM_ClassifyAndSerialise)->Unit(benchmark::kMicrosecond);

void BM_Classify(benchmark::State& State)
{
	const std::string RequestText = FTarnwickJsonUtils::Write(ToolsCallRequest(7));
	for (auto _ : State)
	{
		FIncomingMessage Incoming = FServer::Classify(RequestText);
		benchmark::DoNotOptimize(Incoming);
	}
}
BENCHMARK(BM_Classify)->Unit(benchmark::kMicrosecond);

/** The call itself on the game thread, without the hop: registry look-up, dispatch, the tool, the result JSON.
 *  Timed on the game thread a batch at a time, so an iteration is a batch; call_us is the time of one call. */
void BM_CallToolOnGameThread(benchmark::State& State)
{
	FGameThreadRunner GameThread;
	FServer Server({});
	const FJson Params = ToolsCallRequest(7)["params"];
	constexpr int Batch = 1000;
	double TotalSeconds = 0.0;
	int64_t Calls = 0;
	for (auto _ : State)
	{
		std::promise<double> Seconds;
		FGameThreadTaskQueue::Get().Post([&] {
			const FClock::time_point Start = FClock::now();
			for (int Index = 0; Index < Batch; ++Index)
			{
				int Code = 0;
				std::string Message;
				FJson Result = Server.CallTool(Params, BenchSession(), Code, Message);
				benchmark::DoNotOptimize(Result);
			}
			Seconds.set_value(SecondsBetween(Start, FClock::now()));
		});
		const double BatchSeconds = Seconds.get_future().get();
		State.SetIterationTime(BatchSeconds);
		TotalSeconds += BatchSeconds;
		Calls += Batch;
	}
	if (Calls > 0) State.counters["call_us"] = TotalSeconds / static_cast<double>(Calls) * 1e6;
}
BENCHMARK(BM_CallToolOnGameThread)->UseManualTime()->Unit(benchmark::kMillisecond);

/** The hop alone: an empty task posted to the game thread and its completion waited for. */
void BM_GameThreadHop(benchmark::State& State)
{
	FGameThreadRunner GameThread;
	FReplyWaiter<int> Waiter;
	std::vector<double> Latencies;
	Latencies.reserve(1 << 20);
	for (auto _ : State)
	{
		Waiter.Reset();
		const FClock::time_point Start = FClock::now();
		FGameThreadTaskQueue::Get().Post([&Waiter] { Waiter.Deliver(1); });
		Waiter.Wait();
		const double Seconds = SecondsBetween(Start, FClock::now());
		State.SetIterationTime(Seconds);
		if (Latencies.size() < Latencies.capacity()) Latencies.push_back(Seconds * 1e6);
	}
	ReportPercentiles(State, Latencies);
}
BENCHMARK(BM_GameThreadHop)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_MAIN();
