#include "Mcp/TarnwickMcpServer.h"

#include "GameThread.h"
#include "Logging.h"
#include "Mcp/TarnwickArgumentCheck.h"
#include "Mcp/TarnwickNameSuggestion.h"
#include "Mcp/TarnwickToolSchema.h"
#include "PlatformTime.h"
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

/** Every hint, filled where the action left it open: a client that finds none must assume the worst. */
FJson AnnotationsJson(const std::string& Title, const FTarnwickToolAnnotations& A)
{
	const bool bReadOnly = A.ReadOnlyHint.value_or(false);
	FJson Out = FJson::object();
	Out["title"] = Title;
	Out["readOnlyHint"] = bReadOnly;
	Out["destructiveHint"] = A.DestructiveHint.value_or(!bReadOnly);
	Out["idempotentHint"] = A.IdempotentHint.value_or(bReadOnly);
	Out["openWorldHint"] = A.OpenWorldHint.value_or(false);
	return Out;
}

std::string TitleOf(const FTarnwickActionInfo& Info)
{
	return Info.Title.empty() ? MakeToolTitle(Info.Namespace, Info.Action) : Info.Title;
}

FJson ToolJson(const FTarnwickActionInfo& Info)
{
	FJson Tool = FJson::object();
	Tool["name"] = Info.ToolName();
	Tool["title"] = TitleOf(Info);
	Tool["description"] = Info.Description;
	Tool["inputSchema"] = ToInputSchema(Info.ParamSchema ? *Info.ParamSchema : FJson::object());
	Tool["annotations"] = AnnotationsJson(Tool["title"].get<std::string>(), Info.Annotations);
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

/** Forwards log lines to sessions that asked for them with logging/setLevel, and the list changes to every
 *  initialized session. */
struct FServer::FImpl : public FOutputDevice
{
	struct FSink
	{
		FNotifyFn Notify;
		ELogVerbosity::Type MaxVerbosity = ELogVerbosity::NoLogging;
		bool bInitialized = false;
		/** Token bucket of log lines; refilled from the host clock. */
		double Tokens = LogNotificationBurst;
		double LastRefill = -1.0;
		uint64 Dropped = 0;
	};

	std::mutex Mutex;
	std::map<std::string, FSink> Sinks;
	std::map<std::string, ELogVerbosity::Type> Levels;
	std::set<std::string> Initialized;
	std::set<FPendingKey> Cancelled;
	bool bDeviceAdded = false;
	/** Held by tasks posted to the game thread, which must not run once the server is gone. */
	std::shared_ptr<FImpl*> Alive = std::make_shared<FImpl*>(this);
	bool bToolsChangePosted = false;
	bool bResourcesChangePosted = false;
	FDelegateHandle ToolsChangedHandle;
	FDelegateHandle ResourcesChangedHandle;

	bool CanBeUsedOnAnyThread() const override { return true; }

	/** Whether one more line may go to this sink now; counts the ones that may not. */
	static bool TakeToken(FSink& Sink, double Now)
	{
		if (Sink.LastRefill < 0.0) Sink.LastRefill = Now;
		Sink.Tokens = std::min(LogNotificationBurst, Sink.Tokens + (Now - Sink.LastRefill) * LogNotificationsPerSecond);
		Sink.LastRefill = Now;
		if (Sink.Tokens < 1.0)
		{
			++Sink.Dropped;
			return false;
		}
		Sink.Tokens -= 1.0;
		return true;
	}

	static FJson MessageNote(const char* Level, std::string_view Logger, FJson Data)
	{
		FJson Note = FJson::object();
		Note["jsonrpc"] = "2.0";
		Note["method"] = "notifications/message";
		Note["params"] = FJson{{"level", Level}, {"logger", std::string(Logger)}, {"data", std::move(Data)}};
		return Note;
	}

	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double) override
	{
		// A sink that logs while writing must not loop back into itself.
		static thread_local bool bInside = false;
		if (bInside) return;
		const double Now = FPlatformTime::Seconds();
		std::vector<std::pair<FNotifyFn, uint64>> Targets;
		{
			std::lock_guard Lock(Mutex);
			for (auto& [Session, Sink] : Sinks)
			{
				if (!Sink.Notify || Verbosity > Sink.MaxVerbosity) continue;
				const uint64 DroppedBefore = Sink.Dropped;
				if (!TakeToken(Sink, Now)) continue;
				// The first line after a quiet spell says how many were held back, so a gap is never silent.
				Targets.emplace_back(Sink.Notify, DroppedBefore);
				Sink.Dropped = 0;
			}
		}
		if (Targets.empty()) return;
		bInside = true;
		const FJson Note = MessageNote(McpLevelOf(Verbosity), Category, std::string(Message));
		for (const auto& [Notify, Dropped] : Targets)
		{
			if (Dropped > 0)
			{
				Notify(MessageNote("warning", "tarnwick",
					Tarnwick::Printf("%llu log lines were not forwarded: at most %g a second (bursts of %g) reach a client; "
									 "read the editor log for all of them",
						static_cast<unsigned long long>(Dropped), LogNotificationsPerSecond, LogNotificationBurst)));
			}
			Notify(Note);
		}
		bInside = false;
	}

	/** Sends Method to every initialized session. */
	void Broadcast(const char* Method)
	{
		std::vector<FNotifyFn> Targets;
		{
			std::lock_guard Lock(Mutex);
			for (const auto& [Session, Sink] : Sinks)
			{
				if (Sink.Notify && Sink.bInitialized) Targets.push_back(Sink.Notify);
			}
		}
		const FJson Note = FJson{{"jsonrpc", "2.0"}, {"method", Method}};
		for (const FNotifyFn& Notify : Targets) Notify(Note);
	}

	/** A burst of registry changes (a module registering its whole table) becomes one notification, sent from
	 *  the game thread once the burst is over. */
	void PostChange(bool FImpl::*Posted, const char* Method)
	{
		if (this->*Posted) return;
		this->*Posted = true;
		FGameThreadTaskQueue::Get().Post([Weak = std::weak_ptr<FImpl*>(Alive), Posted, Method] {
			const std::shared_ptr<FImpl*> Self = Weak.lock();
			if (!Self) return;
			(*Self)->*Posted = false;
			(*Self)->Broadcast(Method);
		});
	}
};

