// The server-sent event stream of an HTTP session, without sockets: how an event is written on the wire, and
// the bounded record of recent events that lets a client reconnecting with Last-Event-ID pick up where it was.
#pragma once
#include "HostTypes.h"

#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace Tarnwick::Mcp::Http
{
/** "id: <Id>\ndata: <Data>\n\n"; Data holds no newline (compact JSON). */
std::string FormatEvent(uint64 Id, std::string_view Data);
/** A comment that keeps an idle stream alive and lets a vanished peer be noticed. */
std::string_view HeartbeatEvent();
/** One chunk of a chunked response body ("<hex size>\r\n<Bytes>\r\n"); empty Bytes give nothing. */
void AppendChunk(std::string& Out, std::string_view Bytes);
/** The chunk that ends a chunked body. */
std::string_view LastChunk();
/** A Last-Event-ID header as one of our event ids; nothing for anything else. */
std::optional<uint64> ParseEventId(std::string_view Header);

/** The latest events of one session, oldest first, at most Capacity of them. Ids rise by one from 1. */
class FEventReplay
{
public:
	explicit FEventReplay(size_t InCapacity = 256) : Capacity(InCapacity > 0 ? InCapacity : 1) {}

	/** Records the next event and returns it formatted. */
	const std::string& Add(std::string_view Data);
	/** The events after LastSeen, formatted and joined; those already dropped are lost (the client asked too
	 *  late), which the stream cannot undo. */
	std::string Since(uint64 LastSeen) const;
	uint64 GetLastId() const { return NextId - 1; }
	size_t Num() const { return Events.size(); }

private:
	size_t Capacity;
	uint64 NextId = 1;
	std::deque<std::pair<uint64, std::string>> Events;
};
}
