// A small blocking MCP client over Streamable HTTP, for `tarnwick call --url`: one session (initialize,
// notifications/initialized, one request, DELETE), answers taken from a JSON body or from an event stream.
// Scripts use it to call a server that is already running instead of starting an editor of their own.
#pragma once
#include "TarnwickJson.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tarnwick::Program
{
/** http://host[:port][/path]; false for anything else (https is not spoken here). */
struct FHttpUrl
{
	std::string Host;
	int Port = 80;
	std::string Path = "/";
	/** What the Host header carries: the authority as written. */
	std::string Authority;
};
bool ParseHttpUrl(std::string_view Url, FHttpUrl& Out, std::string& OutError);

struct FHttpResponse
{
	int Status = 0;
	std::vector<std::pair<std::string, std::string>> Headers;
	std::string Body;

	/** The first header of that name (case-insensitive), or "". */
	std::string Header(std::string_view Name) const;
};

/**
 * Reads one HTTP/1.1 response from Bytes (everything the server sent, possibly more). Handles Content-Length,
 * chunked bodies and bodies that end when the connection does (bComplete: the connection has closed). Returns
 * nothing while the response is incomplete; OutError is set when it can never be read.
 */
std::optional<FHttpResponse> ParseHttpResponse(std::string_view Bytes, bool bComplete, std::string& OutError);

/** The JSON-RPC messages carried by a text/event-stream body ("data:" lines of each event, joined). */
std::vector<FJson> ParseEventStreamMessages(std::string_view Body);

class FMcpHttpClient
{
public:
	FMcpHttpClient(FHttpUrl InUrl, std::string InToken, double InTimeoutSeconds = 60.0)
		: Url(std::move(InUrl)), Token(std::move(InToken)), TimeoutSeconds(InTimeoutSeconds)
	{
	}
	~FMcpHttpClient();

	/** initialize and notifications/initialized; false with a reason when the server refuses or is not there. */
	bool Connect(std::string& OutError);
	/** One request in the session; the JSON-RPC response (result or error), or nothing with OutError. */
	std::optional<FJson> Request(const std::string& Method, FJson Params, std::string& OutError);
	/** Ends the session (DELETE); harmless when there is none. */
	void Close();

private:
	std::optional<FHttpResponse> Send(const std::string& Method, const std::string& Body, std::string& OutError);
	std::optional<FJson> Exchange(const FJson& Message, std::string& OutError);

	FHttpUrl Url;
	std::string Token;
	double TimeoutSeconds;
	std::string SessionId;
	std::string ProtocolVersion = "2025-11-25";
	int NextId = 1;
};
}
