// Streamable HTTP on one endpoint (/mcp), answering every request with plain JSON (no event streams).
//
// Each HTTP worker thread handles one POST at a time: it checks the headers, parses the body, hands a request
// to the server and blocks until the reply callback fires (usually on the game thread). Sessions are issued
// at initialize and live here, in the transport; the server itself keeps no per-connection state.
#include "Mcp/TarnwickMcpTransports.h"
#include "Mcp/TarnwickMcpTransportUtils.h"
#include "Printf.h"
#include "TarnwickLog.h"

#include <httplib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <mutex>
#include <netinet/in.h>
#include <optional>
#include <set>
#include <sys/socket.h>
#include <thread>
#include <unordered_map>
#include <vector>

namespace Tarnwick::Mcp
{
namespace HttpRules
{
namespace
{
char ToLower(char C)
{
	return (C >= 'A' && C <= 'Z') ? static_cast<char>(C - 'A' + 'a') : C;
}

bool EqualsNoCase(std::string_view A, std::string_view B)
{
	if (A.size() != B.size())
	{
		return false;
	}
	for (size_t Index = 0; Index < A.size(); ++Index)
	{
		if (ToLower(A[Index]) != ToLower(B[Index]))
		{
			return false;
		}
	}
	return true;
}

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
constexpr const char* Endpoint = "/mcp";
/** The version a request speaks when it names none and has no session to tell. */
constexpr const char* DefaultProtocolVersion = "2025-03-26";
/** JSON-RPC codes for refusals made by the transport itself rather than the protocol layer. */
constexpr int TransportErrorCode = -32000;
constexpr int SessionNotFoundCode = -32001;
constexpr size_t WorkerThreads = 16;

struct FHttpSession
{
	std::string ProtocolVersion;
	std::chrono::steady_clock::time_point Created;
	std::chrono::steady_clock::time_point LastUsed;
};


/** Where blocked workers wait for their replies. Shared with the reply callbacks, which may run after the
 *  transport is gone. */
struct FReplyHub
{
	std::mutex Mutex;
	std::condition_variable Cv;
	bool bStopping = false;
};

struct FPendingReply
{
	bool bDone = false;
	FJson Response;
};

void SetJsonBody(httplib::Response& Res, int Status, const FJson& Body)
{
	Res.status = Status;
	Res.set_content(FTarnwickJsonUtils::Write(Body), "application/json");
}

void Refuse(httplib::Response& Res, int Status, const FJson& Id, int Code, const std::string& Message)
{
	SetJsonBody(Res, Status, MakeErrorResponse(Id, Code, Message));
}

/** Ends the reading side of every connection accepted on Port, so idle keep-alive connections end now. The
 *  library keeps an idle connection's worker waiting for the next request for the whole keep-alive timeout
 *  and gives no handle on accepted sockets, so without this Stop() would wait seconds on any client that
 *  keeps its connection open. The library refuses to write to a socket whose reading side has ended, so this
 *  must come after every response in progress has been written. */
void ShutDownAcceptedConnections(int Port)
{
	DIR* Fds = ::opendir("/proc/self/fd");
	if (!Fds)
	{
		return;
	}
	while (const dirent* Entry = ::readdir(Fds))
	{
		char* End = nullptr;
		const long Fd = std::strtol(Entry->d_name, &End, 10);
		if (End == Entry->d_name || *End != '\0' || Fd == ::dirfd(Fds))
		{
			continue;
		}
		const int Sock = static_cast<int>(Fd);
		sockaddr_storage Local{};
		socklen_t Length = sizeof(Local);
		if (::getsockname(Sock, reinterpret_cast<sockaddr*>(&Local), &Length) != 0)
		{
			continue;
		}
		int LocalPort = -1;
		if (Local.ss_family == AF_INET)
		{
			LocalPort = ntohs(reinterpret_cast<const sockaddr_in*>(&Local)->sin_port);
		}
		else if (Local.ss_family == AF_INET6)
		{
			LocalPort = ntohs(reinterpret_cast<const sockaddr_in6*>(&Local)->sin6_port);
		}
		int bListening = 0;
		socklen_t OptLength = sizeof(bListening);
		if (LocalPort != Port || ::getsockopt(Sock, SOL_SOCKET, SO_ACCEPTCONN, &bListening, &OptLength) != 0 || bListening)
		{
			continue;
		}
		::shutdown(Sock, SHUT_RD);
	}
	::closedir(Fds);
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
}

struct FHttpTransport::FImpl
{
	FServer& Server;
	FHttpOptions Options;
	httplib::Server Http;
	std::thread ListenThread;
	std::atomic<int> BoundPort = 0;
	std::string BoundHostPort;
	bool bStarted = false;
	bool bStopped = false;
	std::atomic<bool> bListenReturned = false;
	/** The socket the library binds, seen in its socket-options hook (the last one offered is the one kept). */
	int ListenSocket = -1;

