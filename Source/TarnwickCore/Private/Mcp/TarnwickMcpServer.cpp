#include "Mcp/TarnwickMcpServer.h"

#include "GameThread.h"
#include "Logging.h"
#include "Mcp/TarnwickToolSchema.h"
#include "Printf.h"
#include "TarnwickCoreTools.h"
#include "TarnwickDispatcher.h"
#include "TarnwickLog.h"
#include "TarnwickPromptRegistry.h"
#include "TarnwickResourceRegistry.h"
#include "TarnwickToolRegistry.h"

#include <algorithm>
#include <map>

namespace Tarnwick::Mcp
{
const std::vector<std::string>& SupportedProtocolVersions()
{
	static const std::vector<std::string> Versions = {"2025-11-25", "2025-06-18", "2025-03-26"};
	return Versions;
}

bool IsSupportedProtocolVersion(const std::string& Version)
{
	const auto& V = SupportedProtocolVersions();
	return std::find(V.begin(), V.end(), Version) != V.end();
}

std::string NegotiateProtocolVersion(const std::string& Requested)
{
	return IsSupportedProtocolVersion(Requested) ? Requested : std::string(LatestProtocolVersion);
}

FJson MakeErrorResponse(const FJson& Id, int Code, const std::string& Message)
{
	FJson Out = FJson::object();
	Out["jsonrpc"] = "2.0";
	Out["id"] = Id;
	Out["error"] = FJson{{"code", Code}, {"message", Message}};
	return Out;
}

FJson MakeResultResponse(const FJson& Id, FJson Result)
{
	FJson Out = FJson::object();
	Out["jsonrpc"] = "2.0";
	Out["id"] = Id;
	Out["result"] = std::move(Result);
	return Out;
}

namespace
{
// MCP log levels, most severe first, and the engine verbosity each admits.
const std::vector<std::pair<std::string, ELogVerbosity::Type>>& LogLevels()
{
	static const std::vector<std::pair<std::string, ELogVerbosity::Type>> Levels = {
		{"emergency", ELogVerbosity::Fatal}, {"alert", ELogVerbosity::Fatal}, {"critical", ELogVerbosity::Fatal},
		{"error", ELogVerbosity::Error}, {"warning", ELogVerbosity::Warning}, {"notice", ELogVerbosity::Display},
		{"info", ELogVerbosity::Display}, {"debug", ELogVerbosity::Log},
	};
	return Levels;
}

const char* McpLevelOf(ELogVerbosity::Type Verbosity)
{
	switch (Verbosity)
	{
	case ELogVerbosity::Fatal: return "critical";
	case ELogVerbosity::Error: return "error";
	case ELogVerbosity::Warning: return "warning";
	case ELogVerbosity::Display: return "info";
	default: return "debug";
	}
}

struct FPendingKey
{
	std::string Session;
	std::string Id;
	auto operator<=>(const FPendingKey&) const = default;
};

bool MatchesToolset(const FTarnwickActionInfo& Info, const std::vector<std::string>& Toolset)
{
	if (Toolset.empty() || Info.Namespace == CoreTools::Namespace) return true;
	for (const std::string& Entry : Toolset)
	{
		if (Entry == Info.Namespace) return true;
		if (!Info.Family.empty() && Entry == Info.Namespace + "." + Info.Family) return true;
	}
	return false;
}

FJson AnnotationsJson(const FTarnwickToolAnnotations& A)
{
	FJson Out = FJson::object();
	if (A.ReadOnlyHint) Out["readOnlyHint"] = *A.ReadOnlyHint;
	if (A.DestructiveHint) Out["destructiveHint"] = *A.DestructiveHint;
	if (A.IdempotentHint) Out["idempotentHint"] = *A.IdempotentHint;
	return Out;
}

FJson ToolJson(const FTarnwickActionInfo& Info)
{
	FJson Tool = FJson::object();
	Tool["name"] = Info.ToolName();
	Tool["description"] = Info.Description;
	Tool["inputSchema"] = ToInputSchema(Info.ParamSchema ? *Info.ParamSchema : FJson::object());
	if (!Info.Annotations.IsEmpty()) Tool["annotations"] = AnnotationsJson(Info.Annotations);
	return Tool;
}

FJson ToolResultJson(const FTarnwickActionResult& Result)
{
	FJson Out = FJson::object();
	if (Result.bSuccess)
	{
		const FJson& Payload = Result.Result ? *Result.Result : FJson::object();
		Out["content"] = FJson::array({FJson{{"type", "text"}, {"text", FTarnwickJsonUtils::Write(Payload)}}});
		Out["structuredContent"] = Payload;
		return Out;
	}
	FJson Error = FJson::object();
	Error["code"] = Result.ErrorCode;
	Error["message"] = Result.ErrorMessage;
	if (Result.ErrorData && !Result.ErrorData->empty()) Error["data"] = *Result.ErrorData;
	Out["content"] = FJson::array({FJson{{"type", "text"}, {"text", Result.ErrorMessage}}});
	Out["structuredContent"] = FJson{{"error", std::move(Error)}};
	Out["isError"] = true;
	return Out;
}
}

/** Forwards log lines to sessions that asked for them with logging/setLevel. */
struct FServer::FImpl : public FOutputDevice
{
	struct FSink
	{
		FNotifyFn Notify;
		ELogVerbosity::Type MaxVerbosity = ELogVerbosity::NoLogging;
	};

