// The simulated editor's stand-in for Blueprint event graphs: a small, data-driven list of events, each with
// the actions it runs, declared under "EventGraph" in a Blueprint asset (every instance of the class runs it)
// and in a map's actor entry (that actor runs it after its class's). Pure data and its parser; the world's
// gameplay runs the graphs (SimGameplay.cpp). docs/project-format.md gives the grammar with examples.
//
// Events: BeginPlay; Delay (once, Seconds after the actor began play); Timer (every Seconds after it began
// play); OnReached (when the watched actor, "Who", comes within Radius of Location or of an Actor; again each
// time it comes back after leaving).
// Actions: Log, SetProperty, SpawnActor, DestroyActor, AIMoveTo, ApplyGameplayEffect, SetBlackboardValue,
// RuntimeError. Any action may wait first ("Delay": seconds), holding back the actions after it too. An action
// whose Target cannot be found logs a Blueprint runtime error, as a Blueprint reading an empty reference does.
#pragma once
#include "Logging.h"
#include "MathTypes.h"
#include "SimAttributeRules.h"
#include "SimReflectionRules.h"

#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::Sim
{
enum class ESimGraphEvent : uint8
{
	BeginPlay,
	Delay,
	Timer,
	OnReached,
};

enum class ESimGraphAction : uint8
{
	Log,
	SetProperty,
	SpawnActor,
	DestroyActor,
	AIMoveTo,
	ApplyGameplayEffect,
	SetBlackboardValue,
	RuntimeError,
};

const char* LexToString(ESimGraphEvent Event);
const char* LexToString(ESimGraphAction Action);

struct FSimGraphAction
{
	ESimGraphAction Kind = ESimGraphAction::Log;
	/** Seconds to wait before this action (and the ones after it) run, as a Blueprint's Delay node; 0 for none. */
	double Delay = 0.0;
	/** Self (the actor running the graph), Player (the first player's pawn), or an actor's label or name. */
	std::string Target = "Self";
	// Log
	std::string Category;
	ELogVerbosity::Type Verbosity = ELogVerbosity::Log;
	std::string Text;
	// SetProperty (Component optional), SetBlackboardValue (Key), RuntimeError (Property, Node)
	std::string Component;
	std::string Property;
	std::string Key;
	std::string Node;
	FSimJson Value;
	// SpawnActor
	std::string ClassPath;
	std::string Name;
	std::string Label;
	std::string Folder;
	FRotator Rotation;
	// SpawnActor and AIMoveTo
	bool bHasLocation = false;
	FVector Location;
	// AIMoveTo
	std::string GoalActor;
	double AcceptanceRadius = -1.0;
	// ApplyGameplayEffect
	FSimGameplayEffectSpec Effect;
};

struct FSimGraphEvent
{
	ESimGraphEvent Kind = ESimGraphEvent::BeginPlay;
	double Seconds = 0.0;
	// OnReached: a Location or an Actor, within Radius, watching Who.
	bool bHasLocation = false;
	FVector Location;
	std::string Actor;
	double Radius = 100.0;
	std::string Who = "Self";
	std::vector<FSimGraphAction> Actions;
};

class FSimEventGraph
{
public:
	std::vector<FSimGraphEvent> Events;
};

/** Parses an "EventGraph" array; errors name the entry ("EventGraph[1].Actions[0] (Log): \"Text\" is missing"). */
std::optional<FSimEventGraph> ParseEventGraph(const FSimJson& Json, std::string* OutError);
}