	std::mutex SessionsMutex;
	std::unordered_map<std::string, FHttpSession> Sessions;

	std::shared_ptr<FReplyHub> Hub = std::make_shared<FReplyHub>();

	/** Requests between routing and the end of writing their response (the library logs after writing). */
	std::mutex BusyMutex;
	std::condition_variable BusyCv;
	std::set<const httplib::Request*> Busy;

	FImpl(FServer& InServer, FHttpOptions InOptions) : Server(InServer), Options(std::move(InOptions)) {}

	/** Host, Origin and token: the checks every method on the endpoint gets. False when Res holds a refusal. */
	bool CheckCaller(const httplib::Request& Req, httplib::Response& Res) const
	{
		if (Req.has_header("Host") && !HttpRules::IsAllowedHost(Req.get_header_value("Host"), BoundHostPort))
		{
			Refuse(Res, 403, nullptr, TransportErrorCode, "Forbidden: the Host header does not name this machine's loopback interface");
			return false;
		}
		if (Req.has_header("Origin") && !HttpRules::IsAllowedOrigin(Req.get_header_value("Origin"), BoundHostPort))
		{
			Refuse(Res, 403, nullptr, TransportErrorCode, "Forbidden: requests from origin " + Req.get_header_value("Origin") + " are not accepted");
			return false;
		}
		if (!Options.Token.empty() && !HttpRules::IsAuthorized(Req.get_header_value("Authorization"), Options.Token))
		{
			Res.set_header("WWW-Authenticate", "Bearer");
			Refuse(Res, 401, nullptr, TransportErrorCode, "Unauthorized: a valid bearer token is required");
			return false;
		}
		return true;
	}

	/** The MCP-Protocol-Version header, when present, must name a version we speak. */
	bool CheckProtocolHeader(const httplib::Request& Req, httplib::Response& Res) const
	{
		if (!Req.has_header("MCP-Protocol-Version"))
		{
			return true;
		}
		const std::string Version = Req.get_header_value("MCP-Protocol-Version");
		if (IsSupportedProtocolVersion(Version))
		{
			return true;
		}
		Refuse(Res, 400, nullptr, TransportErrorCode,
			"Bad Request: unsupported MCP-Protocol-Version " + Version + " (supported: " + JoinVersions() + ")");
		return false;
	}

	/** Finds the request's session; false when Res holds the refusal (400 without an id, 404 for a stale one). */
	bool LookUpSession(const httplib::Request& Req, httplib::Response& Res, const FJson& Id, FSessionContext& OutContext)
	{
		if (!Req.has_header("Mcp-Session-Id"))
		{
			Refuse(Res, 400, Id, TransportErrorCode, "Bad Request: the Mcp-Session-Id header is required after initialize");
			return false;
		}
		const std::string SessionId = Req.get_header_value("Mcp-Session-Id");
		std::lock_guard Lock(SessionsMutex);
		const auto Found = Sessions.find(SessionId);
		if (Found == Sessions.end())
		{
			Refuse(Res, 404, Id, SessionNotFoundCode, "Session not found: it has ended or never existed; initialize again");
			return false;
		}
		Found->second.LastUsed = std::chrono::steady_clock::now();
		OutContext.SessionId = SessionId;
		OutContext.ProtocolVersion = Found->second.ProtocolVersion;
		return true;
	}

