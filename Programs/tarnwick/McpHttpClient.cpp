#include "McpHttpClient.h"

#include "Printf.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Tarnwick::Program
{
namespace
{
constexpr const char* AcceptBoth = "application/json, text/event-stream";

bool EqualsNoCase(std::string_view A, std::string_view B)
{
	if (A.size() != B.size()) return false;
	for (size_t I = 0; I < A.size(); ++I)
	{
		const auto Lower = [](char C) { return (C >= 'A' && C <= 'Z') ? static_cast<char>(C - 'A' + 'a') : C; };
		if (Lower(A[I]) != Lower(B[I])) return false;
	}
	return true;
}

std::string_view Trim(std::string_view Text)
{
	while (!Text.empty() && (Text.front() == ' ' || Text.front() == '\t')) Text.remove_prefix(1);
	while (!Text.empty() && (Text.back() == ' ' || Text.back() == '\t' || Text.back() == '\r')) Text.remove_suffix(1);
	return Text;
}

/** The body of a chunked transfer starting at Bytes; nothing while incomplete, "" with OutError when broken. */
std::optional<std::string> Dechunk(std::string_view Bytes, std::string& OutError)
{
	std::string Body;
	size_t Pos = 0;
	while (true)
	{
		const size_t LineEnd = Bytes.find("\r\n", Pos);
		if (LineEnd == std::string_view::npos) return std::nullopt;
		const std::string_view SizeText = Trim(Bytes.substr(Pos, LineEnd - Pos).substr(0, Bytes.substr(Pos, LineEnd - Pos).find(';')));
		size_t Size = 0;
		const auto [End, Error] = std::from_chars(SizeText.data(), SizeText.data() + SizeText.size(), Size, 16);
		if (Error != std::errc() || End != SizeText.data() + SizeText.size())
		{
			OutError = "malformed chunk size in the response";
			return std::string();
		}
		Pos = LineEnd + 2;
		if (Size == 0)
		{
			// Trailers end at an empty line.
			return Bytes.find("\r\n", Pos) == std::string_view::npos ? std::nullopt : std::optional<std::string>(Body);
		}
		if (Bytes.size() < Pos + Size + 2) return std::nullopt;
		Body.append(Bytes.substr(Pos, Size));
		Pos += Size + 2;
	}
}
}

bool ParseHttpUrl(std::string_view Url, FHttpUrl& Out, std::string& OutError)
{
	constexpr std::string_view Scheme = "http://";
	if (Url.size() < Scheme.size() || !EqualsNoCase(Url.substr(0, Scheme.size()), Scheme))
	{
		OutError = "the URL must start with http:// (for example http://127.0.0.1:8765/mcp)";
		return false;
	}
	std::string_view Rest = Url.substr(Scheme.size());
	const size_t Slash = Rest.find('/');
	const std::string_view Authority = Rest.substr(0, Slash);
	Out.Path = Slash == std::string_view::npos ? "/" : std::string(Rest.substr(Slash));
	Out.Authority.assign(Authority);
	std::string_view Host = Authority;
	std::string_view Port;
	if (!Authority.empty() && Authority.front() == '[')
	{
		const size_t Close = Authority.find(']');
		if (Close == std::string_view::npos)
		{
			OutError = "unbalanced [ in the URL's host";
			return false;
		}
		Host = Authority.substr(1, Close - 1);
		if (Close + 1 < Authority.size())
		{
			if (Authority[Close + 1] != ':')
			{
				OutError = "unexpected text after the URL's host";
				return false;
			}
			Port = Authority.substr(Close + 2);
		}
	}
	else if (const size_t Colon = Authority.find(':'); Colon != std::string_view::npos)
	{
		Host = Authority.substr(0, Colon);
		Port = Authority.substr(Colon + 1);
	}
	if (Host.empty())
	{
		OutError = "the URL names no host";
		return false;
	}
	Out.Host.assign(Host);
	Out.Port = 80;
	if (!Port.empty())
	{
		int Value = 0;
		const auto [End, Error] = std::from_chars(Port.data(), Port.data() + Port.size(), Value);
		if (Error != std::errc() || End != Port.data() + Port.size() || Value < 1 || Value > 65535)
		{
			OutError = "the URL's port must be a number from 1 to 65535";
			return false;
		}
		Out.Port = Value;
	}
	return true;
}

std::string FHttpResponse::Header(std::string_view Name) const
{
	for (const auto& [Key, Value] : Headers)
	{
		if (EqualsNoCase(Key, Name)) return Value;
	}
	return std::string();
}

std::optional<FHttpResponse> ParseHttpResponse(std::string_view Bytes, bool bComplete, std::string& OutError)
{
	const size_t HeadEnd = Bytes.find("\r\n\r\n");
	if (HeadEnd == std::string_view::npos)
	{
		if (bComplete) OutError = Bytes.empty() ? "the server closed the connection without answering" : "the response ended inside its headers";
		return std::nullopt;
	}
	FHttpResponse Response;
	std::string_view Head = Bytes.substr(0, HeadEnd);
	const size_t LineEnd = Head.find("\r\n");
	const std::string_view StatusLine = Head.substr(0, LineEnd);
	if (StatusLine.size() < 12 || StatusLine.substr(0, 7) != "HTTP/1.")
	{
		OutError = "the answer is not an HTTP/1.x response";
		return std::nullopt;
	}
	const std::string_view Code = StatusLine.substr(9, 3);
	if (std::from_chars(Code.data(), Code.data() + 3, Response.Status).ec != std::errc())
	{
		OutError = "the response's status is not a number";
		return std::nullopt;
	}
	Head = LineEnd == std::string_view::npos ? std::string_view() : Head.substr(LineEnd + 2);
	while (!Head.empty())
	{
		const size_t End = Head.find("\r\n");
		const std::string_view Line = Head.substr(0, End);
		Head = End == std::string_view::npos ? std::string_view() : Head.substr(End + 2);
		const size_t Colon = Line.find(':');
		if (Colon == std::string_view::npos) continue;
		Response.Headers.emplace_back(std::string(Trim(Line.substr(0, Colon))), std::string(Trim(Line.substr(Colon + 1))));
	}
	const std::string_view Rest = Bytes.substr(HeadEnd + 4);
	const bool bNoBody = Response.Status < 200 || Response.Status == 204 || Response.Status == 304;
	if (bNoBody) return Response;
	if (EqualsNoCase(Response.Header("Transfer-Encoding"), "chunked"))
	{
		std::optional<std::string> Body = Dechunk(Rest, OutError);
		if (!OutError.empty()) return std::nullopt;
		if (!Body)
		{
			if (bComplete) OutError = "the connection closed inside a chunked body";
			return std::nullopt;
		}
		Response.Body = std::move(*Body);
		return Response;
	}
	const std::string Length = Response.Header("Content-Length");
	if (!Length.empty())
	{
		size_t Size = 0;
		if (std::from_chars(Length.data(), Length.data() + Length.size(), Size).ec != std::errc())
		{
			OutError = "malformed Content-Length in the response";
			return std::nullopt;
		}
		if (Rest.size() < Size)
		{
			if (bComplete) OutError = "the connection closed before the whole body came";
			return std::nullopt;
		}
		Response.Body.assign(Rest.substr(0, Size));
		return Response;
	}
	if (!bComplete) return std::nullopt;
	Response.Body.assign(Rest);
	return Response;
}

std::vector<FJson> ParseEventStreamMessages(std::string_view Body)
{
	std::vector<FJson> Messages;
	std::string Data;
	bool bHasData = false;
	const auto Dispatch = [&] {
		if (bHasData)
		{
			if (std::optional<FJson> Message = FTarnwickJsonUtils::ParseValue(Data)) Messages.push_back(std::move(*Message));
		}
		Data.clear();
		bHasData = false;
	};
	while (!Body.empty())
	{
		size_t End = Body.find('\n');
		std::string_view Line = Body.substr(0, End);
		Body = End == std::string_view::npos ? std::string_view() : Body.substr(End + 1);
		if (!Line.empty() && Line.back() == '\r') Line.remove_suffix(1);
		if (Line.empty())
		{
			Dispatch();
			continue;
		}
		if (Line.substr(0, 5) == "data:")
		{
			std::string_view Value = Line.substr(5);
			if (!Value.empty() && Value.front() == ' ') Value.remove_prefix(1);
			if (bHasData) Data += '\n';
			Data.append(Value);
			bHasData = true;
		}
	}
	Dispatch();
	return Messages;
}

FMcpHttpClient::~FMcpHttpClient()
{
	Close();
}

std::optional<FHttpResponse> FMcpHttpClient::Send(const std::string& Method, const std::string& Body, std::string& OutError)
{
	addrinfo Hints{};
	Hints.ai_family = AF_UNSPEC;
	Hints.ai_socktype = SOCK_STREAM;
	addrinfo* Addresses = nullptr;
	if (const int Resolved = ::getaddrinfo(Url.Host.c_str(), std::to_string(Url.Port).c_str(), &Hints, &Addresses); Resolved != 0)
	{
		OutError = Printf("cannot resolve %s: %s", Url.Host.c_str(), ::gai_strerror(Resolved));
		return std::nullopt;
	}
	int Fd = -1;
	int LastErrno = ECONNREFUSED;
	for (const addrinfo* Address = Addresses; Address && Fd < 0; Address = Address->ai_next)
	{
		Fd = ::socket(Address->ai_family, Address->ai_socktype | SOCK_CLOEXEC, Address->ai_protocol);
		if (Fd < 0) continue;
		timeval Timeout{static_cast<time_t>(TimeoutSeconds), 0};
		::setsockopt(Fd, SOL_SOCKET, SO_RCVTIMEO, &Timeout, sizeof(Timeout));
		::setsockopt(Fd, SOL_SOCKET, SO_SNDTIMEO, &Timeout, sizeof(Timeout));
		if (::connect(Fd, Address->ai_addr, Address->ai_addrlen) != 0)
		{
			LastErrno = errno;
			::close(Fd);
			Fd = -1;
		}
	}
	::freeaddrinfo(Addresses);
	if (Fd < 0)
	{
		OutError = Printf("cannot connect to %s: %s (is `tarnwick serve --http %s` running?)", Url.Authority.c_str(),
			std::strerror(LastErrno), Url.Authority.c_str());
		return std::nullopt;
	}

	std::string Request = Method + " " + Url.Path + " HTTP/1.1\r\nHost: " + Url.Authority + "\r\nAccept: " + AcceptBoth +
		"\r\nConnection: close\r\nMCP-Protocol-Version: " + ProtocolVersion + "\r\n";
	if (!SessionId.empty()) Request += "Mcp-Session-Id: " + SessionId + "\r\n";
	if (!Token.empty()) Request += "Authorization: Bearer " + Token + "\r\n";
	if (!Body.empty() || Method == "POST")
	{
		Request += "Content-Type: application/json\r\nContent-Length: " + std::to_string(Body.size()) + "\r\n";
	}
	Request += "\r\n" + Body;
	for (size_t Sent = 0; Sent < Request.size();)
	{
		const ssize_t Count = ::send(Fd, Request.data() + Sent, Request.size() - Sent, MSG_NOSIGNAL);
		if (Count <= 0 && errno != EINTR)
		{
			OutError = Printf("sending to %s failed: %s", Url.Authority.c_str(), std::strerror(errno));
			::close(Fd);
			return std::nullopt;
		}
		Sent += Count > 0 ? static_cast<size_t>(Count) : 0;
	}

	std::string Received;
	char Buffer[16 * 1024];
	while (true)
	{
		std::string Error;
		if (std::optional<FHttpResponse> Response = ParseHttpResponse(Received, false, Error))
		{
			::close(Fd);
			return Response;
		}
		const ssize_t Count = ::recv(Fd, Buffer, sizeof(Buffer), 0);
		if (Count < 0 && errno == EINTR) continue;
		if (Count <= 0)
		{
			const bool bTimedOut = Count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
			::close(Fd);
			if (bTimedOut)
			{
				OutError = Printf("no answer from %s within %g s", Url.Authority.c_str(), TimeoutSeconds);
				return std::nullopt;
			}
			std::optional<FHttpResponse> Response = ParseHttpResponse(Received, true, OutError);
			return Response;
		}
		Received.append(Buffer, static_cast<size_t>(Count));
	}
}

std::optional<FJson> FMcpHttpClient::Exchange(const FJson& Message, std::string& OutError)
{
	std::optional<FHttpResponse> Response = Send("POST", FTarnwickJsonUtils::Write(Message), OutError);
	if (!Response) return std::nullopt;
	if (const std::string Session = Response->Header("Mcp-Session-Id"); !Session.empty()) SessionId = Session;
	const bool bNotification = !Message.contains("id");
	if (bNotification)
	{
		if (Response->Status / 100 != 2) OutError = Printf("the server answered HTTP %d to a notification", Response->Status);
		return OutError.empty() ? std::optional<FJson>(FJson::object()) : std::nullopt;
	}
	std::vector<FJson> Messages;
	if (Response->Header("Content-Type").rfind("text/event-stream", 0) == 0)
	{
		Messages = ParseEventStreamMessages(Response->Body);
	}
	else if (std::optional<FJson> Parsed = FTarnwickJsonUtils::ParseValue(Response->Body))
	{
		Messages.push_back(std::move(*Parsed));
	}
	for (FJson& Candidate : Messages)
	{
		if (Candidate.is_object() && Candidate.value("id", FJson()) == Message["id"]) return std::move(Candidate);
	}
	// Refusals by the transport (401, 403, 404) carry a JSON-RPC error without our id.
	for (FJson& Candidate : Messages)
	{
		if (Candidate.is_object() && Candidate.contains("error")) return std::move(Candidate);
	}
	OutError = Printf("the server answered HTTP %d without a JSON-RPC response", Response->Status);
	return std::nullopt;
}

bool FMcpHttpClient::Connect(std::string& OutError)
{
	FJson Params = FJson::object();
	Params["protocolVersion"] = ProtocolVersion;
	Params["capabilities"] = FJson::object();
	Params["clientInfo"] = FJson{{"name", "tarnwick-call"}, {"version", TARNWICK_VERSION}};
	std::optional<FJson> Answer = Request("initialize", std::move(Params), OutError);
	if (!Answer) return false;
	if (Answer->contains("error"))
	{
		OutError = Printf("initialize was refused: %s", (*Answer)["error"].value("message", std::string("no reason given")).c_str());
		return false;
	}
	ProtocolVersion = (*Answer)["result"].value("protocolVersion", ProtocolVersion);
	return Exchange(FJson{{"jsonrpc", "2.0"}, {"method", "notifications/initialized"}}, OutError).has_value();
}

std::optional<FJson> FMcpHttpClient::Request(const std::string& Method, FJson Params, std::string& OutError)
{
	FJson Message = FJson::object();
	Message["jsonrpc"] = "2.0";
	Message["id"] = NextId++;
	Message["method"] = Method;
	Message["params"] = std::move(Params);
	return Exchange(Message, OutError);
}

void FMcpHttpClient::Close()
{
	if (SessionId.empty()) return;
	std::string Ignored;
	Send("DELETE", std::string(), Ignored);
	SessionId.clear();
}
}
