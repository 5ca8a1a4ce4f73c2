#include "TarnwickDispatcher.h"

#include "GameThread.h"
#include "PlatformTime.h"
#include "TarnwickDiagnostics.h"
#include "TarnwickToolCallLog.h"
#include "TarnwickToolRegistry.h"

namespace Tarnwick::Dispatch
{
FTarnwickActionResult RunToolCall(const std::string& Namespace, const std::string& Action, const FJsonPtr& Arguments,
	const std::string& SessionId, const std::string& ToolName)
{
	FJsonPtr Params = (Arguments && Arguments->is_object()) ? std::make_shared<FJson>(*Arguments) : MakeJsonObject();
	(*Params)[Tarnwick::SessionIdParam] = SessionId;

	const double Start = FPlatformTime::Seconds();
	FTarnwickActionResult Result = FTarnwickToolRegistry::Get().ExecuteAction(Namespace, Action, Params);
	const double End = FPlatformTime::Seconds();

	if (Diagnostics::GAttachDispatchDiagnostics)
	{
		if (Result.bSuccess)
		{
			if (!Result.Result) Result.Result = MakeJsonObject();
			Diagnostics::GAttachDispatchDiagnostics(Namespace, Action, Start, *Result.Result);
		}
		else
		{
			FJsonPtr Data = Result.ErrorData ? Result.ErrorData : MakeJsonObject();
			Diagnostics::GAttachDispatchDiagnostics(Namespace, Action, Start, *Data);
			if (!Data->empty()) Result.ErrorData = Data;
		}
	}

	FTarnwickToolCallRecord Record;
	Record.Timestamp = End;
	Record.Tool = ToolName;
	Record.Namespace = Namespace;
	Record.Action = Action;
	Record.bSuccess = Result.bSuccess;
	Record.ErrorCode = Result.ErrorCode;
	Record.Error = Result.ErrorMessage;
	Record.DurationMs = (End - Start) * 1000.0;
	Record.SessionId = SessionId;
	FTarnwickToolCallLog::Get().Record(std::move(Record));
	return Result;
}

void PostToolCall(std::string Namespace, std::string Action, FJsonPtr Arguments, std::string SessionId, std::string ToolName,
	std::function<void(FTarnwickActionResult)> OnDone)
{
	FGameThreadTaskQueue::Get().Post([Namespace = std::move(Namespace), Action = std::move(Action), Arguments = std::move(Arguments),
		SessionId = std::move(SessionId), ToolName = std::move(ToolName), OnDone = std::move(OnDone)]() {
		OnDone(RunToolCall(Namespace, Action, Arguments, SessionId, ToolName));
	});
}
}