	/** Hands a request to the server and blocks this worker until the answer arrives or we shut down. */
	std::optional<FJson> Call(const FJson& Request, const FSessionContext& Context)
	{
		auto Pending = std::make_shared<FPendingReply>();
		std::shared_ptr<FReplyHub> SharedHub = Hub;
		Server.HandleRequest(Request, Context, [SharedHub, Pending](FJson Response) {
			{
				std::lock_guard Lock(SharedHub->Mutex);
				Pending->Response = std::move(Response);
				Pending->bDone = true;
			}
			SharedHub->Cv.notify_all();
		});
		std::unique_lock Lock(Hub->Mutex);
		Hub->Cv.wait(Lock, [&] { return Pending->bDone || Hub->bStopping; });
		if (!Pending->bDone)
		{
			return std::nullopt;
		}
		return std::move(Pending->Response);
	}

	void HandlePost(const httplib::Request& Req, httplib::Response& Res)
	{
		if (!CheckCaller(Req, Res) || !CheckProtocolHeader(Req, Res))
		{
			return;
		}
		if (Req.body.size() > Options.MaxBodyBytes)
		{
			// A chunked body gets past the library's Content-Length check; the limit is the same.
			Refuse(Res, 413, nullptr, ErrorCodes::InvalidRequest, Printf("Message too large: the limit is %zu bytes", Options.MaxBodyBytes));
			return;
		}
		FIncomingMessage Incoming = FServer::Classify(Req.body);
		if (Incoming.Kind == EMessageKind::Invalid)
		{
			FJson Body = Incoming.ErrorResponse.is_null()
				? MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest, "Invalid Request")
				: Incoming.ErrorResponse;
			SetJsonBody(Res, 400, Body);
			return;
		}
		const FJson Id = Incoming.Kind == EMessageKind::Request ? Incoming.Message.value("id", FJson()) : FJson();
		if (Incoming.Kind == EMessageKind::Request && Incoming.Method == "initialize")
		{
			HandleInitialize(Req, Res, Incoming.Message);
			return;
		}

		FSessionContext Context;
		if (!LookUpSession(Req, Res, Id, Context))
		{
			return;
		}
		if (Context.ProtocolVersion.empty())
		{
			Context.ProtocolVersion = Req.has_header("MCP-Protocol-Version") ? Req.get_header_value("MCP-Protocol-Version") : DefaultProtocolVersion;
		}
		switch (Incoming.Kind)
		{
		case EMessageKind::Notification:
			Server.HandleNotification(Incoming.Message, Context);
			Res.status = 202;
			return;
		case EMessageKind::Response:
			// We send no requests to clients, so an answer has nothing to match.
			Res.status = 202;
			return;
		case EMessageKind::Request:
			break;
		case EMessageKind::Invalid:
			return;
		}
		std::optional<FJson> Reply = Call(Incoming.Message, Context);
		if (!Reply)
		{
			Refuse(Res, 503, Id, TransportErrorCode, "Service Unavailable: the server is shutting down");
			return;
		}
		SetJsonBody(Res, 200, *Reply);
	}

	void HandleInitialize(const httplib::Request& Req, httplib::Response& Res, const FJson& Request)
	{
		FSessionContext Context;
		Context.SessionId = TransportUtils::MakeSessionId("");
		Context.ProtocolVersion = Req.get_header_value("MCP-Protocol-Version");
		std::optional<FJson> Reply = Call(Request, Context);
		if (!Reply)
		{
			Refuse(Res, 503, Request.value("id", FJson()), TransportErrorCode, "Service Unavailable: the server is shutting down");
			return;
		}
		// Only a successful initialize opens a session; it speaks the version the server answered with.
		const auto Result = Reply->find("result");
		if (Result != Reply->end() && Result->is_object())
		{
			const auto Version = Result->find("protocolVersion");
			if (Version != Result->end() && Version->is_string())
			{
				std::string Evicted;
				{
					std::lock_guard Lock(SessionsMutex);
					const auto Now = std::chrono::steady_clock::now();
					Sessions[Context.SessionId] = FHttpSession{Version->get<std::string>(), Now, Now};
					if (Sessions.size() > std::max<size_t>(1, Options.MaxSessions))
					{
						const auto Oldest = std::min_element(Sessions.begin(), Sessions.end(),
							[](const auto& A, const auto& B) { return A.second.LastUsed < B.second.LastUsed; });
						Evicted = Oldest->first;
						Sessions.erase(Oldest);
					}
				}
				if (!Evicted.empty())
				{
					Server.DetachSession(Evicted);
					TW_LOG(LogTarnwick, Log, "http: session %s ended to make room (more than %zu open)", Evicted.c_str(), Options.MaxSessions);
				}
				Res.set_header("Mcp-Session-Id", Context.SessionId);
				TW_LOG(LogTarnwick, Log, "http: session %s opened (protocol %s)", Context.SessionId.c_str(), Version->get_ref<const std::string&>().c_str());
			}
		}
		SetJsonBody(Res, 200, *Reply);
	}