	std::mutex Mutex;
	std::map<std::string, FSink> Sinks;
	std::map<std::string, ELogVerbosity::Type> Levels;
	std::set<FPendingKey> Cancelled;
	bool bDeviceAdded = false;

	bool CanBeUsedOnAnyThread() const override { return true; }

	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double) override
	{
		// A sink that logs while writing must not loop back into itself.
		static thread_local bool bInside = false;
		if (bInside) return;
		std::vector<FNotifyFn> Targets;
		{
			std::lock_guard Lock(Mutex);
			for (auto& [Session, Sink] : Sinks)
			{
				if (Sink.Notify && Verbosity <= Sink.MaxVerbosity) Targets.push_back(Sink.Notify);
			}
		}
		if (Targets.empty()) return;
		bInside = true;
		FJson Note = FJson::object();
		Note["jsonrpc"] = "2.0";
		Note["method"] = "notifications/message";
		Note["params"] = FJson{{"level", McpLevelOf(Verbosity)}, {"logger", std::string(Category)}, {"data", std::string(Message)}};
		for (const FNotifyFn& Notify : Targets) Notify(Note);
		bInside = false;
	}
};

FServer::FServer(FServerOptions InOptions)
	: Impl(new FImpl), Options(std::move(InOptions))
{
	if (Options.ServerVersion.empty())
	{
#ifdef TARNWICK_VERSION
		Options.ServerVersion = TARNWICK_VERSION;
#else
		Options.ServerVersion = "0.0.0";
#endif
	}
}

FServer::~FServer()
{
	if (Impl->bDeviceAdded) GLog->RemoveOutputDevice(Impl);
	delete Impl;
}

FIncomingMessage FServer::Classify(std::string_view Text)
{
	FIncomingMessage In;
	if (Text.size() > MaxMessageBytes)
	{
		In.ErrorResponse = MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest,
			Tarnwick::Printf("Message of %zu bytes refused: the limit is %zu bytes (4 MiB)", Text.size(), MaxMessageBytes));
		return In;
	}
	FJson Message = FJson::parse(Text.begin(), Text.end(), nullptr, false);
	if (Message.is_discarded())
	{
		In.ErrorResponse = MakeErrorResponse(nullptr, ErrorCodes::ParseError, "Parse error: the message is not valid JSON");
		return In;
	}
	if (Message.is_array())
	{
		In.ErrorResponse = MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest,
			"JSON-RPC batches are not supported (removed from MCP in protocol version 2025-06-18); send one message at a time");
		return In;
	}
	if (!Message.is_object())
	{
		In.ErrorResponse = MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest, "Invalid Request: a message must be a JSON object");
		return In;
	}
	auto IdIt = Message.find("id");
	const bool bHasId = IdIt != Message.end();
	const bool bIdValid = bHasId && (IdIt->is_string() || IdIt->is_number_integer());
	const FJson ReplyId = bIdValid ? *IdIt : FJson(nullptr);
	auto Version = Message.find("jsonrpc");
	if (Version == Message.end() || *Version != "2.0")
	{
		In.ErrorResponse = MakeErrorResponse(ReplyId, ErrorCodes::InvalidRequest, "Invalid Request: \"jsonrpc\" must be \"2.0\"");
		return In;
	}
	auto Method = Message.find("method");
	if (Method == Message.end())
	{
		if (bIdValid && (Message.contains("result") || Message.contains("error")))
		{
			In.Kind = EMessageKind::Response;
			In.Message = std::move(Message);
			return In;
		}
		In.ErrorResponse = MakeErrorResponse(ReplyId, ErrorCodes::InvalidRequest, "Invalid Request: no \"method\"");
		return In;
	}
	if (!Method->is_string())
	{
		In.ErrorResponse = MakeErrorResponse(ReplyId, ErrorCodes::InvalidRequest, "Invalid Request: \"method\" must be a string");
		return In;
	}
	if (bHasId && !bIdValid)
	{
		In.ErrorResponse = MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest, "Invalid Request: \"id\" must be a string or an integer");
		return In;
	}
	if (auto Params = Message.find("params"); Params != Message.end() && !Params->is_object())
	{
		In.ErrorResponse = bHasId
			? MakeErrorResponse(ReplyId, ErrorCodes::InvalidParams, "Invalid params: \"params\" must be an object")
			: FJson();
		if (!bHasId)
		{
			In.Kind = EMessageKind::Notification; // nothing can be answered to a notification; it is dropped
			In.Method = Method->get<std::string>();
			In.Message = FJson::object();
			return In;
		}
		return In;
	}
	In.Method = Method->get<std::string>();
	In.Kind = bHasId ? EMessageKind::Request : EMessageKind::Notification;
	In.Message = std::move(Message);
	return In;
}