FServer::FServer(FServerOptions InOptions)
	: Impl(new FImpl), Options(std::move(InOptions))
{
	Impl->ToolsChangedHandle = FTarnwickToolRegistry::Get().OnChanged.Add(
		[Impl = Impl] { Impl->PostChange(&FImpl::bToolsChangePosted, "notifications/tools/list_changed"); });
	Impl->ResourcesChangedHandle = FTarnwickResourceRegistry::Get().OnChanged.Add(
		[Impl = Impl] { Impl->PostChange(&FImpl::bResourcesChangePosted, "notifications/resources/list_changed"); });
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
	FTarnwickToolRegistry::Get().OnChanged.Remove(Impl->ToolsChangedHandle);
	FTarnwickResourceRegistry::Get().OnChanged.Remove(Impl->ResourcesChangedHandle);
	if (Impl->bDeviceAdded) GLog->RemoveOutputDevice(Impl);
	delete Impl;
}

namespace
{
/** Finds a message's top-level "id" without building the value, so that a message refused for its depth is
 *  still answered under its own id (a client waits for exactly that). nlohmann's SAX parser keeps its own
 *  stack, so any depth is safe here. */
class FTopLevelIdFinder final : public nlohmann::json_sax<FJson>
{
public:
	FJson Id = nullptr;

