// The path of one tool call on the game thread: the reserved session id is added to the params, the action
// runs through the registry (gates and disabled namespaces honoured), the call is recorded in the tool-call
// log, and the dispatch-diagnostics hook is asked to attach its extras.
#pragma once
#include "TarnwickActionResult.h"

#include <functional>
#include <string>

namespace Tarnwick::Dispatch
{
/** Game thread. Arguments may be null; they are copied, never modified. */
FTarnwickActionResult RunToolCall(const std::string& Namespace, const std::string& Action, const FJsonPtr& Arguments,
	const std::string& SessionId, const std::string& ToolName);

/** Any thread: runs RunToolCall on the game thread and hands the result to OnDone there. */
void PostToolCall(std::string Namespace, std::string Action, FJsonPtr Arguments, std::string SessionId, std::string ToolName,
	std::function<void(FTarnwickActionResult)> OnDone);
}
