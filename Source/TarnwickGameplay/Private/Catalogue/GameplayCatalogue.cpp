// One block per action: name, family, annotations, description, then the parameters in the order clients see
// them. A default here is the text the handler applies when the parameter is absent; a clamp a description
// promises is the clamp the handler enforces.
#include "Catalogue/GameplayCatalogue.h"

#include "Printf.h"
#include "TarnwickDiagnostics.h"

#include <utility>

namespace Tarnwick::Gameplay
{
namespace
{
FGameplayParamSpec Opt(std::string Name, std::string Type, std::string Description, std::string Default = std::string())
{
	return FGameplayParamSpec{std::move(Name), std::move(Type), std::move(Description), false, std::move(Default)};
}

FGameplayParamSpec Req(std::string Name, std::string Type, std::string Description)
{
	return FGameplayParamSpec{std::move(Name), std::move(Type), std::move(Description), true, std::string()};
}

FGameplayActionSpec Entry(const char* Namespace, std::string Action, std::string Family, const FTarnwickToolAnnotations& Annotations,
	std::string Description, std::vector<FGameplayParamSpec> Params = {})
{
	return FGameplayActionSpec{Namespace, std::move(Action), std::move(Family), Annotations, std::move(Description), std::move(Params)};
}

const FTarnwickToolAnnotations ReadOnly = FTarnwickToolAnnotations::ReadOnly();
const FTarnwickToolAnnotations Mutating = FTarnwickToolAnnotations::Mutating();

FGameplayParamSpec Key()
{
	return Req("key", "string",
		"EKeys name of the key: letters A-Z, digits Zero-Nine, SpaceBar, Enter, Escape, Tab, LeftShift, LeftControl, LeftAlt, "
		"Up/Down/Left/Right, F1-F12, LeftMouseButton, RightMouseButton, MiddleMouseButton (case-insensitive).");
}

FGameplayParamSpec Modifiers()
{
	return Opt("modifiers", "array", "Modifier keys held around the event: any of Shift, Ctrl, Alt, Cmd.");
}

FGameplayParamSpec Actor(const char* What)
{
	return Req("actor", "string", Tarnwick::Printf("Label or object name of the %s (exact, case-insensitive).", What));
}

FGameplayParamSpec World(const char* Default)
{
	return Opt("world", "string",
		"Which world: auto (the PIE world while PIE runs, else the editor world), editor or pie.", Default);
}

std::vector<FGameplayActionSpec> MakeCatalogue()
{
	return {
		// ---- pie: input into the running game ----
		Entry(PieNamespace, "key_down", "input", Mutating,
			"Press a key in the live PIE viewport and keep it held (the first player controller receives it) until "
			"pie_key_up releases it; the game sees it held on every frame in between. Modifiers are pressed first and "
			"stay held with the key.",
			{Key(), Modifiers()}),
		Entry(PieNamespace, "key_up", "input", Mutating,
			"Release a key held in the live PIE viewport (and the modifiers named), as the player lifting it.",
			{Key(), Modifiers()}),
		Entry(PieNamespace, "press_key", "input", Mutating,
			"Press and release a key in the live PIE viewport. The key is held for hold_ms of real time while the game "
			"thread waits, as the engine's input does, so PIE does not advance during the hold: the game sees the press "
			"and release events (actions fire) but no frame with the key held. To hold a key across frames use "
			"pie_key_down and pie_key_up.",
			{Key(), Opt("hold_ms", "integer", "Milliseconds to hold the key, clamped to 0-500; 0 presses and releases in the same frame.", "0"),
				Modifiers()}),
		Entry(PieNamespace, "mouse_move", "input", Mutating,
			"Move the mouse to a position in the live PIE viewport; the movement since the last position turns the "
			"player as the MouseX/MouseY axes do (the mouse starts at the viewport's centre).",
			{Req("x", "number", "Viewport-local x in pixels from the left edge; clamped into the viewport."),
				Req("y", "number", "Viewport-local y in pixels from the top edge; clamped into the viewport."), Modifiers()}),
		Entry(PieNamespace, "click", "input", Mutating,
			"Click a mouse button at a position in the live PIE viewport: the mouse moves there, then the button is "
			"pressed and released in the same frame.",
			{Req("x", "number", "Viewport-local x in pixels from the left edge; clamped into the viewport."),
				Req("y", "number", "Viewport-local y in pixels from the top edge; clamped into the viewport."),
				Opt("button", "string", "left, right or middle.", "left"), Modifiers()}),
		Entry(PieNamespace, "get_player_state", "input", ReadOnly,
			"What the input has done to the player in the running PIE world: the first player controller's control rotation, "
			"keys held and mouse position, and its pawn's location, rotation, velocity, movement mode and AnimInstance variables "
			"(GroundSpeed, bShouldMove, ...)."),

		// ---- ai: blackboards, moves and navigation ----
		Entry(AiNamespace, "runtime_get_all_bb_values", "blackboard", ReadOnly,
			"Every key of an AI's blackboard in the running PIE world, with its type (float, int, enum, bool, string, "
			"name, vector, rotator, object) and value; vectors and rotators in the engine's text forms "
			"(X=.. Y=.. Z=.., P=.. Y=.. R=..), objects with their path in value_path. Give the pawn or its controller.",
			{Actor("AI pawn or AI controller")}),
		Entry(AiNamespace, "get_move_status", "blackboard", ReadOnly,
			"What an AI's path following is doing in the running PIE world: status (Idle, Waiting, Paused, Moving), "
			"is_moving, the goal, the path and how far along it the pawn is, the last move's result and the pawn's "
			"velocity.",
			{Actor("AI pawn or AI controller")}),
		Entry(AiNamespace, "get_navmesh_stats", "navigation", ReadOnly,
			"Navigation facts of a world: whether the navmesh is built, NavMeshBoundsVolume count, navmesh tiles and dirty "
			"areas still waiting for regeneration.",
			{World("auto")}),
		Entry(AiNamespace, "add_nav_bounds_volume", "navigation", Mutating,
			"Spawn a NavMeshBoundsVolume in the editor world (the PIE world with world=pie). A world whose navigation is "
			"built regenerates the tiles it covers over the next frames; otherwise run ai_rebuild_navigation.",
			{Req("location", "array", "Centre [x, y, z] in centimetres."),
				Req("extent", "array", "Half size [x, y, z] in centimetres, each above 0."),
				Opt("folder_path", "string", "Outliner folder of the volume.", "Navigation"),
				Opt("world", "string", "editor or pie.", "editor")}),
		Entry(AiNamespace, "rebuild_navigation", "navigation", Mutating,
			"Rebuild the whole navmesh within this call, as UNavigationSystemV1::Build does, stopping when it is done or "
			"when timeout_seconds of the editor's clock have passed; tiles not built by then are finished over the next "
			"frames. Answers built, timed_out and the navmesh facts.",
			{Opt("timeout_seconds", "number", "Longest wait in seconds, clamped to 0-600.", "30"), World("auto")}),
		Entry(AiNamespace, "build_navigation", "navigation", Mutating,
			"Same as ai_rebuild_navigation: build the navmesh within this call, up to timeout_seconds.",
			{Opt("timeout_seconds", "number", "Longest wait in seconds, clamped to 0-600.", "30"), World("auto")}),
		Entry(AiNamespace, "validate_nav_points", "navigation", ReadOnly,
			"Check named points against the navmesh: whether each is on it (within 50 cm across and 250 cm up or down), "
			"and for each required pair whether a full path joins them and how long it is.",
			{Req("points", "array", "Points [{name, location: [x, y, z]}]."),
				Opt("require_path_pairs", "array", "Pairs [{from, to}] of point names that must be joined by a path."), World("auto")}),

		// ---- gas: gameplay attributes ----
		Entry(GasNamespace, "get_attribute_value", "attributes", ReadOnly,
			"The current and base value of a gameplay attribute of an actor's ability system component, in the PIE world "
			"while PIE runs (else the editor world). The current value includes active gameplay effects; the base does not.",
			{Actor("actor"), Req("attribute", "string", "Attribute as '<AttributeSet>.<Attribute>', such as 'USet.Health'.")}),
	};
}
}

const std::vector<FGameplayActionSpec>& GetGameplayCatalogue()
{
	static const std::vector<FGameplayActionSpec> Catalogue = MakeCatalogue();
	return Catalogue;
}

FJsonPtr BuildParamSchema(const FGameplayActionSpec& Spec)
{
	FTarnwickParamSchemaBuilder Builder;
	for (const FGameplayParamSpec& P : Spec.Params)
	{
		Builder.Add(P.Name, P.Type, P.Description, P.bRequired, P.Default, !P.Default.empty());
	}
	return Builder.Build();
}

bool CheckKnownParams(const FGameplayActionSpec& Spec, const FJsonPtr& Params, FTarnwickActionResult& OutError)
{
	if (!Params || !Params->is_object()) return true;
	for (auto It = Params->begin(); It != Params->end(); ++It)
	{
		if (It.key() == Tarnwick::SessionIdParam) continue;
		bool bKnown = false;
		for (const FGameplayParamSpec& P : Spec.Params) bKnown = bKnown || P.Name == It.key();
		if (bKnown) continue;
		std::string Names;
		for (const FGameplayParamSpec& P : Spec.Params) Names += (Names.empty() ? "" : ", ") + P.Name;
		OutError = Tarnwick::Diagnostics::MakeValidationError(It.key(),
			Tarnwick::Printf("%s does not take '%s' (it takes: %s)", Spec.QualifiedName().c_str(), It.key().c_str(),
				Names.empty() ? "no parameters" : Names.c_str()),
			"");
		return false;
	}
	return true;
}
}
