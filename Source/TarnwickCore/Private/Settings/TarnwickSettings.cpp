#include "TarnwickSettings.h"

#include "IniParser.h"
#include "Paths.h"
#include "Printf.h"
#include "TarnwickLog.h"
#include "TarnwickSettingsReader.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

namespace Tarnwick::Settings
{
namespace
{
constexpr const char* ConfigFileName = "DefaultTarnwick.ini";

void ReadBool(const Ini::FIniFile& Ini, const char* Key, bool& InOutValue, std::vector<std::string>& Problems)
{
	const std::string* Text = Ini.FindValue(UTarnwickSettings::SectionName, Key);
	if (Text && !Ini::ParseBool(*Text, InOutValue))
	{
		Problems.push_back(Tarnwick::Printf("%s: %s=\"%s\" is not a boolean (True or False); keeping %s",
			ConfigFileName, Key, Text->c_str(), InOutValue ? "True" : "False"));
	}
}

void ReadSeconds(const Ini::FIniFile& Ini, const char* Key, int32& InOutValue, std::vector<std::string>& Problems)
{
	const std::string* Text = Ini.FindValue(UTarnwickSettings::SectionName, Key);
	if (Text && !ParseLeaseSeconds(*Text, InOutValue))
	{
		Problems.push_back(Tarnwick::Printf("%s: %s=\"%s\" is not a whole number of seconds; keeping %d",
			ConfigFileName, Key, Text->c_str(), InOutValue));
	}
}
}

bool ParseLeaseSeconds(std::string_view Text, int32& OutSeconds)
{
	const bool bNegative = !Text.empty() && Text.front() == '-';
	if (!Text.empty() && (Text.front() == '+' || bNegative))
	{
		Text.remove_prefix(1);
	}
	if (Text.empty() || Text.front() == '+' || Text.front() == '-')
	{
		return false;
	}

	int64 Magnitude = 0;
	const auto [End, Ec] = std::from_chars(Text.data(), Text.data() + Text.size(), Magnitude);
	if (End != Text.data() + Text.size() || (Ec != std::errc() && Ec != std::errc::result_out_of_range))
	{
		return false;
	}
	// from_chars leaves Magnitude untouched when the number is out of range, so test that first.
	if (bNegative || (Ec == std::errc() && Magnitude < 1))
	{
		OutSeconds = 1;
	}
	else if (Ec == std::errc::result_out_of_range || Magnitude > std::numeric_limits<int32>::max())
	{
		OutSeconds = std::numeric_limits<int32>::max();
	}
	else
	{
		OutSeconds = static_cast<int32>(Magnitude);
	}
	return true;
}

FSettingsRead ReadSettings(std::string_view IniText)
{
	const Ini::FIniFile Ini = Ini::Parse(IniText);
	FSettingsRead Read;
	UTarnwickSettings& S = Read.Settings;
	ReadBool(Ini, "bEnableEditor", S.bEnableEditor, Read.Problems);
	ReadBool(Ini, "bAllowEditorRestart", S.bAllowEditorRestart, Read.Problems);
	ReadBool(Ini, "bUseRestartLock", S.bUseRestartLock, Read.Problems);
	ReadSeconds(Ini, "RestartLockSeconds", S.RestartLockSeconds, Read.Problems);
	ReadBool(Ini, "bUseCompileLock", S.bUseCompileLock, Read.Problems);
	ReadSeconds(Ini, "CompileLockSeconds", S.CompileLockSeconds, Read.Problems);
	ReadBool(Ini, "bAllowRestartOnCrash", S.bAllowRestartOnCrash, Read.Problems);
	return Read;
}
}

std::string UTarnwickSettings::GetConfigFilePath()
{
	return FPaths::ProjectConfigDir() + Tarnwick::Settings::ConfigFileName;
}

UTarnwickSettings UTarnwickSettings::FromIniText(const std::string& Text)
{
	Tarnwick::Settings::FSettingsRead Read = Tarnwick::Settings::ReadSettings(Text);
	for (const std::string& Problem : Read.Problems)
	{
		TW_LOG(LogTarnwick, Warning, "%s", Problem.c_str());
	}
	return Read.Settings;
}

UTarnwickSettings UTarnwickSettings::Get()
{
	const std::string Path = GetConfigFilePath();
	std::error_code Ec;
	const std::filesystem::file_status Status = std::filesystem::status(Path, Ec);
	if (Status.type() == std::filesystem::file_type::not_found)
	{
		return UTarnwickSettings();
	}

	std::ifstream In;
	if (std::filesystem::is_regular_file(Status))
	{
		In.open(Path, std::ios::binary);
	}
	if (!In.is_open())
	{
		TW_LOG(LogTarnwick, Warning, "Could not read %s; using default settings", Path.c_str());
		return UTarnwickSettings();
	}
	const std::string Text{std::istreambuf_iterator<char>(In), std::istreambuf_iterator<char>()};
	return FromIniText(Text);
}
