// The install points of the profiling facilities: the CSV profiler and the trace.
#include "CsvProfiler.h"
#include "TraceAuxiliary.h"

#include <atomic>

namespace
{
std::atomic<FCsvProfiler*> GCsvProfiler{nullptr};
std::atomic<ITraceAuxiliary*> GTrace{nullptr};
}

namespace Tarnwick::Host
{
void SetCsvProfiler(FCsvProfiler* Profiler) { GCsvProfiler.store(Profiler); }
void SetTraceAuxiliary(ITraceAuxiliary* Trace) { GTrace.store(Trace); }
}

FCsvProfiler* FCsvProfiler::Get() { return GCsvProfiler.load(); }

bool FTraceAuxiliary::Start(EConnectionType Type, const std::string& Target, const std::string& Channels)
{
	ITraceAuxiliary* Trace = GTrace.load();
	// Only file connections exist here: a network trace needs a trace server to connect to.
	if (!Trace || Type != EConnectionType::File) return false;
	return Trace->Start(Target, Channels);
}

bool FTraceAuxiliary::Stop()
{
	ITraceAuxiliary* Trace = GTrace.load();
	return Trace && Trace->Stop();
}

bool FTraceAuxiliary::IsConnected()
{
	ITraceAuxiliary* Trace = GTrace.load();
	return Trace && Trace->IsConnected();
}

std::string FTraceAuxiliary::GetTraceDestinationString()
{
	ITraceAuxiliary* Trace = GTrace.load();
	return Trace ? Trace->GetTraceDestinationString() : std::string();
}

void FMiscTrace::OutputBookmark(const std::string& Text)
{
	if (ITraceAuxiliary* Trace = GTrace.load()) Trace->OutputBookmark(Text);
}
