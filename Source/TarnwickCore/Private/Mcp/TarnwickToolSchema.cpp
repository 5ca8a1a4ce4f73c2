#include "Mcp/TarnwickToolSchema.h"

#include <algorithm>

namespace Tarnwick::Mcp
{
namespace
{
// The JSON Schema type (a string, or an array for unions) for a registered type name.
FJson MapType(const std::string& Type)
{
	if (Type == "bool" || Type == "boolean") return "boolean";
	if (Type.find('|') != std::string::npos)
	{
		FJson Union = FJson::array();
		size_t Start = 0;
		while (Start <= Type.size())
		{
			const size_t Bar = std::min(Type.find('|', Start), Type.size());
			const std::string Part = Type.substr(Start, Bar - Start);
			Union.push_back(Part == "bool" ? "boolean" : Part);
			Start = Bar + 1;
		}
		return Union;
	}
	return Type;
}

bool MatchesType(const FJson& Value, const std::string& JsonType)
{
	if (JsonType == "boolean") return Value.is_boolean();
	if (JsonType == "integer") return Value.is_number_integer();
	if (JsonType == "number") return Value.is_number();
	if (JsonType == "string") return Value.is_string();
	if (JsonType == "array") return Value.is_array();
	if (JsonType == "object") return Value.is_object();
	return false;
}

// The default in its JSON type, or nothing when the text is not a value of that type.
std::optional<FJson> TypedDefault(const std::string& Text, const FJson& SchemaType)
{
	std::vector<std::string> Types;
	if (SchemaType.is_array())
	{
		for (const FJson& T : SchemaType) Types.push_back(T.get<std::string>());
	}
	else
	{
		Types.push_back(SchemaType.get<std::string>());
	}
	FJson Parsed = FJson::parse(Text, nullptr, false);
	if (!Parsed.is_discarded())
	{
		for (const std::string& T : Types)
		{
			if (MatchesType(Parsed, T)) return Parsed;
		}
	}
	if (std::find(Types.begin(), Types.end(), "string") != Types.end())
	{
		return FJson(Text);
	}
	return std::nullopt;
}
}

FJson ToInputSchema(const FJson& ParamSchema)
{
	FJson Properties = FJson::object();
	FJson Required = FJson::array();
	if (ParamSchema.is_object())
	{
		for (const auto& [Name, Entry] : ParamSchema.items())
		{
			FJson Property = FJson::object();
			const std::string Type = Entry.value("type", std::string("string"));
			Property["type"] = MapType(Type);
			std::string Description = Entry.value("description", std::string());
			if (auto Aliases = Entry.find("aliases"); Aliases != Entry.end() && Aliases->is_array() && !Aliases->empty())
			{
				std::string List;
				for (const FJson& A : *Aliases) List += (List.empty() ? "" : ", ") + A.get<std::string>();
				Description += (Description.empty() ? "" : " ") + std::string("(also accepted as: ") + List + ")";
			}
			if (!Description.empty()) Property["description"] = Description;
			if (auto Default = Entry.find("default"); Default != Entry.end() && Default->is_string())
			{
				if (std::optional<FJson> Typed = TypedDefault(Default->get<std::string>(), Property["type"]))
				{
					Property["default"] = std::move(*Typed);
				}
			}
			if (Entry.value("required", false)) Required.push_back(Name);
			Properties[Name] = std::move(Property);
		}
	}
	FJson Schema = FJson::object();
	Schema["type"] = "object";
	Schema["properties"] = std::move(Properties);
	if (!Required.empty()) Schema["required"] = std::move(Required);
	return Schema;
}
}
