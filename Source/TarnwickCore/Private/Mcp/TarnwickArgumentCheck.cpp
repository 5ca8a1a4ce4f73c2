#include "Mcp/TarnwickArgumentCheck.h"

#include "Mcp/TarnwickNameSuggestion.h"
#include "Printf.h"

#include <cmath>
#include <limits>

namespace Tarnwick::Mcp
{
namespace
{
bool EqualsNoCase(std::string_view A, std::string_view B)
{
	if (A.size() != B.size()) return false;
	for (size_t I = 0; I < A.size(); ++I)
	{
		const auto Lower = [](char C) { return (C >= 'A' && C <= 'Z') ? static_cast<char>(C - 'A' + 'a') : C; };
		if (Lower(A[I]) != Lower(B[I])) return false;
	}
	return true;
}

/** The alternatives of a registered type name ("array|object" has two); "bool" reads as "boolean". */
std::vector<std::string> SplitType(std::string_view TypeName)
{
	std::vector<std::string> Parts;
	size_t Start = 0;
	while (Start <= TypeName.size())
	{
		const size_t Bar = std::min(TypeName.find('|', Start), TypeName.size());
		std::string Part(TypeName.substr(Start, Bar - Start));
		Parts.push_back(Part == "bool" ? "boolean" : Part);
		Start = Bar + 1;
	}
	return Parts;
}

bool IsKnownType(const std::string& Type)
{
	return Type == "string" || Type == "number" || Type == "integer" || Type == "boolean" || Type == "array" || Type == "object";
}

bool IsIntegral(const FJson& Value)
{
	if (Value.is_number_integer()) return true;
	if (!Value.is_number_float()) return false;
	const double D = Value.get<double>();
	return std::isfinite(D) && std::trunc(D) == D;
}

/** A float with no fraction as the integer it is, when it fits; anything else unchanged. */
FJson AsInteger(const FJson& Value)
{
	if (!Value.is_number_float()) return Value;
	const double D = Value.get<double>();
	if (D >= -9.2e18 && D <= 9.2e18) return FJson(static_cast<int64_t>(D));
	return Value;
}

bool Matches(const FJson& Value, const std::string& Type)
{
	if (Type == "string") return Value.is_string();
	if (Type == "number") return Value.is_number();
	if (Type == "integer") return IsIntegral(Value);
	if (Type == "boolean") return Value.is_boolean();
	if (Type == "array") return Value.is_array();
	if (Type == "object") return Value.is_object();
	return false;
}

/** Text that is exactly a JSON number ("5", "-2.5", "1e3"; not " 5", "0x10", "NaN" or "1e400"). */
std::optional<FJson> NumberInText(const std::string& Text)
{
	if (Text.empty()) return std::nullopt;
	const char First = Text.front();
	const char Last = Text.back();
	if (!(First == '-' || (First >= '0' && First <= '9')) || !(Last >= '0' && Last <= '9')) return std::nullopt;
	FJson Parsed = FJson::parse(Text, nullptr, false);
	if (Parsed.is_discarded() || !Parsed.is_number()) return std::nullopt;
	return Parsed;
}

/** The value the parameter takes for Value, or nothing when its type is not one the parameter takes. */
std::optional<FJson> Accept(const FJson& Value, const std::vector<std::string>& Types)
{
	bool bAllKnown = true;
	for (const std::string& Type : Types)
	{
		if (!IsKnownType(Type))
		{
			bAllKnown = false;
			continue;
		}
		if (Matches(Value, Type)) return Type == "integer" ? AsInteger(Value) : Value;
	}
	if (!bAllKnown) return Value;
	if (!Value.is_string()) return std::nullopt;
	// Text standing in for a number or a boolean, as models and shells often send it.
	const std::string& Text = Value.get_ref<const std::string&>();
	for (const std::string& Type : Types)
	{
		if (Type == "boolean" && (EqualsNoCase(Text, "true") || EqualsNoCase(Text, "false")))
		{
			return FJson(EqualsNoCase(Text, "true"));
		}
		if (Type == "number" || Type == "integer")
		{
			std::optional<FJson> Number = NumberInText(Text);
			if (!Number) continue;
			if (Type == "number") return Number;
			if (IsIntegral(*Number)) return AsInteger(*Number);
		}
	}
	return std::nullopt;
}

const char* Article(const std::string& Type)
{
	return (Type == "integer" || Type == "array" || Type == "object") ? "an " : "a ";
}

/** The parameter whose name or alias is Name, or null. */
const FJson* FindEntry(const FJson& ParamSchema, const std::string& Name)
{
	if (auto It = ParamSchema.find(Name); It != ParamSchema.end()) return &*It;
	for (const auto& [Param, Entry] : ParamSchema.items())
	{
		const auto Aliases = Entry.find("aliases");
		if (Aliases == Entry.end() || !Aliases->is_array()) continue;
		for (const FJson& Alias : *Aliases)
		{
			if (Alias.is_string() && Alias.get_ref<const std::string&>() == Name) return &Entry;
		}
	}
	return nullptr;
}
}

std::string DescribeParamType(std::string_view TypeName)
{
	const std::vector<std::string> Types = SplitType(TypeName);
	std::string Out;
	for (size_t I = 0; I < Types.size(); ++I)
	{
		if (I > 0) Out += I + 1 == Types.size() ? " or " : ", ";
		Out += Article(Types[I]) + Types[I];
	}
	if (Types.size() == 1 && Types[0] == "boolean") Out += " (true or false)";
	return Out;
}

std::vector<std::string> KnownParameterNames(const FJson& ParamSchema)
{
	std::vector<std::string> Names;
	if (!ParamSchema.is_object()) return Names;
	for (const auto& [Param, Entry] : ParamSchema.items()) Names.push_back(Param);
	for (const auto& [Param, Entry] : ParamSchema.items())
	{
		const auto Aliases = Entry.find("aliases");
		if (Aliases == Entry.end() || !Aliases->is_array()) continue;
		for (const FJson& Alias : *Aliases)
		{
			if (Alias.is_string()) Names.push_back(Alias.get<std::string>());
		}
	}
	return Names;
}

std::optional<std::string> CheckArguments(const FJson& ParamSchema, FJson& Arguments, std::string_view ToolName)
{
	if (!Arguments.is_object()) return Printf("The arguments of %.*s must be an object", static_cast<int>(ToolName.size()), ToolName.data());
	const FJson Schema = ParamSchema.is_object() ? ParamSchema : FJson::object();
	const std::vector<std::string> Known = KnownParameterNames(Schema);
	const std::string Tool(ToolName);

	std::vector<std::string> Unknown;
	std::vector<std::string> Mistyped;
	for (auto It = Arguments.begin(); It != Arguments.end();)
	{
		if (It->is_null())
		{
			It = Arguments.erase(It);
			continue;
		}
		const std::string Name = It.key();
		const FJson* Entry = FindEntry(Schema, Name);
		if (!Entry)
		{
			Unknown.push_back("'" + Name + "'" + DidYouMean(Name, Known));
			++It;
			continue;
		}
		const std::string Type = Entry->is_object() ? Entry->value("type", std::string()) : std::string();
		if (Type.empty())
		{
			++It;
			continue;
		}
		if (std::optional<FJson> Accepted = Accept(*It, SplitType(Type)))
		{
			*It = std::move(*Accepted);
		}
		else
		{
			Mistyped.push_back(Printf("'%s' must be %s, got %s", Name.c_str(), DescribeParamType(Type).c_str(),
				FTarnwickJsonUtils::Describe(*It).c_str()));
		}
		++It;
	}
	if (Unknown.empty() && Mistyped.empty()) return std::nullopt;

	std::string Message;
	if (!Unknown.empty())
	{
		Message = Unknown.size() == 1 ? Printf("Unknown parameter %s for %s", Unknown[0].c_str(), Tool.c_str())
									  : Printf("Unknown parameters for %s: %s", Tool.c_str(), JoinNames(Unknown).c_str());
		Message += Schema.empty() ? "; it takes no parameters." : Printf("; it takes %s.", JoinNames(Known, true).c_str());
	}
	if (!Mistyped.empty())
	{
		if (!Message.empty()) Message += " ";
		Message += Printf("Wrong type for %s: %s.", Tool.c_str(), JoinNames(Mistyped).c_str());
	}
	return Message;
}
}
