// The MCP protocol layer: JSON-RPC 2.0 messages in, responses out, independent of the transport.
//
// Transports (stdio, Streamable HTTP) read bytes, call Classify to parse one message, and hand requests to
// HandleRequest with the session they arrived on. Requests that touch the registries run on the game thread
// (posted through FGameThreadTaskQueue); the reply callback is invoked exactly once per request, on whichever
// thread finished it. Handlers keep no per-session state beyond what the session context carries, so the same
// server instance serves every transport and session at once.
#pragma once
#include "TarnwickJson.h"

#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Tarnwick::Mcp
{
inline constexpr const char* LatestProtocolVersion = "2025-11-25";
/** Newest first. */
const std::vector<std::string>& SupportedProtocolVersions();
bool IsSupportedProtocolVersion(const std::string& Version);
/** The version the server answers at initialize: the client's when supported, else the newest. */
std::string NegotiateProtocolVersion(const std::string& Requested);

inline constexpr size_t MaxMessageBytes = 4 * 1024 * 1024;
/** Log lines forwarded to one client as notifications/message: a burst of this many, then the rate below. */
inline constexpr double LogNotificationBurst = 100.0;
inline constexpr double LogNotificationsPerSecond = 50.0;

namespace ErrorCodes
{
inline constexpr int ParseError = -32700;
inline constexpr int InvalidRequest = -32600;
inline constexpr int MethodNotFound = -32601;
inline constexpr int InvalidParams = -32602;
inline constexpr int InternalError = -32603;
inline constexpr int ResourceNotFound = -32002;
}

FJson MakeErrorResponse(const FJson& Id, int Code, const std::string& Message);
FJson MakeResultResponse(const FJson& Id, FJson Result);

enum class EToolMode
{
	/** One tool per action. */
	Flat,
	/** One tool per namespace taking {"action", "params"}, plus brindle_describe_action. */
	Grouped,
};

struct FServerOptions
{
	std::string ServerName = "tarnwick";
	std::string ServerTitle = "Tarnwick (Unreal Editor)";
	std::string ServerVersion;
	std::string Instructions;
	EToolMode ToolMode = EToolMode::Flat;
	/** Namespaces ("editor") or families ("editor.logs") to list; empty lists everything. */
	std::vector<std::string> Toolset;
};

struct FSessionContext
{
	/** The MCP session id: the HTTP Mcp-Session-Id, or one stable id for a stdio connection. */
	std::string SessionId;
	std::string ProtocolVersion;
};

enum class EMessageKind
{
	Request,
	Notification,
	Response,
	/** Malformed; ErrorResponse holds the answer to send back. */
	Invalid,
};

struct FIncomingMessage
{
	EMessageKind Kind = EMessageKind::Invalid;
	FJson Message;
	FJson ErrorResponse;
	std::string Method;
};

using FReplyFn = std::function<void(FJson Response)>;
/** Delivers a server-to-client notification on a session's channel (stdio's output, HTTP's GET stream). May be
 *  called from any thread. */
using FNotifyFn = std::function<void(const FJson& Notification)>;

/**
 * Checks --toolset entries against the registry (game thread, after the modules started): each must name a
 * namespace or a "<namespace>.<family>" that exists. A namespace disabled in the settings counts as existing,
 * families and all. Returns the message for the first unknown entry, with the closest known one.
 */
std::optional<std::string> CheckToolset(const std::vector<std::string>& Toolset);

class FServer
{
public:
	explicit FServer(FServerOptions InOptions);
	~FServer();
	FServer(const FServer&) = delete;
	FServer& operator=(const FServer&) = delete;

	/** Parses one message (any thread). Batches, bad JSON, and malformed requests come back Invalid. */
	static FIncomingMessage Classify(std::string_view Text);

	/** Answers one request (any thread). Reply is called exactly once. */
	void HandleRequest(const FJson& Request, const FSessionContext& Session, FReplyFn Reply);
	/** Takes note of a notification (notifications/initialized, notifications/cancelled). */
	void HandleNotification(const FJson& Notification, const FSessionContext& Session);

	/** Gives a session a channel for what the server sends unprompted: log lines once it set a level with
	 *  logging/setLevel (rate-limited), and notifications/tools/list_changed and resources/list_changed once it
	 *  has initialized. */
	void AttachNotificationSink(const std::string& SessionId, FNotifyFn Sink);
	void DetachSession(const std::string& SessionId);

	const FServerOptions& GetOptions() const { return Options; }

	// Building blocks, public for tests. All read the registries, so they belong on the game thread.
	FJson BuildInitializeResult(const FJson& Params) const;
	FJson BuildToolsList() const;
	/** tools/call: the tool resolved (flat name, dotted name, or grouped namespace with its action), the
	 *  arguments checked against the action's parameters, then the action run. A refusal that names no tool at
	 *  all (bad params, unknown tool) comes back as OutRpcErrorCode; everything else as a tool result. */
	FJson CallTool(const FJson& Params, const FSessionContext& Session, int& OutRpcErrorCode, std::string& OutRpcErrorMessage) const;
	/** The instructions sent at initialize: the configured text, then a line per disabled namespace. */
	std::string BuildInstructions() const;

private:
	struct FImpl;
	FImpl* Impl;
	FServerOptions Options;
};
}
