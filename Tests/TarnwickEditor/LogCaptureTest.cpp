#include "Logs/LogTextMatch.h"
#include "PlatformTime.h"
#include "TarnwickLogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace
{
// Each line is stamped one second after the previous one, so a timestamp names its line.
class FSteppingClock final : public Tarnwick::Host::IPlatformClock
{
public:
	double Seconds() const override { return Now += 1.0; }
	double UtcNow() const override { return 1.7e9 + Now; }
	mutable double Now = 0.0;
};

class LogCaptureTest : public ::testing::Test
{
protected:
	void SetUp() override { Tarnwick::Host::SetClock(&Clock); }
	void TearDown() override { Tarnwick::Host::SetClock(nullptr); }

	void Log(const std::string& Message, ELogVerbosity::Type Verbosity = ELogVerbosity::Log, const char* Category = "LogTest")
	{
		Capture.Serialize(Message, Verbosity, Category);
	}
	void LogNumbered(int First, int Last, ELogVerbosity::Type Verbosity = ELogVerbosity::Log)
	{
		for (int I = First; I <= Last; ++I) Log("line " + std::to_string(I), Verbosity);
	}
	static std::vector<std::string> Messages(const std::vector<FTarnwickLogEntry>& Entries)
	{
		std::vector<std::string> Out;
		for (const FTarnwickLogEntry& E : Entries) Out.push_back(E.Message);
		return Out;
	}

	FSteppingClock Clock;
	FTarnwickLogCapture Capture;
};

const auto Flagged = static_cast<ELogVerbosity::Type>(0x40 | ELogVerbosity::Warning);
}

TEST_F(LogCaptureTest, EntryKeepsTheRawLineAndTheDevicesOwnStamp)
{
	Capture.Serialize("  spaced\ttext ", Flagged, "LogAudio", 12345.0);
	const auto Entries = Capture.GetRecent(1);
	ASSERT_EQ(Entries.size(), 1u);
	EXPECT_EQ(Entries[0].Timestamp, 1.0) << "the redirector's time is ignored";
	EXPECT_EQ(Entries[0].Category.ToString(), "LogAudio");
	EXPECT_EQ(Entries[0].Verbosity, 0x43) << "stored unmasked";
	EXPECT_EQ(Entries[0].Message, "  spaced\ttext ");
}

TEST_F(LogCaptureTest, RingFillsThenOverwritesOldestFirst)
{
	Log(std::string(5000, 'x'));
	LogNumbered(2, 3);
	EXPECT_EQ(Messages(Capture.GetRecent(10)), (std::vector<std::string>{std::string(5000, 'x'), "line 2", "line 3"}));
	EXPECT_EQ(Messages(Capture.GetRecent(2)), (std::vector<std::string>{"line 2", "line 3"}));
	EXPECT_TRUE(Capture.GetRecent(0).empty());
	EXPECT_TRUE(Capture.GetRecent(-3).empty());

	LogNumbered(4, 10001);
	EXPECT_EQ(Capture.Num(), FTarnwickLogCapture::Capacity);
	const auto All = Capture.GetRecent(20000);
	ASSERT_EQ(All.size(), 10000u);
	EXPECT_EQ(All.front().Message, "line 2") << "the 10001st line replaced the first";
	EXPECT_EQ(All.back().Message, "line 10001");
	for (size_t I = 1; I < All.size(); ++I) ASSERT_EQ(All[I].Timestamp, All[I - 1].Timestamp + 1.0) << I;

	LogNumbered(10002, 25003); // wraps a second time, write index mid-ring
	EXPECT_EQ(Messages(Capture.GetRecent(3)), (std::vector<std::string>{"line 25001", "line 25002", "line 25003"}));
	EXPECT_EQ(Capture.GetRecent(10000).front().Message, "line 15004");
}

