#include "Pie/PieInputRules.h"

#include "Printf.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace Tarnwick::Gameplay
{
namespace
{
std::string Lower(const std::string& S)
{
	std::string Out = S;
	for (char& C : Out) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	return Out;
}

/** Names people reach for that are not EKeys names, and the key they mean. */
const char* Alias(const std::string& LowerName)
{
	static const std::pair<const char*, const char*> Aliases[] = {{"0", "Zero"}, {"1", "One"}, {"2", "Two"}, {"3", "Three"}, {"4", "Four"},
		{"5", "Five"}, {"6", "Six"}, {"7", "Seven"}, {"8", "Eight"}, {"9", "Nine"}, {"space", "SpaceBar"}, {"spacebar", "SpaceBar"},
		{"shift", "LeftShift"}, {"ctrl", "LeftControl"}, {"control", "LeftControl"}, {"alt", "LeftAlt"}, {"cmd", "LeftCommand"},
		{"command", "LeftCommand"}, {"esc", "Escape"}, {"return", "Enter"}, {"lmb", "LeftMouseButton"}, {"rmb", "RightMouseButton"},
		{"mmb", "MiddleMouseButton"}, {"arrowup", "Up"}, {"arrowdown", "Down"}, {"arrowleft", "Left"}, {"arrowright", "Right"},
		{"uparrow", "Up"}, {"downarrow", "Down"}, {"leftarrow", "Left"}, {"rightarrow", "Right"}, {"backspace", "BackSpace"},
		{"del", "Delete"}, {"ins", "Insert"}, {"pgup", "PageUp"}, {"pgdn", "PageDown"}, {"minus", "Hyphen"}, {"-", "Hyphen"},
		{"=", "Equals"}, {",", "Comma"}, {".", "Period"}, {"/", "Slash"}, {";", "Semicolon"}, {"`", "Tilde"}};
	for (const auto& [From, To] : Aliases)
	{
		if (LowerName == From) return To;
	}
	return nullptr;
}
}

bool ParseKeyName(const std::string& Name, FKey& OutKey, std::string& OutError)
{
	OutKey = FKey(Name);
	if (OutKey.IsValid()) return true;
	const std::string L = Lower(Name);
	std::string Suggestion;
	if (const char* A = Alias(L)) Suggestion = A;
	else if (!L.empty())
	{
		std::vector<std::string> Matches;
		for (const std::string& K : EKeys::GetAllKeyNames())
		{
			if (Lower(K).rfind(L, 0) == 0 && Matches.size() < 3) Matches.push_back(K);
		}
		for (size_t I = 0; I < Matches.size(); ++I) Suggestion += (I ? "' or '" : "") + Matches[I];
	}
	OutError = Tarnwick::Printf("Unknown key '%s'", Name.c_str());
	if (!Suggestion.empty()) OutError += Tarnwick::Printf(" — did you mean '%s'?", Suggestion.c_str());
	OutError += " Keys are EKeys names such as W, A, S, D, SpaceBar, LeftShift, One (digits are Zero..Nine), LeftMouseButton, Up, Down, "
				"Left, Right, Escape, Enter.";
	return false;
}

bool ParseModifiers(const FJson* Value, std::vector<FKey>& OutKeys, std::string& OutError)
{
	OutKeys.clear();
	if (!Value || Value->is_null()) return true;
	if (!Value->is_array())
	{
		OutError = "Parameter 'modifiers' must be an array of strings such as [\"Shift\"]";
		return false;
	}
	for (const FJson& Item : *Value)
	{
		const std::string L = Item.is_string() ? Lower(Item.get<std::string>()) : std::string();
		const char* KeyName = nullptr;
		if (L == "shift") KeyName = "LeftShift";
		else if (L == "ctrl" || L == "control") KeyName = "LeftControl";
		else if (L == "alt") KeyName = "LeftAlt";
		else if (L == "cmd" || L == "command") KeyName = "LeftCommand";
		if (!KeyName)
		{
			OutError = Tarnwick::Printf("Unknown modifier %s — expected Shift, Ctrl, Alt or Cmd", Item.dump().c_str());
			return false;
		}
		const FKey Key(KeyName);
		if (std::find(OutKeys.begin(), OutKeys.end(), Key) == OutKeys.end()) OutKeys.push_back(Key);
	}
	return true;
}

bool ParseMouseButton(const std::string& Name, FKey& OutKey)
{
	const std::string L = Lower(Name);
	if (L == "left") OutKey = FKey("LeftMouseButton");
	else if (L == "right") OutKey = FKey("RightMouseButton");
	else if (L == "middle") OutKey = FKey("MiddleMouseButton");
	else return false;
	return true;
}

int32 ClampHoldMs(double Milliseconds)
{
	if (!(Milliseconds >= 1.0)) return 0;
	return static_cast<int32>(std::min(Milliseconds, static_cast<double>(MaxHoldMs)));
}

FIntPoint ClampToViewport(double X, double Y, const FIntPoint& Size, bool& bClamped)
{
	const double MaxX = std::max(0, Size.X - 1);
	const double MaxY = std::max(0, Size.Y - 1);
	const double CX = std::clamp(std::round(X), 0.0, MaxX);
	const double CY = std::clamp(std::round(Y), 0.0, MaxY);
	bClamped = CX != std::round(X) || CY != std::round(Y);
	return FIntPoint{static_cast<int32>(CX), static_cast<int32>(CY)};
}
}
