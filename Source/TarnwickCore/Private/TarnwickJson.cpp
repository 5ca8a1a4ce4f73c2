#include "TarnwickJson.h"

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
