// Running the event graphs of a PIE world's actors: BeginPlay, delays, timers and reached locations, and the
// actions they run. Part of FSimWorldGameplay (SimGameplay.h).
#include "SimGameplay.h"

#include "NavigationSystem.h"
#include "Printf.h"
#include "SimAbilitySystem.h"
#include "SimBlackboard.h"
#include "SimConsole.h"
#include "UObjectGlobals.h"

#include <cctype>
#include <cmath>
#include <tuple>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogScript("LogScript");
FLogCategory LogSpawn("LogSpawn");
FLogCategory LogBlackboard("LogBlackboard");
FLogCategory LogAbilitySystem("LogAbilitySystem");

bool EqualsNoCase(const std::string& A, const std::string& B)
{
	if (A.size() != B.size()) return false;
	for (size_t I = 0; I < A.size(); ++I)
	{
		if (std::tolower(static_cast<unsigned char>(A[I])) != std::tolower(static_cast<unsigned char>(B[I]))) return false;
	}
	return true;
}

/** Runaway timers (a period far below the frame time) fire at most this often per frame. */
constexpr int32 MaxTimerFiringsPerFrame = 100;

/** The Blueprint an actor's graph belongs to: its class's display name ("BP_Hazard"). */
std::string BlueprintName(const AActor* Actor)
{
	const FSimObjectState* State = GetSimState(Actor);
	return State && State->Class ? State->Class->DisplayName : std::string("Actor");
}

/** A class path as a map or graph names it: a Blueprint package path finds its generated class. */
UClass* LoadClassForGraph(const std::string& Path, std::string& OutError)
{
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	if (!Objects) return nullptr;
	if (UClass* Class = Objects->LoadClass(Path, &OutError)) return Class;
	if (Path.find('.') == std::string::npos && Path.rfind("/Game/", 0) == 0)
	{
		std::string Ignored;
		if (UClass* Class = Objects->LoadClass(Path + "." + FPackageName::GetShortName(Path) + "_C", &Ignored)) return Class;
	}
	return nullptr;
}
}

void FSimWorldGameplay::LogRuntimeError(AActor* Self, const std::string& Property, const std::string& Node) const
{
	const std::string Blueprint = BlueprintName(Self);
	std::string Friendly = Blueprint;
	for (char& C : Friendly)
	{
		if (C == '_') C = ' ';
	}
	const std::string ClassPath = Self ? Self->GetClass()->GetPathName() : std::string();
	TW_LOG(LogScript, Warning, "Accessed None trying to read property %s\n\t%s %s\n\tFunction %s:ExecuteUbergraph_%s", Property.c_str(),
		Self ? Self->GetClass()->GetName().c_str() : "", Self ? Self->GetPathName().c_str() : "", ClassPath.c_str(), Blueprint.c_str());
	TW_LOG(LogScript, Error,
		"Blueprint Runtime Error: \"Accessed None trying to read property %s\". Node:  %s Graph:  EventGraph Function:  Execute Ubergraph %s "
		"Blueprint:  %s",
		Property.c_str(), Node.c_str(), Friendly.c_str(), Blueprint.c_str());
}

AActor* FSimWorldGameplay::ResolveTarget(AActor* Self, const std::string& Target) const
{
	if (Target.empty() || EqualsNoCase(Target, "Self")) return IsValid(Self) ? Self : nullptr;
	if (EqualsNoCase(Target, "Player"))
	{
		APlayerController* PC = World.GetFirstPlayerController();
		APawn* Pawn = PC ? PC->GetPawn() : nullptr;
		return IsValid(Pawn) ? Pawn : nullptr;
	}
	for (AActor* A : World.GetActors())
	{
		if (EqualsNoCase(A->GetActorLabel(), Target)) return A;
	}
	for (AActor* A : World.GetActors())
	{
		if (EqualsNoCase(A->GetName(), Target)) return A;
	}
	return nullptr;
}

void FSimWorldGameplay::PrepareForPlay(AActor* Actor)
{
	FSimActorState* State = GetActorState(Actor);
	if (!State) return;
	State->BeginPlayTime = World.TimeSeconds;
	// The engine's InitializeBlackboard from each blackboard component's default asset.
	for (UActorComponent* C : State->Components)
	{
		auto* Blackboard = dynamic_cast<FSimBlackboardComponent*>(C);
		if (!Blackboard) continue;
		UObject* Asset = SimGetObjectProperty(Blackboard, "DefaultBlackboardAsset");
		Blackboard->InitializeBlackboard(dynamic_cast<FSimBlackboardData*>(Asset));
	}
	State->EventStates.clear();
	if (!State->EventGraph) return;
	for (const FSimGraphEvent& E : State->EventGraph->Events)
	{
		FSimGraphEventState S;
		S.NextTime = State->BeginPlayTime + E.Seconds;
		State->EventStates.push_back(S);
	}
}

