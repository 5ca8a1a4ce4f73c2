#include "ReportJson.h"

#include "Printf.h"

namespace Tarnwick::Reports
{
const FJson* FindKey(const FJson& Value, std::string_view Key)
{
	if (!Value.is_object())
	{
		return nullptr;
	}
	const auto It = Value.find(Key);
	return It == Value.end() ? nullptr : &*It;
}

const FJson* FindObject(const FJson& Value, std::string_view Key)
{
	const FJson* Found = FindKey(Value, Key);
	return Found && Found->is_object() ? Found : nullptr;
}

const FJson* FindArray(const FJson& Value, std::string_view Key)
{
	const FJson* Found = FindKey(Value, Key);
	return Found && Found->is_array() ? Found : nullptr;
}

std::optional<double> OptNumber(const FJson& Value, std::string_view Key)
{
	const FJson* Found = FindKey(Value, Key);
	if (!Found || !Found->is_number())
	{
		return std::nullopt;
	}
	return Found->get<double>();
}

double Number(const FJson& Value, std::string_view Key, double Default)
{
	return OptNumber(Value, Key).value_or(Default);
}

std::optional<bool> OptBool(const FJson& Value, std::string_view Key)
{
	const FJson* Found = FindKey(Value, Key);
	if (!Found || !Found->is_boolean())
	{
		return std::nullopt;
	}
	return Found->get<bool>();
}

bool Bool(const FJson& Value, std::string_view Key, bool Default)
{
	return OptBool(Value, Key).value_or(Default);
}

std::string String(const FJson& Value, std::string_view Key, const std::string& Default)
{
	const FJson* Found = FindKey(Value, Key);
	if (!Found)
	{
		return Default;
	}
	if (Found->is_string())
	{
		return Found->get<std::string>();
	}
	if (Found->is_number() || Found->is_boolean())
	{
		return DisplayValue(*Found);
	}
	return Default;
}

std::string JsonText(const FJson& Value, int Indent)
{
	return Value.dump(Indent, ' ', false, FJson::error_handler_t::replace);
}

std::string DisplayValue(const FJson& Value)
{
	if (Value.is_string())
	{
		return Value.get<std::string>();
	}
	if (Value.is_boolean())
	{
		return Value.get<bool>() ? "true" : "false";
	}
	if (Value.is_number_integer())
	{
		return JsonText(Value);
	}
	if (Value.is_number())
	{
		return Printf("%g", Value.get<double>());
	}
	return JsonText(Value);
}
}