	bool null() override { return Scalar(nullptr); }
	bool boolean(bool) override { return Scalar(nullptr); }
	bool number_integer(number_integer_t Value) override { return Scalar(Value); }
	bool number_unsigned(number_unsigned_t Value) override { return Scalar(Value); }
	bool number_float(number_float_t, const string_t&) override { return Scalar(nullptr); }
	bool string(string_t& Value) override { return Scalar(Value); }
	bool binary(binary_t&) override { return Scalar(nullptr); }
	bool start_object(std::size_t) override { return Open(); }
	bool end_object() override { return Close(); }
	bool start_array(std::size_t) override { return Open(); }
	bool end_array() override { return Close(); }
	bool key(string_t& Key) override
	{
		bIdNext = Depth == 1 && Key == "id";
		return true;
	}
	bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

private:
	bool Scalar(FJson Value)
	{
		if (bIdNext && Depth == 1) Id = std::move(Value);
		bIdNext = false;
		return true;
	}
	bool Open()
	{
		bIdNext = false;
		++Depth;
		return true;
	}
	bool Close()
	{
		--Depth;
		return true;
	}
	size_t Depth = 0;
	bool bIdNext = false;
};

FJson FindTopLevelId(std::string_view Text)
{
	FTopLevelIdFinder Finder;
	FJson::sax_parse(Text.begin(), Text.end(), &Finder, nlohmann::detail::input_format_t::json, /*strict=*/false);
	return Finder.Id;
}
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
	// Before anything builds, copies or dumps the value: those recurse once per level.
	if (FTarnwickJsonUtils::NestingDepth(Text) > FTarnwickJsonUtils::MaxNestingDepth)
	{
		In.ErrorResponse = MakeErrorResponse(FindTopLevelId(Text), ErrorCodes::InvalidRequest,
			Tarnwick::Printf("Invalid Request: the message nests arrays and objects deeper than %zu levels",
				FTarnwickJsonUtils::MaxNestingDepth));
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
	Capabilities["tools"] = FJson{{"listChanged", true}};
	Capabilities["resources"] = FJson{{"subscribe", false}, {"listChanged", true}};
	Capabilities["prompts"] = FJson{{"listChanged", false}};
	Capabilities["logging"] = FJson::object();
	Capabilities["completions"] = FJson::object();
	FJson Out = FJson::object();
	Out["protocolVersion"] = NegotiateProtocolVersion(Requested);
	Out["capabilities"] = std::move(Capabilities);
	Out["serverInfo"] = FJson{{"name", Options.ServerName}, {"title", Options.ServerTitle}, {"version", Options.ServerVersion}};
	if (std::string Instructions = BuildInstructions(); !Instructions.empty()) Out["instructions"] = std::move(Instructions);
	return Out;
}

std::string FServer::BuildInstructions() const
{
	std::string Out = Options.Instructions;
	for (const auto& [Namespace, Reason] : FTarnwickToolRegistry::Get().GetDisabledNamespaces())
	{
		if (!Out.empty()) Out += "\n";
		Out += Tarnwick::Printf("The '%s' tools are not listed because the namespace is disabled: %s", Namespace.c_str(), Reason.c_str());
	}
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
		// The group's hints hold for every action in it: read-only only if all are, destructive if any is.
		FTarnwickToolAnnotations Group{true, false, true, false};
		for (const FTarnwickActionInfo* Info : ByNamespace[Namespace])
		{
			Names.push_back(Info->Action);
			const FJson Hints = AnnotationsJson("", Info->Annotations);
			Group.ReadOnlyHint = *Group.ReadOnlyHint && Hints["readOnlyHint"].get<bool>();
			Group.DestructiveHint = *Group.DestructiveHint || Hints["destructiveHint"].get<bool>();
			Group.IdempotentHint = *Group.IdempotentHint && Hints["idempotentHint"].get<bool>();
			Group.OpenWorldHint = *Group.OpenWorldHint || Hints["openWorldHint"].get<bool>();
		}
		FJson Tool = FJson::object();
		Tool["name"] = Namespace;
		Tool["title"] = MakeToolTitle(Namespace, "");
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
		Schema["additionalProperties"] = false;
		Tool["inputSchema"] = std::move(Schema);
		Tool["annotations"] = AnnotationsJson(Tool["title"].get<std::string>(), Group);
		Tools.push_back(std::move(Tool));
	}
	return FJson{{"tools", std::move(Tools)}};
}

