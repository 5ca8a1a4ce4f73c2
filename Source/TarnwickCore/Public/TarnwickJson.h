// JSON as every module uses it: insertion-ordered objects, because report key order is part of the interface.
#pragma once
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

using FJson = nlohmann::ordered_json;
using FJsonPtr = std::shared_ptr<FJson>;

inline FJsonPtr MakeJsonObject() { return std::make_shared<FJson>(FJson::object()); }
inline FJsonPtr MakeJsonObject(FJson Value) { return std::make_shared<FJson>(std::move(Value)); }

struct FTarnwickJsonUtils
{
	/** Parses text holding one JSON object; null for anything else (bad JSON, or not an object). */
	static FJsonPtr Parse(std::string_view Text);
	/** Parses any JSON value; nullopt on bad JSON. Never throws. */
	static std::optional<FJson> ParseValue(std::string_view Text);
	/** Compact serialisation that never throws (invalid UTF-8 is replaced). */
	static std::string Write(const FJson& Value);
};