FJson FServer::BuildInitializeResult(const FJson& Params) const
{
	std::string Requested;
	if (auto It = Params.find("protocolVersion"); It != Params.end() && It->is_string()) Requested = It->get<std::string>();
	FJson Capabilities = FJson::object();
	Capabilities["tools"] = FJson{{"listChanged", false}};
	Capabilities["resources"] = FJson{{"subscribe", false}, {"listChanged", false}};
	Capabilities["prompts"] = FJson{{"listChanged", false}};
	Capabilities["logging"] = FJson::object();
	Capabilities["completions"] = FJson::object();
	FJson Out = FJson::object();
	Out["protocolVersion"] = NegotiateProtocolVersion(Requested);
	Out["capabilities"] = std::move(Capabilities);
	Out["serverInfo"] = FJson{{"name", Options.ServerName}, {"title", Options.ServerTitle}, {"version", Options.ServerVersion}};
	if (!Options.Instructions.empty()) Out["instructions"] = Options.Instructions;
	return Out;
}

FJson FServer::BuildToolsList() const
{
	FJson Tools = FJson::array();
	const std::vector<FTarnwickActionInfo> All = FTarnwickToolRegistry::Get().GetAllActions();
	if (Options.ToolMode == EToolMode::Flat)
	{
		for (const FTarnwickActionInfo& Info : All)
		{
			if (Info.Namespace == CoreTools::Namespace && Info.Action == "describe_action") continue;
			if (MatchesToolset(Info, Options.Toolset)) Tools.push_back(ToolJson(Info));
		}
		return FJson{{"tools", std::move(Tools)}};
	}
	// Grouped: the core tools as they are, then one tool per namespace taking {"action", "params"}.
	std::vector<std::string> Namespaces;
	std::map<std::string, std::vector<const FTarnwickActionInfo*>> ByNamespace;
	for (const FTarnwickActionInfo& Info : All)
	{
		if (Info.Namespace == CoreTools::Namespace)
		{
			Tools.push_back(ToolJson(Info));
			continue;
		}
		if (!MatchesToolset(Info, Options.Toolset)) continue;
		if (!ByNamespace.contains(Info.Namespace)) Namespaces.push_back(Info.Namespace);
		ByNamespace[Info.Namespace].push_back(&Info);
	}
	for (const std::string& Namespace : Namespaces)
	{
		FJson Names = FJson::array();
		bool bAllReadOnly = true;
		for (const FTarnwickActionInfo* Info : ByNamespace[Namespace])
		{
			Names.push_back(Info->Action);
			bAllReadOnly = bAllReadOnly && Info->Annotations.ReadOnlyHint.value_or(false);
		}
		FJson Tool = FJson::object();
		Tool["name"] = Namespace;
		Tool["description"] = Tarnwick::Printf(
			"Runs one action of the '%s' namespace (%zu actions). Pass {\"action\": name, \"params\": {...}}; "
			"call brindle_describe_action with {\"action\": \"%s.<name>\"} for an action's description and parameters.",
			Namespace.c_str(), Names.size(), Namespace.c_str());
		FJson Schema = FJson::object();
		Schema["type"] = "object";
		Schema["properties"] = FJson{
			{"action", FJson{{"type", "string"}, {"description", "The action to run."}, {"enum", Names}}},
			{"params", FJson{{"type", "object"}, {"description", "The action's parameters."}}}};
		Schema["required"] = FJson::array({"action"});
		Tool["inputSchema"] = std::move(Schema);
		if (bAllReadOnly) Tool["annotations"] = FJson{{"readOnlyHint", true}};
		Tools.push_back(std::move(Tool));
	}
	return FJson{{"tools", std::move(Tools)}};
}

