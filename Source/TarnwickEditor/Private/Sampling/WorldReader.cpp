#include "Sampling/WorldReader.h"

#include "Printf.h"
#include "Sampling/DispatchedResponses.h"
#include "Sampling/PropertyConversion.h"
#include "TarnwickToolRegistry.h"
#include "UObjectGlobals.h"
#include "World.h"

namespace Tarnwick::Sampling
{
namespace
{
constexpr const char* NullContainer = "null property or value pointer";

std::string LabelOf(const UObject* Object)
{
	if (const AActor* Actor = Cast<AActor>(Object)) return Actor->GetActorLabel();
	return Object ? Object->GetName() : std::string();
}

/** An object property of Object by name (PlayerState, AnimScriptInstance), or null. */
UObject* ReadObjectProperty(const UObject* Object, std::string_view Name)
{
	if (!IsValid(Object)) return nullptr;
	const FProperty* Property = Object->GetClass()->FindPropertyByName(Name);
	FPropertyValue Value;
	if (!Property || Property->Type != EPropertyType::Object || !Object->GetPropertyValue(*Property, Value)) return nullptr;
	UObject* Target = Value.ObjectValue.Get();
	return IsValid(Target) ? Target : nullptr;
}

std::vector<std::string> SplitPath(const std::string& Path)
{
	std::vector<std::string> Out;
	size_t Start = 0;
	while (Start <= Path.size())
	{
		const size_t Dot = std::min(Path.find('.', Start), Path.size());
		Out.push_back(Path.substr(Start, Dot - Start));
		Start = Dot + 1;
	}
	return Out;
}
}

FWorldReader::FWorldReader(const std::vector<FSampleSpec>& InSpecs) : Specs(InSpecs), States(InSpecs.size())
{
	for (size_t I = 0; I < Specs.size(); ++I)
	{
		States[I].Root = ParseRootToken(Specs[I].Root);
		if (Specs[I].Source == ESampleSource::Anim || Specs[I].Source == ESampleSource::Property)
		{
			for (std::string& Name : SplitPath(Specs[I].Path)) States[I].Path.push_back(FSegment{std::move(Name), FWeakObjectPtr(), nullptr});
		}
	}
}

UClass* FWorldReader::FindNativeClass(const char* Path, FWeakObjectPtr& Cache)
{
	if (UClass* Cached = Cast<UClass>(Cache.Get())) return Cached;
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	UClass* Class = Objects ? Cast<UClass>(Objects->FindObject(Path)) : nullptr;
	Cache = FWeakObjectPtr(Class);
	return Class;
}

FWorldReader::FRoot FWorldReader::ResolveRoot(FSpecState& State)
{
	FRoot Out;
	APawn* Pawn = IsValid(World.TargetPawn) ? World.TargetPawn : nullptr;
	UWorld* W = IsValid(World.World) ? World.World : nullptr;
	auto PlayerController = [W]() -> APlayerController* {
		APlayerController* PC = W ? W->GetFirstPlayerController() : nullptr;
		return IsValid(PC) ? PC : nullptr;
	};
	auto Set = [&](UObject* Object, UObject* Labelled) {
		Out.Object = Object;
		Out.Labelled = Labelled;
		return Out;
	};
	auto Fail = [&](std::string Text) {
		Out.Failure = std::move(Text);
		return Out;
	};
	switch (State.Root.Kind)
	{
	case ERootKind::Pawn:
		if (!Pawn) return Fail("no target pawn resolved yet");
		return Set(Pawn, Pawn);
	case ERootKind::Anim:
	{
		if (!Pawn) return Fail("no target pawn resolved yet");
		std::string Failure;
		UObject* Anim = FindAnimInstance(State, Pawn, Failure);
		if (!Anim) return Fail(Failure);
		return Set(Anim, Pawn);
	}
	case ERootKind::Controller:
	{
		if (!Pawn) return Fail("no target pawn resolved yet");
		AController* Controller = Pawn->GetController();
		if (!IsValid(Controller)) return Fail("target pawn has no controller");
		return Set(Controller, Controller);
	}
	case ERootKind::PlayerController:
	{
		APlayerController* PC = PlayerController();
		if (!PC) return Fail("no player controller in the PIE world");
		return Set(PC, PC);
	}
	case ERootKind::PlayerPawn:
	{
		APlayerController* PC = PlayerController();
		APawn* PlayerPawn = PC ? PC->GetPawn() : nullptr;
		if (!IsValid(PlayerPawn)) return Fail("player controller has no pawn");
		return Set(PlayerPawn, PlayerPawn);
	}
	case ERootKind::PlayerState:
	{
		APlayerController* PC = PlayerController();
		UObject* PlayerState = PC ? ReadObjectProperty(PC, "PlayerState") : nullptr;
		if (!PlayerState) return Fail("no player state");
		return Set(PlayerState, PlayerState);
	}
	case ERootKind::GameMode:
	{
		AActor* GameMode = W ? W->GetAuthGameMode() : nullptr;
		if (!IsValid(GameMode)) return Fail("no authoritative game mode (client world?)");
		return Set(GameMode, GameMode);
	}
	case ERootKind::GameState:
	case ERootKind::ActorLabel:
	case ERootKind::ActorClass:
	{
		if (UObject* Cached = State.CachedRoot.Get(); IsValid(Cached)) return Set(Cached, Cached);
		UClass* GameStateBase = State.Root.Kind == ERootKind::GameState ? FindNativeClass("/Script/Engine.GameStateBase", GameStateClass) : nullptr;
		AActor* Found = nullptr;
		if (W)
		{
			for (AActor* Actor : W->GetActors())
			{
				if (!IsValid(Actor)) continue;
				bool bMatch = false;
				if (State.Root.Kind == ERootKind::GameState) bMatch = GameStateBase && Actor->IsA(GameStateBase);
				else if (State.Root.Kind == ERootKind::ActorLabel)
				{
					bMatch = ContainsIgnoreCase(Actor->GetActorLabel(), State.Root.Argument) || ContainsIgnoreCase(Actor->GetName(), State.Root.Argument);
				}
				else bMatch = ContainsIgnoreCase(Actor->GetClass()->GetName(), State.Root.Argument);
				if (bMatch)
				{
					Found = Actor;
					break;
				}
			}
		}
		if (!Found)
		{
			return Fail(State.Root.Kind == ERootKind::GameState ? std::string("no game state")
																 : Tarnwick::Printf("no actor matching '%s'", State.Root.Argument.c_str()));
		}
		State.CachedRoot = FWeakObjectPtr(Found);
		return Set(Found, Found);
	}
	case ERootKind::Unknown: return Fail(UnknownRootMessage(State.Root.Argument));
	}
	return Fail(UnknownRootMessage(State.Root.Argument));
}

UObject* FWorldReader::FindAnimInstance(FSpecState& State, UObject* Root, std::string& OutFailure)
{
	if (State.AnimOwner.Get() == Root)
	{
		if (UObject* Anim = State.AnimInstance.Get(); IsValid(Anim)) return Anim;
	}
	UObject* Anim = nullptr;
	AActor* Actor = Cast<AActor>(Root);
	UClass* MeshClass = FindNativeClass("/Script/Engine.SkeletalMeshComponent", SkeletalMeshComponentClass);
	if (Actor && MeshClass)
	{
		for (UActorComponent* Component : Actor->GetComponents())
		{
			if (IsValid(Component) && Component->IsA(MeshClass) && (Anim = ReadObjectProperty(Component, "AnimScriptInstance"))) break;
		}
	}
	if (!Anim)
	{
		OutFailure = Root == World.TargetPawn ? std::string("target pawn has no AnimInstance")
											   : Tarnwick::Printf("'%s' has no AnimInstance", LabelOf(Root).c_str());
		return nullptr;
	}
	State.AnimOwner = FWeakObjectPtr(Root);
	State.AnimInstance = FWeakObjectPtr(Anim);
	return Anim;
}

FReadResult FWorldReader::ReadPath(FSpecState& State, UObject* Object, const FSampleSpec& Spec)
{
	const FProperty* Property = nullptr;
	FPropertyValue Value;
	bool bInStruct = false;
	for (size_t I = 0; I < State.Path.size(); ++I)
	{
		FSegment& Segment = State.Path[I];
		const bool bLast = I + 1 == State.Path.size();
		if (!bInStruct)
		{
			if (!IsValid(Object)) return FReadResult::Failed(NullContainer);
			UClass* Class = Object->GetClass();
			if (Segment.Class.Get() != Class || !Segment.Property)
			{
				Segment.Property = Class->FindPropertyByName(Segment.Name);
				Segment.Class = FWeakObjectPtr(Class);
			}
			Property = Segment.Property;
			if (!Property)
			{
				// An actor's component is reachable by its name, as a reference to it would be.
				UActorComponent* Component = nullptr;
				if (const AActor* Actor = Cast<AActor>(Object))
				{
					for (UActorComponent* C : Actor->GetComponents())
					{
						if (IsValid(C) && EqualsIgnoreCase(C->GetName(), Segment.Name)) Component = C;
					}
				}
				if (!Component)
				{
					return FReadResult::Failed(Tarnwick::Printf("property '%s' not found on %s", Segment.Name.c_str(), Class->GetName().c_str()));
				}
				if (bLast) return FReadResult::Ok(FSampleValue::MakeObject(Component->GetPathName()));
				Object = Component;
				continue;
			}
			if (!Object->GetPropertyValue(*Property, Value)) return FReadResult::Failed(NullContainer);
		}
		else
		{
			const FProperty* Field = Property->FindField(Segment.Name);
			const FPropertyValue* FieldValue = Value.FindField(Segment.Name);
			if (!Field || !FieldValue)
			{
				return FReadResult::Failed(Tarnwick::Printf("property '%s' not found on %s", Segment.Name.c_str(), Property->StructName.c_str()));
			}
			FPropertyValue Next = *FieldValue;
			Value = std::move(Next);
			Property = Field;
		}
		if (bLast) break;
		if (Value.Type == EPropertyType::Object)
		{
			Object = Value.ObjectValue.Get();
			if (!IsValid(Object)) return FReadResult::Failed(NullContainer);
			bInStruct = false;
		}
		else if (Value.Type == EPropertyType::Struct)
		{
			bInStruct = true;
		}
		else
		{
			return FReadResult::Failed(Tarnwick::Printf("'%s' is a %s, which has no property '%s'", Segment.Name.c_str(), LexToString(Property->Type),
				State.Path[I + 1].Name.c_str()));
		}
	}
	FParsedRead Parsed = ConvertPropertyValue(*Property, Value, Spec.bRetainJson);
	return Parsed.bOk ? FReadResult::Ok(std::move(Parsed.Value)) : FReadResult::Failed(std::move(Parsed.Failure));
}

FReadResult FWorldReader::Dispatch(const FSampleSpec& Spec, const std::string& Label)
{
	const bool bGas = Spec.Source == ESampleSource::Gas;
	FJsonPtr Params = MakeJsonObject();
	(*Params)["actor"] = Label;
	if (bGas) (*Params)["attribute"] = Spec.Attribute;
	const FTarnwickActionResult Result =
		FTarnwickToolRegistry::Get().ExecuteAction(bGas ? "gas" : "ai", bGas ? "get_attribute_value" : "runtime_get_all_bb_values", Params);
	if (!Result.bSuccess)
	{
		FReadResult Out = FReadResult::Failed(bGas ? "gas dispatch failed" : "blackboard dispatch failed");
		Out.Status = EReadStatus::DispatchFailed;
		Out.Detail = Tarnwick::Printf("%s: %s", bGas ? "gas.get_attribute_value" : "ai.runtime_get_all_bb_values", Result.ErrorMessage.c_str());
		return Out;
	}
	const FJson Empty;
	const FJson& Payload = Result.Result ? *Result.Result : Empty;
	FParsedRead Parsed = bGas ? ParseGasResponse(Payload) : ParseBlackboardResponse(Payload, Spec.Key);
	return Parsed.bOk ? FReadResult::Ok(std::move(Parsed.Value)) : FReadResult::Failed(std::move(Parsed.Failure));
}

FReadResult FWorldReader::Read(size_t SpecIndex, double)
{
	const FSampleSpec& Spec = Specs[SpecIndex];
	FSpecState& State = States[SpecIndex];
	FRoot Root = ResolveRoot(State);
	if (!Root.Object) return FReadResult::Failed(std::move(Root.Failure));

	FReadResult Result;
	switch (Spec.Source)
	{
	case ESampleSource::Anim:
	{
		UObject* Target = Root.Object;
		if (State.Root.Kind != ERootKind::Anim)
		{
			std::string Failure;
			Target = FindAnimInstance(State, Root.Object, Failure);
			if (!Target) return FReadResult::Failed(std::move(Failure));
		}
		Result = ReadPath(State, Target, Spec);
		break;
	}
	case ESampleSource::Property: Result = ReadPath(State, Root.Object, Spec); break;
	case ESampleSource::Gas:
	case ESampleSource::Blackboard: Result = Dispatch(Spec, LabelOf(Root.Labelled)); break;
	}
	// The label is kept for the message of a destroyed root; it is read again only when the root changes.
	if (Result.Status == EReadStatus::Ok && State.LastRoot.Get() != Root.Object)
	{
		State.LastRoot = FWeakObjectPtr(Root.Object);
		State.LastRootLabel = LabelOf(Root.Labelled);
	}
	return Result;
}

bool FWorldReader::IsRootDestroyed(size_t SpecIndex, std::string& OutLabel)
{
	const FSpecState& State = States[SpecIndex];
	const UObject* Root = State.LastRoot.Get();
	if (!State.LastRoot.IsStale() && (!Root || !Root->IsPendingKill())) return false;
	OutLabel = State.LastRootLabel;
	return true;
}
}
