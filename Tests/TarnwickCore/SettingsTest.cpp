// The settings file: the ini reader's syntax rules, how values become settings, and reading the project's
// file afresh at every call.
#include "../../Source/TarnwickCore/Private/Settings/IniParser.h"
#include "../../Source/TarnwickCore/Private/Settings/TarnwickSettingsReader.h"
#include "Paths.h"
#include "TarnwickSettings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <limits>
#include <unistd.h>

namespace
{
using Tarnwick::Ini::FIniFile;
namespace fs = std::filesystem;

constexpr const char* Section = UTarnwickSettings::SectionName;

std::string Value(const FIniFile& File, const char* SectionName, const char* Key)
{
	const std::string* Found = File.FindValue(SectionName, Key);
	return Found ? *Found : "<absent>";
}

TEST(IniParserTest, ReadsEngineSyntax)
{
	struct FCase
	{
		const char* Name;
		const char* Text;
		const char* Expected; // value of [S] Key
	};
	const FCase Cases[] = {
		{"plain", "[S]\nKey=Value\n", "Value"},
		{"whitespace trimmed", "  [ S ]  \n\t Key \t=  spaced value \t\n", "spaced value"},
		{"later key overrides", "[S]\nKey=1\nKey=2\n", "2"},
		{"comment lines", "[S]\n; Key=1\n# Key=2\nKey=3\n;Key=4\n", "3"},
		{"no inline comments", "[S]\nKey=True ; note\n", "True ; note"},
		{"keys before any section", "Key=Stray\n[S]\n", "<absent>"},
		{"other section does not leak", "[S]\nKey=A\n[T]\nKey=B\n", "A"},
		{"reopened section merges", "[S]\nKey=A\n[T]\n[S]\nOther=1\n", "A"},
		{"names ignore case", "[s]\nKEY=Upper\n", "Upper"},
		{"CRLF and BOM", "\xEF\xBB\xBF[S]\r\nKey=Windows\r\n", "Windows"},
		{"quoted value", "[S]\nKey=\"a \\\"b\\\" \\\\ c\"\n", "a \"b\" \\ c"},
		{"empty value", "[S]\nKey=\n", ""},
		{"value keeps later '='", "[S]\nKey=a=b\n", "a=b"},
		{"unclosed header ignores its lines", "[S]\nKey=A\n[Broken\nKey=B\n", "A"},
		{"line without '=' ignored", "[S]\nKey=A\nKey\n", "A"},
		{"struct array lines ignored", "[S]\nKey=A\n@Key=B\n*Key=C\n", "A"},
		{"+ appends unique", "[S]\n+Key=A\n+Key=B\n+Key=A\n", "B"},
		{"- removes", "[S]\n+Key=A\n+Key=B\n-Key=B\n", "A"},
		{"! clears", "[S]\nKey=A\n!Key=ClearArray\n", "<absent>"},
	};
	for (const FCase& Case : Cases)
	{
		EXPECT_EQ(Value(Tarnwick::Ini::Parse(Case.Text), "S", "Key"), Case.Expected) << Case.Name;
	}
}

TEST(IniParserTest, ArrayOperationsKeepOrderAndDuplicates)
{
	const FIniFile File = Tarnwick::Ini::Parse("[S]\n+Arr=A\n.Arr=B\n.Arr=A\n+Arr=B\n-Arr=A\n.Arr=C\n");
	const std::vector<std::string>* Values = File.FindValues("S", "Arr");
	ASSERT_NE(Values, nullptr);
	EXPECT_EQ(*Values, (std::vector<std::string>{"B", "C"}));

	// A plain assignment replaces the whole array.
	EXPECT_EQ(*Tarnwick::Ini::Parse("[S]\n.Arr=A\n.Arr=B\nArr=C\n").FindValues("S", "Arr"), std::vector<std::string>{"C"});
}

TEST(IniParserTest, ParsesBooleansAndLeaseSeconds)
{
	for (const char* True : {"True", "true", "TRUE", "1", "yes", "Yes", "on"})
	{
		bool bValue = false;
		EXPECT_TRUE(Tarnwick::Ini::ParseBool(True, bValue) && bValue) << True;
	}
	for (const char* False : {"False", "false", "0", "no", "NO", "off"})
	{
		bool bValue = true;
		EXPECT_TRUE(Tarnwick::Ini::ParseBool(False, bValue) && !bValue) << False;
	}
	for (const char* Bad : {"", "2", "truee", "y", "True ; x"})
	{
		bool bValue = true;
		EXPECT_FALSE(Tarnwick::Ini::ParseBool(Bad, bValue)) << Bad;
		EXPECT_TRUE(bValue) << Bad;
	}

	const std::pair<const char*, int32> Seconds[] = {{"60", 60}, {"+5", 5}, {"0", 1}, {"-30", 1}, {"-99999999999999999999", 1},
		{"2147483647", 2147483647}, {"2147483648", 2147483647}, {"99999999999999999999", 2147483647}};
	for (const auto& [Text, Expected] : Seconds)
	{
		int32 Out = 0;
		EXPECT_TRUE(Tarnwick::Settings::ParseLeaseSeconds(Text, Out)) << Text;
		EXPECT_EQ(Out, Expected) << Text;
	}
	for (const char* Bad : {"", "+", "-", "1.5", "12abc", "--1", "+-1", " 7", "0x10"})
	{
		int32 Out = 42;
		EXPECT_FALSE(Tarnwick::Settings::ParseLeaseSeconds(Bad, Out)) << Bad;
		EXPECT_EQ(Out, 42) << Bad;
	}
}

TEST(SettingsReaderTest, ReadsEveryKey)
{
	const auto Read = Tarnwick::Settings::ReadSettings(
		"[/Script/TarnwickCore.TarnwickSettings]\n"
		"bEnableEditor=False\nbAllowEditorRestart=True\nbUseRestartLock=no\nRestartLockSeconds=15\n"
		"bUseCompileLock=0\nCompileLockSeconds=900\nbAllowRestartOnCrash=yes\n");
	const UTarnwickSettings& S = Read.Settings;
	EXPECT_TRUE(Read.Problems.empty());
	EXPECT_FALSE(S.bEnableEditor);
	EXPECT_TRUE(S.bAllowEditorRestart);
	EXPECT_FALSE(S.bUseRestartLock);
	EXPECT_EQ(S.RestartLockSeconds, 15);
	EXPECT_FALSE(S.bUseCompileLock);
	EXPECT_EQ(S.CompileLockSeconds, 900);
	EXPECT_TRUE(S.bAllowRestartOnCrash);
}

TEST(SettingsReaderTest, MalformedValuesKeepDefaultsAndAreReported)
{
	const auto Read = Tarnwick::Settings::ReadSettings(std::string("[") + Section + "]\n"
		"bEnableEditor=maybe\nRestartLockSeconds=soon\nCompileLockSeconds=0\nbUseCompileLock=\n[Other]\nbAllowEditorRestart=True\n");
	const UTarnwickSettings Defaults;
	EXPECT_EQ(Read.Settings.bEnableEditor, Defaults.bEnableEditor);
	EXPECT_EQ(Read.Settings.RestartLockSeconds, Defaults.RestartLockSeconds);
	EXPECT_EQ(Read.Settings.bUseCompileLock, Defaults.bUseCompileLock);
	EXPECT_EQ(Read.Settings.bAllowEditorRestart, Defaults.bAllowEditorRestart) << "keys of another section are not settings";
	EXPECT_EQ(Read.Settings.CompileLockSeconds, 1) << "zero seconds is clamped, not rejected";

	ASSERT_EQ(Read.Problems.size(), 3u);
	EXPECT_EQ(Read.Problems[0], "DefaultTarnwick.ini: bEnableEditor=\"maybe\" is not a boolean (True or False); keeping True");
	EXPECT_EQ(Read.Problems[1], "DefaultTarnwick.ini: RestartLockSeconds=\"soon\" is not a whole number of seconds; keeping 60");
	EXPECT_NE(Read.Problems[2].find("bUseCompileLock=\"\""), std::string::npos);
}

class SettingsFileTest : public ::testing::Test
{
protected:
	void SetUp() override
	{
		static std::atomic<int> Counter{0};
		SavedProjectDir = FPaths::ProjectDir();
		ProjectDir = fs::temp_directory_path() / ("tarnwick-settings-" + std::to_string(::getpid()) + "-" + std::to_string(Counter++));
		fs::create_directories(ProjectDir);
		FPaths::SetProjectDir(ProjectDir.string());
	}
	void TearDown() override
	{
		FPaths::SetProjectDir(SavedProjectDir);
		std::error_code Ec;
		fs::remove_all(ProjectDir, Ec);
	}
	void WriteConfig(const std::string& Body)
	{
		fs::create_directories(ProjectDir / "Config");
		std::ofstream(ProjectDir / "Config" / "DefaultTarnwick.ini") << "[" << Section << "]\n" << Body;
	}

