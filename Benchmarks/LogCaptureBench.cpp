// What the log capture costs: one line captured on one thread (clock read, category lookup, copy, append or
// overwrite, counter), four threads logging through GLog at once, and the two heavy reads over a full ring (a
// pattern search, and get_recent_logs with 1000 entries serialised to JSON text as the server sends it).
//
// Capture runs on every log call of the whole editor, so its figure is the one to watch. Lines are written into
// a full ring, the state an editor is in after its first minutes. The figures are in docs/performance.md.
#include "Logging.h"
#include "TarnwickJson.h"
#include "TarnwickLogCapture.h"
// The handler table is private to the editor module; the benchmark calls the handler exactly as the catalogue does.
#include "../Source/TarnwickEditor/Private/TarnwickEditorHandlers.h"

#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <vector>

namespace
{
const std::array<const char*, 8> Categories = {"LogStreaming", "LogRenderer", "LogNet", "LogTemp", "LogLiveCoding",
	"LogBlueprint", "LogAudio", "LogShaderCompilers"};

// Editor-like lines of 60 to 90 characters; every tenth mentions a missing reference.
std::vector<std::string> MakeMessages(size_t Count)
{
	std::vector<std::string> Out;
	Out.reserve(Count);
	for (size_t I = 0; I < Count; ++I)
	{
		std::string Line = "Loaded package /Game/Maps/Arena_" + std::to_string(I % 97) + " in 0." + std::to_string(100 + I % 900) +
						   " s (streaming level " + std::to_string(I % 13) + ")";
		if (I % 10 == 0) Line += " - Accessed None trying to read Target";
		Out.push_back(std::move(Line));
	}
	return Out;
}

ELogVerbosity::Type VerbosityOf(size_t I)
{
	return I % 50 == 0 ? ELogVerbosity::Error : I % 20 == 0 ? ELogVerbosity::Warning : ELogVerbosity::Log;
}

void Fill(FTarnwickLogCapture& Capture, const std::vector<std::string>& Messages, size_t Lines)
{
	for (size_t I = 0; I < Lines; ++I)
	{
		Capture.Serialize(Messages[I % Messages.size()], VerbosityOf(I), Categories[(I / 4) % Categories.size()]);
	}
}

void BM_CaptureOneLine(benchmark::State& State)
{
	const std::vector<std::string> Messages = MakeMessages(1024);
	FTarnwickLogCapture Capture;
	Fill(Capture, Messages, FTarnwickLogCapture::Capacity + 1);
	size_t I = 0;
	for (auto _ : State)
	{
		// Runs of four lines per category, as subsystems log in bursts; the mix still changes category often.
		Capture.Serialize(Messages[I & 1023], VerbosityOf(I), Categories[(I >> 2) & 7]);
		++I;
	}
	State.SetItemsProcessed(State.iterations());
}
BENCHMARK(BM_CaptureOneLine)->Repetitions(15)->ReportAggregatesOnly(true);

FTarnwickLogCapture& SharedCapture()
{
	static FTarnwickLogCapture Capture;
	return Capture;
}

void BM_CaptureThroughGLog(benchmark::State& State)
{
	static const std::vector<std::string> Messages = MakeMessages(1024);
	if (State.thread_index() == 0) GLog->AddOutputDevice(&SharedCapture());
	const char* Category = Categories[static_cast<size_t>(State.thread_index()) % Categories.size()];
	size_t I = 0;
	for (auto _ : State)
	{
		GLog->Serialize(Messages[I & 1023], ELogVerbosity::Log, Category);
		++I;
	}
	State.SetItemsProcessed(State.iterations());
	if (State.thread_index() == 0)
	{
		GLog->RemoveOutputDevice(&SharedCapture());
		State.counters["lines_held"] = SharedCapture().Num();
	}
}
BENCHMARK(BM_CaptureThroughGLog)->Threads(1)->Threads(4)->UseRealTime()->Repetitions(5)->ReportAggregatesOnly(true);

struct FFullRing
{
	FTarnwickLogCapture Capture;
	FTarnwickHandlerTable Table;
	FFullRing()
	{
		Fill(Capture, MakeMessages(1024), FTarnwickLogCapture::Capacity + 1234);
		Tarnwick::Editor::AddLogHandlers(Table, &Capture);
	}
	static FFullRing& Get()
	{
		static FFullRing Ring;
		return Ring;
	}
};

// A pattern no line contains: the whole ring is scanned and nothing copied.
void BM_SearchFullRingNoMatch(benchmark::State& State)
{
	const FTarnwickLogCapture& Capture = FFullRing::Get().Capture;
	for (auto _ : State)
	{
		benchmark::DoNotOptimize(Capture.Search("BeginTearingDown", "", ELogVerbosity::VeryVerbose, 100));
	}
}
BENCHMARK(BM_SearchFullRingNoMatch)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

// A pattern in every tenth line with the largest limit search_logs allows: the whole ring, 1000 copies.
void BM_SearchFullRingTenthMatches(benchmark::State& State)
{
	const FTarnwickLogCapture& Capture = FFullRing::Get().Capture;
	size_t Found = 0;
	for (auto _ : State)
	{
		Found = Capture.Search("accessed NONE", "", ELogVerbosity::VeryVerbose, 2000).size();
		benchmark::DoNotOptimize(Found);
	}
	State.counters["matches"] = static_cast<double>(Found);
}
BENCHMARK(BM_SearchFullRingTenthMatches)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

// The action as a client sees it: handler, result JSON and its serialisation to text.
void BM_GetRecentLogs1000Json(benchmark::State& State)
{
	const FTarnwickActionHandler& Handler = *FFullRing::Get().Table.Find("editor", "get_recent_logs");
	const FJsonPtr Params = MakeJsonObject(FJson{{"count", 1000}});
	size_t Bytes = 0;
	for (auto _ : State)
	{
		const FTarnwickActionResult Result = Handler(Params);
		Bytes = FTarnwickJsonUtils::Write(*Result.Result).size();
		benchmark::DoNotOptimize(Bytes);
	}
	State.counters["json_bytes"] = static_cast<double>(Bytes);
}
BENCHMARK(BM_GetRecentLogs1000Json)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

// The same through search_logs with its largest limit, for comparison with the raw search above.
void BM_SearchLogs2000Json(benchmark::State& State)
{
	const FTarnwickActionHandler& Handler = *FFullRing::Get().Table.Find("editor", "search_logs");
	const FJsonPtr Params = MakeJsonObject(FJson{{"pattern", "streaming level 1"}, {"limit", 2000}});
	for (auto _ : State)
	{
		const FTarnwickActionResult Result = Handler(Params);
		benchmark::DoNotOptimize(FTarnwickJsonUtils::Write(*Result.Result).size());
	}
}
BENCHMARK(BM_SearchLogs2000Json)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
}

BENCHMARK_MAIN();
