// Reading a report that may be partial or come from an older build: every accessor answers a default instead
// of throwing, so a writer never fails on a missing or oddly typed key.
#pragma once
#include "SmokeSuiteResult.h"

#include <optional>
#include <string>
#include <string_view>

namespace Tarnwick::Reports
{
/** The member named Key of an object, or null when Value is not an object or has no such member. */
const FJson* FindKey(const FJson& Value, std::string_view Key);
/** The member when it is an object (or array for FindArray), else null. */
const FJson* FindObject(const FJson& Value, std::string_view Key);
const FJson* FindArray(const FJson& Value, std::string_view Key);

std::optional<double> OptNumber(const FJson& Value, std::string_view Key);
double Number(const FJson& Value, std::string_view Key, double Default);
std::optional<bool> OptBool(const FJson& Value, std::string_view Key);
bool Bool(const FJson& Value, std::string_view Key, bool Default);
/** A string member; numbers and bools are printed, anything else gives Default. */
std::string String(const FJson& Value, std::string_view Key, const std::string& Default = std::string());

/** Compact JSON text that never throws (invalid UTF-8 is replaced). */
std::string JsonText(const FJson& Value, int Indent = -1);
/** A value as a person reads it: strings bare, numbers with %g, bools true/false, others as compact JSON. */
std::string DisplayValue(const FJson& Value);
}