FJson FServer::CallTool(const FJson& Params, const FSessionContext& Session, int& OutRpcErrorCode, std::string& OutRpcErrorMessage) const
{
	OutRpcErrorCode = 0;
	auto NameIt = Params.find("name");
	if (NameIt == Params.end() || !NameIt->is_string())
	{
		OutRpcErrorCode = ErrorCodes::InvalidParams;
		OutRpcErrorMessage = "Invalid params: tools/call needs a \"name\" string";
		return FJson();
	}
	const std::string Name = NameIt->get<std::string>();
	FJsonPtr Arguments;
	if (auto Args = Params.find("arguments"); Args != Params.end() && !Args->is_null())
	{
		if (!Args->is_object())
		{
			OutRpcErrorCode = ErrorCodes::InvalidParams;
			OutRpcErrorMessage = "Invalid params: \"arguments\" must be an object";
			return FJson();
		}
		Arguments = std::make_shared<FJson>(*Args);
	}
	const FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	std::optional<FTarnwickActionInfo> Info = Registry.FindTool(Name);
	if (!Info)
	{
		// A grouped namespace tool: {"action": name, "params": {...}}.
		const auto Namespaces = Registry.GetNamespaces();
		if (std::find(Namespaces.begin(), Namespaces.end(), Name) != Namespaces.end())
		{
			if (auto Disabled = Registry.GetNamespaceDisabledReason(Name))
			{
				return ToolResultJson(FTarnwickActionResult(*Disabled, Tarnwick::ErrorCodes::InternalError));
			}
			std::string Action;
			if (Arguments && Arguments->contains("action") && (*Arguments)["action"].is_string()) Action = (*Arguments)["action"];
			Info = Registry.FindAction(Name, Action);
			if (!Info)
			{
				return ToolResultJson(FTarnwickActionResult(
					Tarnwick::Printf("Unknown action '%s' in namespace '%s'; see the tool's action list", Action.c_str(), Name.c_str()),
					Tarnwick::ErrorCodes::InvalidParams));
			}
			FJsonPtr Inner = MakeJsonObject();
			if (auto P = Arguments->find("params"); P != Arguments->end() && P->is_object()) *Inner = *P;
			Arguments = Inner;
		}
		else if (auto Disabled = Registry.GetNamespaceDisabledReason(Name.substr(0, Name.find_first_of("._")));
				 Disabled && Name.find_first_of("._") != std::string::npos)
		{
			// A call into a disabled namespace answers its reason rather than "unknown tool".
			return ToolResultJson(FTarnwickActionResult(*Disabled, Tarnwick::ErrorCodes::InternalError));
		}
		else
		{
			OutRpcErrorCode = ErrorCodes::InvalidParams;
			OutRpcErrorMessage = Tarnwick::Printf("Unknown tool: %s", Name.c_str());
			return FJson();
		}
	}
	const FTarnwickActionResult Result =
		Dispatch::RunToolCall(Info->Namespace, Info->Action, Arguments, Session.SessionId, Info->ToolName());
	return ToolResultJson(Result);
}

namespace
{
FJson ResourcesList()
{
	FJson List = FJson::array();
	for (const FTarnwickResourceInfo& R : FTarnwickResourceRegistry::Get().GetAll())
	{
		List.push_back(FJson{{"uri", R.Uri}, {"name", R.Name}, {"description", R.Description}, {"mimeType", R.MimeType}});
	}
	return FJson{{"resources", std::move(List)}};
}

FJson PromptsList()
{
	FJson List = FJson::array();
	for (const FTarnwickPromptInfo& P : FTarnwickPromptRegistry::Get().GetAll())
	{
		FJson Args = FJson::array();
		for (const FTarnwickPromptArgument& A : P.Arguments)
		{
			Args.push_back(FJson{{"name", A.Name}, {"description", A.Description}, {"required", A.bRequired}});
		}
		List.push_back(FJson{{"name", P.Name}, {"description", P.Description}, {"arguments", std::move(Args)}});
	}
	return FJson{{"prompts", std::move(List)}};
}
}

