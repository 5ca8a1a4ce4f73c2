#include "TarnwickToolRegistry.h"

#include "Printf.h"
#include "TarnwickLog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

FTarnwickToolRegistry& FTarnwickToolRegistry::Get()
{
	static FTarnwickToolRegistry Instance;
	return Instance;
}

bool FTarnwickToolRegistry::IsValidToolName(const std::string& ToolName)
{
	if (ToolName.empty() || ToolName.size() > 64) return false;
	if (ToolName[0] < 'a' || ToolName[0] > 'z') return false;
	return std::all_of(ToolName.begin(), ToolName.end(),
		[](char C) { return (C >= 'a' && C <= 'z') || (C >= '0' && C <= '9') || C == '_'; });
}

bool FTarnwickToolRegistry::RegisterAction(const std::string& Namespace, const std::string& Action,
	const std::string& Description, FTarnwickActionHandler Handler, FJsonPtr ParamSchema, const std::string& Reserved)
{
	return RegisterAction(Namespace, Action, Description, std::move(Handler), std::move(ParamSchema), Reserved, nullptr, std::string());
}

bool FTarnwickToolRegistry::RegisterAction(const std::string& Namespace, const std::string& Action,
	const std::string& Description, FTarnwickActionHandler Handler, FJsonPtr ParamSchema, const std::string& /*Reserved*/,
	std::function<bool()> Predicate, const std::string& DisabledReason)
{
	FTarnwickActionInfo Info;
	Info.Namespace = Namespace;
	Info.Action = Action;
	Info.Description = Description;
	Info.Handler = std::move(Handler);
	Info.ParamSchema = ParamSchema ? std::move(ParamSchema) : MakeJsonObject();
	Info.EnablePredicate = std::move(Predicate);
	Info.DisabledReason = DisabledReason;
	return AddAction(std::move(Info));
}

bool FTarnwickToolRegistry::AddAction(FTarnwickActionInfo Info)
{
	const std::string ToolName = Info.ToolName();
	if (Info.Namespace.empty() || Info.Action.empty() || !IsValidToolName(ToolName))
	{
		TW_LOG(LogTarnwick, Error, "Refused to register action '%s.%s': tool name '%s' must match ^[a-z][a-z0-9_]{0,63}$",
			Info.Namespace.c_str(), Info.Action.c_str(), ToolName.c_str());
		return false;
	}
	if (auto It = ToolIndex.find(ToolName); It != ToolIndex.end())
	{
		const std::string Message = Tarnwick::Printf("Action '%s.%s' registered twice (tool name '%s' already taken by '%s.%s')",
			Info.Namespace.c_str(), Info.Action.c_str(), ToolName.c_str(), It->second.first.c_str(), It->second.second.c_str());
		TW_LOG(LogTarnwick, Error, "%s", Message.c_str());
#ifndef NDEBUG
		std::fprintf(stderr, "Fatal: %s\n", Message.c_str());
		std::abort();
#else
		return false;
#endif
	}
	if (!ActionsByNamespace.contains(Info.Namespace) && !DisabledNamespaces.contains(Info.Namespace))
	{
		NamespaceOrder.push_back(Info.Namespace);
	}
	ToolIndex[ToolName] = {Info.Namespace, Info.Action};
	ActionsByNamespace[Info.Namespace].push_back(std::move(Info));
	OnChanged.Broadcast();
	return true;
}

namespace
{
template <typename TMap>
auto* FindIn(TMap& Map, const std::string& Namespace, const std::string& Action)
{
	auto It = Map.find(Namespace);
	if (It == Map.end()) return static_cast<decltype(&It->second.front())>(nullptr);
	for (auto& Info : It->second)
	{
		if (Info.Action == Action) return &Info;
	}
	return static_cast<decltype(&It->second.front())>(nullptr);
}
}

bool FTarnwickToolRegistry::SetAnnotations(const std::string& Namespace, const std::string& Action,
	const FTarnwickToolAnnotations& Annotations)
{
	auto* Info = FindIn(ActionsByNamespace, Namespace, Action);
	if (!Info) return false;
	Info->Annotations = Annotations;
	OnChanged.Broadcast();
	return true;
}

bool FTarnwickToolRegistry::SetFamily(const std::string& Namespace, const std::string& Action, const std::string& Family)
{
	auto* Info = FindIn(ActionsByNamespace, Namespace, Action);
	if (!Info) return false;
	Info->Family = Family;
	OnChanged.Broadcast();
	return true;
}

bool FTarnwickToolRegistry::SetTitle(const std::string& Namespace, const std::string& Action, const std::string& Title)
{
	auto* Info = FindIn(ActionsByNamespace, Namespace, Action);
	if (!Info) return false;
	Info->Title = Title;
	OnChanged.Broadcast();
	return true;
}

