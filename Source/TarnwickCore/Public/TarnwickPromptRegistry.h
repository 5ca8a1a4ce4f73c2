// MCP prompts: named, parameterised message templates a client lists and fetches.
#pragma once
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct FTarnwickPromptArgument
{
	std::string Name;
	std::string Description;
	std::optional<std::string> Default;
	/** Suggested values offered to completion/complete. */
	std::vector<std::string> Suggestions;
	bool bRequired = false;
};

struct FTarnwickPromptMessage
{
	std::string Role = "user";
	std::string Text;
};

struct FTarnwickPromptInfo
{
	std::string Name;
	std::string Description;
	std::vector<FTarnwickPromptArgument> Arguments;
	/** The description that accompanies the rendered messages. */
	std::string MessageDescription;
	/** Renders the prompt from the client's argument values. */
	std::function<std::vector<FTarnwickPromptMessage>(const std::map<std::string, std::string>& Args)> Render;
};

class FTarnwickPromptRegistry
{
public:
	static FTarnwickPromptRegistry& Get();

	/** Registers a prompt; a second registration of a name replaces the first. */
	void Register(FTarnwickPromptInfo Info);
	const FTarnwickPromptInfo* Find(const std::string& Name) const;
	/** In registration order. */
	const std::vector<FTarnwickPromptInfo>& GetAll() const { return Prompts; }
	int32_t Num() const { return static_cast<int32_t>(Prompts.size()); }
	void UnregisterAll() { Prompts.clear(); }

private:
	std::vector<FTarnwickPromptInfo> Prompts;
};
