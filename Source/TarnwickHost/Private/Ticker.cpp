#include "Ticker.h"

#include <algorithm>

FTSTicker& FTSTicker::GetCoreTicker()
{
	static FTSTicker Instance;
	return Instance;
}

FTSTicker::FDelegateHandle FTSTicker::AddTicker(std::string Name, float DelaySeconds, FTickerDelegate Callback)
{
	std::lock_guard Lock(Mutex);
	auto Element = std::make_shared<FElement>();
	Element->Id = NextId++;
	Element->Name = std::move(Name);
	Element->Delay = std::max(0.0f, DelaySeconds);
	Element->FireTime = CurrentTime + Element->Delay;
	Element->LastFireTime = CurrentTime;
	Element->Callback = std::move(Callback);
	Elements.push_back(Element);
	return FDelegateHandle{Element->Id};
}

FTSTicker::FDelegateHandle FTSTicker::AddTicker(FTickerDelegate Callback, float DelaySeconds)
{
	return AddTicker(std::string(), DelaySeconds, std::move(Callback));
}

void FTSTicker::RemoveTicker(FDelegateHandle Handle)
{
	if (!Handle.IsValid()) return;
	std::lock_guard Lock(Mutex);
	for (auto& Element : Elements)
	{
		if (Element->Id == Handle.Id)
		{
			Element->bRemoved = true;
		}
	}
	Elements.erase(std::remove_if(Elements.begin(), Elements.end(), [&](const auto& E) { return E->Id == Handle.Id; }),
		Elements.end());
}

void FTSTicker::Tick(float DeltaTime)
{
	std::vector<std::shared_ptr<FElement>> Due;
	{
		std::lock_guard Lock(Mutex);
		CurrentTime += DeltaTime;
		for (const auto& Element : Elements)
		{
			if (Element->FireTime <= CurrentTime)
			{
				Due.push_back(Element);
			}
		}
	}
	for (const auto& Element : Due)
	{
		// A callback earlier in this frame may have removed this one.
		if (Element->bRemoved) continue;
		double Elapsed;
		{
			std::lock_guard Lock(Mutex);
			Elapsed = CurrentTime - Element->LastFireTime;
		}
		const bool bKeep = Element->Callback(static_cast<float>(Elapsed));
		std::lock_guard Lock(Mutex);
		if (!bKeep)
		{
			Element->bRemoved = true;
			Elements.erase(std::remove(Elements.begin(), Elements.end(), Element), Elements.end());
		}
		else
		{
			Element->LastFireTime = CurrentTime;
			Element->FireTime = CurrentTime + Element->Delay;
		}
	}
}

bool FTSTicker::HasTicker(FDelegateHandle Handle) const
{
	std::lock_guard Lock(Mutex);
	return std::any_of(Elements.begin(), Elements.end(), [&](const auto& E) { return E->Id == Handle.Id; });
}

size_t FTSTicker::Num() const
{
	std::lock_guard Lock(Mutex);
	return Elements.size();
}

std::vector<std::string> FTSTicker::GetTickerNames() const
{
	std::lock_guard Lock(Mutex);
	std::vector<std::string> Names;
	for (const auto& E : Elements) Names.push_back(E->Name);
	return Names;
}

void FTSTicker::Reset()
{
	std::lock_guard Lock(Mutex);
	for (auto& E : Elements) E->bRemoved = true;
	Elements.clear();
	CurrentTime = 0.0;
}
