// Turns the text of DefaultTarnwick.ini into UTarnwickSettings. UTarnwickSettings::FromIniText logs what this
// returns; tests call it directly to see which values were rejected and why.
//
// A key whose value cannot be read keeps its default and adds one problem line naming the key and the value.
// Lease seconds are clamped to at least 1: a lease of zero would be expired the moment it was taken.
#pragma once
#include "TarnwickSettings.h"

#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::Settings
{
struct FSettingsRead
{
	UTarnwickSettings Settings;
	std::vector<std::string> Problems;
};

FSettingsRead ReadSettings(std::string_view IniText);

/** A whole decimal integer (optional sign), clamped to [1, INT32_MAX]; false for anything else. */
bool ParseLeaseSeconds(std::string_view Text, int32& OutSeconds);
}
