// Small pieces both transports share: session ids, and writing to a pipe whose reader may have gone away.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace Tarnwick::Mcp::TransportUtils
{
/** Prefix followed by 32 random lowercase hex digits (128 bits from the system's entropy source). */
std::string MakeSessionId(std::string_view Prefix);

enum class EWriteResult
{
	Ok,
	/** The reader has gone (EPIPE) or the fd is unusable; nothing more will get through. */
	Closed,
};

/** Writes every byte, retrying short writes and EINTR and waiting out EAGAIN on non-blocking fds. A closed
 *  reader is reported, never raised as SIGPIPE: the signal is blocked for this thread around the write and a
 *  SIGPIPE the write itself caused is consumed, so no process-wide disposition is changed. */
EWriteResult WriteAll(int Fd, std::string_view Data);
}