void FSimWorldGameplay::RunBeginPlayEvents(AActor* Actor)
{
	FSimActorState* State = GetActorState(Actor);
	if (!State || !State->EventGraph) return;
	// The graph is held for the loop: an action may replace nothing here, but it may destroy the actor.
	const std::shared_ptr<const FSimEventGraph> Graph = State->EventGraph;
	for (size_t I = 0; I < Graph->Events.size(); ++I)
	{
		if (Graph->Events[I].Kind != ESimGraphEvent::BeginPlay) continue;
		RunActions(Actor, Graph, I);
		if (Actor->IsPendingKill()) return;
	}
}

void FSimWorldGameplay::RunTimedEvents(const std::vector<FSimActorState*>& Actors)
{
	const double Now = World.TimeSeconds;
	// Delayed actions first, in the order they were put off (earliest wake time first).
	for (;;)
	{
		auto Due = Delayed.end();
		for (auto It = Delayed.begin(); It != Delayed.end(); ++It)
		{
			if (It->WakeTime <= Now + 1e-9 && (Due == Delayed.end() || std::tie(It->WakeTime, It->Order) < std::tie(Due->WakeTime, Due->Order))) Due = It;
		}
		if (Due == Delayed.end()) break;
		const FDelayedActions Job = *Due;
		Delayed.erase(Due);
		if (auto* Self = Cast<AActor>(Job.Self.Get())) RunActions(Self, Job.Graph, Job.Event, Job.Next, true);
	}
	for (FSimActorState* State : Actors)
	{
		AActor* Actor = State->Self;
		if (State->Values->bPendingKill || !State->EventGraph || !State->bBegunPlay) continue;
		const std::shared_ptr<const FSimEventGraph> Graph = State->EventGraph;
		for (size_t I = 0; I < Graph->Events.size() && I < State->EventStates.size() && !Actor->IsPendingKill(); ++I)
		{
			const FSimGraphEvent& E = Graph->Events[I];
			FSimGraphEventState& S = State->EventStates[I];
			switch (E.Kind)
			{
			case ESimGraphEvent::BeginPlay: break;
			case ESimGraphEvent::Delay:
				if (!S.bLatched && Now >= S.NextTime - 1e-9)
				{
					S.bLatched = true;
					RunActions(Actor, Graph, I);
				}
				break;
			case ESimGraphEvent::Timer:
				for (int32 N = 0; N < MaxTimerFiringsPerFrame && Now >= S.NextTime - 1e-9 && !Actor->IsPendingKill(); ++N)
				{
					S.NextTime += E.Seconds;
					RunActions(Actor, Graph, I);
				}
				break;
			case ESimGraphEvent::OnReached:
			{
				const AActor* Who = ResolveTarget(Actor, E.Who);
				const AActor* Goal = E.bHasLocation ? nullptr : ResolveTarget(Actor, E.Actor);
				if (!Who || (!E.bHasLocation && !Goal))
				{
					S.bLatched = false;
					break;
				}
				const FVector Where = E.bHasLocation ? E.Location : Goal->GetActorLocation();
				const FVector At = Who->GetActorLocation();
				const bool bInside = std::hypot(At.X - Where.X, At.Y - Where.Y) <= E.Radius;
				const bool bEntered = bInside && !S.bLatched;
				S.bLatched = bInside;
				if (bEntered) RunActions(Actor, Graph, I);
				break;
			}
			}
		}
	}
}

void FSimWorldGameplay::RunActions(AActor* Self, const std::shared_ptr<const FSimEventGraph>& Graph, size_t Event, size_t From, bool bResumed)
{
	const std::vector<FSimGraphAction>& Actions = Graph->Events[Event].Actions;
	for (size_t I = From; I < Actions.size(); ++I)
	{
		// A graph whose actor is gone stops, as an actor's graph does once it is destroyed.
		if (!IsValid(Self)) return;
		// A Delay puts this action and the rest off; when they resume they start here, the wait done.
		if (Actions[I].Delay > 0.0 && !(I == From && bResumed))
		{
			Delayed.push_back(FDelayedActions{FWeakObjectPtr(Self), Graph, Event, I, World.TimeSeconds + Actions[I].Delay, NextDelayOrder++});
			return;
		}
		RunAction(Self, Actions[I]);
	}
}

