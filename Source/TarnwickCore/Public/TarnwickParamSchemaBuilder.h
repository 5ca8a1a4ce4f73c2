// Builds an action's parameter schema: one JSON object keyed by parameter name, each entry holding
// "type", "description", "required", then "default" (text, only when non-empty), "aliases" (only when
// given) and "kind" (only when not None), in that order. Adding a name twice replaces the earlier entry.
#pragma once
#include "TarnwickJson.h"

#include <string>
#include <vector>

enum class EParamKind
{
	None,
	AssetPath,
	DiskPath,
	GameplayTag,
	Other,
};

const char* ToString(EParamKind Kind);

class FTarnwickParamSchemaBuilder
{
public:
	FTarnwickParamSchemaBuilder& Add(const std::string& Name, const std::string& Type, const std::string& Description,
		bool bRequired, const std::string& Default, bool bHasDefault, const std::vector<std::string>& Aliases = {},
		EParamKind Kind = EParamKind::None);
	FTarnwickParamSchemaBuilder& Optional(const std::string& Name, const std::string& Type, const std::string& Description,
		const std::string& Default = std::string());
	FTarnwickParamSchemaBuilder& Required(const std::string& Name, const std::string& Type, const std::string& Description);
	FTarnwickParamSchemaBuilder& OptionalAssetPath(const std::string& Name, const std::string& Description);
	FTarnwickParamSchemaBuilder& RequiredAssetPath(const std::string& Name, const std::string& Description);
	FTarnwickParamSchemaBuilder& OptionalDiskPath(const std::string& Name, const std::string& Description);
	/** The schema, shared with the registry. The builder can go on building a copy afterwards. */
	FJsonPtr Build() const;

private:
	FJson Schema = FJson::object();
};