void FServer::HandleRequest(const FJson& Request, const FSessionContext& Session, FReplyFn Reply)
{
	const FJson Id = Request.contains("id") ? Request["id"] : FJson(nullptr);
	const std::string Method = Request.value("method", std::string());
	const FJson Params = Request.contains("params") && Request["params"].is_object() ? Request["params"] : FJson::object();
	const auto Fail = [&](int Code, const std::string& Message) { Reply(MakeErrorResponse(Id, Code, Message)); };

	if (Method == "initialize")
	{
		Reply(MakeResultResponse(Id, BuildInitializeResult(Params)));
		return;
	}
	if (Method == "ping")
	{
		Reply(MakeResultResponse(Id, FJson::object()));
		return;
	}
	if (Method == "logging/setLevel")
	{
		const std::string Level = Params.value("level", std::string());
		const auto& Levels = LogLevels();
		auto It = std::find_if(Levels.begin(), Levels.end(), [&](const auto& L) { return L.first == Level; });
		if (It == Levels.end())
		{
			Fail(ErrorCodes::InvalidParams, Tarnwick::Printf("Invalid params: unknown log level '%s' (debug, info, notice, warning, "
															 "error, critical, alert or emergency)", Level.c_str()));
			return;
		}
		{
			std::lock_guard Lock(Impl->Mutex);
			Impl->Levels[Session.SessionId] = It->second;
			if (auto Sink = Impl->Sinks.find(Session.SessionId); Sink != Impl->Sinks.end()) Sink->second.MaxVerbosity = It->second;
		}
		Reply(MakeResultResponse(Id, FJson::object()));
		return;
	}

	// Everything else reads the registries, which belong to the game thread.
	static const std::set<std::string> GameThreadMethods = {
		"tools/list", "tools/call", "resources/list", "resources/read", "prompts/list", "prompts/get", "completion/complete"};
	if (!GameThreadMethods.contains(Method))
	{
		Fail(ErrorCodes::MethodNotFound, Tarnwick::Printf("Method not found: %s", Method.c_str()));
		return;
	}
	const FPendingKey Key{Session.SessionId, Id.dump()};
	auto Task = [this, Id, Method, Params, Session, Key, Reply = std::move(Reply)]() {
		{
			std::lock_guard Lock(Impl->Mutex);
			if (Impl->Cancelled.erase(Key))
			{
				Reply(MakeErrorResponse(Id, -32800, "Request cancelled by the client before it ran"));
				return;
			}
		}
		if (Method == "tools/list")
		{
			Reply(MakeResultResponse(Id, BuildToolsList()));
		}
		else if (Method == "tools/call")
		{
			int Code = 0;
			std::string Message;
			FJson Result = CallTool(Params, Session, Code, Message);
			Reply(Code ? MakeErrorResponse(Id, Code, Message) : MakeResultResponse(Id, std::move(Result)));
		}
		else if (Method == "resources/list")
		{
			Reply(MakeResultResponse(Id, ResourcesList()));
		}
		else if (Method == "resources/read")
		{
			const std::string Uri = Params.value("uri", std::string());
			const FTarnwickResourceInfo* Info = FTarnwickResourceRegistry::Get().Find(Uri);
			if (!Info || !Info->Handler)
			{
				FJson Error = MakeErrorResponse(Id, ErrorCodes::ResourceNotFound, Tarnwick::Printf("Resource not found: %s", Uri.c_str()));
				Error["error"]["data"] = FJson{{"uri", Uri}};
				Reply(std::move(Error));
				return;
			}
			const FTarnwickResourceContent Content = Info->Handler(Uri);
			FJson Item = FJson::object();
			Item["uri"] = Uri;
			Item["mimeType"] = Content.MimeType.empty() ? Info->MimeType : Content.MimeType;
			Item["text"] = Content.Text;
			Reply(MakeResultResponse(Id, FJson{{"contents", FJson::array({std::move(Item)})}}));
		}
		else if (Method == "prompts/list")
		{
			Reply(MakeResultResponse(Id, PromptsList()));
		}
		else if (Method == "prompts/get")
		{
			const std::string Name = Params.value("name", std::string());
			const FTarnwickPromptInfo* Prompt = FTarnwickPromptRegistry::Get().Find(Name);
			if (!Prompt)
			{
				Reply(MakeErrorResponse(Id, ErrorCodes::InvalidParams, Tarnwick::Printf("Unknown prompt: %s", Name.c_str())));
				return;
			}
			std::map<std::string, std::string> Args;
			if (auto A = Params.find("arguments"); A != Params.end() && A->is_object())
			{
				for (const auto& [K, V] : A->items())
				{
					Args[K] = V.is_string() ? V.get<std::string>() : V.dump();
				}
			}
			for (const FTarnwickPromptArgument& Arg : Prompt->Arguments)
			{
				if (Arg.bRequired && !Args.contains(Arg.Name))
				{
					Reply(MakeErrorResponse(Id, ErrorCodes::InvalidParams,
						Tarnwick::Printf("Missing required argument '%s' for prompt %s", Arg.Name.c_str(), Name.c_str())));
					return;
				}
			}
			FJson Messages = FJson::array();
			if (Prompt->Render)
			{
				for (const FTarnwickPromptMessage& M : Prompt->Render(Args))
				{
					Messages.push_back(FJson{{"role", M.Role}, {"content", FJson{{"type", "text"}, {"text", M.Text}}}});
				}
			}
			FJson Out = FJson::object();
			Out["description"] = Prompt->MessageDescription.empty() ? Prompt->Description : Prompt->MessageDescription;
			Out["messages"] = std::move(Messages);
			Reply(MakeResultResponse(Id, std::move(Out)));
		}
		else // completion/complete
		{
			FJson Values = FJson::array();
			const FJson Ref = Params.value("ref", FJson::object());
			const FJson Argument = Params.value("argument", FJson::object());
			if (Ref.value("type", std::string()) == "ref/prompt")
			{
				if (const FTarnwickPromptInfo* Prompt = FTarnwickPromptRegistry::Get().Find(Ref.value("name", std::string())))
				{
					const std::string ArgName = Argument.value("name", std::string());
					const std::string Prefix = Argument.value("value", std::string());
					for (const FTarnwickPromptArgument& Arg : Prompt->Arguments)
					{
						if (Arg.Name != ArgName) continue;
						for (const std::string& S : Arg.Suggestions)
						{
							if (S.rfind(Prefix, 0) == 0) Values.push_back(S);
						}
					}
				}
			}
			const size_t Total = Values.size();
			if (Values.size() > 100) Values.erase(Values.begin() + 100, Values.end());
			Reply(MakeResultResponse(Id, FJson{{"completion", FJson{{"values", std::move(Values)}, {"total", Total}, {"hasMore", Total > 100}}}}));
		}
	};
	// A transport that reads on the game thread gets its answer at once; the others hand the request over.
	FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
	if (Queue.IsInGameThread())
	{
		Task();
	}
	else
	{
		Queue.Post(std::move(Task));
	}
}

