// Handlers are bound to catalogue entries by namespace and action name. Each subsystem adds its own handlers
// to the table at registration time; a catalogue entry without a handler answers "not implemented yet", so
// the whole catalogue is always listed and nothing pending can be forgotten.
#pragma once
#include "TarnwickActionResult.h"

#include <map>
#include <string>
#include <utility>

class FTarnwickLogCapture;

class FTarnwickHandlerTable
{
public:
	void Add(const std::string& Namespace, const std::string& Action, FTarnwickActionHandler Handler)
	{
		Handlers[{Namespace, Action}] = std::move(Handler);
	}
	const FTarnwickActionHandler* Find(const std::string& Namespace, const std::string& Action) const
	{
		auto It = Handlers.find({Namespace, Action});
		return It == Handlers.end() ? nullptr : &It->second;
	}
	size_t Num() const { return Handlers.size(); }

private:
	std::map<std::pair<std::string, std::string>, FTarnwickActionHandler> Handlers;
};

namespace Tarnwick::Editor
{
/** The five log actions; Capture may be null (the actions then answer their empty forms). */
void AddLogHandlers(FTarnwickHandlerTable& Table, FTarnwickLogCapture* Capture);
void AddPieHandlers(FTarnwickHandlerTable& Table);
void AddViewportHandlers(FTarnwickHandlerTable& Table);
/** The four smoke-session actions; Capture (may be null) is the log the sessions judge. */
void AddPieSmokeHandlers(FTarnwickHandlerTable& Table, FTarnwickLogCapture* Capture);
/** Forgets every smoke session and removes the observer; before the log capture goes away at shutdown. */
void ShutdownPieSmoke();
}
