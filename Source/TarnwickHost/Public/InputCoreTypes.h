// Keys and input events, the engine's InputCoreTypes: FKey names (the EKeys table), EInputEvent and the key
// parameters a player controller receives.
//
// A key is known by its EKeys name ("W", "SpaceBar", "LeftShift", "One", "LeftMouseButton", "MouseX"), compared
// without regard to case as FNames are. Axis keys (MouseX, MouseY, MouseWheelAxis) carry a value instead of
// a pressed state and are moved, never pressed. Pure data; any thread.
#pragma once
#include "HostTypes.h"

#include <string>
#include <string_view>
#include <vector>

/** The engine's EInputEvent. */
enum EInputEvent : uint8
{
	IE_Pressed = 0,
	IE_Released = 1,
	IE_Repeat = 2,
	IE_DoubleClick = 3,
	IE_Axis = 4,
};

const char* LexToString(EInputEvent Event);

/** A key by its EKeys name; invalid when the name is not one of them. */
class FKey
{
public:
	FKey() = default;
	/** Looks the name up in the EKeys table (case-insensitive) and keeps its canonical spelling. */
	explicit FKey(std::string_view Name);

	bool IsValid() const { return !Name.empty(); }
	/** The canonical EKeys name ("SpaceBar"), empty when invalid. */
	const std::string& GetFName() const { return Name; }
	/** An axis (MouseX, MouseY, MouseWheelAxis): it is moved, not pressed. */
	bool IsAxis1D() const { return Kind == EKind::Axis; }
	bool IsMouseButton() const { return Kind == EKind::MouseButton; }
	bool IsModifierKey() const { return Kind == EKind::Modifier; }
	bool operator==(const FKey& Other) const { return Name == Other.Name; }
	bool operator<(const FKey& Other) const { return Name < Other.Name; }

private:
	enum class EKind : uint8
	{
		None,
		Keyboard,
		Modifier,
		MouseButton,
		Axis,
	};
	std::string Name;
	EKind Kind = EKind::None;
};

struct EKeys
{
	/** Every EKeys name this host knows, keyboard first, then mouse. */
	static const std::vector<std::string>& GetAllKeyNames();
	/** The same keys, made once. */
	static const std::vector<FKey>& GetAllKeys();
};

/** One key event or axis movement for a player controller (the engine's FInputKeyParams). */
struct FInputKeyParams
{
	FKey Key;
	EInputEvent Event = IE_Pressed;
	/** Axis movement (IE_Axis): the raw delta, pixels for the mouse axes. */
	double Delta = 0.0;
};