void FServer::HandleNotification(const FJson& Notification, const FSessionContext& Session)
{
	const std::string Method = Notification.value("method", std::string());
	if (Method == "notifications/cancelled")
	{
		const FJson Params = Notification.value("params", FJson::object());
		if (Params.contains("requestId"))
		{
			std::lock_guard Lock(Impl->Mutex);
			// Bounded: stale entries (for requests that already ran) must not pile up forever.
			if (Impl->Cancelled.size() > 1000) Impl->Cancelled.clear();
			Impl->Cancelled.insert(FPendingKey{Session.SessionId, Params["requestId"].dump()});
		}
	}
	// notifications/initialized and anything else need no answer.
}

void FServer::AttachNotificationSink(const std::string& SessionId, FNotifyFn Sink)
{
	{
		std::lock_guard Lock(Impl->Mutex);
		FImpl::FSink& S = Impl->Sinks[SessionId];
		S.Notify = std::move(Sink);
		if (auto L = Impl->Levels.find(SessionId); L != Impl->Levels.end()) S.MaxVerbosity = L->second;
	}
	if (!Impl->bDeviceAdded)
	{
		GLog->AddOutputDevice(Impl);
		Impl->bDeviceAdded = true;
	}
}

void FServer::DetachSession(const std::string& SessionId)
{
	std::lock_guard Lock(Impl->Mutex);
	Impl->Sinks.erase(SessionId);
	Impl->Levels.erase(SessionId);
	for (auto It = Impl->Cancelled.begin(); It != Impl->Cancelled.end();)
	{
		It = It->Session == SessionId ? Impl->Cancelled.erase(It) : std::next(It);
	}
}
}
