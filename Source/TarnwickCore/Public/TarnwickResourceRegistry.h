// MCP resources: read-only snapshots under "unreal://" addresses whose content is built on the game thread
// when a client reads them.
#pragma once
#include "Delegates.h"

#include <functional>
#include <string>
#include <vector>

struct FTarnwickResourceContent
{
	std::string MimeType;
	std::string Text;
};

struct FTarnwickResourceInfo
{
	std::string Uri;
	std::string Name;
	std::string Description;
	std::string MimeType;
	std::function<FTarnwickResourceContent(const std::string& Uri)> Handler;
};

class FTarnwickResourceRegistry
{
public:
	static FTarnwickResourceRegistry& Get();

	/** Registers a resource; a second registration of a URI replaces the first. */
	void Register(FTarnwickResourceInfo Info);
	const FTarnwickResourceInfo* Find(const std::string& Uri) const;
	/** In registration order. */
	const std::vector<FTarnwickResourceInfo>& GetAll() const { return Resources; }
	int32_t Num() const { return static_cast<int32_t>(Resources.size()); }
	void UnregisterAll();

	/** Broadcast (game thread) after a registration or UnregisterAll changes the list clients see. */
	TMulticastDelegate<> OnChanged;

private:
	std::vector<FTarnwickResourceInfo> Resources;
};