FTarnwickActionResult FTarnwickToolRegistry::ExecuteAction(const std::string& Namespace, const std::string& Action,
	const FJsonPtr& Params) const
{
	if (auto Disabled = DisabledNamespaces.find(Namespace); Disabled != DisabledNamespaces.end())
	{
		return FTarnwickActionResult(Disabled->second, Tarnwick::ErrorCodes::InternalError);
	}
	const FTarnwickActionInfo* Info = FindIn(ActionsByNamespace, Namespace, Action);
	if (!Info)
	{
		return FTarnwickActionResult(Tarnwick::Printf("Unknown action '%s.%s'", Namespace.c_str(), Action.c_str()),
			Tarnwick::ErrorCodes::InvalidParams);
	}
	if (Info->EnablePredicate && !Info->EnablePredicate())
	{
		return FTarnwickActionResult(Info->DisabledReason, Tarnwick::ErrorCodes::InternalError);
	}
	if (!Info->Handler)
	{
		return FTarnwickActionResult(Tarnwick::Printf("%s.%s has no handler", Namespace.c_str(), Action.c_str()),
			Tarnwick::ErrorCodes::InternalError);
	}
	// Copy the handler: it may unregister its own namespace while running.
	const FTarnwickActionHandler Handler = Info->Handler;
	return Handler(Params);
}

std::vector<FTarnwickActionInfo> FTarnwickToolRegistry::GetActions(const std::string& Namespace) const
{
	auto It = ActionsByNamespace.find(Namespace);
	return It == ActionsByNamespace.end() ? std::vector<FTarnwickActionInfo>() : It->second;
}

std::vector<FTarnwickActionInfo> FTarnwickToolRegistry::GetAllActions() const
{
	std::vector<FTarnwickActionInfo> All;
	for (const std::string& Namespace : NamespaceOrder)
	{
		if (auto It = ActionsByNamespace.find(Namespace); It != ActionsByNamespace.end())
		{
			All.insert(All.end(), It->second.begin(), It->second.end());
		}
	}
	return All;
}

std::optional<FTarnwickActionInfo> FTarnwickToolRegistry::FindAction(const std::string& Namespace, const std::string& Action) const
{
	if (const FTarnwickActionInfo* Info = FindIn(ActionsByNamespace, Namespace, Action))
	{
		return *Info;
	}
	return std::nullopt;
}

std::optional<FTarnwickActionInfo> FTarnwickToolRegistry::FindTool(const std::string& ToolName) const
{
	if (auto It = ToolIndex.find(ToolName); It != ToolIndex.end())
	{
		return FindAction(It->second.first, It->second.second);
	}
	// "<namespace>.<action>": split at the last dot, since namespaces never hold one.
	if (const size_t Dot = ToolName.rfind('.'); Dot != std::string::npos)
	{
		return FindAction(ToolName.substr(0, Dot), ToolName.substr(Dot + 1));
	}
	return std::nullopt;
}

std::vector<std::string> FTarnwickToolRegistry::GetNamespaces() const
{
	return NamespaceOrder;
}

void FTarnwickToolRegistry::MarkNamespaceDisabled(const std::string& Namespace, const std::string& Reason)
{
	if (!ActionsByNamespace.contains(Namespace) && !DisabledNamespaces.contains(Namespace))
	{
		NamespaceOrder.push_back(Namespace);
	}
	DisabledNamespaces[Namespace] = Reason;
	OnChanged.Broadcast();
}

std::optional<std::string> FTarnwickToolRegistry::GetNamespaceDisabledReason(const std::string& Namespace) const
{
	if (auto It = DisabledNamespaces.find(Namespace); It != DisabledNamespaces.end())
	{
		return It->second;
	}
	return std::nullopt;
}

void FTarnwickToolRegistry::UnregisterNamespace(const std::string& Namespace)
{
	// The mark goes too: a module that started disabled and is started again enabled must be callable.
	const bool bWasDisabled = DisabledNamespaces.erase(Namespace) > 0;
	auto It = ActionsByNamespace.find(Namespace);
	const bool bHadActions = It != ActionsByNamespace.end();
	if (bHadActions)
	{
		for (const FTarnwickActionInfo& Info : It->second)
		{
			ToolIndex.erase(Info.ToolName());
		}
		ActionsByNamespace.erase(It);
	}
	if (!bWasDisabled && !bHadActions) return;
	NamespaceOrder.erase(std::remove(NamespaceOrder.begin(), NamespaceOrder.end(), Namespace), NamespaceOrder.end());
	OnChanged.Broadcast();
}

void FTarnwickToolRegistry::ResetForTests()
{
	NamespaceOrder.clear();
	ActionsByNamespace.clear();
	DisabledNamespaces.clear();
	ToolIndex.clear();
}
