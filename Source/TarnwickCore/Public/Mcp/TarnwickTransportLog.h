// Where the MCP transports say what they are doing: connections, sessions opened and ended, refusals, the
// reasons a client was dropped. Deliberately not the global log: the editor log is what the editor and the game
// did, and an agent reading it must not wade through the server's own diary. The executable points this at
// stderr, filtered by --log-level; without a sink the lines go nowhere.
#pragma once
#include "Logging.h"

#include <functional>
#include <string_view>

namespace Tarnwick::Mcp
{
using FTransportLogSink = std::function<void(ELogVerbosity::Type Verbosity, std::string_view Line)>;

/** Installs the sink (null removes it). Call before the transports start; the sink may be called from any thread. */
void SetTransportLogSink(FTransportLogSink Sink);
/** True when a line at this verbosity would reach the sink. */
bool IsTransportLogged(ELogVerbosity::Type Verbosity);
/** Sets the most verbose level passed to the sink (Log by default). */
void SetTransportLogVerbosity(ELogVerbosity::Type Verbosity);

void TransportLogFormatted(ELogVerbosity::Type Verbosity, const char* Format, ...)
#if defined(__GNUC__)
	__attribute__((format(printf, 2, 3)))
#endif
	;
}

/** printf-style, formatted only when a sink wants the line. */
#define TW_TRANSPORT_LOG(Verbosity, ...)                                                             \
	do                                                                                               \
	{                                                                                                \
		if (::Tarnwick::Mcp::IsTransportLogged(ELogVerbosity::Verbosity))                            \
		{                                                                                            \
			::Tarnwick::Mcp::TransportLogFormatted(ELogVerbosity::Verbosity, __VA_ARGS__);            \
		}                                                                                            \
	} while (0)
