// Builds an action's parameter schema: one JSON object keyed by parameter name, each entry holding
// "type", "description", "required", then "default" (text, only when non-empty), "aliases" (only when
// given), "kind" (only when not None) and "shape" (only when given), in that order. Adding a name twice
// replaces the earlier entry.
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

/**
 * What a parameter's value looks like beyond its type, for clients that show or check it: the entry's
 * optional "shape" object, {"items", "min_items", "max_items", "enum"} with only the members given. The MCP
 * input schema turns it into JSON Schema's items, minItems, maxItems and enum.
 */
struct FTarnwickParamShape
{
	/** Arrays: the registered type name of every element ("number", "string", "object"); empty = any. */
	std::string Items;
	/** Arrays: bounds on the number of elements; -1 = none. */
	int MinItems = -1;
	int MaxItems = -1;
	/** Strings: the only values the handler accepts, as it names them (it may ignore their case). */
	std::vector<std::string> Enum;

	bool IsEmpty() const { return Items.empty() && MinItems < 0 && MaxItems < 0 && Enum.empty(); }
	FJson ToJson() const;

	/** An array of Count elements of type ItemType: a location, a rotation or a target is Exactly(3, "number"). */
	static FTarnwickParamShape Exactly(int Count, std::string ItemType);
	static FTarnwickParamShape ArrayOf(std::string ItemType, int MinItems = -1, int MaxItems = -1);
	static FTarnwickParamShape OneOf(std::vector<std::string> Values);
};

class FTarnwickParamSchemaBuilder
{
public:
	FTarnwickParamSchemaBuilder& Add(const std::string& Name, const std::string& Type, const std::string& Description,
		bool bRequired, const std::string& Default, bool bHasDefault, const std::vector<std::string>& Aliases = {},
		EParamKind Kind = EParamKind::None, const FTarnwickParamShape& Shape = {});
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