TEST_F(LogCaptureTest, CountersAreCumulativeAndSkipInvalidVerbosities)
{
	Log("d", ELogVerbosity::Display);
	Log("vv", ELogVerbosity::VeryVerbose);
	Log("none", ELogVerbosity::NoLogging);
	Log("flagged", Flagged);
	Log("f", ELogVerbosity::Fatal);
	LogNumbered(1, 10000, ELogVerbosity::Error);

	const FTarnwickLogCounts Counts = Capture.GetCounts();
	EXPECT_EQ(Counts.Log, 1) << "Display shares the Log counter";
	EXPECT_EQ(Counts.Verbose, 1) << "VeryVerbose shares the Verbose counter";
	EXPECT_EQ(Counts.Error, 10000) << "eviction never reduces a counter";
	EXPECT_EQ(Counts.Total(), 10003) << "0 and flagged lines are held but counted nowhere";
	EXPECT_EQ(Capture.GetCount(ELogVerbosity::Fatal), 1);
	EXPECT_EQ(Capture.GetCount(ELogVerbosity::Log), 1);
	EXPECT_EQ(Capture.GetCount(ELogVerbosity::Verbose), 1);
	EXPECT_EQ(Capture.GetCount(ELogVerbosity::Display), 0);
	EXPECT_EQ(Capture.GetCount(Flagged), 0);
}

TEST_F(LogCaptureTest, SearchReturnsEarliestMatchesThatPassEveryFilter)
{
	Log("Shader compile ERROR one", ELogVerbosity::Error, "LogShaders");
	Log("shader note", ELogVerbosity::Verbose, "LogShaders");
	Log("flagged shader line", Flagged, "LogShaders");
	Log("shader error elsewhere", ELogVerbosity::Error, "LogOther");
	Log("Shader compile error two", ELogVerbosity::Warning, "logshaders");

	EXPECT_EQ(Messages(Capture.Search("COMPILE error", "", ELogVerbosity::VeryVerbose, 100)),
		(std::vector<std::string>{"Shader compile ERROR one", "Shader compile error two"}));
	EXPECT_EQ(Messages(Capture.Search("shader", "LOGSHADERS", ELogVerbosity::Verbose, 100)).size(), 3u)
		<< "category compares ignoring case; the flagged value 0x43 is above every real verbosity";
	EXPECT_EQ(Messages(Capture.Search("", "", ELogVerbosity::Error, 1)), (std::vector<std::string>{"Shader compile ERROR one"}));
	EXPECT_TRUE(Capture.Search("", "LogNeverSeen", ELogVerbosity::VeryVerbose, 100).empty());
	EXPECT_TRUE(Capture.Search("", "", ELogVerbosity::VeryVerbose, 0).empty());

	LogNumbered(1, 10000); // after the wrap the walk starts at the write index, not at slot 0
	EXPECT_EQ(Messages(Capture.Search("line", "", ELogVerbosity::Log, 2)), (std::vector<std::string>{"line 1", "line 2"}));
}

TEST_F(LogCaptureTest, CategoriesAreTheDistinctHeldNamesSortedIgnoringCase)
{
	EXPECT_TRUE(Capture.GetCategories().empty());
	Log("a", ELogVerbosity::Log, "LogZeta");
	Log("b", ELogVerbosity::Log, "LogAI");
	Log("c", ELogVerbosity::Log, "logzeta");
	Log("d", ELogVerbosity::Log, "LogAbc");
	EXPECT_EQ(Capture.GetCategories(), (std::vector<std::string>{"LogAbc", "LogAI", "LogZeta"}));

	LogNumbered(1, 10000);
	EXPECT_EQ(Capture.GetCategories(), (std::vector<std::string>{"LogTest"})) << "evicted lines take their categories along";
}

TEST_F(LogCaptureTest, EntriesSinceIncludeTheMarkerLine)
{
	Log("before", ELogVerbosity::Error, "LogLiveCoding");
	Log("MARKER run 7", ELogVerbosity::Display, "LogTarnwick");
	Log("compile failed", ELogVerbosity::Error, "LogLiveCoding");
	Log("chatter", ELogVerbosity::Verbose, "LogLiveCoding");
	Log("warned", ELogVerbosity::Warning, "LogCompile");
	Log("other error", ELogVerbosity::Error, "LogNet");

	const auto Markers = Capture.Search("marker run", "", ELogVerbosity::VeryVerbose, FTarnwickLogCapture::Capacity);
	ASSERT_FALSE(Markers.empty());
	const double Cutoff = Markers.back().Timestamp;
	EXPECT_EQ(Messages(Capture.GetEntriesSince(Cutoff, {}, ELogVerbosity::VeryVerbose, 500)),
		(std::vector<std::string>{"MARKER run 7", "compile failed", "chatter", "warned", "other error"}));
	EXPECT_EQ(Messages(Capture.GetEntriesSince(Cutoff, {"loglivecoding", "LogCompile", "LogUnknown"}, ELogVerbosity::Warning, 500)),
		(std::vector<std::string>{"compile failed", "warned"}));
	EXPECT_EQ(Messages(Capture.GetEntriesSince(0.0, {}, ELogVerbosity::Error, 2)), (std::vector<std::string>{"before", "compile failed"}));
	EXPECT_TRUE(Capture.GetEntriesSince(0.0, {"LogUnknown"}, ELogVerbosity::VeryVerbose, 500).empty());
}

