#include "Mcp/TarnwickTransportLog.h"

#include "Printf.h"

#include <atomic>
#include <cstdarg>
#include <memory>
#include <mutex>

namespace Tarnwick::Mcp
{
namespace
{
std::mutex GSinkMutex;
std::shared_ptr<const FTransportLogSink> GSink;
std::atomic<bool> GHasSink{false};
std::atomic<ELogVerbosity::Type> GVerbosity{ELogVerbosity::Log};
}

void SetTransportLogSink(FTransportLogSink Sink)
{
	std::lock_guard Lock(GSinkMutex);
	GSink = Sink ? std::make_shared<const FTransportLogSink>(std::move(Sink)) : nullptr;
	GHasSink = GSink != nullptr;
}

bool IsTransportLogged(ELogVerbosity::Type Verbosity)
{
	return GHasSink.load(std::memory_order_relaxed) && Verbosity <= GVerbosity.load(std::memory_order_relaxed);
}

void SetTransportLogVerbosity(ELogVerbosity::Type Verbosity)
{
	GVerbosity = Verbosity;
}

void TransportLogFormatted(ELogVerbosity::Type Verbosity, const char* Format, ...)
{
	std::shared_ptr<const FTransportLogSink> Sink;
	{
		std::lock_guard Lock(GSinkMutex);
		Sink = GSink;
	}
	if (!Sink) return;
	va_list Args;
	va_start(Args, Format);
	const std::string Line = VPrintf(Format, Args);
	va_end(Args);
	(*Sink)(Verbosity, Line);
}
}
