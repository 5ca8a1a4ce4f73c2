#include "PieSmoke/SmokeParamReaders.h"

#include "Logs/LogTextMatch.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Tarnwick::PieSmoke
{
const FJson* FindValue(const FJson& Object, std::string_view Key)
{
	if (!Object.is_object()) return nullptr;
	const auto It = Object.find(Key);
	if (It == Object.end() || It->is_null()) return nullptr;
	return &*It;
}

std::optional<double> ReadNumber(const FJson& Object, std::string_view Key)
{
	const FJson* Value = FindValue(Object, Key);
	if (!Value || !Value->is_number()) return std::nullopt;
	return Value->get<double>();
}

double ReadNumber(const FJson& Object, std::string_view Key, double Default)
{
	return ReadNumber(Object, Key).value_or(Default);
}

int32 ReadClampedInt(const FJson& Object, std::string_view Key, int32 Default, int32 Min, int32 Max)
{
	const std::optional<double> Value = ReadNumber(Object, Key);
	if (!Value || std::isnan(*Value)) return Default;
	// Clamp before the conversion: a double beyond int32 has no defined conversion.
	const double Truncated = std::trunc(Clamp(*Value, static_cast<double>(Min), static_cast<double>(Max)));
	return static_cast<int32>(Truncated);
}

bool ReadBool(const FJson& Object, std::string_view Key, bool Default)
{
	const FJson* Value = FindValue(Object, Key);
	return Value && Value->is_boolean() ? Value->get<bool>() : Default;
}

std::string ReadString(const FJson& Object, std::string_view Key, const std::string& Default)
{
	const FJson* Value = FindValue(Object, Key);
	return Value && Value->is_string() ? Value->get<std::string>() : Default;
}

std::vector<std::string> ReadStringArray(const FJson& Object, std::string_view Key)
{
	std::vector<std::string> Out;
	const FJson* Value = FindValue(Object, Key);
	if (!Value || !Value->is_array()) return Out;
	for (const FJson& Element : *Value)
	{
		if (Element.is_string() && !Element.get_ref<const std::string&>().empty()) Out.push_back(Element.get<std::string>());
	}
	return Out;
}

double Clamp(double Value, double Min, double Max)
{
	if (std::isnan(Value)) return Min;
	return std::min(std::max(Value, Min), Max);
}

bool EqualsIgnoreCase(std::string_view A, std::string_view B)
{
	return A.size() == B.size() && Tarnwick::Logs::CompareIgnoreAsciiCase(A, B) == 0;
}

std::string DescribeJson(const FJson& Value)
{
	if (Value.is_string()) return Value.get<std::string>();
	return FTarnwickJsonUtils::Write(Value);
}
}
