// Multicast delegates, the engine's DECLARE_MULTICAST_DELEGATE: any number of callbacks bound by handle,
// called in the order they were added. Engine-shaped event sources (FEditorDelegates, FCoreDelegates) are
// made of these; the host broadcasts, the modules bind and unbind.
//
// Game thread only, like the engine's. A callback may bind or unbind (itself included) while a broadcast
// runs: a callback added during a broadcast first runs on the next one, one removed is not called again.
#pragma once
#include "HostTypes.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

/** Identifies one binding; default-constructed handles are invalid. */
struct FDelegateHandle
{
	uint64 Id = 0;
	bool IsValid() const { return Id != 0; }
	void Reset() { Id = 0; }
	bool operator==(const FDelegateHandle&) const = default;
};

template <typename... ArgTypes>
class TMulticastDelegate
{
public:
	using FCallback = std::function<void(ArgTypes...)>;

	FDelegateHandle Add(FCallback Callback)
	{
		auto Binding = std::make_shared<FBinding>();
		Binding->Id = NextId++;
		Binding->Callback = std::move(Callback);
		Bindings.push_back(Binding);
		return FDelegateHandle{Binding->Id};
	}

	/** Returns whether the handle was bound. */
	bool Remove(FDelegateHandle Handle)
	{
		const auto It = std::find_if(Bindings.begin(), Bindings.end(), [&](const auto& B) { return B->Id == Handle.Id; });
		if (!Handle.IsValid() || It == Bindings.end()) return false;
		(*It)->bRemoved = true;
		Bindings.erase(It);
		return true;
	}

	void Broadcast(ArgTypes... Args) const
	{
		const std::vector<std::shared_ptr<FBinding>> Snapshot = Bindings;
		for (const auto& Binding : Snapshot)
		{
			if (!Binding->bRemoved) Binding->Callback(Args...);
		}
	}

	bool IsBound() const { return !Bindings.empty(); }
	size_t Num() const { return Bindings.size(); }
	void Clear()
	{
		for (auto& B : Bindings) B->bRemoved = true;
		Bindings.clear();
	}

private:
	struct FBinding
	{
		uint64 Id = 0;
		FCallback Callback;
		bool bRemoved = false;
	};
	std::vector<std::shared_ptr<FBinding>> Bindings;
	uint64 NextId = 1;
};
