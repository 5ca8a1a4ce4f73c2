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

namespace
{
/** items, minItems, maxItems and enum from a parameter's "shape". */
void AddShape(FJson& Property, const FJson& Shape)
{
	if (auto Items = Shape.find("items"); Items != Shape.end() && Items->is_string())
	{
		Property["items"] = FJson{{"type", MapType(Items->get<std::string>())}};
	}
	if (auto Min = Shape.find("min_items"); Min != Shape.end() && Min->is_number_integer())
	{
		Property["minItems"] = *Min;
	}
	if (auto Max = Shape.find("max_items"); Max != Shape.end() && Max->is_number_integer())
	{
		Property["maxItems"] = *Max;
	}
	if (auto Enum = Shape.find("enum"); Enum != Shape.end() && Enum->is_array() && !Enum->empty())
	{
		Property["enum"] = *Enum;
	}
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
			if (auto Shape = Entry.find("shape"); Shape != Entry.end() && Shape->is_object())
			{
				AddShape(Property, *Shape);
			}
			if (Entry.value("required", false)) Required.push_back(Name);
			Properties[Name] = std::move(Property);
		}
	}
	FJson Schema = FJson::object();
	Schema["type"] = "object";
	Schema["properties"] = std::move(Properties);
	if (!Required.empty()) Schema["required"] = std::move(Required);
	// Arguments are checked against the parameters before a handler runs; saying so lets clients catch a
	// misspelt name before sending it.
	Schema["additionalProperties"] = false;
	return Schema;
}
}

namespace Tarnwick::Mcp
{
namespace
{
std::string Humanise(const std::string& Name)
{
	static const std::vector<std::pair<std::string, std::string>> Acronyms = {{"pie", "PIE"}, {"fov", "FOV"},
		{"pbr", "PBR"}, {"gif", "GIF"}, {"png", "PNG"}, {"ai", "AI"}, {"gas", "GAS"}, {"uat", "UAT"}, {"id", "ID"},
		{"ui", "UI"}, {"uproperties", "UProperties"}, {"mcp", "MCP"}, {"csv", "CSV"}, {"url", "URL"}};
	std::string Out;
	size_t Start = 0;
	while (Start <= Name.size())
	{
		const size_t End = std::min(Name.find('_', Start), Name.size());
		std::string Word = Name.substr(Start, End - Start);
		Start = End + 1;
		if (Word.empty()) continue;
		const auto Acronym = std::find_if(Acronyms.begin(), Acronyms.end(), [&](const auto& A) { return A.first == Word; });
		if (Acronym != Acronyms.end())
		{
			Word = Acronym->second;
		}
		else if (Word[0] >= 'a' && Word[0] <= 'z')
		{
			Word[0] = static_cast<char>(Word[0] - 'a' + 'A');
		}
		Out += (Out.empty() ? "" : " ") + Word;
	}
	return Out;
}
}

std::string MakeToolTitle(const std::string& Namespace, const std::string& Action)
{
	if (Action.empty()) return Humanise(Namespace) + " actions";
	const std::string Words = Humanise(Action);
	if (Namespace == "editor" || Namespace == "brindle") return Words;
	return Humanise(Namespace) + ": " + Words;
}
}