namespace
{
FTarnwickActionResult InvalidParams(std::string Message)
{
	return FTarnwickActionResult(std::move(Message), Tarnwick::ErrorCodes::InvalidParams);
}

/** A value shown in an example call: as given when short, else elided. */
std::string ShortJson(const FJson& Value)
{
	const std::string Text = FTarnwickJsonUtils::Write(Value);
	return Text.size() <= 40 ? Text : std::string("…");
}

/** The disabled namespace a flat or dotted tool name falls in (the longest that fits), if any. */
std::optional<std::string> DisabledReasonFor(const std::string& ToolName)
{
	std::optional<std::string> Reason;
	size_t Longest = 0;
	for (const auto& [Namespace, Text] : FTarnwickToolRegistry::Get().GetDisabledNamespaces())
	{
		const bool bInside = ToolName == Namespace ||
			(ToolName.size() > Namespace.size() && ToolName.compare(0, Namespace.size(), Namespace) == 0 &&
				(ToolName[Namespace.size()] == '_' || ToolName[Namespace.size()] == '.'));
		if (bInside && Namespace.size() >= Longest)
		{
			Longest = Namespace.size();
			Reason = Text;
		}
	}
	return Reason;
}

/** Every name tools/call accepts, for suggestions: flat tool names, then namespaces (their grouped tools). */
std::vector<std::string> CallableNames()
{
	std::vector<std::string> Names;
	const FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	for (const FTarnwickActionInfo& Info : Registry.GetAllActions()) Names.push_back(Info.ToolName());
	for (const std::string& Namespace : Registry.GetNamespaces()) Names.push_back(Namespace);
	return Names;
}

/**
 * A call of a namespace's grouped tool, {"action": name, "params": {...}}: finds the action and takes its
 * parameters out of "params". Misplaced or unknown top-level arguments are refused with what to do instead.
 */
std::optional<FTarnwickActionResult> ResolveGroupedCall(const std::string& Namespace, const FJson& Arguments,
	std::optional<FTarnwickActionInfo>& OutInfo, FJson& OutParams)
{
	const FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	std::vector<std::string> Actions;
	for (const FTarnwickActionInfo& Info : Registry.GetActions(Namespace)) Actions.push_back(Info.Action);

	const auto ActionIt = Arguments.find("action");
	if (ActionIt == Arguments.end() || ActionIt->is_null())
	{
		return InvalidParams(Tarnwick::Printf("Missing \"action\" for %s: call it as {\"action\": name, \"params\": {...}} "
											  "with one of its actions (%s)",
			Namespace.c_str(), JoinNames(Actions).c_str()));
	}
	if (!ActionIt->is_string())
	{
		return InvalidParams(Tarnwick::Printf("'action' of %s must be a string, got %s", Namespace.c_str(),
			FTarnwickJsonUtils::Describe(*ActionIt).c_str()));
	}
	const std::string& Action = ActionIt->get_ref<const std::string&>();
	OutInfo = Registry.FindAction(Namespace, Action);
	if (!OutInfo)
	{
		return InvalidParams(Tarnwick::Printf("Unknown action '%s' in namespace '%s'%s; see the tool's action list", Action.c_str(),
			Namespace.c_str(), DidYouMean(Action, Actions).c_str()));
	}

	OutParams = FJson::object();
	if (const auto ParamsIt = Arguments.find("params"); ParamsIt != Arguments.end() && !ParamsIt->is_null())
	{
		if (!ParamsIt->is_object())
		{
			return InvalidParams(Tarnwick::Printf("'params' of %s must be an object holding %s.%s's parameters, got %s",
				Namespace.c_str(), Namespace.c_str(), Action.c_str(), FTarnwickJsonUtils::Describe(*ParamsIt).c_str()));
		}
		OutParams = *ParamsIt;
	}

	const FJson Schema = OutInfo->ParamSchema ? *OutInfo->ParamSchema : FJson::object();
	const std::vector<std::string> ActionParams = KnownParameterNames(Schema);
	std::vector<std::string> Misplaced;
	std::string Example;
	std::vector<std::string> Unknown;
	for (const auto& [Key, Value] : Arguments.items())
	{
		if (Key == "action" || Key == "params") continue;
		if (std::find(ActionParams.begin(), ActionParams.end(), Key) != ActionParams.end())
		{
			Misplaced.push_back(Key);
			Example += (Example.empty() ? "" : ", ") + FTarnwickJsonUtils::Write(FJson(Key)) + ": " + ShortJson(Value);
		}
		else
		{
			Unknown.push_back("'" + Key + "'" + DidYouMean(Key, {"action", "params"}));
		}
	}
	if (!Misplaced.empty())
	{
		return InvalidParams(Tarnwick::Printf("The parameters of %s.%s go under \"params\", as in {\"action\": \"%s\", "
											  "\"params\": {%s}}; %s %s given at the top level",
			Namespace.c_str(), Action.c_str(), Action.c_str(), Example.c_str(), JoinNames(Misplaced, true).c_str(),
			Misplaced.size() == 1 ? "was" : "were"));
	}
	if (!Unknown.empty())
	{
		return InvalidParams(Tarnwick::Printf("Unknown argument%s %s for %s; it takes 'action' and 'params'",
			Unknown.size() == 1 ? "" : "s", JoinNames(Unknown).c_str(), Namespace.c_str()));
	}
	return std::nullopt;
}
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
	FJson Arguments = FJson::object();
	if (auto Args = Params.find("arguments"); Args != Params.end() && !Args->is_null())
	{
		if (!Args->is_object())
		{
			OutRpcErrorCode = ErrorCodes::InvalidParams;
			OutRpcErrorMessage = "Invalid params: \"arguments\" must be an object";
			return FJson();
		}
		Arguments = *Args;
	}
	const FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	std::optional<FTarnwickActionInfo> Info = Registry.FindTool(Name);
	std::string CheckedName = Info ? Info->ToolName() : std::string();
	if (!Info)
	{
		if (std::optional<std::string> Disabled = DisabledReasonFor(Name))
		{
			// A call into a disabled namespace answers its reason rather than "unknown tool".
			return ToolResultJson(FTarnwickActionResult(*Disabled, Tarnwick::ErrorCodes::InternalError));
		}
		if (!Registry.GetActions(Name).empty())
		{
			FJson Inner;
			if (std::optional<FTarnwickActionResult> Refused = ResolveGroupedCall(Name, Arguments, Info, Inner))
			{
				return ToolResultJson(*Refused);
			}
			Arguments = std::move(Inner);
			CheckedName = Info->Namespace + "." + Info->Action;
		}
		else
		{
			OutRpcErrorCode = ErrorCodes::InvalidParams;
			OutRpcErrorMessage = Tarnwick::Printf("Unknown tool: %s%s", Name.c_str(), DidYouMean(Name, CallableNames()).c_str());
			return FJson();
		}
	}
	if (std::optional<std::string> Refused = CheckArguments(Info->ParamSchema ? *Info->ParamSchema : FJson::object(), Arguments, CheckedName))
	{
		return ToolResultJson(InvalidParams(std::move(*Refused)));
	}
	const FTarnwickActionResult Result = Dispatch::RunToolCall(
		Info->Namespace, Info->Action, std::make_shared<FJson>(std::move(Arguments)), Session.SessionId, Info->ToolName());
	return ToolResultJson(Result);
}