TEST(LogCategoryNameTest, InternedNamesCompareIgnoringCaseAndKeepTheirSpelling)
{
	const FTarnwickLogCategoryName A("LogInternA");
	const FTarnwickLogCategoryName Lower("loginterna");
	EXPECT_TRUE(A == Lower);
	EXPECT_EQ(Lower.ToString(), "loginterna");
	EXPECT_FALSE(A == FTarnwickLogCategoryName("LogInternB"));
	EXPECT_TRUE(FTarnwickLogCategoryName().IsNone());
	ASSERT_TRUE(FTarnwickLogCategoryName::Find("LOGINTERNA").has_value());
	EXPECT_TRUE(*FTarnwickLogCategoryName::Find("LOGINTERNA") == A);
	EXPECT_FALSE(FTarnwickLogCategoryName::Find("LogNeverInterned").has_value());
}

TEST(LogTextMatchTest, PatternMatchesIgnoringAsciiCaseOnly)
{
	struct FCase
	{
		const char* Pattern;
		const char* Text;
		bool bFound;
	};
	const FCase Cases[] = {
		{"", "", true},
		{"", "anything", true},
		{"abc", "ab", false},
		{"ERR", "error at start", true},
		{"end", "at the END", true},
		{"aab", "aaab", true},
		{"abab", "abaabab", true},
		{"abab", "abaaba", false},
		{"\xC3\xA9t\xC3\xA9", "l'\xC3\xA9t\xC3\xA9 pass\xC3\xA9", true},
		{"\xC3\xA9", "\xC3\x89", false}, // no Unicode folding, as the engine's ToLower
		{"[x]", "LogTemp: [X] ok", true},
	};
	for (const FCase& C : Cases)
	{
		EXPECT_EQ(Tarnwick::Logs::FCaseInsensitivePattern(C.Pattern).FoundIn(C.Text), C.bFound) << C.Pattern << " in " << C.Text;
	}
}

// The one test on the real clock: the stepping clock is not meant to be read from several threads.
TEST(LogCaptureThreadsTest, FourThreadsLoggingThroughGLogLoseNoLine)
{
	constexpr int Threads = 4;
	constexpr int LinesPerThread = 20000;
	FTarnwickLogCapture Capture;
	GLog->AddOutputDevice(&Capture);
	std::vector<std::thread> Writers;
	for (int T = 0; T < Threads; ++T)
	{
		Writers.emplace_back([T] {
			const std::string Category = "LogThread" + std::to_string(T);
			for (int I = 0; I < LinesPerThread; ++I) GLog->Serialize(std::to_string(I), ELogVerbosity::Warning, Category);
		});
	}
	std::thread Reader([&] {
		for (int I = 0; I < 200; ++I) (void)Capture.Search("1", "LogThread2", ELogVerbosity::VeryVerbose, 50);
	});
	for (std::thread& W : Writers) W.join();
	Reader.join();
	GLog->RemoveOutputDevice(&Capture);

	EXPECT_EQ(Capture.GetCount(ELogVerbosity::Warning), Threads * LinesPerThread);
	EXPECT_EQ(Capture.Num(), FTarnwickLogCapture::Capacity);
	// Each thread's lines stay in the order it sent them, and the newest line is some thread's last.
	std::vector<int> Last(Threads, -1);
	const auto Held = Capture.GetRecent(FTarnwickLogCapture::Capacity);
	for (const FTarnwickLogEntry& E : Held)
	{
		const size_t T = static_cast<size_t>(E.Category.ToString().back() - '0');
		const int N = std::stoi(E.Message);
		ASSERT_GT(N, Last[T]);
		Last[T] = N;
	}
	EXPECT_EQ(Held.back().Message, std::to_string(LinesPerThread - 1));
}
