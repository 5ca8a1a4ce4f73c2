#include "IniParser.h"

#include <algorithm>
#include <cctype>

namespace Tarnwick::Ini
{
namespace
{
char Lower(char C)
{
	return static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
}

bool EqualsIgnoreCase(std::string_view A, std::string_view B)
{
	return A.size() == B.size() && std::equal(A.begin(), A.end(), B.begin(), [](char X, char Y) { return Lower(X) == Lower(Y); });
}

std::string_view Trim(std::string_view Text)
{
	const auto IsSpace = [](char C) { return C == ' ' || C == '\t' || C == '\r' || C == '\n' || C == '\v' || C == '\f'; };
	while (!Text.empty() && IsSpace(Text.front())) Text.remove_prefix(1);
	while (!Text.empty() && IsSpace(Text.back())) Text.remove_suffix(1);
	return Text;
}

std::string Unquote(std::string_view Value)
{
	if (Value.size() < 2 || Value.front() != '"' || Value.back() != '"')
	{
		return std::string(Value);
	}
	std::string Out;
	Out.reserve(Value.size() - 2);
	for (size_t I = 1; I + 1 < Value.size(); ++I)
	{
		if (Value[I] == '\\' && I + 2 < Value.size() && (Value[I + 1] == '"' || Value[I + 1] == '\\'))
		{
			++I;
		}
		Out.push_back(Value[I]);
	}
	return Out;
}

void ApplyLine(FIniSection& Section, std::string_view Line)
{
	const size_t Eq = Line.find('=');
	std::string_view Key = Trim(Line.substr(0, Eq));
	const std::string Value = Eq == std::string_view::npos ? std::string() : Unquote(Trim(Line.substr(Eq + 1)));
	if (Key.empty())
	{
		return;
	}

	const char Op = Key.front();
	if (Op == '+' || Op == '.' || Op == '-' || Op == '!')
	{
		Key = Trim(Key.substr(1));
		if (Key.empty())
		{
			return;
		}
	}
	else if (Eq == std::string_view::npos || Op == '@' || Op == '*')
	{
		// A line without '=' means nothing; '@' and '*' key arrays of structs, which no setting here uses.
		return;
	}

	switch (Op)
	{
	case '!':
		Section.erase(std::string(Key));
		break;
	case '-':
		if (auto It = Section.find(Key); It != Section.end())
		{
			std::erase(It->second, Value);
		}
		break;
	case '+':
	{
		std::vector<std::string>& Values = Section[std::string(Key)];
		if (std::find(Values.begin(), Values.end(), Value) == Values.end())
		{
			Values.push_back(Value);
		}
		break;
	}
	case '.':
		Section[std::string(Key)].push_back(Value);
		break;
	default:
		Section[std::string(Key)] = {Value};
		break;
	}
}
}

bool FCaseInsensitiveLess::operator()(std::string_view A, std::string_view B) const
{
	return std::lexicographical_compare(A.begin(), A.end(), B.begin(), B.end(), [](char X, char Y) { return Lower(X) < Lower(Y); });
}

const std::vector<std::string>* FIniFile::FindValues(std::string_view Section, std::string_view Key) const
{
	const auto SectionIt = Sections.find(Section);
	if (SectionIt == Sections.end())
	{
		return nullptr;
	}
	const auto KeyIt = SectionIt->second.find(Key);
	return KeyIt == SectionIt->second.end() ? nullptr : &KeyIt->second;
}

const std::string* FIniFile::FindValue(std::string_view Section, std::string_view Key) const
{
	const std::vector<std::string>* Values = FindValues(Section, Key);
	return Values && !Values->empty() ? &Values->back() : nullptr;
}

FIniFile Parse(std::string_view Text)
{
	if (Text.starts_with("\xEF\xBB\xBF"))
	{
		Text.remove_prefix(3);
	}

	FIniFile File;
	FIniSection* Current = nullptr; // lines before the first section header belong nowhere
	while (!Text.empty())
	{
		const size_t End = Text.find('\n');
		const std::string_view Line = Trim(Text.substr(0, End));
		Text.remove_prefix(End == std::string_view::npos ? Text.size() : End + 1);

		if (Line.empty() || Line.front() == ';' || Line.front() == '#')
		{
			continue;
		}
		if (Line.front() == '[')
		{
			const size_t Close = Line.find(']');
			Current = Close == std::string_view::npos ? nullptr : &File.Sections[std::string(Trim(Line.substr(1, Close - 1)))];
			continue;
		}
		if (Current)
		{
			ApplyLine(*Current, Line);
		}
	}
	return File;
}

bool ParseBool(std::string_view Text, bool& OutValue)
{
	for (const char* True : {"true", "yes", "on", "1"})
	{
		if (EqualsIgnoreCase(Text, True))
		{
			OutValue = true;
			return true;
		}
	}
	for (const char* False : {"false", "no", "off", "0"})
	{
		if (EqualsIgnoreCase(Text, False))
		{
			OutValue = false;
			return true;
		}
	}
	return false;
}
}
