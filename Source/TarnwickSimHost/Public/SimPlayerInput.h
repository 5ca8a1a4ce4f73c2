// Player input of the simulated game: the project's input mappings (Config/DefaultInput.ini in the engine's
// form) and one player's key state, turned into axis values and action events once per frame as the engine's
// UPlayerInput does.
//
// Axis values come from the keys held when the frame is processed (each held key adds its mapping's Scale) and
// from the mouse movement of the frame (pixels times the mouse sensitivity times Scale). Actions fire for the
// press and release events of the frame, in order, when the modifiers the mapping asks for were held at the
// event. A key pressed and released between two frames therefore fires its actions but adds nothing to an
// axis. Pure rules and plain state; game thread only.
#pragma once
#include "InputCoreTypes.h"
#include "SimProjectFormat.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Tarnwick::Sim
{
struct FSimInputAxisMapping
{
	std::string AxisName;
	FKey Key;
	double Scale = 1.0;
};

struct FSimInputActionMapping
{
	std::string ActionName;
	FKey Key;
	bool bShift = false;
	bool bCtrl = false;
	bool bAlt = false;
	bool bCmd = false;
};

struct FSimInputSettings
{
	std::vector<FSimInputAxisMapping> AxisMappings;
	std::vector<FSimInputActionMapping> ActionMappings;
	/** Mouse axis units per pixel of movement (the engine's default MouseX/MouseY sensitivity). */
	double MouseSensitivity = 0.07;
};

/** The section the mappings live in. */
inline constexpr const char* InputSettingsSection = "/Script/Engine.InputSettings";

/**
 * Splits the engine's struct text "(AxisName="MoveForward",Key=W,Scale=1.0)" into name/value pairs (quotes
 * removed). False with the reason for text that is not one parenthesised list of Name=Value.
 */
bool ParseIniStruct(const std::string& Text, std::vector<std::pair<std::string, std::string>>& Out, std::string* OutError);

/**
 * Reads the AxisMappings and ActionMappings of [/Script/Engine.InputSettings]. An entry that cannot be used is
 * skipped and described in OutProblems ("AxisMappings[2]: unknown key 'Q2'"), as the engine skips it with a
 * warning.
 */
FSimInputSettings ParseInputSettings(const FIniFile& Ini, std::vector<std::string>* OutProblems);

/** What one frame of input amounts to. */
struct FSimInputFrame
{
	/** Every axis name of the settings with its value this frame (0 when nothing moved it). */
	std::map<std::string, double> Axes;
	/** Action events in the order their keys were pressed and released. */
	std::vector<std::pair<std::string, EInputEvent>> Actions;

	double GetAxis(const std::string& Name) const;
};

class FSimPlayerInput
{
public:
	/** A key event (pressed, released) or an axis movement (IE_Axis with a delta); false when it cannot be one. */
	bool InputKey(const FInputKeyParams& Params);
	bool IsKeyDown(const FKey& Key) const { return Down.count(Key.GetFName()) > 0; }
	/** The keys held, in name order. */
	std::vector<std::string> GetKeysDown() const { return std::vector<std::string>(Down.begin(), Down.end()); }
	/** Evaluates the frame against the mappings and forgets its events and mouse movement. */
	FSimInputFrame ConsumeFrame(const FSimInputSettings& Settings);

private:
	struct FEvent
	{
		FKey Key;
		EInputEvent Event;
		bool bShift, bCtrl, bAlt, bCmd;
	};
	std::set<std::string> Down;
	std::vector<FEvent> Events;
	std::map<std::string, double> AxisDeltas;
};
}
