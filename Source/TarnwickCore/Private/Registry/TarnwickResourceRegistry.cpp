#include "TarnwickResourceRegistry.h"

#include <algorithm>

FTarnwickResourceRegistry& FTarnwickResourceRegistry::Get()
{
	static FTarnwickResourceRegistry Instance;
	return Instance;
}

void FTarnwickResourceRegistry::Register(FTarnwickResourceInfo Info)
{
	auto It = std::find_if(Resources.begin(), Resources.end(), [&](const auto& R) { return R.Uri == Info.Uri; });
	if (It != Resources.end())
	{
		*It = std::move(Info);
	}
	else
	{
		Resources.push_back(std::move(Info));
	}
	OnChanged.Broadcast();
}

void FTarnwickResourceRegistry::UnregisterAll()
{
	if (Resources.empty()) return;
	Resources.clear();
	OnChanged.Broadcast();
}

const FTarnwickResourceInfo* FTarnwickResourceRegistry::Find(const std::string& Uri) const
{
	auto It = std::find_if(Resources.begin(), Resources.end(), [&](const auto& R) { return R.Uri == Uri; });
	return It == Resources.end() ? nullptr : &*It;
}
