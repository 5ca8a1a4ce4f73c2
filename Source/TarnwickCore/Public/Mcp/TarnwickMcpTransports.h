// The two ways a client reaches the server: newline-delimited JSON-RPC over stdio, and Streamable HTTP on one
// endpoint (/mcp). Both only move bytes and sessions; FServer does the protocol.
#pragma once
#include "Mcp/TarnwickMcpServer.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace Tarnwick::Mcp
{
struct FStdioOptions
{
	/** Past this many bytes of replies the client has not read, no further request is run or read until it
	 *  catches up: a client that stops reading cannot make us queue without end. */
	size_t PauseInputAboveBytes = 1024 * 1024;
	/** Past this many unread bytes (notifications keep coming while input is paused) the session is given up,
	 *  with the reason on the transport log, and the transport finishes. */
	size_t MaxQueuedBytes = 16 * 1024 * 1024;
	/** Requests run per turn of the game thread's poll; the rest of a read waits for the next turn. */
	size_t MaxRequestsPerTurn = 16;
};

/** Reads requests from an input fd, writes one response per line to an output fd. The input is watched from
 *  the game thread's poll (FGameThreadTaskQueue), so requests are read and answered on the game thread inside
 *  RunPending; a frame loop (or a test's pump) must be running. Replies are queued and written without ever
 *  blocking: what the output does not take at once waits for the output's POLLOUT in the same poll. Nothing
 *  else may write to the output fd; logs go to stderr. The fds stay the caller's; the server must outlive the
 *  transport. */
class FStdioTransport
{
public:
	FStdioTransport(FServer& InServer, int InFd = 0, int OutFd = 1, FStdioOptions InOptions = {});
	~FStdioTransport();

	void Start();
	/** True once the input has ended and every pending reply has been written, or the output broke or was
	 *  given up on. */
	bool IsFinished() const;
	const std::string& GetSessionId() const;
	/** Bytes queued for the output and not yet written. */
	size_t NumQueuedBytes() const;

private:
	struct FImpl;
	std::shared_ptr<FImpl> Impl;
};

struct FHttpOptions
{
	std::string Host = "127.0.0.1";
	int Port = 8765;
	/** When non-empty, every request needs "Authorization: Bearer <Token>". */
	std::string Token;
	size_t MaxBodyBytes = MaxMessageBytes;
	/** Clients that initialize and never DELETE would otherwise grow the table without end; past this many
	 *  sessions the one idle longest is ended (its next request answers 404 and its client initializes again). */
	size_t MaxSessions = 1024;
	/** Open connections. A new one past this is not refused: it closes another, preferring one that never
	 *  completed a request, then the one idle longest, an event stream last. */
	size_t MaxConnections = 256;
	/** A connection with no request in progress is closed after this many seconds without a byte from its
	 *  client (checked every second of the host clock and whenever a connection is accepted). */
	double KeepAliveSeconds = 60.0;
	/** A request's head must be complete this long after its first byte, and its body this much later again;
	 *  otherwise the answer is 408 and the connection closes (a client trickling bytes holds nothing for long). */
	double HeadTimeoutSeconds = 10.0;
	double BodyTimeoutSeconds = 30.0;
	/** Unfinished requests of all connections together may hold this many bytes; past it, the connection
	 *  holding the most is answered 503 and closed. */
	size_t MaxBufferedBytes = 64 * 1024 * 1024;
	/** Answers a client has not read: past this, no further request of its connection is read (or, for an event
	 *  stream, the stream is closed and the client resumes it from the last event it saw). */
	size_t MaxUnsentBytes = 128 * 1024;
	/** What one connection gets per turn of the game thread's poll, so that one busy client cannot hold up the
	 *  others or the frame loop. */
	size_t MaxReadBytesPerTurn = 256 * 1024;
	size_t MaxRequestsPerTurn = 1;
	/** Events kept per session for a client that reconnects its stream with Last-Event-ID. */
	size_t StreamReplayEvents = 256;
	/** A comment line sent on idle event streams this often, so that a peer that vanished is noticed. */
	double StreamHeartbeatSeconds = 30.0;
	/** Accept any Host and Origin (binding beyond loopback); only with a token, which the caller enforces. */
	bool bAllowRemote = false;
};

/** The checks the HTTP endpoint applies to each request's headers before it looks at the body. Pure functions,
 *  public so that each rule can be tested on its own; the transport is their only other caller. */
namespace HttpRules
{
/** "localhost", a 127.x.y.z address or "::1" (brackets already removed); names are case-insensitive. */
bool IsLoopbackHostName(std::string_view Name);
/** Splits "host[:port]" or "[v6]:port" into its parts (brackets removed); false when malformed. */
bool SplitHostPort(std::string_view HostPort, std::string& OutHost, std::string& OutPort);
/** Whether a GET asks for an event stream: an Accept header naming text/event-stream (or any type). */
bool AcceptsEventStream(std::string_view Accept);
/** A present Host header: a loopback name with any port, or exactly the bound "host:port". */
bool IsAllowedHost(std::string_view Host, std::string_view BoundHostPort);
/** A present Origin header: http(s):// followed by a host IsAllowedHost accepts, nothing after it. */
bool IsAllowedOrigin(std::string_view Origin, std::string_view BoundHostPort);
/** "Bearer <Token>" exactly (the scheme is case-insensitive); compared in constant time. */
bool IsAuthorized(std::string_view Authorization, std::string_view Token);
}

/** Serves HTTP/1.1 from the game thread's wait (FGameThreadTaskQueue's watched descriptors): every request is
 *  read, handed to the server and answered on the game thread, so the frame loop must be running (RunPending
 *  and WaitForTasks) for anything to be served. Answers leave in request order on each connection. GET opens
 *  the session's event stream, which carries what the server sends unprompted. Deadlines and idle times are
 *  read from the host clock (FPlatformTime), so they follow a virtual clock in tests. */
class FHttpTransport
{
public:
	FHttpTransport(FServer& InServer, FHttpOptions InOptions);
	~FHttpTransport();

	/** Binds and listens (any thread); false (with a reason) when the address cannot be bound. */
	bool Start(std::string& OutError);
	/** Stops at once, from any thread, with or without a running loop (from another thread it waits for a
	 *  callback under way on the game thread to finish): requests whose answer has not come yet are answered
	 *  503 if their client can take it without waiting, every connection is closed and every session ended. */
	void Stop();
	/** The bound port (useful with port 0). */
	int GetPort() const;

private:
	struct FImpl;
	std::unique_ptr<FImpl> Impl;
};
}
