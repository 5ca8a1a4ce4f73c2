// Streamable HTTP on one endpoint (/mcp): POST answers each request with plain JSON, GET opens the session's
// server-sent event stream, DELETE ends the session.
//
// The whole server runs on the game thread's own wait: the listening socket and every connection are watched
// descriptors of FGameThreadTaskQueue, so a request that arrives between frames wakes the game thread once and
// is read, answered and written there, with no other thread involved. Nothing here ever blocks: sockets are
// non-blocking, a reply that cannot be written at once waits for POLLOUT, and a client that stops reading
// stops being read from. Each connection gets a bounded share of every turn of the poll (bytes read, requests
// run), what unfinished requests may hold is bounded per connection and in total, a request must arrive within
// its deadlines, and a new connection past the limit replaces the one idle longest, so no client can starve the
// others or the frame loop, or grow the process without end. Sessions are issued at initialize and live here,
// in the transport, with the last events of their stream; the server itself keeps no per-connection state.
//
// Everything is reached under one lock, so that Stop, Start and replies that finish on another thread are
// safe; on the game thread it is never contended. The lock is recursive because a request answered at once
// calls its reply back from inside the call that handed it over. Notifications may come from any thread while
// it logs; they are queued under a lock of their own and written from the game thread.
#include "GameThread.h"
#include "Mcp/TarnwickHttpEventStream.h"
#include "Mcp/TarnwickHttpRequestParser.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "Mcp/TarnwickMcpTransportUtils.h"
#include "Mcp/TarnwickTransportLog.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "Ticker.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace Tarnwick::Mcp
{
namespace
{
using Http::FHeader;

constexpr const char* Endpoint = "/mcp";
/** The version a request speaks when it names none and has no session to tell. */
constexpr const char* DefaultProtocolVersion = "2025-03-26";
/** JSON-RPC codes for refusals made by the transport itself rather than the protocol layer. */
constexpr int TransportErrorCode = -32000;
constexpr int SessionNotFoundCode = -32001;
/** A client that pipelines more requests than this is not read from until the answers are out; its requests
 *  wait in the kernel's buffers instead of ours. */
constexpr size_t MaxPipelined = 32;
constexpr size_t ReadChunkBytes = 64 * 1024;
/** How long a connection we are closing may go on sending before we stop reading; and for how many bytes, at
 *  least: twice the body limit, so a client that sent one oversized body in full still reads its 413 rather than
 *  a reset. What is read then is dropped as it comes, a turn's share at a time, so it costs no memory. */
constexpr double LingerSeconds = 5.0;
constexpr size_t MinLingerBytes = 1024 * 1024;
/** After running out of descriptors, how long accepting pauses before it tries again. */
constexpr double AcceptPauseSeconds = 1.0;
/** Backlogged connections served per turn of the poll: with a couple of requests each, a turn stays short. */
constexpr size_t BacklogTurnsPerPoll = 16;
/** How long a client waits before it reconnects a stream that ended (the SSE retry field). */
constexpr int StreamRetryMilliseconds = 1000;

double Now()
{
	return FPlatformTime::Seconds();
}

struct FHttpSession
{
	std::string ProtocolVersion;
	double Created = 0.0;
	double LastUsed = 0.0;
	Http::FEventReplay Replay;
	/** The connection carrying the session's GET stream; 0 when none is open. */
	uint64 StreamConnection = 0;

	explicit FHttpSession(size_t ReplayEvents) : Replay(ReplayEvents) {}
};

/** What one request is answered with, before it is written out. */
struct FReply
{
	int Status = 200;
	std::vector<FHeader> Headers;
	std::string Body;
};

FReply JsonReply(int Status, const FJson& Body)
{
	FReply Reply;
	Reply.Status = Status;
	Reply.Headers.emplace_back("Content-Type", "application/json");
	Reply.Body = FTarnwickJsonUtils::Write(Body);
	return Reply;
}

FReply Refusal(int Status, const FJson& Id, int Code, const std::string& Message)
{
	return JsonReply(Status, MakeErrorResponse(Id, Code, Message));
}

FReply EmptyReply(int Status)
{
	FReply Reply;
	Reply.Status = Status;
	return Reply;
}

std::string JoinVersions()
{
	std::string Joined;
	for (const std::string& Version : SupportedProtocolVersions())
	{
		Joined += Joined.empty() ? "" : ", ";
		Joined += Version;
	}
	return Joined;
}

size_t CountHeaders(const Http::FHttpRequest& Req, std::string_view Name)
{
	size_t Count = 0;
	for (const FHeader& Header : Req.Headers)
	{
		Count += Http::EqualsNoCase(Header.first, Name) ? 1 : 0;
	}
	return Count;
}

/** One request's place in its connection's answer order. */
struct FSlot
{
	uint64 Seq = 0;
	bool bReady = false;
	/** The whole response, once ready (for a stream: its head). */
	std::string Bytes;
	bool bKeepAlive = true;
	int MinorVersion = 1;
	bool bHead = false;
	/** The JSON-RPC id, for the 503 a request still waiting at Stop gets. */
	FJson Id;
	/** A GET that opens this session's event stream once the answers before it are out. */
	std::string StreamSession;
	std::optional<uint64> LastEventId;
};

struct FConnection
{
	uint64 Id = 0;
	int Fd = -1;
	uint64 WatchId = 0;
	short Events = 0;
	Http::FHttpRequestParser Parser;
	std::deque<FSlot> Slots;
	uint64 NextSeq = 1;
	std::string Out;
	size_t OutPos = 0;
	/** Read no further request: one asked to close, was refused 413, or the stream could not be parsed. */
	bool bNoMoreRequests = false;
	/** The answer that ends the connection is in Out; nothing after it is sent. */
	bool bCloseAfterOut = false;
	bool bPeerClosed = false;
	/** Our side is shut down; the client's last bytes are read and dropped until it closes (within limits), so
	 *  that closing with unread input does not reset the connection before the client has read our answer. */
	bool bLingering = false;
	double LastActivity = 0.0;
	/** When the connection was accepted or last completed a request: a client trickling bytes makes activity
	 *  but no progress. */
	double LastProgress = 0.0;
	bool bCompletedRequest = false;
	double LingerSince = 0.0;
	/** When the first byte of the request in progress came; below 0 while no request is in progress. */
	double RequestStart = -1.0;
	/** What this connection's parser holds, as counted in the transport's total. */
	size_t Held = 0;
	/** Bytes read only to be dropped. */
	size_t Dropped = 0;
	/** Set while this connection is the session's event stream. */
	std::string StreamSession;
	bool bStreamChunked = true;
	double LastStreamWrite = 0.0;
	bool bInBacklog = false;

	/** Bytes of answers that are ready but wait behind an earlier one. */
	size_t ReadyBytes = 0;

	explicit FConnection(Http::FHttpLimits Limits) : Parser(Limits) {}
	size_t Unsent() const { return Out.size() - OutPos; }
	/** What the client has not read of what is answered already. */
	size_t Owed() const { return Unsent() + ReadyBytes; }
	bool IsStream() const { return !StreamSession.empty(); }
	bool IsIdle() const { return !IsStream() && Slots.empty() && Unsent() == 0 && Parser.IsIdle(); }
};

FGameThreadTaskQueue& Queue()
{
	return FGameThreadTaskQueue::Get();
}

/** The transport's state. Held by shared pointer so that watch callbacks, the ticker and reply callbacks can
 *  outlive the transport object and find out that it is gone. */
struct FHttpCore : std::enable_shared_from_this<FHttpCore>
{
	using FThen = std::function<FReply(FJson Response)>;

	FServer& Server;
	FHttpOptions Options;
	std::recursive_mutex Mutex;
	bool bStarted = false;
	bool bStopped = false;
	int ListenFd = -1;
	uint64 ListenWatch = 0;
	std::optional<double> AcceptPausedUntil;
	std::atomic<int> BoundPort = 0;
	std::string BoundHostPort;
	FTSTicker::FDelegateHandle Ticker;
	std::unordered_map<uint64, std::shared_ptr<FConnection>> Connections;
	uint64 NextConnectionId = 1;
	std::unordered_map<std::string, FHttpSession> Sessions;
	/** Callbacks under way on this thread; a reply that arrives inside one leaves the writing to it. */
	int Depth = 0;
	std::vector<uint64> Deferred;
	std::vector<char> ReadBuffer;
	/** Bytes held by all connections' unfinished requests. */
	size_t TotalHeld = 0;
	/** When Sweep last ran; an accept sweeps again once the clock has moved. */
	double LastSweep = -1.0;
	/** Connections with requests already read but not yet run (their turn ran out), first come first served. A
	 *  few of them get a turn at the end of each turn of the poll, after every connection with news: a client
	 *  sending one request at a time is never queued behind clients pipelining many. The eventfd stays readable
	 *  while any wait, which is what brings the next turn round. */
	std::deque<uint64> Backlog;
	int BacklogFd = -1;
	uint64 BacklogWatch = 0;
	bool bBacklogPosted = false;
	/** Notifications from any thread, waiting for the game thread. Locked alone, never with Mutex held. */
	std::mutex NotesMutex;
	std::vector<std::pair<std::string, FJson>> Notes;
	bool bNotesPosted = false;

	FHttpCore(FServer& InServer, FHttpOptions InOptions) : Server(InServer), Options(std::move(InOptions)) {}

	// ---- Rules -------------------------------------------------------------------------------------------

	/** Host, Origin and token: the checks every method on the endpoint gets. */
	std::optional<FReply> CheckCaller(const Http::FHttpRequest& Req) const
	{
		const size_t Hosts = CountHeaders(Req, "Host");
		if (Hosts != 1)
		{
			// Two Host headers would let a front and a back end disagree on whom the request is for.
			return Refusal(400, nullptr, TransportErrorCode,
				Hosts == 0 ? "Bad Request: the Host header is required" : "Bad Request: more than one Host header");
		}
		if (CountHeaders(Req, "Origin") > 1)
		{
			return Refusal(403, nullptr, TransportErrorCode, "Forbidden: more than one Origin header");
		}
		if (!Options.bAllowRemote)
		{
			if (const std::string* Host = Req.FindHeader("Host"); !HttpRules::IsAllowedHost(*Host, BoundHostPort))
			{
				return Refusal(403, nullptr, TransportErrorCode, "Forbidden: the Host header does not name this machine's loopback interface");
			}
			if (const std::string* Origin = Req.FindHeader("Origin"); Origin && !HttpRules::IsAllowedOrigin(*Origin, BoundHostPort))
			{
				return Refusal(403, nullptr, TransportErrorCode, "Forbidden: requests from origin " + *Origin + " are not accepted");
			}
		}
		if (!Options.Token.empty() && !HttpRules::IsAuthorized(Req.HeaderValue("Authorization"), Options.Token))
		{
			FReply Reply = Refusal(401, nullptr, TransportErrorCode, "Unauthorized: a valid bearer token is required");
			Reply.Headers.emplace_back("WWW-Authenticate", "Bearer");
			return Reply;
		}
		return std::nullopt;
	}

	/** The MCP-Protocol-Version header, when present, must name a version we speak. */
	static std::optional<FReply> CheckProtocolHeader(const Http::FHttpRequest& Req)
	{
		const std::string* Version = Req.FindHeader("MCP-Protocol-Version");
		if (!Version || IsSupportedProtocolVersion(*Version))
		{
			return std::nullopt;
		}
		return Refusal(400, nullptr, TransportErrorCode,
			"Bad Request: unsupported MCP-Protocol-Version " + *Version + " (supported: " + JoinVersions() + ")");
	}

	/** Finds the request's session: a refusal when there is none (400 without an id, 404 for a stale one). */
	std::optional<FReply> LookUpSession(const Http::FHttpRequest& Req, const FJson& Id, FSessionContext& OutContext)
	{
		const std::string* SessionId = Req.FindHeader("Mcp-Session-Id");
		if (!SessionId)
		{
			return Refusal(400, Id, TransportErrorCode, "Bad Request: the Mcp-Session-Id header is required after initialize");
		}
		const auto Found = Sessions.find(*SessionId);
		if (Found == Sessions.end())
		{
			return Refusal(404, Id, SessionNotFoundCode, "Session not found: it has ended or never existed; initialize again");
		}
		Found->second.LastUsed = Now();
		OutContext.SessionId = *SessionId;
		OutContext.ProtocolVersion = Found->second.ProtocolVersion;
		return std::nullopt;
	}

	/** Answers a request now, or returns nothing when its answer will come through Deliver. */
	std::optional<FReply> Route(uint64 ConnectionId, FSlot& Slot, const Http::FHttpRequest& Req)
	{
		if (Req.RefusalStatus == 413)
		{
			return Refusal(413, nullptr, ErrorCodes::InvalidRequest, Printf("Message too large: the limit is %zu bytes", Options.MaxBodyBytes));
		}
		if (Req.Path() != Endpoint)
		{
			return Refusal(404, nullptr, TransportErrorCode, "Not Found: the MCP endpoint is /mcp");
		}
		if (Req.Method == "POST")
		{
			return HandlePost(ConnectionId, Slot, Req);
		}
		if (Req.Method == "DELETE")
		{
			return HandleDelete(Req);
		}
		if (Req.Method == "GET")
		{
			return HandleGet(Slot, Req);
		}
		if (std::optional<FReply> Refused = CheckCaller(Req))
		{
			return Refused;
		}
		FReply Reply = Refusal(405, nullptr, TransportErrorCode, "Method Not Allowed: this endpoint takes GET, POST and DELETE");
		Reply.Headers.emplace_back("Allow", "GET, POST, DELETE");
		return Reply;
	}

	std::optional<FReply> HandlePost(uint64 ConnectionId, FSlot& Slot, const Http::FHttpRequest& Req)
	{
		if (std::optional<FReply> Refused = CheckCaller(Req))
		{
			return Refused;
		}
		if (std::optional<FReply> Refused = CheckProtocolHeader(Req))
		{
			return Refused;
		}
		FIncomingMessage Incoming = FServer::Classify(Req.Body);
		if (Incoming.Kind == EMessageKind::Invalid)
		{
			return JsonReply(400, Incoming.ErrorResponse.is_null() ? MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest, "Invalid Request")
																	: Incoming.ErrorResponse);
		}
		const FJson Id = Incoming.Kind == EMessageKind::Request ? Incoming.Message.value("id", FJson()) : FJson();
		Slot.Id = Id;
		if (Incoming.Kind == EMessageKind::Request && Incoming.Method == "initialize")
		{
			FSessionContext Context;
			Context.SessionId = TransportUtils::MakeSessionId("");
			Context.ProtocolVersion = Req.HeaderValue("MCP-Protocol-Version");
			const std::string SessionId = Context.SessionId;
			Call(ConnectionId, Slot.Seq, Incoming.Message, Context, [this, SessionId](FJson Response) { return OpenSession(SessionId, std::move(Response)); });
			return std::nullopt;
		}

		FSessionContext Context;
		if (std::optional<FReply> Refused = LookUpSession(Req, Id, Context))
		{
			return Refused;
		}
		if (Context.ProtocolVersion.empty())
		{
			const std::string* Version = Req.FindHeader("MCP-Protocol-Version");
			Context.ProtocolVersion = Version ? *Version : DefaultProtocolVersion;
		}
		switch (Incoming.Kind)
		{
		case EMessageKind::Notification:
			Server.HandleNotification(Incoming.Message, Context);
			return EmptyReply(202);
		case EMessageKind::Response:
			// We send no requests to clients, so an answer has nothing to match.
			return EmptyReply(202);
		case EMessageKind::Request:
			break;
		case EMessageKind::Invalid:
			return EmptyReply(400);
		}
		Call(ConnectionId, Slot.Seq, Incoming.Message, Context, [](FJson Response) { return JsonReply(200, Response); });
		return std::nullopt;
	}

	/** GET opens the session's event stream: the head is the answer; the events follow as they happen. */
	std::optional<FReply> HandleGet(FSlot& Slot, const Http::FHttpRequest& Req)
	{
		if (std::optional<FReply> Refused = CheckCaller(Req))
		{
			return Refused;
		}
		if (std::optional<FReply> Refused = CheckProtocolHeader(Req))
		{
			return Refused;
		}
		if (!HttpRules::AcceptsEventStream(Req.HeaderValue("Accept")))
		{
			return Refusal(406, nullptr, TransportErrorCode,
				"Not Acceptable: GET /mcp opens the session's event stream and needs Accept: text/event-stream");
		}
		FSessionContext Context;
		if (std::optional<FReply> Refused = LookUpSession(Req, nullptr, Context))
		{
			return Refused;
		}
		Slot.StreamSession = Context.SessionId;
		Slot.LastEventId = Http::ParseEventId(Req.HeaderValue("Last-Event-ID"));
		Slot.bKeepAlive = false;
		Slot.Bytes = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-cache\r\n";
		Slot.Bytes += Slot.MinorVersion == 1 ? "Transfer-Encoding: chunked\r\n\r\n" : "Connection: close\r\n\r\n";
		Slot.bReady = true;
		return std::nullopt;
	}

	/** Only a successful initialize opens a session; it speaks the version the server answered with. */
	FReply OpenSession(const std::string& SessionId, FJson Response)
	{
		FReply Reply = JsonReply(200, Response);
		const auto Result = Response.find("result");
		if (Result == Response.end() || !Result->is_object())
		{
			return Reply;
		}
		const auto Version = Result->find("protocolVersion");
		if (Version == Result->end() || !Version->is_string())
		{
			return Reply;
		}
		const double Time = Now();
		FHttpSession& Session = Sessions.emplace(SessionId, FHttpSession(Options.StreamReplayEvents)).first->second;
		Session.ProtocolVersion = Version->get<std::string>();
		Session.Created = Time;
		Session.LastUsed = Time;
		std::weak_ptr<FHttpCore> Weak = weak_from_this();
		Server.AttachNotificationSink(SessionId, [Weak, SessionId](const FJson& Note) {
			if (std::shared_ptr<FHttpCore> Self = Weak.lock())
			{
				Self->QueueNote(SessionId, Note);
			}
		});
		if (Sessions.size() > std::max<size_t>(1, Options.MaxSessions))
		{
			const auto Oldest = std::min_element(Sessions.begin(), Sessions.end(),
				[](const auto& A, const auto& B) { return A.second.LastUsed < B.second.LastUsed; });
			const std::string Evicted = Oldest->first;
			EndSession(Evicted);
			TW_TRANSPORT_LOG(Verbose, "http: session %s ended to make room (more than %zu open)", Evicted.c_str(), Options.MaxSessions);
		}
		Reply.Headers.emplace_back("Mcp-Session-Id", SessionId);
		TW_TRANSPORT_LOG(Verbose, "http: session %s opened (protocol %s)", SessionId.c_str(), Version->get_ref<const std::string&>().c_str());
		return Reply;
	}

	void EndSession(const std::string& SessionId)
	{
		const auto Found = Sessions.find(SessionId);
		if (Found == Sessions.end())
		{
			return;
		}
		const uint64 Stream = Found->second.StreamConnection;
		Sessions.erase(Found);
		Server.DetachSession(SessionId);
		if (Stream != 0)
		{
			if (const auto Connection = Connections.find(Stream); Connection != Connections.end())
			{
				EndStream(Connection->second);
			}
		}
	}

	std::optional<FReply> HandleDelete(const Http::FHttpRequest& Req)
	{
		if (std::optional<FReply> Refused = CheckCaller(Req))
		{
			return Refused;
		}
		if (std::optional<FReply> Refused = CheckProtocolHeader(Req))
		{
			return Refused;
		}
		FSessionContext Context;
		if (std::optional<FReply> Refused = LookUpSession(Req, nullptr, Context))
		{
			return Refused;
		}
		EndSession(Context.SessionId);
		TW_TRANSPORT_LOG(Verbose, "http: session %s ended by the client", Context.SessionId.c_str());
		return EmptyReply(204);
	}

	/** Hands a request to the server. On the game thread it usually answers before this returns; either way the
	 *  answer goes through Deliver, which finds the connection again (it may be gone by then). */
	void Call(uint64 ConnectionId, uint64 Seq, const FJson& Request, const FSessionContext& Context, FThen Then)
	{
		std::weak_ptr<FHttpCore> Weak = weak_from_this();
		Server.HandleRequest(Request, Context, [Weak, ConnectionId, Seq, Then = std::move(Then)](FJson Response) {
			if (std::shared_ptr<FHttpCore> Self = Weak.lock())
			{
				Self->Deliver(ConnectionId, Seq, Then, std::move(Response));
			}
		});
	}

	void Deliver(uint64 ConnectionId, uint64 Seq, const FThen& Then, FJson Response)
	{
		std::lock_guard Lock(Mutex);
		if (bStopped)
		{
			return;
		}
		FReply Reply = Then(std::move(Response));
		const auto Found = Connections.find(ConnectionId);
		if (Found == Connections.end())
		{
			return;
		}
		const std::shared_ptr<FConnection> Connection = Found->second;
		for (FSlot& Slot : Connection->Slots)
		{
			if (Slot.Seq == Seq)
			{
				Fill(*Connection, Slot, Reply);
				break;
			}
		}
		Schedule(Connection);
	}

	/** Writes a connection's output now, or after the callback under way on this thread. */
	void Schedule(const std::shared_ptr<FConnection>& Connection)
	{
		if (Depth > 0)
		{
			Deferred.push_back(Connection->Id);
			return;
		}
		WriteOut(Connection);
	}

	/** Sends what is ready. Requests already read wait for the connection's next turn: an answer going out
	 *  never starts more work, or a client pipelining requests would be served all at once. */
	void WriteOut(const std::shared_ptr<FConnection>& Connection)
	{
		Flush(*Connection);
		if (Connection->Fd >= 0 && !Connection->bNoMoreRequests && !Connection->IsStream() && !Connection->Parser.IsIdle() &&
			Connection->Owed() < Options.MaxUnsentBytes && Connection->Slots.size() < MaxPipelined)
		{
			AddToBacklog(*Connection);
		}
	}

	// ---- Event streams -----------------------------------------------------------------------------------

	/** Any thread: the server's sink for a session. Written out on the game thread (a thread that is logging
	 *  must never wait for this transport's lock). */
	void QueueNote(const std::string& SessionId, const FJson& Note)
	{
		bool bPost = false;
		{
			std::lock_guard Lock(NotesMutex);
			Notes.emplace_back(SessionId, Note);
			bPost = !bNotesPosted;
			bNotesPosted = true;
		}
		if (!bPost)
		{
			return;
		}
		std::weak_ptr<FHttpCore> Weak = weak_from_this();
		Queue().Post([Weak] {
			if (std::shared_ptr<FHttpCore> Self = Weak.lock())
			{
				Self->DrainNotes();
			}
		});
	}

	void DrainNotes()
	{
		std::vector<std::pair<std::string, FJson>> Taken;
		{
			std::lock_guard Lock(NotesMutex);
			Taken.swap(Notes);
			bNotesPosted = false;
		}
		std::lock_guard Lock(Mutex);
		if (bStopped)
		{
			return;
		}
		for (const auto& [SessionId, Note] : Taken)
		{
			const auto Found = Sessions.find(SessionId);
			if (Found == Sessions.end())
			{
				continue;
			}
			// Recorded even with no stream open, so a client that reconnects with Last-Event-ID gets it.
			const std::string& Event = Found->second.Replay.Add(FTarnwickJsonUtils::Write(Note));
			const auto Stream = Connections.find(Found->second.StreamConnection);
			if (Found->second.StreamConnection != 0 && Stream != Connections.end())
			{
				WriteToStream(Stream->second, Event);
			}
		}
	}

	void WriteToStream(const std::shared_ptr<FConnection>& Connection, std::string_view Event)
	{
		if (Connection->bStreamChunked)
		{
			Http::AppendChunk(Connection->Out, Event);
		}
		else
		{
			Connection->Out.append(Event);
		}
		Connection->LastStreamWrite = Now();
		if (Connection->Unsent() > Options.MaxUnsentBytes)
		{
			// The client has stopped reading its stream; it resumes from its last event when it reconnects.
			TW_TRANSPORT_LOG(Warning, "http: closing the event stream of session %s: %zu bytes unread", Connection->StreamSession.c_str(),
				Connection->Unsent());
			DetachStream(*Connection);
			Close(*Connection);
			return;
		}
		Schedule(Connection);
	}

	/** The stream at the front of this connection's answers has become the session's: its head, then what the
	 *  client missed, then whatever comes. A session has one stream; a new one replaces the old. */
	void StartStream(FConnection& Connection, const FSlot& Slot)
	{
		const auto Found = Sessions.find(Slot.StreamSession);
		if (Found == Sessions.end())
		{
			Connection.bCloseAfterOut = true;
			return;
		}
		FHttpSession& Session = Found->second;
		if (Session.StreamConnection != 0 && Session.StreamConnection != Connection.Id)
		{
			if (const auto Old = Connections.find(Session.StreamConnection); Old != Connections.end())
			{
				const std::shared_ptr<FConnection> Previous = Old->second;
				Previous->StreamSession.clear();
				EndStream(Previous);
			}
		}
		Session.StreamConnection = Connection.Id;
		Connection.StreamSession = Slot.StreamSession;
		Connection.bStreamChunked = Slot.MinorVersion == 1;
		Connection.bNoMoreRequests = true;
		Connection.LastStreamWrite = Now();
		const std::string Prelude = "retry: " + std::to_string(StreamRetryMilliseconds) + "\n\n" +
			(Slot.LastEventId ? Session.Replay.Since(*Slot.LastEventId) : std::string());
		if (Connection.bStreamChunked)
		{
			Http::AppendChunk(Connection.Out, Prelude);
		}
		else
		{
			Connection.Out += Prelude;
		}
	}

	void DetachStream(FConnection& Connection)
	{
		if (!Connection.IsStream())
		{
			return;
		}
		if (const auto Found = Sessions.find(Connection.StreamSession); Found != Sessions.end() && Found->second.StreamConnection == Connection.Id)
		{
			Found->second.StreamConnection = 0;
		}
		Connection.StreamSession.clear();
	}

	/** Ends a stream cleanly: the last chunk, then the connection closes once it is out. */
	void EndStream(const std::shared_ptr<FConnection>& Connection)
	{
		DetachStream(*Connection);
		if (Connection->Fd < 0)
		{
			return;
		}
		if (Connection->bStreamChunked)
		{
			Connection->Out += Http::LastChunk();
		}
		Connection->bCloseAfterOut = true;
		Connection->bNoMoreRequests = true;
		Schedule(Connection);
	}

	// ---- Connections -------------------------------------------------------------------------------------

	/** Fills a slot of Connection with its answer. */
	static void Fill(FConnection& Connection, FSlot& Slot, const FReply& Reply)
	{
		Fill(Slot, Reply);
		Connection.ReadyBytes += Slot.Bytes.size();
	}

	static void Fill(FSlot& Slot, const FReply& Reply)
	{
		const Http::EConnectionHeader Header = !Slot.bKeepAlive ? Http::EConnectionHeader::Close
			: Slot.MinorVersion == 0								? Http::EConnectionHeader::KeepAlive
																	: Http::EConnectionHeader::None;
		Slot.Bytes.clear();
		Http::AppendResponse(Slot.Bytes, Reply.Status, Reply.Headers, Reply.Body, Header, Slot.bHead);
		Slot.bReady = true;
	}

	void OnListenReady()
	{
		std::lock_guard Lock(Mutex);
		if (bStopped || ListenFd < 0)
		{
			return;
		}
		while (true)
		{
			const double Time = Now();
			const int Fd = ::accept4(ListenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
			if (Fd < 0)
			{
				if (errno == EINTR || errno == ECONNABORTED)
				{
					continue;
				}
				if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
				{
					// The connection stays queued and the socket stays readable: stop watching it for a while
					// rather than spin on it.
					TW_TRANSPORT_LOG(Warning, "http: cannot accept a connection (%s); pausing for %g s", std::strerror(errno), AcceptPauseSeconds);
					Queue().SetFdWatchEvents(ListenWatch, 0);
					AcceptPausedUntil = Time + AcceptPauseSeconds;
				}
				return;
			}
			// What has outstayed its time goes before anything makes room for the newcomer.
			if (Time != LastSweep)
			{
				Sweep(Time);
			}
			if (Connections.size() >= std::max<size_t>(1, Options.MaxConnections))
			{
				// Making room beats refusing: the newcomer is most likely a real client, the idlest most likely not.
				EvictIdlest();
			}
			int Yes = 1;
			::setsockopt(Fd, IPPROTO_TCP, TCP_NODELAY, &Yes, sizeof(Yes));
			Http::FHttpLimits Limits;
			Limits.MaxBodyBytes = Options.MaxBodyBytes;
			auto Connection = std::make_shared<FConnection>(Limits);
			Connection->Id = NextConnectionId++;
			Connection->Fd = Fd;
			Connection->Events = POLLIN;
			Connection->LastActivity = Time;
			Connection->LastProgress = Time;
			std::weak_ptr<FHttpCore> Weak = weak_from_this();
			Connection->WatchId = Queue().AddFdWatch(Fd, POLLIN, [Weak, Id = Connection->Id](short Ready) {
				if (std::shared_ptr<FHttpCore> Self = Weak.lock())
				{
					Self->OnConnectionReady(Id, Ready);
				}
			});
			Connections.emplace(Connection->Id, std::move(Connection));
		}
	}

	/** Closes one connection to make room for a new one: first one that has never completed a request (silent,
	 *  or trickling a request it never finishes), then one idle between requests, an event stream last (its
	 *  client reconnects by itself); among those, the one longest without progress. A connection whose next
	 *  request is already waiting in its socket goes after the others of its kind: its client is about to use it. */
	void EvictIdlest()
	{
		const auto Rank = [](const FConnection& C) {
			int Pending = 0;
			::ioctl(C.Fd, FIONREAD, &Pending);
			return (C.IsStream() ? 4 : C.bCompletedRequest ? 2 : 0) + (Pending > 0 ? 1 : 0);
		};
		std::shared_ptr<FConnection> Victim;
		int VictimRank = 0;
		for (const auto& [Id, Connection] : Connections)
		{
			const int ConnectionRank = Rank(*Connection);
			if (!Victim || ConnectionRank < VictimRank || (ConnectionRank == VictimRank && Connection->LastProgress < Victim->LastProgress))
			{
				Victim = Connection;
				VictimRank = ConnectionRank;
			}
		}
		if (Victim)
		{
			TW_TRANSPORT_LOG(Verbose, "http: closing connection %llu (no request completed for %.1f s) to make room for a new one",
				static_cast<unsigned long long>(Victim->Id), Now() - Victim->LastProgress);
			DetachStream(*Victim);
			Close(*Victim);
		}
	}

	void OnConnectionReady(uint64 ConnectionId, short Ready)
	{
		std::lock_guard Lock(Mutex);
		if (bStopped)
		{
			return;
		}
		const auto Found = Connections.find(ConnectionId);
		if (Found == Connections.end())
		{
			return;
		}
		const std::shared_ptr<FConnection> Connection = Found->second;
		if (Ready & POLLNVAL)
		{
			DetachStream(*Connection);
			Close(*Connection);
			return;
		}
		if (Ready & (POLLIN | POLLHUP | POLLERR))
		{
			if (!Receive(*Connection))
			{
				return;
			}
		}
		if (Connection->bLingering)
		{
			return;
		}
		if (Connection->IsStream() && Connection->bPeerClosed)
		{
			// The client went away from its stream; the session lives on and can open another.
			DetachStream(*Connection);
			Close(*Connection);
			return;
		}
		++Depth;
		Pump(Connection);
		--Depth;
		RunDeferred();
	}

	/** Reads what is there, up to this connection's share of the turn; false when the connection was closed. */
	bool Receive(FConnection& Connection)
	{
		if (ReadBuffer.size() < ReadChunkBytes)
		{
			ReadBuffer.resize(ReadChunkBytes);
		}
		size_t ReadThisTurn = 0;
		while (ReadThisTurn < Options.MaxReadBytesPerTurn)
		{
			const ssize_t Count = ::recv(Connection.Fd, ReadBuffer.data(), ReadBuffer.size(), MSG_DONTWAIT);
			if (Count > 0)
			{
				const double Time = Now();
				Connection.LastActivity = Time;
				ReadThisTurn += static_cast<size_t>(Count);
				if (Connection.bLingering || Connection.bNoMoreRequests || Connection.IsStream())
				{
					Connection.Dropped += static_cast<size_t>(Count);
					if (Connection.Dropped > std::max(MinLingerBytes, 2 * Options.MaxBodyBytes))
					{
						// Whatever the client still sends is of no use; reading it is all it would cost us.
						DetachStream(Connection);
						Close(Connection);
						return false;
					}
				}
				else
				{
					if (Connection.Parser.IsIdle())
					{
						Connection.RequestStart = Time;
					}
					Connection.Parser.Feed(std::string_view(ReadBuffer.data(), static_cast<size_t>(Count)));
					UpdateHeld(Connection);
					if (TotalHeld > Options.MaxBufferedBytes && !RelieveMemory(Connection))
					{
						return false;
					}
				}
				// A short read emptied the socket; poll tells us when there is more.
				if (static_cast<size_t>(Count) < ReadBuffer.size())
				{
					return true;
				}
				continue;
			}
			if (Count == 0)
			{
				if (Connection.bLingering)
				{
					Close(Connection);
					return false;
				}
				Connection.bPeerClosed = true;
				return true;
			}
			if (errno == EINTR)
			{
				continue;
			}
			if (errno == EAGAIN || errno == EWOULDBLOCK)
			{
				return true;
			}
			DetachStream(Connection);
			Close(Connection);
			return false;
		}
		// The turn is used up; the socket stays readable, so the next turn of the poll comes back here.
		return true;
	}

	void UpdateHeld(FConnection& Connection)
	{
		const size_t Held = Connection.Fd >= 0 ? Connection.Parser.NumHeldBytes() : 0;
		TotalHeld = TotalHeld - Connection.Held + Held;
		Connection.Held = Held;
	}

	/** Too much is held by unfinished requests: the connection holding most is answered 503 and closed. False
	 *  when that was Current. */
	bool RelieveMemory(FConnection& Current)
	{
		while (TotalHeld > Options.MaxBufferedBytes)
		{
			std::shared_ptr<FConnection> Largest;
			for (const auto& [Id, Connection] : Connections)
			{
				if (!Largest || Connection->Held > Largest->Held)
				{
					Largest = Connection;
				}
			}
			if (!Largest || Largest->Held == 0)
			{
				return true;
			}
			TW_TRANSPORT_LOG(Warning, "http: dropping the request in progress on connection %llu, which holds %zu bytes (all together "
									  "held more than %zu)",
				static_cast<unsigned long long>(Largest->Id), Largest->Held, Options.MaxBufferedBytes);
			const size_t Before = TotalHeld;
			Abandon(Largest, 503, "Service Unavailable: too many unfinished requests are held; this connection's was the largest");
			if (Largest.get() == &Current)
			{
				return false;
			}
			if (TotalHeld >= Before)
			{
				return true;
			}
		}
		return true;
	}

	/** Drops the request in progress (its memory at once), answers Status, and closes the connection once the
	 *  answer is out. A connection with earlier answers still owed is closed without one. */
	void Abandon(const std::shared_ptr<FConnection>& Connection, int Status, const std::string& Message)
	{
		Connection->Parser.Discard();
		UpdateHeld(*Connection);
		Connection->bNoMoreRequests = true;
		Connection->RequestStart = -1.0;
		if (!Connection->Slots.empty() || Connection->Unsent() > 0 || Connection->IsStream())
		{
			DetachStream(*Connection);
			Close(*Connection);
			return;
		}
		FSlot& Slot = Connection->Slots.emplace_back();
		Slot.Seq = Connection->NextSeq++;
		Slot.bKeepAlive = false;
		Fill(*Connection, Slot, Refusal(Status, nullptr, TransportErrorCode, Message));
		Schedule(Connection);
	}

	/** Takes out complete requests and hands them over in order, up to the connection's share of the turn,
	 *  then writes what is ready; repeats while writing made room for requests that were held back. */
	void Pump(const std::shared_ptr<FConnection>& Connection)
	{
		size_t Dispatched = 0;
		while (Connection->Fd >= 0 && !bStopped)
		{
			bool bHeldBack = false;
			while (Connection->Fd >= 0 && !bStopped && !Connection->bNoMoreRequests)
			{
				if (Connection->Slots.size() >= MaxPipelined || Connection->Owed() >= Options.MaxUnsentBytes)
				{
					bHeldBack = true;
					break;
				}
				if (Dispatched >= Options.MaxRequestsPerTurn)
				{
					if (!Connection->Parser.IsIdle())
					{
						AddToBacklog(*Connection);
					}
					break;
				}
				Http::FHttpRequest Request;
				const Http::EHttpParse Result = Connection->Parser.Next(Request);
				UpdateHeld(*Connection);
				if (Result == Http::EHttpParse::NeedMore)
				{
					if (Connection->Parser.TakeContinueDue() && Connection->Slots.empty())
					{
						Connection->Out += "HTTP/1.1 100 Continue\r\n\r\n";
					}
					break;
				}
				if (Result == Http::EHttpParse::Error)
				{
					const int Status = Connection->Parser.GetErrorStatus();
					FSlot& Slot = Connection->Slots.emplace_back();
					Slot.Seq = Connection->NextSeq++;
					Slot.bKeepAlive = false;
					Fill(*Connection, Slot, Refusal(Status, nullptr, TransportErrorCode,
								   Printf("%s: %s", Http::ReasonPhrase(Status), Connection->Parser.GetErrorReason().c_str())));
					Connection->bNoMoreRequests = true;
					break;
				}
				Connection->RequestStart = Connection->Parser.IsIdle() ? -1.0 : Now();
				Connection->LastProgress = Now();
				Connection->bCompletedRequest = true;
				++Dispatched;
				Dispatch(Connection, std::move(Request));
			}
			if (Connection->Fd < 0 || bStopped)
			{
				return;
			}
			const size_t SlotsBefore = Connection->Slots.size();
			Flush(*Connection);
			if (!bHeldBack || Connection->Slots.size() == SlotsBefore)
			{
				return;
			}
		}
	}

	void Dispatch(const std::shared_ptr<FConnection>& Connection, Http::FHttpRequest Request)
	{
		FSlot& Slot = Connection->Slots.emplace_back();
		Slot.Seq = Connection->NextSeq++;
		Slot.bKeepAlive = Request.bKeepAlive;
		Slot.MinorVersion = Request.MinorVersion;
		Slot.bHead = Request.Method == "HEAD";
		if (Request.RefusalStatus == 413)
		{
			// Not a byte more of a body we refused: the answer goes out, then the connection closes.
			Slot.bKeepAlive = false;
			Connection->Parser.Discard();
			UpdateHeld(*Connection);
		}
		if (!Slot.bKeepAlive)
		{
			Connection->bNoMoreRequests = true;
		}
		const uint64 Seq = Slot.Seq;
		std::optional<FReply> Reply = Route(Connection->Id, Slot, Request);
		// The call may have stopped the transport (a tool can); then everything here is gone.
		if (!Reply || bStopped || Connection->Fd < 0)
		{
			return;
		}
		for (FSlot& Waiting : Connection->Slots)
		{
			if (Waiting.Seq == Seq)
			{
				Fill(*Connection, Waiting, *Reply);
				break;
			}
		}
	}

	void AddToBacklog(FConnection& Connection)
	{
		if (Connection.bInBacklog)
		{
			return;
		}
		Connection.bInBacklog = true;
		Backlog.push_back(Connection.Id);
		if (Backlog.size() == 1)
		{
			const uint64_t One = 1;
			[[maybe_unused]] const ssize_t Written = ::write(BacklogFd, &One, sizeof(One));
			if (!Queue().IsInGameThread())
			{
				Queue().Wake();
			}
		}
	}

	/** The backlog's eventfd is ready: its turn is a task, so that it runs after this poll's other callbacks. */
	void OnBacklogReady()
	{
		std::lock_guard Lock(Mutex);
		if (bBacklogPosted || bStopped)
		{
			return;
		}
		bBacklogPosted = true;
		std::weak_ptr<FHttpCore> Weak = weak_from_this();
		Queue().Post([Weak] {
			if (std::shared_ptr<FHttpCore> Self = Weak.lock())
			{
				Self->ServeBacklog();
			}
		});
	}

	/** A turn each for the connections first in the backlog (at most BacklogTurnsPerPoll of them); those with
	 *  requests left go to its end. */
	void ServeBacklog()
	{
		std::lock_guard Lock(Mutex);
		bBacklogPosted = false;
		if (bStopped)
		{
			return;
		}
		uint64_t Count = 0;
		[[maybe_unused]] const ssize_t Got = ::read(BacklogFd, &Count, sizeof(Count));
		++Depth;
		for (size_t Turn = 0; Turn < BacklogTurnsPerPoll && !Backlog.empty() && !bStopped; ++Turn)
		{
			const uint64 Id = Backlog.front();
			Backlog.pop_front();
			const auto Found = Connections.find(Id);
			if (Found == Connections.end())
			{
				continue;
			}
			const std::shared_ptr<FConnection> Connection = Found->second;
			Connection->bInBacklog = false;
			Pump(Connection);
		}
		--Depth;
		RunDeferred();
		if (!Backlog.empty() && !bStopped)
		{
			const uint64_t One = 1;
			[[maybe_unused]] const ssize_t Written = ::write(BacklogFd, &One, sizeof(One));
		}
	}

	/** Moves ready answers, in request order, into the output and sends as much as the socket takes. */
	void Flush(FConnection& Connection)
	{
		while (!Connection.bCloseAfterOut && !Connection.IsStream() && !Connection.Slots.empty() && Connection.Slots.front().bReady)
		{
			FSlot& Front = Connection.Slots.front();
			Connection.ReadyBytes -= std::min(Connection.ReadyBytes, Front.Bytes.size());
			if (Connection.Unsent() == 0)
			{
				Connection.Out.swap(Front.Bytes);
				Connection.OutPos = 0;
			}
			else
			{
				Connection.Out += Front.Bytes;
			}
			if (!Front.StreamSession.empty())
			{
				StartStream(Connection, Front);
			}
			else
			{
				Connection.bCloseAfterOut = !Front.bKeepAlive;
			}
			Connection.Slots.pop_front();
		}
		if (Connection.bCloseAfterOut || Connection.IsStream())
		{
			// Nothing after the last answer goes out; their replies, if still to come, find no slot.
			Connection.Slots.clear();
			Connection.ReadyBytes = 0;
		}
		while (Connection.Unsent() > 0)
		{
			const ssize_t Sent = ::send(Connection.Fd, Connection.Out.data() + Connection.OutPos, Connection.Unsent(), MSG_NOSIGNAL | MSG_DONTWAIT);
			if (Sent > 0)
			{
				Connection.OutPos += static_cast<size_t>(Sent);
				continue;
			}
			if (Sent < 0 && errno == EINTR)
			{
				continue;
			}
			if (Sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
			{
				break;
			}
			DetachStream(Connection);
			Close(Connection);
			return;
		}
		if (Connection.Unsent() == 0)
		{
			Connection.Out.clear();
			Connection.OutPos = 0;
			if (Connection.bCloseAfterOut || (Connection.bPeerClosed && Connection.Slots.empty() && !Connection.IsStream()))
			{
				if (Connection.bPeerClosed)
				{
					Close(Connection);
					return;
				}
				::shutdown(Connection.Fd, SHUT_WR);
				Connection.bLingering = true;
				Connection.LingerSince = Now();
			}
		}
		UpdateEvents(Connection);
	}

	void UpdateEvents(FConnection& Connection)
	{
		short Want = 0;
		if (Connection.bLingering || Connection.IsStream())
		{
			// A stream's client sends nothing more, but reading notices when it goes away.
			Want = POLLIN;
		}
		else if (!Connection.bPeerClosed && !Connection.bNoMoreRequests && Connection.Slots.size() < MaxPipelined &&
				 Connection.Owed() < Options.MaxUnsentBytes)
		{
			Want = POLLIN;
		}
		if (Connection.Unsent() > 0)
		{
			Want |= POLLOUT;
		}
		if (Want != Connection.Events)
		{
			Connection.Events = Want;
			Queue().SetFdWatchEvents(Connection.WatchId, Want);
			if (!Queue().IsInGameThread())
			{
				// The wait picks up a changed watch only when it next starts.
				Queue().Wake();
			}
		}
	}

	void RunDeferred()
	{
		while (Depth == 0 && !Deferred.empty() && !bStopped)
		{
			const uint64 Id = Deferred.back();
			Deferred.pop_back();
			const auto Found = Connections.find(Id);
			if (Found != Connections.end())
			{
				const std::shared_ptr<FConnection> Connection = Found->second;
				WriteOut(Connection);
			}
		}
	}

	void Close(FConnection& Connection)
	{
		if (Connection.Fd < 0)
		{
			return;
		}
		Queue().RemoveFdWatch(Connection.WatchId);
		::close(Connection.Fd);
		Connection.Fd = -1;
		UpdateHeld(Connection);
		Connections.erase(Connection.Id);
	}

	/** Ends what has outstayed its time: idle keep-alive connections, lingering ones that never finished, and
	 *  requests whose head or body is late (answered 408). */
	void Sweep(double Time)
	{
		std::vector<std::shared_ptr<FConnection>> Expired;
		std::vector<std::pair<std::shared_ptr<FConnection>, const char*>> Late;
		LastSweep = Time;
		for (const auto& [Id, Connection] : Connections)
		{
			if (Connection->IsStream())
			{
				continue;
			}
			const bool bLingeredOut = Connection->bLingering && Time - Connection->LingerSince > LingerSeconds;
			const bool bIdle = !Connection->bLingering && Connection->IsIdle() && Time - Connection->LastActivity > Options.KeepAliveSeconds;
			if (bLingeredOut || bIdle)
			{
				Expired.push_back(Connection);
				continue;
			}
			if (Connection->bLingering || Connection->RequestStart < 0.0 || Connection->Parser.IsIdle())
			{
				continue;
			}
			const double Age = Time - Connection->RequestStart;
			if (!Connection->Parser.IsInBody() && Age > Options.HeadTimeoutSeconds)
			{
				Late.emplace_back(Connection, "Request Timeout: the request's head did not arrive in time");
			}
			else if (Connection->Parser.IsInBody() && Age > Options.HeadTimeoutSeconds + Options.BodyTimeoutSeconds)
			{
				Late.emplace_back(Connection, "Request Timeout: the request's body did not arrive in time");
			}
		}
		for (const std::shared_ptr<FConnection>& Connection : Expired)
		{
			Close(*Connection);
		}
		for (const auto& [Connection, Message] : Late)
		{
			TW_TRANSPORT_LOG(Verbose, "http: connection %llu: %s", static_cast<unsigned long long>(Connection->Id), Message);
			Abandon(Connection, 408, Message);
		}
	}

	/** A comment on every stream that has been quiet for a while: a peer that vanished shows up as a failed send. */
	void Heartbeat(double Time)
	{
		std::vector<std::shared_ptr<FConnection>> Quiet;
		for (const auto& [Id, Connection] : Connections)
		{
			if (Connection->IsStream() && Time - Connection->LastStreamWrite > Options.StreamHeartbeatSeconds)
			{
				Quiet.push_back(Connection);
			}
		}
		for (const std::shared_ptr<FConnection>& Connection : Quiet)
		{
			WriteToStream(Connection, Http::HeartbeatEvent());
		}
	}

	void OnTick()
	{
		std::lock_guard Lock(Mutex);
		if (bStopped)
		{
			return;
		}
		const double Time = Now();
		Sweep(Time);
		Heartbeat(Time);
		if (AcceptPausedUntil && Time >= *AcceptPausedUntil)
		{
			AcceptPausedUntil.reset();
			Queue().SetFdWatchEvents(ListenWatch, POLLIN);
		}
	}

	// ---- Start and stop ----------------------------------------------------------------------------------

	bool Listen(std::string& OutError)
	{
		const std::string& Host = Options.Host;
		addrinfo Hints{};
		Hints.ai_family = AF_UNSPEC;
		Hints.ai_socktype = SOCK_STREAM;
		Hints.ai_flags = AI_PASSIVE;
		addrinfo* Addresses = nullptr;
		const std::string Port = std::to_string(Options.Port);
		const int Resolved = ::getaddrinfo(Host.c_str(), Port.c_str(), &Hints, &Addresses);
		if (Resolved != 0)
		{
			OutError = Printf("cannot listen on %s:%d: %s", Host.c_str(), Options.Port, ::gai_strerror(Resolved));
			return false;
		}
		int LastErrno = EADDRNOTAVAIL;
		for (const addrinfo* Address = Addresses; Address; Address = Address->ai_next)
		{
			const int Fd = ::socket(Address->ai_family, Address->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, Address->ai_protocol);
			if (Fd < 0)
			{
				LastErrno = errno;
				continue;
			}
			// SO_REUSEADDR only: with SO_REUSEPORT a second server could share a taken port instead of failing.
			int Yes = 1;
			::setsockopt(Fd, SOL_SOCKET, SO_REUSEADDR, &Yes, sizeof(Yes));
			if (::bind(Fd, Address->ai_addr, Address->ai_addrlen) != 0 || ::listen(Fd, SOMAXCONN) != 0)
			{
				LastErrno = errno;
				::close(Fd);
				continue;
			}
			ListenFd = Fd;
			break;
		}
		::freeaddrinfo(Addresses);
		if (ListenFd < 0)
		{
			OutError = Printf("cannot listen on %s:%d: %s", Host.c_str(), Options.Port, std::strerror(LastErrno));
			return false;
		}
		BacklogFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
		if (BacklogFd < 0)
		{
			OutError = Printf("cannot create an eventfd: %s", std::strerror(errno));
			::close(ListenFd);
			ListenFd = -1;
			return false;
		}
		sockaddr_storage Local{};
		socklen_t Length = sizeof(Local);
		if (::getsockname(ListenFd, reinterpret_cast<sockaddr*>(&Local), &Length) == 0)
		{
			BoundPort = Local.ss_family == AF_INET6 ? ntohs(reinterpret_cast<const sockaddr_in6*>(&Local)->sin6_port)
													: ntohs(reinterpret_cast<const sockaddr_in*>(&Local)->sin_port);
		}
		const bool bV6Literal = Host.find(':') != std::string::npos;
		BoundHostPort = (bV6Literal ? "[" + Host + "]" : Host) + ":" + std::to_string(BoundPort.load());
		std::weak_ptr<FHttpCore> Weak = weak_from_this();
		ListenWatch = Queue().AddFdWatch(ListenFd, POLLIN, [Weak](short) {
			if (std::shared_ptr<FHttpCore> Self = Weak.lock())
			{
				Self->OnListenReady();
			}
		});
		BacklogWatch = Queue().AddFdWatch(BacklogFd, POLLIN, [Weak](short) {
			if (std::shared_ptr<FHttpCore> Self = Weak.lock())
			{
				Self->OnBacklogReady();
			}
		});
		Ticker = FTSTicker::GetCoreTicker().AddTicker("TarnwickHttpIdle", 1.0f, [Weak](float) {
			if (std::shared_ptr<FHttpCore> Self = Weak.lock())
			{
				Self->OnTick();
			}
			return true;
		});
		// A wait already under way looks at the new watch only when it next starts.
		Queue().Wake();
		return true;
	}

	void Stop()
	{
		std::lock_guard Lock(Mutex);
		if (!bStarted || bStopped)
		{
			return;
		}
		bStopped = true;
		FTSTicker::GetCoreTicker().RemoveTicker(Ticker);
		Queue().RemoveFdWatch(ListenWatch);
		Queue().RemoveFdWatch(BacklogWatch);
		::close(ListenFd);
		ListenFd = -1;
		::close(BacklogFd);
		BacklogFd = -1;
		std::vector<std::shared_ptr<FConnection>> Open;
		for (const auto& [Id, Connection] : Connections)
		{
			Open.push_back(Connection);
		}
		for (const std::shared_ptr<FConnection>& Connection : Open)
		{
			for (FSlot& Slot : Connection->Slots)
			{
				if (!Slot.bReady)
				{
					Slot.bKeepAlive = false;
					Fill(Slot, Refusal(503, Slot.Id, TransportErrorCode, "Service Unavailable: the server is shutting down"));
				}
			}
			if (Connection->IsStream() && Connection->bStreamChunked)
			{
				Connection->Out += Http::LastChunk();
			}
			// One attempt, without waiting: a client that is not reading gets nothing more.
			Flush(*Connection);
			Close(*Connection);
		}
		Connections.clear();
		for (const auto& [Id, Session] : Sessions)
		{
			Server.DetachSession(Id);
		}
		Sessions.clear();
		Queue().Wake();
	}
};

}

struct FHttpTransport::FImpl
{
	std::shared_ptr<FHttpCore> Core;
};

FHttpTransport::FHttpTransport(FServer& InServer, FHttpOptions InOptions)
	: Impl(std::make_unique<FImpl>(FImpl{std::make_shared<FHttpCore>(InServer, std::move(InOptions))}))
{
}

FHttpTransport::~FHttpTransport()
{
	Stop();
}

bool FHttpTransport::Start(std::string& OutError)
{
	FHttpCore& Core = *Impl->Core;
	std::lock_guard Lock(Core.Mutex);
	if (Core.bStarted)
	{
		OutError = "the HTTP transport is already started";
		return false;
	}
	if (!Core.Listen(OutError))
	{
		return false;
	}
	Core.bStarted = true;
	TW_TRANSPORT_LOG(Log, "http: serving MCP on http://%s/mcp%s", Core.BoundHostPort.c_str(), Core.Options.Token.empty() ? "" : " (bearer token required)");
	return true;
}

void FHttpTransport::Stop()
{
	Impl->Core->Stop();
}

int FHttpTransport::GetPort() const
{
	return Impl->Core->BoundPort;
}
}
