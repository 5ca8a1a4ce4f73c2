#include "TarnwickPromptRegistry.h"

#include <algorithm>

FTarnwickPromptRegistry& FTarnwickPromptRegistry::Get()
{
	static FTarnwickPromptRegistry Instance;
	return Instance;
}

void FTarnwickPromptRegistry::Register(FTarnwickPromptInfo Info)
{
	auto It = std::find_if(Prompts.begin(), Prompts.end(), [&](const auto& P) { return P.Name == Info.Name; });
	if (It != Prompts.end())
	{
		*It = std::move(Info);
		return;
	}
	Prompts.push_back(std::move(Info));
}

const FTarnwickPromptInfo* FTarnwickPromptRegistry::Find(const std::string& Name) const
{
	auto It = std::find_if(Prompts.begin(), Prompts.end(), [&](const auto& P) { return P.Name == Name; });
	return It == Prompts.end() ? nullptr : &*It;
}
