#include "Logs/LogQueryRules.h"
#include "PlatformTime.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickLogCapture.h"
#include "TarnwickLogVerbosity.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Tarnwick::Logs;

namespace
{
class FSteppingClock final : public Tarnwick::Host::IPlatformClock
{
public:
	double Seconds() const override { return Now += 0.5; }
	double UtcNow() const override { return 1.7e9 + Now; }
	mutable double Now = 100.0;
};

class LogActionsTest : public ::testing::Test
{
protected:
	void SetUp() override
	{
		Tarnwick::Host::SetClock(&Clock);
		Tarnwick::Editor::AddLogHandlers(Table, &Capture);
		Tarnwick::Editor::AddLogHandlers(NoDevice, nullptr);
	}
	void TearDown() override { Tarnwick::Host::SetClock(nullptr); }

	FJson Call(const char* Action, FJson Params = FJson::object(), const FTarnwickHandlerTable* From = nullptr)
	{
		const FTarnwickActionHandler* Handler = (From ? From : &Table)->Find("editor", Action);
		EXPECT_NE(Handler, nullptr) << Action;
		if (!Handler) return FJson();
		const FTarnwickActionResult R = (*Handler)(MakeJsonObject(std::move(Params)));
		EXPECT_TRUE(R.bSuccess) << Action << ": " << R.ErrorMessage;
		return R.Result ? *R.Result : FJson();
	}
	void LogNumbered(int First, int Last, ELogVerbosity::Type Verbosity = ELogVerbosity::Log)
	{
		for (int I = First; I <= Last; ++I) Capture.Serialize("line " + std::to_string(I), Verbosity, "LogTest");
	}

	FSteppingClock Clock;
	FTarnwickLogCapture Capture;
	FTarnwickHandlerTable Table;
	FTarnwickHandlerTable NoDevice;
};
}

TEST(LogQueryRulesTest, CountsAreTruncatedClampedOrDefaulted)
{
	struct FCase
	{
		const char* Params;
		int32 Expected;
	};
	const FCase Cases[] = {
		{R"({})", 50},
		{R"({"count": null})", 50},
		{R"({"count": true})", 50},
		{R"({"count": "many"})", 50},
		{R"({"count": ""})", 50},
		{R"({"count": "20x"})", 50},
		{R"({"count": [5]})", 50},
		{R"({"count": 0})", 1},
		{R"({"count": -7})", 1},
		{R"({"count": -0.5})", 1},
		{R"({"count": 20.9})", 20},
		{R"({"count": "20"})", 20},
		{R"({"count": " 7.9 "})", 7},
		{R"({"count": 1000})", 1000},
		{R"({"count": 1001})", 1000},
		{R"({"count": 1e300})", 1000},
		{R"({"count": 18446744073709551615})", 1000},
	};
	for (const FCase& C : Cases)
	{
		EXPECT_EQ(ReadCount(FTarnwickJsonUtils::Parse(C.Params), RecentLogsCount), C.Expected) << C.Params;
	}
	EXPECT_EQ(ReadCount(nullptr, TailLogCount), 50);
	EXPECT_EQ(ReadCount(MakeJsonObject(FJson{{"count", 501}}), TailLogCount), 500);
	EXPECT_EQ(ReadCount(MakeJsonObject(FJson{{"limit", 5000}}), SearchLogsLimit), 2000);
	EXPECT_EQ(ReadCount(MakeJsonObject(FJson::array({1})), SearchLogsLimit), 100);
}

TEST(LogQueryRulesTest, VerbosityTextAndNames)
{
	const std::pair<const char*, uint8> Parsed[] = {{"", 7}, {"fatal", 1}, {"ERROR", 2}, {"Warning", 3}, {"display", 4},
		{"log", 5}, {"LOG", 5}, {"info", 5}, {"verbose", 6}, {"Very_Verbose", 7}, {"veryverbose", 5}};
	for (const auto& [Text, Expected] : Parsed) EXPECT_EQ(ParseMaxVerbosity(Text), Expected) << Text;

	const char* const Lower[] = {"unknown", "fatal", "error", "warning", "display", "log", "verbose", "very_verbose", "unknown"};
	const char* const Capitalised[] = {"Unknown", "Fatal", "Error", "Warning", "Display", "Log", "Verbose", "VeryVerbose", "Unknown"};
	for (uint8 V = 0; V <= 8; ++V)
	{
		EXPECT_STREQ(VerbosityNameLower(V), Lower[V]);
		EXPECT_STREQ(VerbosityNameCapitalised(V), Capitalised[V]);
	}
	EXPECT_STREQ(VerbosityNameLower(0x43), "unknown") << "flag bits are not masked away";
	EXPECT_STREQ(VerbosityNameCapitalised(0x82), "Unknown");
}