std::optional<std::string> CheckToolset(const std::vector<std::string>& Toolset)
{
	const FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	std::vector<std::string> Known;
	for (const std::string& Namespace : Registry.GetNamespaces())
	{
		if (Namespace != CoreTools::Namespace) Known.push_back(Namespace);
	}
	for (const FTarnwickActionInfo& Info : Registry.GetAllActions())
	{
		if (Info.Namespace == CoreTools::Namespace || Info.Family.empty()) continue;
		const std::string Family = Info.Namespace + "." + Info.Family;
		if (std::find(Known.begin(), Known.end(), Family) == Known.end()) Known.push_back(Family);
	}
	const auto Disabled = Registry.GetDisabledNamespaces();
	for (const std::string& Entry : Toolset)
	{
		if (std::find(Known.begin(), Known.end(), Entry) != Known.end()) continue;
		// A disabled namespace registered nothing, so its families cannot be checked; it lists nothing anyway.
		if (Disabled.contains(Entry.substr(0, Entry.find('.')))) continue;
		return Tarnwick::Printf("unknown --toolset entry '%s'%s; the namespaces and families are: %s", Entry.c_str(),
			DidYouMean(Entry, Known).c_str(), JoinNames(Known).c_str());
	}
	return std::nullopt;
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
		{
			// Told about list changes from now on (the notifications never come before the answer: both are
			// sent from the game thread, the answer first).
			std::lock_guard Lock(Impl->Mutex);
			Impl->Initialized.insert(Session.SessionId);
			if (auto Sink = Impl->Sinks.find(Session.SessionId); Sink != Impl->Sinks.end()) Sink->second.bInitialized = true;
		}
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
	static const std::set<std::string> GameThreadMethods = {"tools/list", "tools/call", "resources/list",
		"resources/templates/list", "resources/read", "prompts/list", "prompts/get", "completion/complete"};
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
		else if (Method == "resources/templates/list")
		{
			// No resource is addressed by a template yet; the list is honest, not missing.
			Reply(MakeResultResponse(Id, FJson{{"resourceTemplates", FJson::array()}}));
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
		S.bInitialized = Impl->Initialized.contains(SessionId);
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
	Impl->Initialized.erase(SessionId);
	for (auto It = Impl->Cancelled.begin(); It != Impl->Cancelled.end();)
	{
		It = It->Session == SessionId ? Impl->Cancelled.erase(It) : std::next(It);
	}
}
}
