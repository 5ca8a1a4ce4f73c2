#include "PieSmoke/Profiling.h"

#include "CsvProfiler.h"
#include "Paths.h"
#include "Printf.h"
#include "TraceAuxiliary.h"

#include <chrono>

namespace Tarnwick::PieSmoke
{
namespace
{
std::string ProfilingDir()
{
	return FPaths::ProjectSavedDir() + "Profiling";
}

std::string JoinChannels(const std::vector<std::string>& Channels)
{
	std::string Out;
	for (const std::string& C : Channels)
	{
		if (!Out.empty()) Out += ",";
		Out += C;
	}
	return Out;
}
}

void StartProfiling(FPieSmokeSession& Session)
{
	FProfilingState& P = Session.Profiling;
	if (P.bStartAttempted) return;
	P.bStartAttempted = true;
	P.bCsvRequested = Session.Spec.bCsvProfile;
	P.TraceChannels = Session.Spec.TraceChannels;
	if (P.bCsvRequested)
	{
		FCsvProfiler* Csv = FCsvProfiler::Get();
		P.bCsvAvailable = Csv != nullptr;
		if (!Csv)
		{
			P.CsvStatus = CsvProfilerMissing;
		}
		else if (Csv->IsCapturing())
		{
			// Someone else's capture: neither started nor stopped by this session.
			P.CsvStatus = "a CSV capture was already running; not started by this session";
		}
		else
		{
			const std::string FileName = Tarnwick::Printf("pie_%s.csv", Session.Id.c_str());
			Csv->BeginCapture(-1, ProfilingDir(), FileName);
			P.bCsvStarted = true;
			P.CsvPath = ProfilingDir() + "/" + FileName;
			P.CsvStatus = "capturing";
		}
	}
	if (!P.TraceChannels.empty())
	{
		if (FTraceAuxiliary::IsConnected())
		{
			P.TraceStatus = "a trace was already connected; not started by this session";
		}
		else
		{
			const std::string Target = ProfilingDir() + "/" + Tarnwick::Printf("pie_%s.utrace", Session.Id.c_str());
			if (!FTraceAuxiliary::Start(FTraceAuxiliary::EConnectionType::File, Target, JoinChannels(P.TraceChannels)))
			{
				P.TraceStatus = TraceStartFailed;
			}
			else
			{
				P.bTraceStarted = true;
				const std::string Destination = FTraceAuxiliary::GetTraceDestinationString();
				P.TracePath = Destination.empty() ? Target : Destination;
				P.TraceStatus = "tracing";
			}
		}
	}
}

void StopProfiling(FPieSmokeSession& Session)
{
	FProfilingState& P = Session.Profiling;
	if (P.bCsvStarted)
	{
		if (FCsvProfiler* Csv = FCsvProfiler::Get())
		{
			const std::shared_future<std::string> File = Csv->EndCapture();
			// The file is finished on a later frame; take its name if the profiler already knows it.
			if (File.valid() && File.wait_for(std::chrono::seconds(0)) == std::future_status::ready && !File.get().empty())
			{
				P.CsvPath = File.get();
			}
		}
		P.CsvStatus = "stopped (csv flushing asynchronously)";
	}
	if (P.bTraceStarted)
	{
		FTraceAuxiliary::Stop();
		P.TraceStatus = "stopped";
	}
}
}