TEST_F(LogActionsTest, RecentLogsClampAndShapeEntries)
{
	Capture.Serialize("first", ELogVerbosity::Display, "LogInit");
	FJson R = Call("get_recent_logs");
	EXPECT_EQ(R.dump(), R"({"count":1,"entries":[{"timestamp":100.5,"category":"LogInit","verbosity":"display","message":"first"}]})");

	LogNumbered(2, 10001);
	for (const FJson& Count : {FJson(0), FJson(-3)})
	{
		R = Call("get_recent_logs", {{"count", Count}});
		EXPECT_EQ(R["count"], 1) << Count;
		EXPECT_EQ(R["entries"][0]["message"], "line 10001");
	}
	EXPECT_EQ(Call("get_recent_logs")["count"], 50);
	R = Call("get_recent_logs", {{"count", 10000}});
	ASSERT_EQ(R["entries"].size(), 1000u);
	EXPECT_EQ(R["count"], 1000);
	EXPECT_EQ(R["entries"][0]["message"], "line 9002");
	EXPECT_EQ(R["entries"][999]["message"], "line 10001");
}

TEST_F(LogActionsTest, SearchLimitsAndVerbosityFilter)
{
	Capture.Serialize("hit fatal", ELogVerbosity::Fatal, "LogA");
	Capture.Serialize("hit error", ELogVerbosity::Error, "LogA");
	Capture.Serialize("hit warning", ELogVerbosity::Warning, "LogB");
	Capture.Serialize("hit display", ELogVerbosity::Display, "LogB");
	Capture.Serialize("hit log", ELogVerbosity::Log, "LogB");
	Capture.Serialize("hit verbose", ELogVerbosity::Verbose, "LogB");
	Capture.Serialize("hit very verbose", ELogVerbosity::VeryVerbose, "LogB");
	auto Matches = [this](FJson Params) {
		std::vector<std::string> Out;
		const FJson R = Call("search_logs", std::move(Params));
		for (const FJson& E : R["entries"]) Out.push_back(E["message"]);
		EXPECT_EQ(R["match_count"], Out.size());
		return Out;
	};
	const std::vector<std::string> UpToLog = {"hit fatal", "hit error", "hit warning", "hit display", "hit log"};
	EXPECT_EQ(Matches({{"verbosity", "log"}}), UpToLog);
	EXPECT_EQ(Matches({{"verbosity", "LOG"}}), UpToLog);
	EXPECT_EQ(Matches({{"verbosity", "Warning"}}), (std::vector<std::string>{"hit fatal", "hit error", "hit warning"}));
	EXPECT_EQ(Matches({{"pattern", "HIT"}, {"verbosity", 3}}).size(), 7u) << "a non-string verbosity means everything";
	EXPECT_EQ(Matches({{"category", "loga"}}), (std::vector<std::string>{"hit fatal", "hit error"}));

	LogNumbered(1, 20, ELogVerbosity::Error);
	EXPECT_EQ(Matches({{"pattern", "line"}, {"limit", 5}}), (std::vector<std::string>{"line 1", "line 2", "line 3", "line 4", "line 5"}));
}

TEST_F(LogActionsTest, TailCategoriesAndStats)
{
	Capture.Serialize("Loaded map", ELogVerbosity::Display, "LogLoad");
	Capture.Serialize("50% done", ELogVerbosity::Warning, "LogCook");
	EXPECT_EQ(Call("tail_log").dump(), R"({"count":2,"lines":["[LogLoad][display] Loaded map","[LogCook][warning] 50% done"]})");
	EXPECT_EQ(Call("get_log_categories").dump(), R"({"count":2,"categories":["LogCook","LogLoad"]})");
	EXPECT_EQ(Call("get_log_stats").dump(), R"({"total":2,"fatal":0,"error":0,"warning":1,"log":1,"verbose":0})");

	LogNumbered(1, 10000, ELogVerbosity::VeryVerbose);
	EXPECT_EQ(Call("tail_log", {{"count", 1000}})["count"], 500);
	EXPECT_EQ(Call("tail_log", {{"count", 1}})["lines"][0], "[LogTest][very_verbose] line 10000");
	EXPECT_EQ(Call("get_log_stats").dump(), R"({"total":10002,"fatal":0,"error":0,"warning":1,"log":1,"verbose":10000})")
		<< "totals keep growing after the wrap";
}

TEST_F(LogActionsTest, WithoutACaptureEveryActionAnswersEmpty)
{
	Capture.Serialize("held by the other table only", ELogVerbosity::Error, "LogTest");
	EXPECT_EQ(Call("get_recent_logs", {{"count", 5}}, &NoDevice).dump(), R"({"count":0,"entries":[]})");
	EXPECT_EQ(Call("search_logs", {{"pattern", "held"}}, &NoDevice).dump(), R"({"match_count":0,"entries":[]})");
	EXPECT_EQ(Call("tail_log", FJson::object(), &NoDevice).dump(), R"({"count":0,"lines":[]})");
	EXPECT_EQ(Call("get_log_categories", FJson::object(), &NoDevice).dump(), R"({"count":0,"categories":[]})");
	EXPECT_EQ(Call("get_log_stats", FJson::object(), &NoDevice).dump(), R"({"total":0,"status":"log_capture_not_initialized"})");

	const FTarnwickActionResult Null = (*Table.Find("editor", "get_recent_logs"))(nullptr);
	ASSERT_TRUE(Null.bSuccess) << "a call without params reads defaults";
	EXPECT_EQ((*Null.Result)["count"], 1);
}
