// Profiling around a session, against recording profilers installed as the host's: a capture or trace the
// session starts is stopped by it, one already running is neither started nor stopped, and a missing profiler
// or a refused trace is reported in the status texts.
#include "CsvProfiler.h"
#include "Paths.h"
#include "PieSmoke/Profiling.h"
#include "TraceAuxiliary.h"

#include <gtest/gtest.h>

using namespace Tarnwick::PieSmoke;

namespace
{
class FRecordingCsvProfiler final : public FCsvProfiler
{
public:
	bool bCapturing = false;
	std::vector<std::string> Calls;

	bool IsCapturing() const override { return bCapturing; }
	void BeginCapture(int32 NumFramesToCapture, const std::string& DestFolder, const std::string& Filename) override
	{
		Calls.push_back("begin " + std::to_string(NumFramesToCapture) + " " + DestFolder + " " + Filename);
		bCapturing = true;
	}
	std::shared_future<std::string> EndCapture() override
	{
		Calls.push_back("end");
		bCapturing = false;
		std::promise<std::string> Written;
		Written.set_value("/proj/Saved/Profiling/pie_final.csv");
		return Written.get_future().share();
	}
};

class FRecordingTrace final : public ITraceAuxiliary
{
public:
	bool bConnected = false;
	bool bRefuse = false;
	std::vector<std::string> Calls;

	bool Start(const std::string& Target, const std::string& Channels) override
	{
		Calls.push_back("start " + Target + " " + Channels);
		if (bRefuse) return false;
		bConnected = true;
		return true;
	}
	bool Stop() override
	{
		Calls.push_back("stop");
		bConnected = false;
		return true;
	}
	bool IsConnected() const override { return bConnected; }
	std::string GetTraceDestinationString() const override { return bConnected ? "/proj/Saved/Profiling/pie_s.utrace" : ""; }
	void OutputBookmark(const std::string&) override {}
};

class PieSmokeProfilingTest : public ::testing::Test
{
protected:
	void SetUp() override
	{
		FPaths::SetProjectDir("/proj/");
		Tarnwick::Host::SetCsvProfiler(&Csv);
		Tarnwick::Host::SetTraceAuxiliary(&Trace);
		Session.Id = "pie_smoke_0_120000";
		Session.Spec.bCsvProfile = true;
		Session.Spec.TraceChannels = {"cpu", "frame"};
	}
	void TearDown() override
	{
		Tarnwick::Host::SetCsvProfiler(nullptr);
		Tarnwick::Host::SetTraceAuxiliary(nullptr);
	}

	FRecordingCsvProfiler Csv;
	FRecordingTrace Trace;
	FPieSmokeSession Session;
};
}

TEST_F(PieSmokeProfilingTest, WhatTheSessionStartsItStops)
{
	StartProfiling(Session);
	StartProfiling(Session);
	EXPECT_EQ(Csv.Calls, std::vector<std::string>{"begin -1 /proj/Saved/Profiling pie_pie_smoke_0_120000.csv"}) << "started once";
	EXPECT_EQ(Session.Profiling.CsvStatus, "capturing");
	EXPECT_EQ(Session.Profiling.CsvPath, "/proj/Saved/Profiling/pie_pie_smoke_0_120000.csv");
	EXPECT_EQ(Trace.Calls, std::vector<std::string>{"start /proj/Saved/Profiling/pie_pie_smoke_0_120000.utrace cpu,frame"});
	EXPECT_EQ(Session.Profiling.TraceStatus, "tracing");
	EXPECT_EQ(Session.Profiling.TracePath, "/proj/Saved/Profiling/pie_s.utrace") << "the destination the trace reports";

	StopProfiling(Session);
	EXPECT_EQ(Csv.Calls.back(), "end");
	EXPECT_EQ(Session.Profiling.CsvStatus, "stopped (csv flushing asynchronously)");
	EXPECT_EQ(Session.Profiling.CsvPath, "/proj/Saved/Profiling/pie_final.csv");
	EXPECT_EQ(Trace.Calls.back(), "stop");
	EXPECT_EQ(Session.Profiling.TraceStatus, "stopped");
}

TEST_F(PieSmokeProfilingTest, SomeoneElsesCaptureAndTraceAreLeftAlone)
{
	Csv.bCapturing = true;
	Trace.bConnected = true;
	StartProfiling(Session);
	StopProfiling(Session);
	EXPECT_TRUE(Csv.Calls.empty());
	EXPECT_TRUE(Trace.Calls.empty());
	EXPECT_EQ(Session.Profiling.CsvStatus, "a CSV capture was already running; not started by this session");
	EXPECT_EQ(Session.Profiling.TraceStatus, "a trace was already connected; not started by this session");
	EXPECT_TRUE(Csv.bCapturing);
	EXPECT_TRUE(Trace.bConnected);
}

TEST_F(PieSmokeProfilingTest, AMissingProfilerAndARefusedTraceAreReported)
{
	Tarnwick::Host::SetCsvProfiler(nullptr);
	Trace.bRefuse = true;
	StartProfiling(Session);
	StopProfiling(Session);
	EXPECT_FALSE(Session.Profiling.bCsvAvailable);
	EXPECT_EQ(Session.Profiling.CsvStatus, "FCsvProfiler::Get() returned null");
	EXPECT_EQ(Session.Profiling.TraceStatus, "FTraceAuxiliary::Start failed (trace may be disabled in this build)");
	EXPECT_EQ(Trace.Calls.size(), 1u) << "a trace that never started is not stopped";
}
