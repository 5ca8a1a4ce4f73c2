#include "InputCoreTypes.h"

#include <cctype>

namespace
{
struct FKeyEntry
{
	const char* Name;
	enum EKind : uint8
	{
		Keyboard,
		Modifier,
		MouseButton,
		Axis,
	} Kind;
};

const std::vector<FKeyEntry>& GetKeyTable()
{
	static const std::vector<FKeyEntry> Table = [] {
		std::vector<FKeyEntry> T;
		static const char* const Letters[] = {"A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L", "M", "N", "O", "P", "Q", "R",
			"S", "T", "U", "V", "W", "X", "Y", "Z"};
		for (const char* L : Letters) T.push_back({L, FKeyEntry::Keyboard});
		static const char* const Digits[] = {"Zero", "One", "Two", "Three", "Four", "Five", "Six", "Seven", "Eight", "Nine"};
		for (const char* D : Digits) T.push_back({D, FKeyEntry::Keyboard});
		static const char* const Named[] = {"SpaceBar", "Enter", "Escape", "Tab", "BackSpace", "CapsLock", "Up", "Down", "Left", "Right",
			"Insert", "Delete", "Home", "End", "PageUp", "PageDown", "F1", "F2", "F3", "F4", "F5", "F6", "F7", "F8", "F9", "F10", "F11", "F12",
			"NumPadZero", "NumPadOne", "NumPadTwo", "NumPadThree", "NumPadFour", "NumPadFive", "NumPadSix", "NumPadSeven", "NumPadEight",
			"NumPadNine", "Multiply", "Add", "Subtract", "Decimal", "Divide", "Semicolon", "Equals", "Comma", "Hyphen", "Period", "Slash",
			"Tilde", "LeftBracket", "Backslash", "RightBracket", "Apostrophe", "Pause"};
		for (const char* N : Named) T.push_back({N, FKeyEntry::Keyboard});
		static const char* const Modifiers[] = {"LeftShift", "RightShift", "LeftControl", "RightControl", "LeftAlt", "RightAlt",
			"LeftCommand", "RightCommand"};
		for (const char* M : Modifiers) T.push_back({M, FKeyEntry::Modifier});
		static const char* const Buttons[] = {"LeftMouseButton", "RightMouseButton", "MiddleMouseButton", "ThumbMouseButton",
			"ThumbMouseButton2", "MouseScrollUp", "MouseScrollDown"};
		for (const char* B : Buttons) T.push_back({B, FKeyEntry::MouseButton});
		static const char* const Axes[] = {"MouseX", "MouseY", "MouseWheelAxis"};
		for (const char* A : Axes) T.push_back({A, FKeyEntry::Axis});
		return T;
	}();
	return Table;
}

bool EqualsNoCase(std::string_view A, std::string_view B)
{
	if (A.size() != B.size()) return false;
	for (size_t I = 0; I < A.size(); ++I)
	{
		if (std::tolower(static_cast<unsigned char>(A[I])) != std::tolower(static_cast<unsigned char>(B[I]))) return false;
	}
	return true;
}

const FKeyEntry* FindEntry(std::string_view Name)
{
	for (const FKeyEntry& E : GetKeyTable())
	{
		if (EqualsNoCase(E.Name, Name)) return &E;
	}
	return nullptr;
}
}

const char* LexToString(EInputEvent Event)
{
	switch (Event)
	{
	case IE_Pressed: return "IE_Pressed";
	case IE_Released: return "IE_Released";
	case IE_Repeat: return "IE_Repeat";
	case IE_DoubleClick: return "IE_DoubleClick";
	case IE_Axis: return "IE_Axis";
	}
	return "IE_Pressed";
}

FKey::FKey(std::string_view InName)
{
	if (const FKeyEntry* E = FindEntry(InName))
	{
		Name = E->Name;
		switch (E->Kind)
		{
		case FKeyEntry::Keyboard: Kind = EKind::Keyboard; break;
		case FKeyEntry::Modifier: Kind = EKind::Modifier; break;
		case FKeyEntry::MouseButton: Kind = EKind::MouseButton; break;
		case FKeyEntry::Axis: Kind = EKind::Axis; break;
		}
	}
}

const std::vector<FKey>& EKeys::GetAllKeys()
{
	static const std::vector<FKey> Keys = [] {
		std::vector<FKey> Out;
		for (const std::string& Name : GetAllKeyNames()) Out.emplace_back(Name);
		return Out;
	}();
	return Keys;
}

const std::vector<std::string>& EKeys::GetAllKeyNames()
{
	static const std::vector<std::string> Names = [] {
		std::vector<std::string> Out;
		for (const FKeyEntry& E : GetKeyTable()) Out.push_back(E.Name);
		return Out;
	}();
	return Names;
}