	void HandleDelete(const httplib::Request& Req, httplib::Response& Res)
	{
		if (!CheckCaller(Req, Res) || !CheckProtocolHeader(Req, Res))
		{
			return;
		}
		FSessionContext Context;
		if (!LookUpSession(Req, Res, nullptr, Context))
		{
			return;
		}
		{
			std::lock_guard Lock(SessionsMutex);
			Sessions.erase(Context.SessionId);
		}
		Server.DetachSession(Context.SessionId);
		TW_LOG(LogTarnwick, Log, "http: session %s ended by the client", Context.SessionId.c_str());
		Res.status = 204;
	}

	void HandleOtherMethod(const httplib::Request& Req, httplib::Response& Res)
	{
		if (!CheckCaller(Req, Res))
		{
			return;
		}
		// We offer no server-sent event stream, so GET has nothing to return.
		Res.set_header("Allow", "POST, DELETE");
		Refuse(Res, 405, nullptr, TransportErrorCode, "Method Not Allowed: this endpoint takes POST and DELETE");
	}

	/** Fills a JSON body for the statuses the library answers by itself (unknown path, oversized body). */
	httplib::Server::HandlerResponse FillErrorBody(const httplib::Request&, httplib::Response& Res) const
	{
		if (!Res.body.empty())
		{
			return httplib::Server::HandlerResponse::Unhandled;
		}
		switch (Res.status)
		{
		case 404:
			Refuse(Res, 404, nullptr, TransportErrorCode, "Not Found: the MCP endpoint is /mcp");
			break;
		case 413:
			Refuse(Res, 413, nullptr, ErrorCodes::InvalidRequest, Printf("Message too large: the limit is %zu bytes", Options.MaxBodyBytes));
			break;
		default:
			Refuse(Res, Res.status, nullptr, TransportErrorCode, Printf("HTTP error %d", Res.status));
			break;
		}
		return httplib::Server::HandlerResponse::Handled;
	}

