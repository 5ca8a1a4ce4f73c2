// JSON as every module uses it: insertion-ordered objects, because report key order is part of the interface.
#pragma once
#include <nlohmann/json.hpp>

#include <cstddef>
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
	/**
	 * How deep arrays and objects may nest in text we parse. nlohmann's parser is iterative, but copying,
	 * comparing and dumping a value recurse once per level, so a value nested tens of thousands deep would
	 * overflow the stack the first time it is copied. No real argument, project file or message comes close.
	 */
	static constexpr size_t MaxNestingDepth = 256;

	/** Parses text holding one JSON object; null for anything else (bad JSON, too deep, or not an object). */
	static FJsonPtr Parse(std::string_view Text);
	/** Parses any JSON value; nullopt on bad JSON or nesting past MaxNestingDepth. Never throws. */
	static std::optional<FJson> ParseValue(std::string_view Text);
	/** Compact serialisation that never throws (invalid UTF-8 is replaced). */
	static std::string Write(const FJson& Value);

	/**
	 * The deepest nesting of arrays and objects in Text, counted on the raw bytes (brackets inside strings do
	 * not count) without parsing or allocating; stops counting once past Limit and returns Limit + 1. Text need
	 * not be valid JSON: this is the cheap guard that runs before anything parses it.
	 */
	static size_t NestingDepth(std::string_view Text, size_t Limit = MaxNestingDepth);

	/** A few words on a value for messages: "the number 1", "the string \"five\"", "an array of 2 items". */
	static std::string Describe(const FJson& Value);

	/** The double that prints as the float does (75.55f becomes 75.55, not 75.55000305175781). */
	static double FloatAsShortestDouble(float Value);
};
