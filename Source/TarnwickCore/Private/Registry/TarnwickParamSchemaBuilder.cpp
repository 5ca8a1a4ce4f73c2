#include "TarnwickParamSchemaBuilder.h"

const char* ToString(EParamKind Kind)
{
	switch (Kind)
	{
	case EParamKind::AssetPath: return "AssetPath";
	case EParamKind::DiskPath: return "DiskPath";
	case EParamKind::GameplayTag: return "GameplayTag";
	case EParamKind::Other: return "Other";
	case EParamKind::None: break;
	}
	return "";
}

FJson FTarnwickParamShape::ToJson() const
{
	FJson Out = FJson::object();
	if (!Items.empty()) Out["items"] = Items;
	if (MinItems >= 0) Out["min_items"] = MinItems;
	if (MaxItems >= 0) Out["max_items"] = MaxItems;
	if (!Enum.empty()) Out["enum"] = Enum;
	return Out;
}

FTarnwickParamShape FTarnwickParamShape::Exactly(int Count, std::string ItemType)
{
	return ArrayOf(std::move(ItemType), Count, Count);
}

FTarnwickParamShape FTarnwickParamShape::ArrayOf(std::string ItemType, int MinItems, int MaxItems)
{
	FTarnwickParamShape Shape;
	Shape.Items = std::move(ItemType);
	Shape.MinItems = MinItems;
	Shape.MaxItems = MaxItems;
	return Shape;
}

FTarnwickParamShape FTarnwickParamShape::OneOf(std::vector<std::string> Values)
{
	FTarnwickParamShape Shape;
	Shape.Enum = std::move(Values);
	return Shape;
}

FTarnwickParamSchemaBuilder& FTarnwickParamSchemaBuilder::Add(const std::string& Name, const std::string& Type,
	const std::string& Description, bool bRequired, const std::string& Default, bool bHasDefault,
	const std::vector<std::string>& Aliases, EParamKind Kind, const FTarnwickParamShape& Shape)
{
	FJson Entry = FJson::object();
	Entry["type"] = Type;
	Entry["description"] = Description;
	Entry["required"] = bRequired;
	if (bHasDefault)
	{
		Entry["default"] = Default;
	}
	if (!Aliases.empty())
	{
		Entry["aliases"] = Aliases;
	}
	if (Kind != EParamKind::None)
	{
		Entry["kind"] = ToString(Kind);
	}
	if (!Shape.IsEmpty())
	{
		Entry["shape"] = Shape.ToJson();
	}
	// A repeated name replaces the entry where it stands: ordered_json keeps the first insertion's position.
	Schema[Name] = std::move(Entry);
	return *this;
}

FTarnwickParamSchemaBuilder& FTarnwickParamSchemaBuilder::Optional(const std::string& Name, const std::string& Type,
	const std::string& Description, const std::string& Default)
{
	return Add(Name, Type, Description, false, Default, !Default.empty());
}

FTarnwickParamSchemaBuilder& FTarnwickParamSchemaBuilder::Required(const std::string& Name, const std::string& Type,
	const std::string& Description)
{
	return Add(Name, Type, Description, true, std::string(), false);
}

FTarnwickParamSchemaBuilder& FTarnwickParamSchemaBuilder::OptionalAssetPath(const std::string& Name, const std::string& Description)
{
	return Add(Name, "string", Description, false, std::string(), false, {}, EParamKind::AssetPath);
}

FTarnwickParamSchemaBuilder& FTarnwickParamSchemaBuilder::RequiredAssetPath(const std::string& Name, const std::string& Description)
{
	return Add(Name, "string", Description, true, std::string(), false, {}, EParamKind::AssetPath);
}

FTarnwickParamSchemaBuilder& FTarnwickParamSchemaBuilder::OptionalDiskPath(const std::string& Name, const std::string& Description)
{
	return Add(Name, "string", Description, false, std::string(), false, {}, EParamKind::DiskPath);
}

FJsonPtr FTarnwickParamSchemaBuilder::Build() const
{
	return std::make_shared<FJson>(Schema);
}
