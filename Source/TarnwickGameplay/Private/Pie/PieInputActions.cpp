// key_down, key_up, press_key, mouse_move and click: input into the live PIE viewport, received by the PIE
// world's first player controller. Parameter problems are -32602; no PIE, no viewport or no player controller
// yet are -32603.
#include "Catalogue/GameplayCatalogue.h"
#include "Common/GameplayWorlds.h"
#include "GameplayHandlers.h"
#include "Pie/PieInputRules.h"

#include "GameViewport.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "TarnwickDiagnostics.h"
#include "TarnwickEngineUtils.h"
#include "World.h"

#include <cmath>

namespace Tarnwick::Gameplay
{
namespace
{
/** Where input goes: the PIE world's viewport and its first player controller. */
struct FInputTarget
{
	UGameViewportClient* Viewport = nullptr;
	APlayerController* Player = nullptr;
};

bool FindInputTarget(FInputTarget& Out, FTarnwickActionResult& OutError)
{
	UWorld* World = RequirePieWorld(OutError);
	if (!World) return false;
	Out.Viewport = World->GetGameViewport();
	if (!Out.Viewport)
	{
		OutError = EditorFailure("The PIE world has no game viewport to receive input");
		return false;
	}
	Out.Player = World->GetFirstPlayerController();
	if (!Out.Player)
	{
		OutError = EditorFailure("The PIE world has no player controller yet (PIE is still loading) — retry once editor_is_pie_active "
								 "reports the session running");
		return false;
	}
	return true;
}

bool ReadKey(const FJsonPtr& Params, FKey& OutKey, FTarnwickActionResult& OutError)
{
	std::string Name;
	if (!Tarnwick::Diagnostics::RequireString(Params, "key", Name, OutError)) return false;
	std::string Error;
	if (!ParseKeyName(Name, OutKey, Error))
	{
		OutError = InvalidParam("key", Error);
		return false;
	}
	if (OutKey.IsAxis1D())
	{
		OutError = InvalidParam("key", Tarnwick::Printf("'%s' is an axis, not a key — move the mouse with pie_mouse_move", OutKey.GetFName().c_str()));
		return false;
	}
	return true;
}

bool ReadModifiers(const FJsonPtr& Params, std::vector<FKey>& OutKeys, FTarnwickActionResult& OutError)
{
	const FJson* Value = nullptr;
	if (Params && Params->is_object())
	{
		if (const auto It = Params->find("modifiers"); It != Params->end()) Value = &*It;
	}
	std::string Error;
	if (!ParseModifiers(Value, OutKeys, Error))
	{
		OutError = InvalidParam("modifiers", Error);
		return false;
	}
	return true;
}

FJson KeyNames(const std::vector<FKey>& Keys)
{
	FJson Out = FJson::array();
	for (const FKey& K : Keys) Out.push_back(K.GetFName());
	return Out;
}

/** The keys the player holds now, in EKeys order. */
FJson KeysDown(const APlayerController* Player)
{
	FJson Out = FJson::array();
	for (const FKey& Key : EKeys::GetAllKeys())
	{
		if (!Key.IsAxis1D() && Player->IsInputKeyDown(Key)) Out.push_back(Key.GetFName());
	}
	return Out;
}

bool Send(const FInputTarget& Target, const FKey& Key, EInputEvent Event, FTarnwickActionResult& OutError)
{
	if (Target.Viewport->InputKey(FInputKeyParams{Key, Event})) return true;
	OutError = EditorFailure(Tarnwick::Printf("The PIE viewport did not accept %s %s", Key.GetFName().c_str(), LexToString(Event)));
	return false;
}

bool ReadPosition(const FJsonPtr& Params, double& X, double& Y, FTarnwickActionResult& OutError)
{
	for (const char* Key : {"x", "y"})
	{
		double Value = 0.0;
		bool bPresent = false;
		if (!ReadOptionalNumber(Params, Key, Value, bPresent, OutError)) return false;
		if (!bPresent)
		{
			OutError = InvalidParam(Key, Tarnwick::Printf("Missing required parameter '%s'", Key));
			return false;
		}
		(Key[0] == 'x' ? X : Y) = Value;
	}
	return true;
}

/** Moves the mouse to a clamped position and describes the move. */
FJson MoveMouse(const FInputTarget& Target, double X, double Y)
{
	bool bClamped = false;
	const FIntPoint Size = Target.Viewport->GetGameViewport()->GetSizeXY();
	const FIntPoint At = ClampToViewport(X, Y, Size, bClamped);
	const FIntPoint From = Target.Viewport->GetMousePosition();
	Target.Viewport->MouseMove(At.X, At.Y);
	FJson Out = FJson::object();
	Out["x"] = At.X;
	Out["y"] = At.Y;
	Out["delta_x"] = At.X - From.X;
	Out["delta_y"] = At.Y - From.Y;
	if (bClamped) Out["clamped_from"] = FJson::array({X, Y});
	return Out;
}

FTarnwickActionResult KeyDown(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	FKey Key;
	std::vector<FKey> Modifiers;
	FInputTarget Target;
	if (!ReadKey(Params, Key, Error) || !ReadModifiers(Params, Modifiers, Error) || !FindInputTarget(Target, Error)) return Error;
	for (const FKey& M : Modifiers)
	{
		if (!Send(Target, M, IE_Pressed, Error)) return Error;
	}
	if (!Send(Target, Key, IE_Pressed, Error)) return Error;
	return FTarnwickActionResult::Success(FJson{{"key", Key.GetFName()}, {"event", "down"}, {"modifiers", KeyNames(Modifiers)},
		{"keys_down", KeysDown(Target.Player)}});
}

FTarnwickActionResult KeyUp(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	FKey Key;
	std::vector<FKey> Modifiers;
	FInputTarget Target;
	if (!ReadKey(Params, Key, Error) || !ReadModifiers(Params, Modifiers, Error) || !FindInputTarget(Target, Error)) return Error;
	const bool bWasDown = Target.Player->IsInputKeyDown(Key);
	if (!Send(Target, Key, IE_Released, Error)) return Error;
	for (auto It = Modifiers.rbegin(); It != Modifiers.rend(); ++It)
	{
		if (!Send(Target, *It, IE_Released, Error)) return Error;
	}
	return FTarnwickActionResult::Success(FJson{{"key", Key.GetFName()}, {"event", "up"}, {"was_down", bWasDown},
		{"modifiers", KeyNames(Modifiers)}, {"keys_down", KeysDown(Target.Player)}});
}

FTarnwickActionResult PressKey(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	FKey Key;
	std::vector<FKey> Modifiers;
	double Requested = 0.0;
	bool bHasHold = false;
	if (!ReadKey(Params, Key, Error) || !ReadOptionalNumber(Params, "hold_ms", Requested, bHasHold, Error) ||
		!ReadModifiers(Params, Modifiers, Error))
	{
		return Error;
	}
	FInputTarget Target;
	if (!FindInputTarget(Target, Error)) return Error;
	const int32 HoldMs = ClampHoldMs(bHasHold ? Requested : 0.0);
	for (const FKey& M : Modifiers)
	{
		if (!Send(Target, M, IE_Pressed, Error)) return Error;
	}
	if (!Send(Target, Key, IE_Pressed, Error)) return Error;
	// The engine's input holds the game thread for the press; no frame runs until the key is up again.
	if (HoldMs > 0) FPlatformProcess::Sleep(HoldMs / 1000.0);
	if (!Send(Target, Key, IE_Released, Error)) return Error;
	for (auto It = Modifiers.rbegin(); It != Modifiers.rend(); ++It)
	{
		if (!Send(Target, *It, IE_Released, Error)) return Error;
	}
	FJson Result{{"key", Key.GetFName()}, {"event", "press"}, {"hold_ms", HoldMs}};
	if (bHasHold && Requested != HoldMs) Result["hold_ms_requested"] = Requested;
	Result["modifiers"] = KeyNames(Modifiers);
	Result["keys_down"] = KeysDown(Target.Player);
	return FTarnwickActionResult::Success(std::move(Result));
}

FTarnwickActionResult MouseMoveAction(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	double X = 0.0, Y = 0.0;
	std::vector<FKey> Modifiers;
	FInputTarget Target;
	if (!ReadPosition(Params, X, Y, Error) || !ReadModifiers(Params, Modifiers, Error) || !FindInputTarget(Target, Error)) return Error;
	for (const FKey& M : Modifiers)
	{
		if (!Send(Target, M, IE_Pressed, Error)) return Error;
	}
	FJson Result = MoveMouse(Target, X, Y);
	for (auto It = Modifiers.rbegin(); It != Modifiers.rend(); ++It)
	{
		if (!Send(Target, *It, IE_Released, Error)) return Error;
	}
	Result["modifiers"] = KeyNames(Modifiers);
	return FTarnwickActionResult::Success(std::move(Result));
}

FTarnwickActionResult Click(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	double X = 0.0, Y = 0.0;
	std::vector<FKey> Modifiers;
	if (!ReadPosition(Params, X, Y, Error) || !ReadModifiers(Params, Modifiers, Error)) return Error;
	std::string ButtonName = "left";
	if (Params && Params->is_object())
	{
		if (const auto It = Params->find("button"); It != Params->end() && !It->is_null())
		{
			ButtonName = It->is_string() ? It->get<std::string>() : It->dump();
		}
	}
	FKey Button;
	if (!ParseMouseButton(ButtonName, Button))
	{
		return InvalidParam("button", Tarnwick::Printf("Unknown button '%s' — expected left, right or middle", ButtonName.c_str()));
	}
	FInputTarget Target;
	if (!FindInputTarget(Target, Error)) return Error;
	FJson Result = MoveMouse(Target, X, Y);
	for (const FKey& M : Modifiers)
	{
		if (!Send(Target, M, IE_Pressed, Error)) return Error;
	}
	if (!Send(Target, Button, IE_Pressed, Error) || !Send(Target, Button, IE_Released, Error)) return Error;
	for (auto It = Modifiers.rbegin(); It != Modifiers.rend(); ++It)
	{
		if (!Send(Target, *It, IE_Released, Error)) return Error;
	}
	Result.erase("delta_x");
	Result.erase("delta_y");
	Result["button"] = Button.GetFName() == "LeftMouseButton" ? "left" : (Button.GetFName() == "RightMouseButton" ? "right" : "middle");
	Result["key"] = Button.GetFName();
	Result["modifiers"] = KeyNames(Modifiers);
	return FTarnwickActionResult::Success(std::move(Result));
}

/** A reflected object property of Object by name ("CharacterMovement", "Mesh"), or null. */
UObject* ObjectProperty(const UObject* Object, const char* Name)
{
	const FProperty* Property = Object ? Object->GetClass()->FindPropertyByName(Name) : nullptr;
	FPropertyValue Value;
	if (!Property || Property->Type != EPropertyType::Object || !Object->GetPropertyValue(*Property, Value)) return nullptr;
	return Value.ObjectValue.Get();
}

FTarnwickActionResult GetPlayerState(const FJsonPtr&)
{
	FTarnwickActionResult Error;
	FInputTarget Target;
	if (!FindInputTarget(Target, Error)) return Error;
	FJson Result = FJson::object();
	Result["player_controller"] = Target.Player->GetName();
	const FRotator Control = Target.Player->GetControlRotation();
	Result["control_rotation"] = FJson::array({Control.Pitch, Control.Yaw, Control.Roll});
	Result["keys_down"] = KeysDown(Target.Player);
	const FIntPoint Mouse = Target.Viewport->GetMousePosition();
	Result["mouse"] = FJson::array({Mouse.X, Mouse.Y});
	APawn* Pawn = Target.Player->GetPawn();
	if (!Pawn)
	{
		Result["pawn"] = nullptr;
		return FTarnwickActionResult::Success(std::move(Result));
	}
	Result["pawn"] = Pawn->GetActorLabel();
	Result["pawn_class"] = Pawn->GetClass()->GetPathName();
	Result["location"] = VectorJson(Pawn->GetActorLocation());
	const FRotator Rotation = Pawn->GetActorRotation();
	Result["rotation"] = FJson::array({Rotation.Pitch, Rotation.Yaw, Rotation.Roll});
	const FVector Velocity = Pawn->GetVelocity();
	Result["velocity"] = VectorJson(Velocity);
	Result["speed"] = std::hypot(Velocity.X, Velocity.Y);
	if (const UObject* Movement = ObjectProperty(Pawn, "CharacterMovement"))
	{
		if (const FProperty* Mode = Movement->GetClass()->FindPropertyByName("MovementMode"))
		{
			Result["movement_mode"] = FTarnwickReflectionReader::ReadProperty(*Movement, *Mode);
		}
	}
	if (const UObject* Anim = ObjectProperty(ObjectProperty(Pawn, "Mesh"), "AnimScriptInstance"))
	{
		FJson Variables = FJson::object();
		for (const FProperty* P : Anim->GetClass()->GetProperties()) Variables[P->Name] = FTarnwickReflectionReader::ReadProperty(*Anim, *P);
		Result["anim_instance"] = std::move(Variables);
	}
	return FTarnwickActionResult::Success(std::move(Result));
}
}

void AddPieHandlers(FGameplayHandlerTable& Table)
{
	Table[{PieNamespace, "get_player_state"}] = GetPlayerState;
	Table[{PieNamespace, "key_down"}] = KeyDown;
	Table[{PieNamespace, "key_up"}] = KeyUp;
	Table[{PieNamespace, "press_key"}] = PressKey;
	Table[{PieNamespace, "mouse_move"}] = MouseMoveAction;
	Table[{PieNamespace, "click"}] = Click;
}
}
