// Streamable HTTP on one endpoint (/mcp), answering every request with plain JSON (no event streams).
//
// The whole server runs on the game thread's own wait: the listening socket and every connection are watched
// descriptors of FGameThreadTaskQueue, so a request that arrives between frames wakes the game thread once and
// is read, answered and written there, with no other thread involved. Nothing here ever blocks: sockets are
// non-blocking, a reply that cannot be written at once waits for POLLOUT, and a client that stops reading
// stops being read from. Sessions are issued at initialize and live here, in the transport; the server itself
// keeps no per-connection state.
//
// Everything is reached under one lock, so that Stop, Start and replies that finish on another thread are
// safe; on the game thread it is never contended. The lock is recursive because a request answered at once
// calls its reply back from inside the call that handed it over.
#include "GameThread.h"
#include "Mcp/TarnwickHttpRequestParser.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "Mcp/TarnwickMcpTransportUtils.h"
#include "Printf.h"
#include "TarnwickLog.h"
#include "Ticker.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
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
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace Tarnwick::Mcp
{
namespace HttpRules
{
namespace
{
using Http::EqualsNoCase;

bool StartsWithNoCase(std::string_view Text, std::string_view Prefix)
{
	return Text.size() >= Prefix.size() && EqualsNoCase(Text.substr(0, Prefix.size()), Prefix);
}

bool IsDigit(char C)
{
	return C >= '0' && C <= '9';
}

bool IsValidPort(std::string_view Port)
{
	if (Port.empty() || Port.size() > 5)
	{
		return false;
	}
	unsigned Value = 0;
	for (char C : Port)
	{
		if (!IsDigit(C))
		{
			return false;
		}
		Value = Value * 10 + static_cast<unsigned>(C - '0');
	}
	return Value <= 65535;
}

bool IsNameChar(char C)
{
	return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || IsDigit(C) || C == '.' || C == '-' || C == '_';
}

bool IsV6Char(char C)
{
	return IsDigit(C) || (C >= 'a' && C <= 'f') || (C >= 'A' && C <= 'F') || C == ':' || C == '.';
}

/** A dotted quad whose first octet is 127. */
bool IsLoopbackV4(std::string_view Name)
{
	int Octets = 0;
	while (true)
	{
		const size_t Dot = Name.find('.');
		const std::string_view Octet = Name.substr(0, Dot);
		if (Octet.empty() || Octet.size() > 3)
		{
			return false;
		}
		unsigned Value = 0;
		for (char C : Octet)
		{
			if (!IsDigit(C))
			{
				return false;
			}
			Value = Value * 10 + static_cast<unsigned>(C - '0');
		}
		if (Value > 255 || (Octets == 0 && Value != 127))
		{
			return false;
		}
		++Octets;
		if (Dot == std::string_view::npos)
		{
			break;
		}
		Name.remove_prefix(Dot + 1);
	}
	return Octets == 4;
}
}

bool IsLoopbackHostName(std::string_view Name)
{
	return EqualsNoCase(Name, "localhost") || Name == "::1" || IsLoopbackV4(Name);
}

bool SplitHostPort(std::string_view HostPort, std::string& OutHost, std::string& OutPort)
{
	std::string_view Host;
	std::string_view Rest;
	if (!HostPort.empty() && HostPort.front() == '[')
	{
		const size_t Close = HostPort.find(']');
		if (Close == std::string_view::npos)
		{
			return false;
		}
		Host = HostPort.substr(1, Close - 1);
		Rest = HostPort.substr(Close + 1);
		for (char C : Host)
		{
			if (!IsV6Char(C))
			{
				return false;
			}
		}
	}
	else
	{
		const size_t Colon = HostPort.find(':');
		Host = HostPort.substr(0, Colon);
		Rest = Colon == std::string_view::npos ? std::string_view() : HostPort.substr(Colon);
		for (char C : Host)
		{
			if (!IsNameChar(C))
			{
				return false;
			}
		}
	}
	if (Host.empty())
	{
		return false;
	}
	std::string_view Port;
	if (!Rest.empty())
	{
		if (Rest.front() != ':' || !IsValidPort(Rest.substr(1)))
		{
			return false;
		}
		Port = Rest.substr(1);
	}
	OutHost.assign(Host);
	OutPort.assign(Port);
	return true;
}

bool IsAllowedHost(std::string_view Host, std::string_view BoundHostPort)
{
	std::string Name;
	std::string Port;
	if (!SplitHostPort(Host, Name, Port))
	{
		return false;
	}
	return IsLoopbackHostName(Name) || (!BoundHostPort.empty() && EqualsNoCase(Host, BoundHostPort));
}

bool IsAllowedOrigin(std::string_view Origin, std::string_view BoundHostPort)
{
	for (std::string_view Scheme : {std::string_view("http://"), std::string_view("https://")})
	{
		if (StartsWithNoCase(Origin, Scheme))
		{
			return IsAllowedHost(Origin.substr(Scheme.size()), BoundHostPort);
		}
	}
	return false;
}

bool IsAuthorized(std::string_view Authorization, std::string_view Token)
{
	if (Token.empty())
	{
		return true;
	}
	if (!StartsWithNoCase(Authorization, "Bearer "))
	{
		return false;
	}
	std::string_view Given = Authorization.substr(7);
	while (!Given.empty() && Given.front() == ' ')
	{
		Given.remove_prefix(1);
	}
	while (!Given.empty() && (Given.back() == ' ' || Given.back() == '\t'))
	{
		Given.remove_suffix(1);
	}
	// Every byte of the expected token is looked at whatever the input, so timing does not reveal a prefix.
	unsigned Difference = Given.size() == Token.size() ? 0u : 1u;
	for (size_t Index = 0; Index < Token.size(); ++Index)
	{
		const char G = Index < Given.size() ? Given[Index] : '\0';
		Difference |= static_cast<unsigned>(static_cast<unsigned char>(G) ^ static_cast<unsigned char>(Token[Index]));
	}
	return Difference == 0;
}
}

namespace
{
using Http::FHeader;
using FClock = std::chrono::steady_clock;

constexpr const char* Endpoint = "/mcp";
/** The version a request speaks when it names none and has no session to tell. */
constexpr const char* DefaultProtocolVersion = "2025-03-26";
/** JSON-RPC codes for refusals made by the transport itself rather than the protocol layer. */
constexpr int TransportErrorCode = -32000;
constexpr int SessionNotFoundCode = -32001;
/** Connections past this many are closed as soon as they are accepted. */
constexpr size_t MaxConnections = 256;
/** A client that pipelines more requests than this, or stops reading its answers, is not read from until the
 *  answers are out; its requests wait in the kernel's buffers instead of ours. */
constexpr size_t MaxPipelined = 32;
constexpr size_t MaxUnsentBytes = 1024 * 1024;
constexpr size_t ReadChunkBytes = 64 * 1024;
/** How long a connection we are closing may take to send its last bytes before we stop reading them. */
constexpr double LingerSeconds = 5.0;
/** After running out of descriptors, how long accepting pauses before it tries again. */
constexpr double AcceptPauseSeconds = 1.0;

double SecondsBetween(FClock::time_point From, FClock::time_point To)
{
	return std::chrono::duration<double>(To - From).count();
}

struct FHttpSession
{
	std::string ProtocolVersion;
	FClock::time_point Created;
	FClock::time_point LastUsed;
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

/** One request's place in its connection's answer order. */
struct FSlot
{
	uint64 Seq = 0;
	bool bReady = false;
	/** The whole response, once ready. */
	std::string Bytes;
	bool bKeepAlive = true;
	int MinorVersion = 1;
	bool bHead = false;
	/** The JSON-RPC id, for the 503 a request still waiting at Stop gets. */
	FJson Id;
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
	/** Read no further request: one asked to close, or the stream could not be parsed. */
	bool bNoMoreRequests = false;
	/** The answer that ends the connection is in Out; nothing after it is sent. */
	bool bCloseAfterOut = false;
	bool bPeerClosed = false;
	/** Our side is shut down; the client's last bytes are read and dropped until it closes, so that closing
	 *  with unread input does not reset the connection before the client has read our last answer. */
	bool bLingering = false;
	FClock::time_point LastActivity;
	FClock::time_point LingerSince;

	explicit FConnection(Http::FHttpLimits Limits) : Parser(Limits) {}
	size_t Unsent() const { return Out.size() - OutPos; }
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
	std::optional<FClock::time_point> AcceptPausedUntil;
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

	FHttpCore(FServer& InServer, FHttpOptions InOptions) : Server(InServer), Options(std::move(InOptions)) {}

	// ---- Rules -------------------------------------------------------------------------------------------

	/** Host, Origin and token: the checks every method on the endpoint gets. */
	std::optional<FReply> CheckCaller(const Http::FHttpRequest& Req) const
	{
		if (const std::string* Host = Req.FindHeader("Host"); Host && !HttpRules::IsAllowedHost(*Host, BoundHostPort))
		{
			return Refusal(403, nullptr, TransportErrorCode, "Forbidden: the Host header does not name this machine's loopback interface");
		}
		if (const std::string* Origin = Req.FindHeader("Origin"); Origin && !HttpRules::IsAllowedOrigin(*Origin, BoundHostPort))
		{
			return Refusal(403, nullptr, TransportErrorCode, "Forbidden: requests from origin " + *Origin + " are not accepted");
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
		Found->second.LastUsed = FClock::now();
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
		if (std::optional<FReply> Refused = CheckCaller(Req))
		{
			return Refused;
		}
		// We offer no server-sent event stream, so GET has nothing to return.
		FReply Reply = Refusal(405, nullptr, TransportErrorCode, "Method Not Allowed: this endpoint takes POST and DELETE");
		Reply.Headers.emplace_back("Allow", "POST, DELETE");
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
		const auto Now = FClock::now();
		Sessions[SessionId] = FHttpSession{Version->get<std::string>(), Now, Now};
		if (Sessions.size() > std::max<size_t>(1, Options.MaxSessions))
		{
			const auto Oldest = std::min_element(Sessions.begin(), Sessions.end(),
				[](const auto& A, const auto& B) { return A.second.LastUsed < B.second.LastUsed; });
			const std::string Evicted = Oldest->first;
			Sessions.erase(Oldest);
			Server.DetachSession(Evicted);
			TW_LOG(LogTarnwick, Log, "http: session %s ended to make room (more than %zu open)", Evicted.c_str(), Options.MaxSessions);
		}
		Reply.Headers.emplace_back("Mcp-Session-Id", SessionId);
		TW_LOG(LogTarnwick, Log, "http: session %s opened (protocol %s)", SessionId.c_str(), Version->get_ref<const std::string&>().c_str());
		return Reply;
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
		Sessions.erase(Context.SessionId);
		Server.DetachSession(Context.SessionId);
		TW_LOG(LogTarnwick, Log, "http: session %s ended by the client", Context.SessionId.c_str());
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
				Fill(Slot, Reply);
				break;
			}
		}
		if (Depth > 0)
		{
			Deferred.push_back(ConnectionId);
			return;
		}
		Pump(Connection);
	}

	// ---- Connections -------------------------------------------------------------------------------------

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
		const FClock::time_point Now = FClock::now();
		bool bSwept = false;
		while (true)
		{
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
					TW_LOG(LogTarnwick, Warning, "http: cannot accept a connection (%s); pausing for %g s", std::strerror(errno), AcceptPauseSeconds);
					Queue().SetFdWatchEvents(ListenWatch, 0);
					AcceptPausedUntil = Now + std::chrono::duration_cast<FClock::duration>(std::chrono::duration<double>(AcceptPauseSeconds));
				}
				return;
			}
			if (!bSwept)
			{
				CloseIdle(Now);
				bSwept = true;
			}
			if (Connections.size() >= MaxConnections)
			{
				::close(Fd);
				continue;
			}
			int Yes = 1;
			::setsockopt(Fd, IPPROTO_TCP, TCP_NODELAY, &Yes, sizeof(Yes));
			Http::FHttpLimits Limits;
			Limits.MaxBodyBytes = Options.MaxBodyBytes;
			auto Connection = std::make_shared<FConnection>(Limits);
			Connection->Id = NextConnectionId++;
			Connection->Fd = Fd;
			Connection->Events = POLLIN;
			Connection->LastActivity = Now;
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
		++Depth;
		Pump(Connection);
		--Depth;
		RunDeferred();
	}

	/** Reads what is there; false when the connection was closed. */
	bool Receive(FConnection& Connection)
	{
		if (ReadBuffer.size() < ReadChunkBytes)
		{
			ReadBuffer.resize(ReadChunkBytes);
		}
		while (true)
		{
			const ssize_t Count = ::recv(Connection.Fd, ReadBuffer.data(), ReadBuffer.size(), MSG_DONTWAIT);
			if (Count > 0)
			{
				Connection.LastActivity = FClock::now();
				if (!Connection.bLingering && !Connection.bNoMoreRequests)
				{
					Connection.Parser.Feed(std::string_view(ReadBuffer.data(), static_cast<size_t>(Count)));
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
			Close(Connection);
			return false;
		}
	}

	/** Takes out complete requests and hands them over in order, then writes what is ready; repeats while
	 *  writing made room for requests that were held back. */
	void Pump(const std::shared_ptr<FConnection>& Connection)
	{
		while (Connection->Fd >= 0 && !bStopped)
		{
			bool bHeldBack = false;
			while (Connection->Fd >= 0 && !bStopped && !Connection->bNoMoreRequests)
			{
				if (Connection->Slots.size() >= MaxPipelined || Connection->Unsent() >= MaxUnsentBytes)
				{
					bHeldBack = true;
					break;
				}
				Http::FHttpRequest Request;
				const Http::EHttpParse Result = Connection->Parser.Next(Request);
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
					Fill(Slot, Refusal(Status, nullptr, TransportErrorCode,
								   Printf("%s: %s", Http::ReasonPhrase(Status), Connection->Parser.GetErrorReason().c_str())));
					Connection->bNoMoreRequests = true;
					break;
				}
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
		if (!Request.bKeepAlive)
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
				Fill(Waiting, *Reply);
				break;
			}
		}
	}

	/** Moves ready answers, in request order, into the output and sends as much as the socket takes. */
	void Flush(FConnection& Connection)
	{
		while (!Connection.bCloseAfterOut && !Connection.Slots.empty() && Connection.Slots.front().bReady)
		{
			FSlot& Front = Connection.Slots.front();
			if (Connection.Unsent() == 0)
			{
				Connection.Out.swap(Front.Bytes);
				Connection.OutPos = 0;
			}
			else
			{
				Connection.Out += Front.Bytes;
			}
			Connection.bCloseAfterOut = !Front.bKeepAlive;
			Connection.Slots.pop_front();
		}
		if (Connection.bCloseAfterOut)
		{
			// Nothing after the last answer goes out; their replies, if still to come, find no slot.
			Connection.Slots.clear();
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
			Close(Connection);
			return;
		}
		if (Connection.Unsent() == 0)
		{
			Connection.Out.clear();
			Connection.OutPos = 0;
			if (Connection.bCloseAfterOut || (Connection.bPeerClosed && Connection.Slots.empty()))
			{
				if (Connection.bPeerClosed)
				{
					Close(Connection);
					return;
				}
				::shutdown(Connection.Fd, SHUT_WR);
				Connection.bLingering = true;
				Connection.LingerSince = FClock::now();
			}
		}
		UpdateEvents(Connection);
	}

	void UpdateEvents(FConnection& Connection)
	{
		short Want = 0;
		if (Connection.bLingering)
		{
			Want = POLLIN;
		}
		else
		{
			if (!Connection.bPeerClosed && !Connection.bNoMoreRequests && Connection.Slots.size() < MaxPipelined && Connection.Unsent() < MaxUnsentBytes)
			{
				Want |= POLLIN;
			}
			if (Connection.Unsent() > 0)
			{
				Want |= POLLOUT;
			}
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
				Pump(Connection);
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
		Connections.erase(Connection.Id);
	}

	/** Ends keep-alive connections idle past the timeout and lingering ones that never finished. */
	void CloseIdle(FClock::time_point Now)
	{
		std::vector<std::shared_ptr<FConnection>> Expired;
		for (const auto& [Id, Connection] : Connections)
		{
			const bool bLingeredOut = Connection->bLingering && SecondsBetween(Connection->LingerSince, Now) > LingerSeconds;
			const bool bIdle = Connection->Slots.empty() && Connection->Unsent() == 0 && SecondsBetween(Connection->LastActivity, Now) > Options.KeepAliveSeconds;
			if (bLingeredOut || bIdle)
			{
				Expired.push_back(Connection);
			}
		}
		for (const std::shared_ptr<FConnection>& Connection : Expired)
		{
			Close(*Connection);
		}
	}

	void OnTick()
	{
		std::lock_guard Lock(Mutex);
		if (bStopped)
		{
			return;
		}
		const FClock::time_point Now = FClock::now();
		CloseIdle(Now);
		if (AcceptPausedUntil && Now >= *AcceptPausedUntil)
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
		::close(ListenFd);
		ListenFd = -1;
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
	TW_LOG(LogTarnwick, Log, "http: serving MCP on http://%s/mcp%s", Core.BoundHostPort.c_str(), Core.Options.Token.empty() ? "" : " (bearer token required)");
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
