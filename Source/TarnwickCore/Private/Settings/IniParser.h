// The engine's ini syntax, read into sections of keys the way FConfigFile reads a config file. The settings
// loader hands it the text of DefaultTarnwick.ini; it is pure (no files, no logging) so its rules can be
// tested case by case.
//
// Lines are trimmed; ';' and '#' start a comment line; "[Name]" opens a section; "Key=Value" sets a key and
// replaces what earlier lines set. The array forms are kept too: "+Key=V" adds V unless present, ".Key=V"
// adds V, "-Key=V" removes V, "!Key" clears the key. Section and key names compare case-insensitively, as
// the engine's names do. A value wrapped in double quotes loses the quotes and its \" and \\ escapes.
#pragma once
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::Ini
{
struct FCaseInsensitiveLess
{
	using is_transparent = void;
	bool operator()(std::string_view A, std::string_view B) const;
};

/** Each key's values in file order; a plain Key=Value line leaves exactly one. */
using FIniSection = std::map<std::string, std::vector<std::string>, FCaseInsensitiveLess>;

struct FIniFile
{
	std::map<std::string, FIniSection, FCaseInsensitiveLess> Sections;

	/** The key's last value; null when the section or key is absent or the key was cleared. */
	const std::string* FindValue(std::string_view Section, std::string_view Key) const;
	/** All values of an array key; null when absent. */
	const std::vector<std::string>* FindValues(std::string_view Section, std::string_view Key) const;
};

FIniFile Parse(std::string_view Text);

/** True/False, Yes/No, On/Off, 1/0, in any letter case; false when the text is none of them. */
bool ParseBool(std::string_view Text, bool& OutValue);
}
