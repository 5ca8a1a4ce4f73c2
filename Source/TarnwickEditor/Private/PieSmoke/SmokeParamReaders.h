// Reading the scalar options of a smoke spec: a key that is absent or null keeps its default; numbers are
// clamped where the option has a documented range. The shapes were checked first (SmokeParamShape.h), so a
// present key always has its documented JSON type here.
#pragma once
#include "HostTypes.h"
#include "TarnwickJson.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::PieSmoke
{
/** The value under Key when present and not null. */
const FJson* FindValue(const FJson& Object, std::string_view Key);

std::optional<double> ReadNumber(const FJson& Object, std::string_view Key);
double ReadNumber(const FJson& Object, std::string_view Key, double Default);
/** A number truncated toward zero and clamped into [Min, Max]; Default when absent. */
int32 ReadClampedInt(const FJson& Object, std::string_view Key, int32 Default, int32 Min, int32 Max);
bool ReadBool(const FJson& Object, std::string_view Key, bool Default);
std::string ReadString(const FJson& Object, std::string_view Key, const std::string& Default = std::string());
/** The string elements of the array under Key, empty ones dropped. */
std::vector<std::string> ReadStringArray(const FJson& Object, std::string_view Key);

double Clamp(double Value, double Min, double Max);
bool EqualsIgnoreCase(std::string_view A, std::string_view B);
/** A JSON value as the agent wrote it, for messages ("5", "true", "[1,2]"); a string without quotes. */
std::string DescribeJson(const FJson& Value);
}