	std::string SavedProjectDir;
	fs::path ProjectDir;
};

TEST_F(SettingsFileTest, DefaultsWithoutFile)
{
	EXPECT_EQ(UTarnwickSettings::GetConfigFilePath(), FPaths::ProjectDir() + "Config/DefaultTarnwick.ini");
	const UTarnwickSettings S = UTarnwickSettings::Get();
	EXPECT_TRUE(S.bEnableEditor);
	EXPECT_FALSE(S.bAllowEditorRestart);
	EXPECT_TRUE(S.bUseRestartLock);
	EXPECT_EQ(S.RestartLockSeconds, 60);
	EXPECT_TRUE(S.bUseCompileLock);
	EXPECT_EQ(S.CompileLockSeconds, 300);
	EXPECT_FALSE(S.bAllowRestartOnCrash);

	// A folder where the file should be is not a settings file either.
	fs::create_directories(ProjectDir / "Config" / "DefaultTarnwick.ini");
	EXPECT_EQ(UTarnwickSettings::Get().CompileLockSeconds, 300);
}

TEST_F(SettingsFileTest, EditBetweenCallsTakesEffect)
{
	WriteConfig("bAllowEditorRestart=True\nCompileLockSeconds=45\n");
	EXPECT_TRUE(UTarnwickSettings::Get().bAllowEditorRestart);
	EXPECT_EQ(UTarnwickSettings::GetDefault().CompileLockSeconds, 45);

	WriteConfig("bAllowEditorRestart=False\n");
	const UTarnwickSettings S = UTarnwickSettings::Get();
	EXPECT_FALSE(S.bAllowEditorRestart);
	EXPECT_EQ(S.CompileLockSeconds, 300) << "a removed key falls back to its default";

	fs::remove(ProjectDir / "Config" / "DefaultTarnwick.ini");
	EXPECT_FALSE(UTarnwickSettings::Get().bAllowEditorRestart);
}
}