	void Configure()
	{
		Http.new_task_queue = [] { return new httplib::ThreadPool(std::max<size_t>(WorkerThreads, std::thread::hardware_concurrency())); };
		Http.set_payload_max_length(Options.MaxBodyBytes);
		Http.set_keep_alive_max_count(1000);
		Http.set_keep_alive_timeout(5);
		Http.set_tcp_nodelay(true);
		// SO_REUSEADDR only: with SO_REUSEPORT a second server could share a taken port instead of failing.
		Http.set_socket_options([this](socket_t Sock) {
			int Yes = 1;
			::setsockopt(Sock, SOL_SOCKET, SO_REUSEADDR, &Yes, sizeof(Yes));
			ListenSocket = Sock;
		});
		Http.Post(Endpoint, [this](const httplib::Request& Req, httplib::Response& Res) { HandlePost(Req, Res); });
		Http.Delete(Endpoint, [this](const httplib::Request& Req, httplib::Response& Res) { HandleDelete(Req, Res); });
		Http.Get(Endpoint, [this](const httplib::Request& Req, httplib::Response& Res) { HandleOtherMethod(Req, Res); });
		Http.Put(Endpoint, [this](const httplib::Request& Req, httplib::Response& Res) { HandleOtherMethod(Req, Res); });
		Http.Patch(Endpoint, [this](const httplib::Request& Req, httplib::Response& Res) { HandleOtherMethod(Req, Res); });
		Http.Options(Endpoint, [this](const httplib::Request& Req, httplib::Response& Res) { HandleOtherMethod(Req, Res); });
		Http.set_pre_routing_handler([this](const httplib::Request& Req, httplib::Response&) {
			std::lock_guard Lock(BusyMutex);
			Busy.insert(&Req);
			return httplib::Server::HandlerResponse::Unhandled;
		});
		Http.set_logger([this](const httplib::Request& Req, const httplib::Response&) {
			{
				std::lock_guard Lock(BusyMutex);
				Busy.erase(&Req);
			}
			BusyCv.notify_all();
		});
		Http.set_error_handler(httplib::Server::HandlerWithResponse(
			[this](const httplib::Request& Req, httplib::Response& Res) { return FillErrorBody(Req, Res); }));
	}
};

FHttpTransport::FHttpTransport(FServer& InServer, FHttpOptions InOptions)
	: Impl(std::make_unique<FImpl>(InServer, std::move(InOptions)))
{
}

FHttpTransport::~FHttpTransport()
{
	Stop();
}

bool FHttpTransport::Start(std::string& OutError)
{
	if (Impl->bStarted)
	{
		OutError = "the HTTP transport is already started";
		return false;
	}
	Impl->Configure();
	const std::string& Host = Impl->Options.Host;
	errno = 0;
	int Port = Impl->Options.Port;
	if (Port == 0)
	{
		Port = Impl->Http.bind_to_any_port(Host);
		if (Port <= 0)
		{
			Port = 0;
		}
	}
	else if (!Impl->Http.bind_to_port(Host, Port))
	{
		Port = 0;
	}
	if (Port == 0)
	{
		const int BindErrno = errno;
		OutError = Printf("cannot listen on %s:%d: %s", Host.c_str(), Impl->Options.Port,
			BindErrno != 0 ? std::strerror(BindErrno) : "the address is not available");
		return false;
	}
	Impl->BoundPort = Port;
	// The library listens with a backlog of 5, so a burst of clients connecting at once has SYNs dropped and
	// retried a second later. Listening again on the bound socket raises the backlog.
	if (Impl->ListenSocket >= 0)
	{
		::listen(Impl->ListenSocket, SOMAXCONN);
	}
	const bool bV6Literal = Host.find(':') != std::string::npos;
	Impl->BoundHostPort = (bV6Literal ? "[" + Host + "]" : Host) + ":" + std::to_string(Port);
	Impl->bStarted = true;
	Impl->ListenThread = std::thread([Self = Impl.get()] {
		Self->Http.listen_after_bind();
		Self->bListenReturned = true;
	});
	// The library's stop() does nothing until the accept loop runs, so a Stop() right after Start() would
	// otherwise leave the loop running forever.
	while (!Impl->Http.is_running() && !Impl->bListenReturned)
	{
		std::this_thread::sleep_for(std::chrono::milliseconds(1));
	}
	TW_LOG(LogTarnwick, Log, "http: serving MCP on http://%s/mcp%s", Impl->BoundHostPort.c_str(),
		Impl->Options.Token.empty() ? "" : " (bearer token required)");
	return true;
}

void FHttpTransport::Stop()
{
	if (!Impl->bStarted || Impl->bStopped)
	{
		return;
	}
	Impl->bStopped = true;
	{
		// Workers blocked on a reply answer 503 instead, so the pool can be joined even with no game thread.
		std::lock_guard Lock(Impl->Hub->Mutex);
		Impl->Hub->bStopping = true;
	}
	Impl->Hub->Cv.notify_all();
	Impl->Http.stop();
	{
		// Workers woken above are writing their answers; let them finish (bounded, in case one never logs).
		std::unique_lock Lock(Impl->BusyMutex);
		Impl->BusyCv.wait_for(Lock, std::chrono::seconds(2), [&] { return Impl->Busy.empty(); });
	}
	ShutDownAcceptedConnections(Impl->BoundPort);
	if (Impl->ListenThread.joinable())
	{
		Impl->ListenThread.join();
	}
	std::vector<std::string> Ended;
	{
		std::lock_guard Lock(Impl->SessionsMutex);
		for (const auto& [Id, Session] : Impl->Sessions)
		{
			Ended.push_back(Id);
		}
		Impl->Sessions.clear();
	}
	for (const std::string& Id : Ended)
	{
		Impl->Server.DetachSession(Id);
	}
}

int FHttpTransport::GetPort() const
{
	return Impl->BoundPort;
}
}
