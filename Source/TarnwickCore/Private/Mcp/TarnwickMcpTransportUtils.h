// Small pieces both transports share: session ids, and writing to a pipe whose reader may have gone away.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace Tarnwick::Mcp::TransportUtils
{
/** Prefix followed by 32 random lowercase hex digits (128 bits from the system's entropy source). */
std::string MakeSessionId(std::string_view Prefix);

/** One write() of Data. A closed reader is reported as EPIPE, never raised as SIGPIPE: the signal is blocked for
 *  this thread around the write and a SIGPIPE the write itself caused is consumed, so no process-wide
 *  disposition is changed. Its result and errno are write()'s. */
long WriteOnce(int Fd, std::string_view Data);
}
