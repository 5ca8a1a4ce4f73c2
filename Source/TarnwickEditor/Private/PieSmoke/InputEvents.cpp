#include "PieSmoke/InputEvents.h"

#include "PieSmoke/SmokeParamReaders.h"
#include "TarnwickLog.h"
#include "TarnwickToolRegistry.h"

#include <algorithm>
#include <numeric>

namespace Tarnwick::PieSmoke
{
FJson BuildInputEventParams(const FInputEvent& Event)
{
	FJson Params = FJson::object();
	switch (Event.Kind)
	{
	case EInputEventKind::MouseMove:
	case EInputEventKind::Click:
		if (Event.bHasPosition)
		{
			Params["x"] = Event.X;
			Params["y"] = Event.Y;
		}
		if (Event.Kind == EInputEventKind::Click && !Event.Button.empty()) Params["button"] = Event.Button;
		break;
	default:
		Params["key"] = Event.Key;
		if (Event.Kind == EInputEventKind::Press) Params["hold_ms"] = Event.HoldMs;
		break;
	}
	if (!Event.Modifiers.empty())
	{
		FJson Modifiers = FJson::array();
		for (const std::string& M : Event.Modifiers) Modifiers.push_back(M);
		Params["modifiers"] = std::move(Modifiers);
	}
	return Params;
}

void FireInputEvent(FInputEvent& Event, double T)
{
	// Marked before the call, so an event whose action fails is still reported as fired.
	Event.bFired = true;
	Event.FiredAt = T;
	const char* Action = PieActionName(Event.Kind);
	const FTarnwickActionResult Result =
		FTarnwickToolRegistry::Get().ExecuteAction("pie", Action, MakeJsonObject(BuildInputEventParams(Event)));
	Event.bOk = Result.bSuccess;
	if (!Result.bSuccess)
	{
		Event.Error = Result.ErrorMessage;
		TW_LOG(LogTarnwick, Warning, "input_events: pie.%s at t=%.2fs failed: %s", Action, T, Result.ErrorMessage.c_str());
	}
}

std::vector<std::string> KeysStillHeld(const std::vector<FInputEvent>& Events)
{
	// Walk in firing order (time, then list order): a list may name a later up before an earlier down.
	std::vector<size_t> Order(Events.size());
	std::iota(Order.begin(), Order.end(), size_t{0});
	std::stable_sort(Order.begin(), Order.end(), [&](size_t A, size_t B) { return Events[A].FiredAt < Events[B].FiredAt; });
	std::vector<std::string> Held;
	for (size_t Index : Order)
	{
		const FInputEvent& Event = Events[Index];
		if (!Event.bFired || !Event.bOk) continue;
		if (Event.Kind != EInputEventKind::Down && Event.Kind != EInputEventKind::Up) continue;
		const auto It = std::find_if(Held.begin(), Held.end(), [&](const std::string& K) { return EqualsIgnoreCase(K, Event.Key); });
		if (Event.Kind == EInputEventKind::Down && It == Held.end()) Held.push_back(Event.Key);
		if (Event.Kind == EInputEventKind::Up && It != Held.end()) Held.erase(It);
	}
	return Held;
}

std::vector<std::string> ReleaseHeldKeys(const std::vector<FInputEvent>& Events)
{
	const std::vector<std::string> Held = KeysStillHeld(Events);
	for (const std::string& Key : Held)
	{
		const FTarnwickActionResult Result = FTarnwickToolRegistry::Get().ExecuteAction("pie", "key_up", MakeJsonObject(FJson{{"key", Key}}));
		if (Result.bSuccess)
		{
			TW_LOG(LogTarnwick, Log, "input_events: released held key '%s' at session end", Key.c_str());
		}
		else
		{
			TW_LOG(LogTarnwick, Warning, "input_events: releasing held key '%s' failed: %s", Key.c_str(), Result.ErrorMessage.c_str());
		}
	}
	return Held;
}
}
