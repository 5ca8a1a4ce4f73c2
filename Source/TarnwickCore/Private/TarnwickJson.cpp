#include "TarnwickJson.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

FJsonPtr FTarnwickJsonUtils::Parse(std::string_view Text)
{
	std::optional<FJson> Value = ParseValue(Text);
	if (!Value || !Value->is_object())
	{
		return nullptr;
	}
	return std::make_shared<FJson>(std::move(*Value));
}

std::optional<FJson> FTarnwickJsonUtils::ParseValue(std::string_view Text)
{
	if (NestingDepth(Text) > MaxNestingDepth)
	{
		return std::nullopt;
	}
	FJson Value = FJson::parse(Text.begin(), Text.end(), nullptr, /*allow_exceptions=*/false);
	if (Value.is_discarded())
	{
		return std::nullopt;
	}
	return Value;
}

std::string FTarnwickJsonUtils::Write(const FJson& Value)
{
	return Value.dump(-1, ' ', false, nlohmann::detail::error_handler_t::replace);
}

size_t FTarnwickJsonUtils::NestingDepth(std::string_view Text, size_t Limit)
{
	size_t Depth = 0;
	size_t Deepest = 0;
	bool bInString = false;
	for (size_t Index = 0; Index < Text.size(); ++Index)
	{
		const char C = Text[Index];
		if (bInString)
		{
			if (C == '\\')
			{
				++Index;
			}
			else if (C == '"')
			{
				bInString = false;
			}
			continue;
		}
		switch (C)
		{
		case '"':
			bInString = true;
			break;
		case '[':
		case '{':
			if (++Depth > Deepest)
			{
				Deepest = Depth;
				if (Deepest > Limit) return Limit + 1;
			}
			break;
		case ']':
		case '}':
			if (Depth > 0) --Depth;
			break;
		default:
			break;
		}
	}
	return Deepest;
}

std::string FTarnwickJsonUtils::Describe(const FJson& Value)
{
	constexpr size_t MaxShown = 40;
	switch (Value.type())
	{
	case FJson::value_t::null: return "null";
	case FJson::value_t::boolean: return Value.get<bool>() ? "true" : "false";
	case FJson::value_t::number_integer:
	case FJson::value_t::number_unsigned:
	case FJson::value_t::number_float: return "the number " + Write(Value);
	case FJson::value_t::string:
	{
		const std::string& Text = Value.get_ref<const std::string&>();
		if (Text.size() <= MaxShown) return "the string " + Write(Value);
		// Cut at a character boundary so the excerpt stays valid UTF-8.
		size_t Cut = MaxShown;
		while (Cut > 0 && (static_cast<unsigned char>(Text[Cut]) & 0xC0) == 0x80) --Cut;
		return "the string " + Write(FJson(Text.substr(0, Cut) + "…")) + " (" + std::to_string(Text.size()) + " bytes)";
	}
	case FJson::value_t::array:
		return Value.size() == 1 ? std::string("an array of 1 item") : "an array of " + std::to_string(Value.size()) + " items";
	case FJson::value_t::object: return "an object";
	case FJson::value_t::binary:
	case FJson::value_t::discarded: break;
	}
	return "an unreadable value";
}

double FTarnwickJsonUtils::FloatAsShortestDouble(float Value)
{
	if (!std::isfinite(Value)) return static_cast<double>(Value);
	char Buffer[64];
	const auto Result = std::to_chars(Buffer, Buffer + sizeof(Buffer), Value);
	double Out = static_cast<double>(Value);
	std::from_chars(Buffer, Result.ptr, Out);
	return Out;
}