void FSimWorldGameplay::RunAction(AActor* Self, const FSimGraphAction& A)
{
	switch (A.Kind)
	{
	case ESimGraphAction::Log:
	{
		FLogCategory& Category = FindOrAddLogCategory(A.Category);
		if (!Category.IsSuppressed(A.Verbosity)) GLog->Serialize(A.Text, A.Verbosity, Category.GetName());
		return;
	}
	case ESimGraphAction::RuntimeError: LogRuntimeError(Self, A.Property, A.Node); return;
	case ESimGraphAction::SpawnActor:
	{
		std::string Why;
		UClass* Class = LoadClassForGraph(A.ClassPath, Why);
		FActorSpawnParameters Params;
		Params.Name = A.Name;
		Params.Label = A.Label;
		Params.FolderPath = A.Folder;
		Params.Location = A.Location;
		Params.Rotation = A.Rotation;
		if (!Class || !World.SpawnActor(Class, Params, &Why))
		{
			TW_LOG(LogSpawn, Warning, "SpawnActor failed because %s (%s, event graph of %s)", Why.c_str(), A.ClassPath.c_str(), Self->GetActorLabel().c_str());
		}
		return;
	}
	default: break;
	}

	AActor* Target = ResolveTarget(Self, A.Target);
	if (!Target)
	{
		const char* Node = "";
		switch (A.Kind)
		{
		case ESimGraphAction::SetProperty: Node = "Set"; break;
		case ESimGraphAction::DestroyActor: Node = "DestroyActor"; break;
		case ESimGraphAction::AIMoveTo: Node = "AI MoveTo"; break;
		case ESimGraphAction::ApplyGameplayEffect: Node = "ApplyGameplayEffectToTarget"; break;
		case ESimGraphAction::SetBlackboardValue: Node = "Set Blackboard Value"; break;
		default: break;
		}
		LogRuntimeError(Self, A.Target, Node);
		return;
	}
	switch (A.Kind)
	{
	case ESimGraphAction::SetProperty:
	{
		UObject* Object = Target;
		if (!A.Component.empty())
		{
			Object = nullptr;
			for (UActorComponent* C : Target->GetComponents())
			{
				if (EqualsNoCase(C->GetName(), A.Component)) Object = C;
			}
			if (!Object)
			{
				LogRuntimeError(Self, A.Component, "Set " + A.Property);
				return;
			}
		}
		const FProperty* Property = Object->GetClass()->FindPropertyByName(A.Property);
		std::string Why = Tarnwick::Printf("%s has no property '%s'", Object->GetClass()->GetName().c_str(), A.Property.c_str());
		FPropertyValue Current;
		if (Property && Object->GetPropertyValue(*Property, Current))
		{
			const FObjectResolver Resolver = [&](const std::string& Path, bool bWantClass, std::string* OutError) -> UObject* {
				if (!Path.empty() && Path.front() != '/') return ResolveTarget(Self, Path);
				IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
				return bWantClass ? static_cast<UObject*>(Objects->LoadClass(Path, OutError)) : Objects->LoadObject(Path, OutError);
			};
			std::optional<FPropertyValue> Value = PropertyValueFromJson(*Property, A.Value, Resolver, &Current, &Why);
			if (Value && Object->SetPropertyValue(*Property, *Value, &Why)) return;
		}
		TW_LOG(LogScript, Warning, "Set %s on %s failed: %s", A.Property.c_str(), Target->GetActorLabel().c_str(), Why.c_str());
		return;
	}
	case ESimGraphAction::DestroyActor: World.DestroyActor(Target); return;
	case ESimGraphAction::AIMoveTo:
	{
		auto* Pawn = Cast<APawn>(Target);
		auto* AI = Pawn ? Cast<AAIController>(Pawn->GetController()) : Cast<AAIController>(Target);
		if (!AI)
		{
			LogRuntimeError(Self, "Controller", "AI MoveTo");
			return;
		}
		if (A.bHasLocation)
		{
			AI->MoveToLocation(A.Location, static_cast<float>(A.AcceptanceRadius));
			return;
		}
		AActor* Goal = ResolveTarget(Self, A.GoalActor);
		if (!Goal)
		{
			LogRuntimeError(Self, A.GoalActor, "AI MoveTo");
			return;
		}
		AI->MoveToActor(Goal, static_cast<float>(A.AcceptanceRadius));
		return;
	}
	case ESimGraphAction::ApplyGameplayEffect:
	{
		auto* Asc = dynamic_cast<FSimAbilitySystemComponent*>(UAbilitySystemGlobals::GetAbilitySystemComponentFromActor(Target));
		if (!Asc)
		{
			LogRuntimeError(Self, "AbilitySystemComponent", "ApplyGameplayEffectToTarget");
			return;
		}
		if (!Asc->ApplyEffect(A.Effect, World.TimeSeconds))
		{
			TW_LOG(LogAbilitySystem, Warning, "ApplyGameplayEffect: %s has no attribute %s", Target->GetActorLabel().c_str(),
				A.Effect.Attribute.GetName().c_str());
		}
		return;
	}
	case ESimGraphAction::SetBlackboardValue:
	{
		AActor* Owner = Target;
		if (auto* Pawn = Cast<APawn>(Target)) Owner = Pawn->GetController();
		auto* AI = Cast<AAIController>(Owner);
		auto* Blackboard = AI ? dynamic_cast<FSimBlackboardComponent*>(AI->GetBlackboardComponent()) : nullptr;
		if (!Blackboard)
		{
			LogRuntimeError(Self, "Blackboard", "Set Blackboard Value");
			return;
		}
		const int32 Key = Blackboard->GetKeyID(A.Key);
		std::string Why = Tarnwick::Printf("no key '%s' in the blackboard", A.Key.c_str());
		if (Key != BlackboardInvalidKey &&
			Blackboard->SetValueFromJson(Key, A.Value, [&](const std::string& Name) { return static_cast<UObject*>(ResolveTarget(Self, Name)); }, &Why))
		{
			return;
		}
		TW_LOG(LogBlackboard, Warning, "Set Blackboard Value on %s failed: %s", Target->GetActorLabel().c_str(), Why.c_str());
		return;
	}
	default: return;
	}
}
}
